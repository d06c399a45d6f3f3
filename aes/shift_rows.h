// ShiftRows (FIPS 197, 5.1.2) as one permutation of the column-major state.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace wbkit {

// New byte i is old byte kShiftRows[i].
constexpr uint8_t kShiftRows[16] = {0, 5, 10, 15, 4, 9, 14, 3, 8, 13, 2, 7, 12, 1, 6, 11};

// `state` and `shifted` do not overlap.
constexpr void shift_rows(const uint8_t *state, uint8_t *shifted) {
    for (size_t i = 0; i < 16; ++i) {
        shifted[i] = state[kShiftRows[i]];
    }
}

} // namespace wbkit
