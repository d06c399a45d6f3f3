// Implementation notes. The words of a block's sixteen look-ups stand in four vectors, one a row, a column a lane. Each
// pair of nibbles that the XOR table adds is then a byte of a vector, made by one shift-and-insert: high nibbles by
// SRI, low ones by SLI. So six look-ups of 16 bytes each add a whole round's nibbles, three after another for either
// half.
//
// A look-up in 256 entries would take four TBL over 64 bytes. Nibbles fit in two a byte, so that 128 bytes and two TBL
// do, for entry i and entry i + 128 at once; the index's top bit then chooses. Tables of the first step interleave the
// bits of the two, so that a shift by one, for which the index's top bit can be the count, chooses; its results come
// out at odd and at even bits, so the index of the second step has the bits of its two nibbles interleaved as well, and
// that step's table is ordered so. The second step's tables hold two nibbles side by side, as its results become a
// byte.
//
// What bounds it are the two vector pipes: TBL over four registers takes three micro-operations on many cores. That is
// why words come to the vectors by way of general registers, and why those of the next block are fetched beside the
// nibbles of the one before. A round goes over a whole batch, so that its 16 KiB of tables are read into the
// first-level cache once.

#include <arm_neon.h>
#include <string.h>

#include <algorithm>

#include "aes/block.h"
#include "aes/shift_rows.h"
#include "aes/table_layout.h"
#include "support/secret.h"
#include "support/target.h"

