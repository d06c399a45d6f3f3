// The AES block function with SSSE3.
//
// The XOR table is looked up by byte shuffles, 16 nibbles at a time. It is kept as eight registers' worth, two of its
// rows in each: the second index is the shuffle's. There is no instruction that chooses bytes, so that the first one
// counts down: a shuffle finds 0 for an index below 0, and else by what its rows differ from the ones before. A look-up
// takes about 30 instructions on 16 bytes, which bounds this kernel.
//
// In a batch the words of the round tables pass through a small ring in memory, two steps ahead of their addition,
// since a vector load has to wait if it follows the scalar stores that it reads too closely. Loads and additions are
// written mingled, so that a processor always has both at hand. A batch goes through a round with all its blocks before
// the next: the round's tables then stay in the cache.

#include <tmmintrin.h>

#include "aes/block.h"
#include "aes/block_state.h"
#include "aes/table_layout.h"
#include "support/secret.h"

#define WBKIT_INLINE inline __attribute__((always_inline))
#define WBKIT_SSSE3 __attribute__((target("ssse3")))

namespace wbkit {
namespace {

WBKIT_INLINE WBKIT_SSSE3 __m128i low_nibbles(__m128i bytes) {
    return _mm_and_si128(bytes, _mm_set1_epi8(15));
}

// The high nibbles of `high` and the low nibbles of `low`.
WBKIT_INLINE WBKIT_SSSE3 __m128i join(__m128i high, __m128i low) {
    return _mm_or_si128(_mm_andnot_si128(_mm_set1_epi8(15), high), low_nibbles(low));
}

class XorTable {
  public:
    // The low nibble counts, with the high one added if `upper` is all ones.
    struct Found {
        __m128i nibbles;
        __m128i upper;
    };

    WBKIT_INLINE WBKIT_SSSE3 explicit XorTable(const uint8_t *entries) {
        __m128i before = _mm_setzero_si128();
        for (size_t i = 0; i < 8; ++i) {
            const __m128i lower = load_row(entries + i * 16);
            const __m128i upper = load_row(entries + (i + 8) * 16);
            const __m128i rows = _mm_or_si128(lower, _mm_slli_epi16(_mm_xor_si128(lower, upper), 4));
            differences_[i] = _mm_xor_si128(rows, before);
            before = rows;
        }
    }

    // The first index is the high nibble, the second one the low nibble.
    [[nodiscard]] WBKIT_INLINE WBKIT_SSSE3 Found look_up(__m128i indices) const {
        const __m128i low_bits = _mm_and_si128(indices, _mm_set1_epi8(0x7f));
        const __m128i nibbles = _mm_xor_si128(look_up_4(differences_, low_bits),
                                              look_up_4(differences_ + 4, _mm_sub_epi8(low_bits, _mm_set1_epi8(64))));
        return {nibbles, _mm_cmpgt_epi8(_mm_setzero_si128(), indices)};
    }

  private:
    WBKIT_INLINE WBKIT_SSSE3 static __m128i load_row(const uint8_t *entries) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i *>(entries));
    }

    // What the first `index` / 16 + 1 of four shuffles find together, if `index` is not negative.
    WBKIT_INLINE WBKIT_SSSE3 static __m128i look_up_4(const __m128i *differences, __m128i index) {
        __m128i nibbles = _mm_shuffle_epi8(differences[0], index);
        for (size_t i = 1; i < 4; ++i) {
            index = _mm_sub_epi8(index, _mm_set1_epi8(16));
            nibbles = _mm_xor_si128(nibbles, _mm_shuffle_epi8(differences[i], index));
        }
        return nibbles;
    }

    __m128i differences_[8] = {}; // low nibbles: of row i from the one before; high nibbles: what row i + 8 adds
};

using Found = XorTable::Found;

// What was found as the high or as the low nibbles of bytes, whose other nibbles hold anything.
WBKIT_INLINE WBKIT_SSSE3 __m128i high(const Found &found) {
    return _mm_xor_si128(_mm_slli_epi16(found.nibbles, 4), _mm_and_si128(found.nibbles, found.upper));
}
WBKIT_INLINE WBKIT_SSSE3 __m128i low(const Found &found) {
    return _mm_xor_si128(found.nibbles, _mm_and_si128(_mm_srli_epi16(found.nibbles, 4), found.upper));
}

// Adds the high or the low nibbles of two rows of words.
WBKIT_INLINE WBKIT_SSSE3 Found add_high(const XorTable &table, __m128i first, __m128i second) {
    return table.look_up(join(first, _mm_srli_epi16(second, 4)));
}
WBKIT_INLINE WBKIT_SSSE3 Found add_low(const XorTable &table, __m128i first, __m128i second) {
    return table.look_up(join(_mm_slli_epi16(first, 4), second));
}

// A batch goes step by step; a step is a round of one block.
constexpr size_t kMostSteps = 128;
constexpr size_t kFewestSteps = 3; // so that the state is there when the words of its next round are loaded
constexpr size_t kAhead = 2;
constexpr size_t kSlots = 4;

