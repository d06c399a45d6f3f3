#include <string.h>

#include "literal.h"

namespace bench::literal {
namespace {

void shift_rows(uint8_t state[16]) {
    constexpr uint8_t kFrom[16] = {0, 5, 10, 15, 4, 9, 14, 3, 8, 13, 2, 7, 12, 1, 6, 11};
    uint8_t old[16];
    memcpy(old, state, sizeof old);
    for (size_t i = 0; i < 16; ++i) {
        state[i] = old[kFrom[i]];
    }
}

// The nibbles of four words at one position, added through the XOR table.
uint32_t add(const uint8_t *xor_table, const uint32_t w[4], uint32_t shift) {
    const uint32_t left = xor_table[(w[0] >> shift & 15) * 16 + (w[1] >> shift & 15)];
    const uint32_t right = xor_table[(w[2] >> shift & 15) * 16 + (w[3] >> shift & 15)];
    return xor_table[left * 16 + right];
}

} // namespace

void aes_block(uint8_t state[16], tb_entry entry) {
    const uint8_t *round_table = entry.Tyboxes;
    shift_rows(state);
    for (int32_t round = 0; round < entry.Nr - 1; ++round) {
        for (size_t c = 0; c < 4; ++c) {
            uint32_t w[4];
            for (size_t j = 0; j < 4; ++j) {
                memcpy(&w[j], round_table + (4 * c + j) * 1024 + state[4 * c + j] * size_t{4}, 4);
            }
            for (uint32_t j = 0; j < 4; ++j) {
                const uint32_t high = add(entry.Xor, w, 28 - 8 * j);
                state[4 * c + j] = static_cast<uint8_t>(high << 4 | add(entry.Xor, w, 24 - 8 * j));
            }
        }
        shift_rows(state);
        round_table += 16384;
    }
    for (size_t p = 0; p < 16; ++p) {
        state[p] = entry.TboxesLast[p * 256 + state[p]];
    }
}

} // namespace bench::literal