namespace wbkit {
namespace {

constexpr size_t kMostBatched = 128;

// Between rounds, the bytes of each column are reversed: the words of the round tables begin with row 3.
constexpr size_t kColumnReversed = 3;

struct NibbleTables {
    uint8x16x4_t first[2];
    uint8x16x4_t second[2];
};

// The bits of 0 to 15, spread to the even ones.
constexpr uint8_t kSpread[16] = {0x00, 0x01, 0x04, 0x05, 0x10, 0x11, 0x14, 0x15,
                                 0x40, 0x41, 0x44, 0x45, 0x50, 0x51, 0x54, 0x55};

// Sixteen entries of the XOR table in the order of interleaved indices, counted from the first of four rows of it: the
// odd bits of the position choose the row, the even ones the column.
constexpr uint8_t kInterleaved[16] = {0, 1, 16, 17, 2, 3, 18, 19, 32, 33, 48, 49, 34, 35, 50, 51};

WBKIT_INLINE uint8x16_t interleaved_entries(const uint8_t *xor_table, size_t group) {
    const size_t row = (group >> 3) * 2 + (group >> 1 & 1);
    const size_t column = (group >> 2 & 1) * 2 + (group & 1);
    const uint8x16_t index = vaddq_u8(vld1q_u8(kInterleaved), vdupq_n_u8(static_cast<uint8_t>(4 * column)));
    return vqtbl4q_u8(vld1q_u8_x4(xor_table + 64 * row), index);
}

// Entries of 16 and more lose their upper bits, or all.
WBKIT_INLINE NibbleTables prepare_tables(const uint8_t *xor_table) {
    NibbleTables tables; // NOLINT(cppcoreguidelines-pro-type-member-init): filled below
    const uint8x16_t spread = vld1q_u8(kSpread);
#pragma GCC unroll 8
    for (size_t i = 0; i < 8; ++i) {
        const uint8x16_t lower = vqtbl1q_u8(spread, vld1q_u8(xor_table + 16 * i));
        const uint8x16_t upper = vqtbl1q_u8(spread, vld1q_u8(xor_table + 128 + 16 * i));
        tables.first[i / 4].val[i % 4] = vorrq_u8(vaddq_u8(lower, lower), upper);
        tables.second[i / 4].val[i % 4] =
            vsliq_n_u8(interleaved_entries(xor_table, i), interleaved_entries(xor_table, i + 8), 4);
    }
    return tables;
}

WBKIT_INLINE uint8x16_t look_up(const uint8x16x4_t table[2], uint8x16_t index) {
    const uint8x16_t low = vandq_u8(index, vdupq_n_u8(0x7f));
    return vorrq_u8(vqtbl4q_u8(table[0], low), vqtbl4q_u8(table[1], veorq_u8(low, vdupq_n_u8(0x40))));
}

// The sum of two pairs' first entries at odd bits, of their second ones at even bits.
WBKIT_INLINE uint8x16_t first_step(const NibbleTables &tables, uint8x16_t left, uint8x16_t right) {
    // Shifts left by 1 where the top bit is 1.
    const uint8x16_t left_sum = vshlq_u8(look_up(tables.first, left), vreinterpretq_s8_u8(vshrq_n_u8(left, 7)));
    // Shifts right by 1 where the top bit is 0.
    const uint8x16_t right_sum =
        vshlq_u8(look_up(tables.first, right), vreinterpretq_s8_u8(vcgezq_s8(vreinterpretq_s8_u8(right))));
    return vbslq_u8(vdupq_n_u8(0xaa), left_sum, right_sum);
}

// In the lower half of each byte.
WBKIT_INLINE uint8x16_t second_step(const NibbleTables &tables, uint8x16_t index) {
    const uint8x16_t both = look_up(tables.second, index);
    return vbslq_u8(vcltzq_s8(vreinterpretq_s8_u8(index)), vshrq_n_u8(both, 4), both);
}

WBKIT_INLINE uint8x16_t add_words(const NibbleTables &tables, const uint8x16_t words[4]) {
    const uint8x16_t high = first_step(tables, vsriq_n_u8(words[0], words[1], 4), vsriq_n_u8(words[2], words[3], 4));
    const uint8x16_t low = first_step(tables, vsliq_n_u8(words[1], words[0], 4), vsliq_n_u8(words[3], words[2], 4));
    return vsliq_n_u8(second_step(tables, low), second_step(tables, high), 4);
}

WBKIT_INLINE uint8_t shifted_byte(const uint8_t *state, size_t position) {
    return state[kShiftRows[position] ^ kColumnReversed];
}

WBKIT_INLINE uint64_t word(const uint8_t *round_tables, const uint8_t *state, size_t position) {
    uint32_t value = 0;
    memcpy(&value, round_tables + position * kAesPositionBytes + shifted_byte(state, position) * kAesWordBytes,
           sizeof value);
    return value;
}

WBKIT_INLINE void fetch_words(const uint8_t *round_tables, const uint8_t *state, uint8x16_t words[4]) {
#pragma GCC unroll 4
    for (size_t row = 0; row < 4; ++row) {
        const uint64_t left = word(round_tables, state, row) | word(round_tables, state, row + 4) << 32;
        const uint64_t right = word(round_tables, state, row + 8) | word(round_tables, state, row + 12) << 32;
        words[row] = vreinterpretq_u8_u64(vcombine_u64(vcreate_u64(left), vcreate_u64(right)));
    }
}

WBKIT_INLINE void pass_round(const NibbleTables &tables, const uint8_t *round_tables, uint8_t *states, size_t blocks) {
    uint8x16_t words[4];
    fetch_words(round_tables, states, words);
    for (; blocks > 1; --blocks) {
        uint8x16_t next[4];
        fetch_words(round_tables, states + kBlockSize, next);
        vst1q_u8(states, add_words(tables, words));
        memcpy(words, next, sizeof words);
        states += kBlockSize;
    }
    vst1q_u8(states, add_words(tables, words));
}

WBKIT_INLINE void pass_last_round(const uint8_t *last_tables, const uint8_t *state, uint8_t *out) {
#pragma GCC unroll 16
    for (size_t position = 0; position < kBlockSize; ++position) {
        out[position] = last_tables[position * kAesEntries + shifted_byte(state, position)];
    }
}

WBKIT_INLINE void encrypt_batch(const tb_entry &key, const NibbleTables &tables, const uint8_t *in, uint8_t *out,
                                uint8_t *states, size_t blocks) {
    for (size_t block = 0; block < blocks; ++block) {
        vst1q_u8(states + block * kBlockSize, vrev32q_u8(vld1q_u8(in + block * kBlockSize)));
    }
    const int32_t table_rounds = aes_table_rounds(key.Nr);
    for (int32_t round = 0; round < table_rounds; ++round) {
        pass_round(tables, key.Tyboxes + static_cast<size_t>(round) * kAesRoundBytes, states, blocks);
    }
    for (size_t block = 0; block < blocks; ++block) {
        pass_last_round(key.TboxesLast, states + block * kBlockSize, out + block * kBlockSize);
    }
}

WBKIT_OUTLINE void encrypt_blocks(const tb_entry &key, const uint8_t *in, uint8_t *out, uint8_t *states,
                                  size_t blocks) {
    const NibbleTables tables = prepare_tables(key.Xor);
    while (blocks > 0) {
        const size_t batch = std::min(blocks, kMostBatched);
        encrypt_batch(key, tables, in, out, states, batch);
        in += batch * kBlockSize;
        out += batch * kBlockSize;
        blocks -= batch;
    }
}

} // namespace

void aes_encrypt_blocks_neon(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    uint8_t states[kMostBatched * kBlockSize];
    encrypt_blocks(key, in, out, states, blocks);
    wipe(states, std::min(blocks, kMostBatched) * kBlockSize);
    wipe_stack();
}

} // namespace wbkit