struct alignas(16) Words {
    uint32_t of_row[kRows][kColumns];
};

struct alignas(16) Batch {
    uint8_t state[kMostSteps * kBlockSize];
    Words ring[kSlots];
};

WBKIT_INLINE void load_column(const uint8_t *round_tables, const uint8_t *state, size_t column, Words &words) {
    for (size_t row = 0; row < kRows; ++row) {
        uint32_t word = load_word(round_tables, state, kRows * column + row);
        asm volatile("" : "+r"(word)); // each on its own, and at this place among the additions
        words.of_row[row][column] = word;
    }
}

WBKIT_INLINE WBKIT_SSSE3 __m128i row_of(const Words &words, size_t row) {
    return _mm_load_si128(reinterpret_cast<const __m128i *>(words.of_row[row]));
}

// Adds `words` and, in between, loads the words that follow.
WBKIT_INLINE WBKIT_SSSE3 __m128i step(const XorTable &table, const Words &words, const uint8_t *next_tables,
                                      const uint8_t *next_state, Words &next_words) {
    const __m128i first_high = high(add_high(table, row_of(words, 0), row_of(words, 1)));
    load_column(next_tables, next_state, 0, next_words);
    const __m128i second_high = low(add_high(table, row_of(words, 2), row_of(words, 3)));
    __m128i high_sums = high(table.look_up(join(first_high, second_high)));
    asm volatile("" : "+x"(high_sums)); // keeps the order of loads and additions, here and below
    load_column(next_tables, next_state, 1, next_words);
    __m128i first_low = high(add_low(table, row_of(words, 0), row_of(words, 1)));
    asm volatile("" : "+x"(first_low));
    load_column(next_tables, next_state, 2, next_words);
    const __m128i second_low = low(add_low(table, row_of(words, 2), row_of(words, 3)));
    __m128i low_sums = low(table.look_up(join(first_low, second_low)));
    asm volatile("" : "+x"(low_sums));
    load_column(next_tables, next_state, 3, next_words);
    return join(high_sums, low_sums);
}

WBKIT_SSSE3 void run_table_rounds(const tb_entry &key, size_t rounds, size_t steps, Batch &batch) {
    const XorTable table(key.Xor);
    const uint8_t *const last_tables = key.Tyboxes + (rounds - 1) * kAesRoundBytes;
    const uint8_t *next_tables = key.Tyboxes;
    for (size_t i = 0; i < kAhead; ++i) {
        for (size_t column = 0; column < kColumns; ++column) {
            load_column(next_tables, batch.state + i * kBlockSize, column, batch.ring[i]);
        }
    }
    size_t next = kAhead;
    size_t slot = 0;
    for (size_t round = 0; round < rounds; ++round) {
        for (size_t i = 0; i < steps; ++i) {
            const __m128i sums = step(table, batch.ring[slot % kSlots], next_tables, batch.state + next * kBlockSize,
                                      batch.ring[(slot + kAhead) % kSlots]);
            _mm_store_si128(reinterpret_cast<__m128i *>(batch.state + i * kBlockSize), sums);
            ++slot;
            if (++next == steps) {
                next = 0;
                // At the end, what nobody needs is loaded from the last round's tables once more.
                next_tables += next_tables == last_tables ? 0 : kAesRoundBytes;
            }
        }
    }
}

[[gnu::noinline]] WBKIT_SSSE3 void encrypt_batch(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks,
                                                 Batch &batch) {
    const auto rounds = static_cast<size_t>(aes_table_rounds(key.Nr));
    begin_blocks(in, batch.state, blocks);
    if (rounds != 0) {
        run_table_rounds(key, rounds, blocks, batch);
    }
    end_blocks(key.TboxesLast, batch.state, out, blocks);
}

constexpr size_t kMostSingles = 2; // so few are left to the portable kernel, which is faster with them
static_assert(kMostSingles + 1 >= kFewestSteps);

// Returns how many blocks are left over.
[[gnu::noinline]] size_t encrypt_batches(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    Batch batch; // NOLINT(cppcoreguidelines-pro-type-member-init): nothing is read before it was written
    while (blocks > kMostSingles) {
        const size_t count = blocks < kMostSteps ? blocks : kMostSteps;
        encrypt_batch(key, in, out, count, batch);
        in += count * kBlockSize;
        out += count * kBlockSize;
        blocks -= count;
    }
    wipe(&batch, sizeof batch);
    wipe_stack(); // below the batch, where the caller's does not reach
    return blocks;
}

} // namespace

void aes_encrypt_blocks_ssse3(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    const size_t left = blocks > kMostSingles ? encrypt_batches(key, in, out, blocks) : blocks;
    const size_t done = (blocks - left) * kBlockSize;
    if (left != 0) {
        aes_encrypt_blocks_portable(key, in + done, out + done, left);
    }
}

} // namespace wbkit
