// The AES block function with AVX2.
//
// The XOR table is looked up by byte shuffles, 32 nibbles at a time. It fits into eight registers, two of its rows in
// each: the second index is the shuffle's, and the bits of the first one choose among what the eight shuffles find. A
// look-up takes about 24 instructions, half of which only two of a processor's pipes can run: that bounds a batch.
//
// The words come from the round tables by plain loads, which are faster than gather instructions. In a batch they pass
// through a small ring in memory, two steps ahead of their addition, since a vector load has to wait if it follows the
// scalar stores that it reads too closely. Loads and additions are written mingled, so that a processor always has both
// at hand. A batch goes through a round with all its blocks before the next: the round's tables then stay in the cache.

#include <immintrin.h>
#include <string.h>

#include <algorithm>

#include "aes/block.h"
#include "aes/block_state.h"
#include "aes/table_layout.h"
#include "support/secret.h"

#define WBKIT_TARGET "avx2"
#include "support/target.h"

namespace wbkit {
namespace {

// Takes the byte of `b` where that of `mask` has its highest bit set. The instruction itself, since of the intrinsic
// GCC makes a comparison as well if a mask is used twice.
WBKIT_INLINE __m256i choose(__m256i a, __m256i b, __m256i mask) {
    __m256i chosen;
    asm("vpblendvb %3, %2, %1, %0" : "=x"(chosen) : "x"(a), "x"(b), "x"(mask));
    return chosen;
}

WBKIT_INLINE __m256i twice(__m256i bytes) {
    __m256i sum = _mm256_add_epi8(bytes, bytes);
    asm("" : "+x"(sum)); // or Clang makes a shift and a mask of two such sums
    return sum;
}

WBKIT_INLINE __m256i low_nibbles(__m256i bytes) {
    return _mm256_and_si256(bytes, _mm256_set1_epi8(15));
}

// The high nibbles of `high` and the low nibbles of `low`.
WBKIT_INLINE __m256i join(__m256i high, __m256i low) {
    return _mm256_or_si256(_mm256_andnot_si256(_mm256_set1_epi8(15), high), low_nibbles(low));
}

class XorTable {
  public:
    // The nibble that counts is the high one where `odd` has its highest bit set, else the low one.
    struct Found {
        __m256i nibbles;
        __m256i odd;
    };

    WBKIT_INLINE explicit XorTable(const uint8_t *entries) {
        for (size_t i = 0; i < 4; ++i) {
            lower_[i] = load_rows(entries + i * 32);
            differences_[i] = _mm256_xor_si256(lower_[i], load_rows(entries + (i + 4) * 32));
        }
    }

    // The first index is the high nibble of the bytes of `first`, whose low one does not matter; `second` is below 16.
    [[nodiscard]] WBKIT_INLINE Found look_up(__m256i first, __m256i second) const {
        // A shuffle finds 0 where the highest bit of its index is set: no difference.
        __m256i if_upper = _mm256_or_si256(second, _mm256_andnot_si256(first, _mm256_set1_epi8(-128)));
        const __m256i bit2 = twice(first);
        const __m256i bit1 = twice(bit2);
        __m256i rows0to3 = choose(shuffle(0, second, if_upper), shuffle(1, second, if_upper), bit1);
        // One half after the other: both at once would not fit into the registers beside the table.
        asm("" : "+x"(rows0to3), "+x"(second), "+x"(if_upper));
        const __m256i rows4to7 = choose(shuffle(2, second, if_upper), shuffle(3, second, if_upper), bit1);
        return {choose(rows0to3, rows4to7, bit2), twice(bit1)};
    }

  private:
    WBKIT_INLINE static __m256i load_rows(const uint8_t *entries) {
        __m128i even;
        __m128i odd;
        memcpy(&even, entries, sizeof even);
        memcpy(&odd, entries + 16, sizeof odd);
        return _mm256_broadcastsi128_si256(_mm_or_si128(even, _mm_slli_epi16(odd, 4)));
    }

    [[nodiscard]] WBKIT_INLINE __m256i shuffle(size_t i, __m256i second, __m256i if_upper) const {
        return _mm256_xor_si256(_mm256_shuffle_epi8(lower_[i], second), _mm256_shuffle_epi8(differences_[i], if_upper));
    }

