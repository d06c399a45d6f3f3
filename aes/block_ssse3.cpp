// The AES block function with SSSE3.
//
// Nibbles are paired in vectors, 16 at a time, and the first two of every four are added there. The XOR table is kept
// as eight registers' worth for that, two of its rows in each: the second index is the shuffle's. There is no
// instruction that chooses bytes, so that the first one counts down: a shuffle finds 0 for an index below 0, and else
// by what its rows differ from the ones before.
//
// That takes about 36 instructions, too many for all the additions. The other two of every four are added by one
// look-up a nibble in tables of 8 KiB, made for the call, of what the XOR table makes of a nibble and of the sum of a
// pair. Vectors interleave nibbles and pairs to indices, while the look-ups are those of the block before, whose
// indices have come to memory. Bound by the number of instructions, a few less than the portable kernel takes.
//
// A batch goes through a round with all its blocks before the next: the round's tables then stay in the cache.

#include <tmmintrin.h>

#include <algorithm>

#include "aes/block.h"
#include "aes/block_state.h"
#include "aes/table_layout.h"
#include "support/secret.h"

#define WBKIT_TARGET "ssse3"
#include "support/target.h"

namespace wbkit {
namespace {

constexpr size_t kVector = 16;

WBKIT_INLINE __m128i load(const void *bytes) {
    return _mm_loadu_si128(static_cast<const __m128i *>(bytes));
}

WBKIT_INLINE void store(void *bytes, __m128i value) {
    _mm_storeu_si128(static_cast<__m128i *>(bytes), value);
}

WBKIT_INLINE __m128i low_nibbles(__m128i bytes) {
    return _mm_and_si128(bytes, _mm_set1_epi8(15));
}

// The high nibbles of `high` and the low nibbles of `low`.
WBKIT_INLINE __m128i join(__m128i high, __m128i low) {
    return _mm_or_si128(_mm_andnot_si128(_mm_set1_epi8(15), high), low_nibbles(low));
}

class XorTable {
  public:
    WBKIT_INLINE explicit XorTable(const uint8_t *entries) {
        __m128i before = _mm_setzero_si128();
        for (size_t i = 0; i < 8; ++i) {
            const __m128i lower = low_nibbles(load(entries + i * kVector));
            const __m128i upper = low_nibbles(load(entries + (i + 8) * kVector));
            const __m128i rows = _mm_or_si128(lower, _mm_slli_epi16(_mm_xor_si128(lower, upper), 4));
            differences_[i] = _mm_xor_si128(rows, before);
            before = rows;
        }
    }

    // The first index is the high nibble, the second one the low nibble.
    [[nodiscard]] WBKIT_INLINE __m128i look_up(__m128i indices) const {
        const __m128i low_bits = _mm_and_si128(indices, _mm_set1_epi8(0x7f));
        const __m128i found = _mm_xor_si128(look_up_4(differences_, low_bits),
                                            look_up_4(differences_ + 4, _mm_sub_epi8(low_bits, _mm_set1_epi8(64))));
        const __m128i is_upper = _mm_cmpgt_epi8(_mm_setzero_si128(), indices);
        return low_nibbles(_mm_xor_si128(found, _mm_and_si128(_mm_srli_epi16(found, 4), is_upper)));
    }

  private:
    // What the first `index` / 16 + 1 of four shuffles find together, if `index` is not negative.
    WBKIT_INLINE static __m128i look_up_4(const __m128i *differences, __m128i index) {
        __m128i nibbles = _mm_shuffle_epi8(differences[0], index);
        for (size_t i = 1; i < 4; ++i) {
            index = _mm_sub_epi8(index, _mm_set1_epi8(16));
            nibbles = _mm_xor_si128(nibbles, _mm_shuffle_epi8(differences[i], index));
        }
        return nibbles;
    }

