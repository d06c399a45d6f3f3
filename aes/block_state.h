// The state of blocks between rounds, for kernels that keep the bytes of each column backwards, as its words have them.
//
// Kernels for more than the smallest instruction set may call these functions: they ask for none themselves.
#pragma once

#include "aes/shift_rows.h"
#include "aes/table_layout.h"
#include "support/byte_order.h"

namespace wbkit {

constexpr size_t kColumns = 4;
constexpr size_t kRows = 4;

// Where a state has the byte that ShiftRows takes to a position of the block.
constexpr size_t shifted_index(size_t position) {
    return kShiftRows[position] ^ (kRows - 1);
}

// The word of a round's tables that a state has at a position, ShiftRows before it.
inline uint32_t load_word(const uint8_t *tables, const uint8_t *state, size_t position) {
    return load_le32(tables + position * kAesPositionBytes + state[shifted_index(position)] * kAesWordBytes);
}

inline void begin_blocks(const uint8_t *in, uint8_t *states, size_t blocks) {
    for (size_t i = 0; i < blocks * kBlockSize; i += kRows) {
        store_be32(states + i, load_le32(in + i));
    }
}

// The last round. `tables` are its own.
inline void end_blocks(const uint8_t *tables, const uint8_t *states, uint8_t *out, size_t blocks) {
    for (size_t i = 0; i < blocks * kBlockSize; i += kBlockSize) {
        for (size_t position = 0; position < kBlockSize; ++position) {
            out[i + position] = tables[position * kAesEntries + states[i + shifted_index(position)]];
        }
    }
}

} // namespace wbkit