    __m256i lower_[4] = {};       // low nibbles: row 2i; high nibbles: row 2i + 1
    __m256i differences_[4] = {}; // by which rows 2i + 8 and 2i + 9 differ from them
};

// What was found as the high or as the low nibbles of bytes, whose other nibbles hold anything.
WBKIT_INLINE __m256i high(const XorTable::Found &found) {
    return choose(_mm256_slli_epi16(found.nibbles, 4), found.nibbles, found.odd);
}
WBKIT_INLINE __m256i low(const XorTable::Found &found) {
    return choose(found.nibbles, _mm256_srli_epi16(found.nibbles, 4), found.odd);
}

// A batch goes step by step; a step is a round of two blocks.
constexpr size_t kStepBlocks = 2;
constexpr size_t kStepBytes = kStepBlocks * kBlockSize;
constexpr size_t kMostBatched = 128;
constexpr size_t kFewestSteps = 3; // so that the state is there when the words of its next round are loaded
constexpr size_t kAhead = 2;
constexpr size_t kSlots = 4;

struct alignas(32) Words {
    uint32_t of_row[kRows][kStepBlocks][kColumns];
};

struct alignas(32) Batch {
    uint8_t state[kMostBatched * kBlockSize];
    Words ring[kSlots];
};

WBKIT_INLINE void load_column(const uint8_t *round_tables, const uint8_t *state, size_t column, Words &words) {
    for (size_t block = 0; block < kStepBlocks; ++block) {
        for (size_t row = 0; row < kRows; ++row) {
            uint32_t word = load_word(round_tables, state + block * kBlockSize, kRows * column + row);
            asm volatile("" : "+r"(word)); // each on its own, and at this place among the additions
            words.of_row[row][block][column] = word;
        }
    }
}

WBKIT_INLINE __m256i row_of(const Words &words, size_t row) {
    return _mm256_load_si256(reinterpret_cast<const __m256i *>(words.of_row[row]));
}

using Found = XorTable::Found;

// The sums of two rows of words, nibble by nibble: of the words' high nibbles or of their low ones.
WBKIT_INLINE Found add_high(const XorTable &table, const Words &words, size_t row) {
    return table.look_up(row_of(words, row), low_nibbles(_mm256_srli_epi16(row_of(words, row + 1), 4)));
}
WBKIT_INLINE Found add_low(const XorTable &table, const Words &words, size_t row) {
    return table.look_up(_mm256_slli_epi16(row_of(words, row), 4), low_nibbles(row_of(words, row + 1)));
}

// Adds `words` and, in between, loads the words that follow.
WBKIT_INLINE __m256i step(const XorTable &table, const Words &words, const uint8_t *next_tables,
                          const uint8_t *next_state, Words &next_words) {
    __m256i first = high(add_high(table, words, 0));
    load_column(next_tables, next_state, 0, next_words);
    __m256i high_sums = high(table.look_up(first, low_nibbles(low(add_high(table, words, 2)))));
    asm volatile("" : "+x"(high_sums)); // keeps the order of loads and additions, here and below
    load_column(next_tables, next_state, 1, next_words);
    first = high(add_low(table, words, 0));
    asm volatile("" : "+x"(first));
    load_column(next_tables, next_state, 2, next_words);
    __m256i low_sums = low(table.look_up(first, low_nibbles(low(add_low(table, words, 2)))));
    asm volatile("" : "+x"(low_sums));
    load_column(next_tables, next_state, 3, next_words);
    return join(high_sums, low_sums);
}

WBKIT_INLINE void run_table_rounds(const tb_entry &key, size_t rounds, size_t steps, Batch &batch) {
    const XorTable table(key.Xor);
    const uint8_t *const last_tables = key.Tyboxes + (rounds - 1) * kAesRoundBytes;
    const uint8_t *next_tables = key.Tyboxes;
    for (size_t i = 0; i < kAhead; ++i) {
        for (size_t column = 0; column < kColumns; ++column) {
            load_column(next_tables, batch.state + i * kStepBytes, column, batch.ring[i]);
        }
    }
    size_t next = kAhead;
    size_t slot = 0;
    for (size_t round = 0; round < rounds; ++round) {
        for (size_t i = 0; i < steps; ++i) {
            const __m256i sums = step(table, batch.ring[slot % kSlots], next_tables, batch.state + next * kStepBytes,
                                      batch.ring[(slot + kAhead) % kSlots]);
            _mm256_store_si256(reinterpret_cast<__m256i *>(batch.state + i * kStepBytes), sums);
            ++slot;
            if (++next == steps) {
                next = 0;
                // At the end, what nobody needs is loaded from the last round's tables once more.
                next_tables += next_tables == last_tables ? 0 : kAesRoundBytes;
            }
        }
    }
}

WBKIT_OUTLINE void encrypt_batch(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks, Batch &batch) {
    const auto rounds = static_cast<size_t>(aes_table_rounds(key.Nr));
    const size_t steps = std::max((blocks + kStepBlocks - 1) / kStepBlocks, kFewestSteps);
    uint8_t *const state = batch.state;
    memset(state + blocks * kBlockSize, 0, (steps * kStepBlocks - blocks) * kBlockSize);
    begin_blocks(in, state, blocks);
    if (rounds != 0) {
        run_table_rounds(key, rounds, steps, batch);
    }
    end_blocks(key.TboxesLast, state, out, blocks);
}

constexpr size_t kMostSingles = 2; // so few are left to the portable kernel, which is faster with them

// Returns how many blocks are left over.
[[gnu::noinline]] size_t encrypt_batches(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    Batch batch; // NOLINT(cppcoreguidelines-pro-type-member-init): nothing is read before it was written
    while (blocks > kMostSingles) {
        const size_t count = std::min(blocks, kMostBatched);
        encrypt_batch(key, in, out, count, batch);
        in += count * kBlockSize;
        out += count * kBlockSize;
        blocks -= count;
    }
    wipe(&batch, sizeof batch);
    wipe_stack<1536>();
    return blocks;
}

} // namespace

void aes_encrypt_blocks_avx2(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    const size_t left = blocks > kMostSingles ? encrypt_batches(key, in, out, blocks) : blocks;
    const size_t done = (blocks - left) * kBlockSize;
    if (left != 0) {
        aes_encrypt_blocks_portable(key, in + done, out + done, left);
    }
}

} // namespace wbkit