    __m128i differences_[8] = {}; // low nibbles: of row i from the one before; high nibbles: what row i + 8 adds
};

// The sum of a nibble and of the sum of a pair of nibbles, at nibble * 256 + pair: as a high nibble and as a low one.
struct SumTable {
    uint8_t high[16 * kAesEntries];
    uint8_t low[16 * kAesEntries];
};

WBKIT_OUTLINE void make_sum_table(const uint8_t *entries, SumTable &table) {
    for (size_t nibble = 0; nibble < 16; ++nibble) {
        const __m128i row = low_nibbles(load(entries + nibble * kVector));
        for (size_t pair = 0; pair < kAesEntries; pair += kVector) {
            const __m128i sums = _mm_shuffle_epi8(row, low_nibbles(load(entries + pair)));
            store(table.high + nibble * kAesEntries + pair, _mm_slli_epi16(sums, 4));
            store(table.low + nibble * kAesEntries + pair, sums);
        }
    }
}

// Indices of the sums of a block.
struct Indices {
    uint16_t high[kBlockSize];
    uint16_t low[kBlockSize];
};

constexpr size_t kMostBatched = 128;

struct Batch {
    alignas(kVector) uint8_t state[kMostBatched * kBlockSize];
    alignas(kVector) Indices indices[2];
    alignas(kVector) SumTable table;
};

// The words that one row of the state adds to the four columns.
WBKIT_INLINE __m128i load_row(const uint8_t *tables, const uint8_t *state, size_t row) {
    const auto word = [=](size_t column) { return static_cast<int>(load_word(tables, state, column * kRows + row)); };
    return _mm_setr_epi32(word(0), word(1), word(2), word(3));
}

WBKIT_INLINE void store_indices(__m128i nibbles, __m128i pairs, uint16_t *indices) {
    store(indices, _mm_unpacklo_epi8(pairs, nibbles));
    store(indices + kBlockSize / 2, _mm_unpackhi_epi8(pairs, nibbles));
}

WBKIT_INLINE void make_indices(const XorTable &table, const uint8_t *tables, const uint8_t *state, Indices &indices) {
    const __m128i w0 = load_row(tables, state, 0);
    const __m128i w1 = load_row(tables, state, 1);
    const __m128i w2 = load_row(tables, state, 2);
    const __m128i w3 = load_row(tables, state, 3);
    store_indices(table.look_up(join(w0, _mm_srli_epi16(w1, 4))), join(w2, _mm_srli_epi16(w3, 4)), indices.high);
    store_indices(table.look_up(join(_mm_slli_epi16(w0, 4), w1)), join(_mm_slli_epi16(w2, 4), w3), indices.low);
}

WBKIT_INLINE void add(const SumTable &table, const Indices &indices, uint8_t *state) {
#pragma GCC unroll 16
    for (size_t i = 0; i < kBlockSize; ++i) {
        state[i] = table.high[indices.high[i]] | table.low[indices.low[i]];
    }
}

WBKIT_OUTLINE void encrypt_batch(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks, Batch &batch) {
    const XorTable table(key.Xor);
    begin_blocks(in, batch.state, blocks);
    const uint8_t *tables = key.Tyboxes;
    for (int32_t left = aes_table_rounds(key.Nr); left > 0; --left) {
        make_indices(table, tables, batch.state, batch.indices[0]);
        for (size_t i = 1; i < blocks; ++i) {
            make_indices(table, tables, batch.state + i * kBlockSize, batch.indices[i % 2]);
            add(batch.table, batch.indices[(i - 1) % 2], batch.state + (i - 1) * kBlockSize);
        }
        add(batch.table, batch.indices[(blocks - 1) % 2], batch.state + (blocks - 1) * kBlockSize);
        tables += kAesRoundBytes;
    }
    end_blocks(key.TboxesLast, batch.state, out, blocks);
}

// Fewer do not pay for the table of sums.
constexpr size_t kFewestBlocks = 17;

// Returns how many blocks are left over.
[[gnu::noinline]] size_t encrypt_batches(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    Batch batch; // NOLINT(cppcoreguidelines-pro-type-member-init): nothing is read before it was written
    make_sum_table(key.Xor, batch.table);
    while (blocks >= kFewestBlocks) {
        const size_t count = std::min(blocks, kMostBatched);
        encrypt_batch(key, in, out, count, batch);
        in += count * kBlockSize;
        out += count * kBlockSize;
        blocks -= count;
    }
    wipe(&batch, sizeof batch);
    wipe_stack<1024>();
    return blocks;
}

} // namespace

void aes_encrypt_blocks_ssse3(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    const size_t left = blocks >= kFewestBlocks ? encrypt_batches(key, in, out, blocks) : blocks;
    const size_t done = (blocks - left) * kBlockSize;
    if (left != 0) {
        aes_encrypt_blocks_portable(key, in + done, out + done, left);
    }
}

} // namespace wbkit
