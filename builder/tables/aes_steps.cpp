#include "builder/tables/aes_steps.h"

namespace wbtables {
namespace {

// Multiplies each column by the circulant matrix with this first row (5.1.3 and 5.3.3).
AesState multiply_columns(const std::array<unsigned, 4> &first_row, const AesState &state) {
    AesState out{};
    for (std::size_t place = 0; place < kAesBlock; ++place) {
        const std::size_t row = place % 4;
        for (std::size_t from = 0; from < 4; ++from) {
            out[place] ^= multiply_field(first_row[(from + 4 - row) % 4], state[place - row + from]);
        }
    }
    return out;
}

} // namespace

const std::array<std::uint8_t, 256> &aes_inverse_sbox() {
    static const auto inverse = [] {
        std::array<std::uint8_t, 256> table{};
        for (std::size_t x = 0; x < table.size(); ++x) {
            table[kAesSbox[x]] = static_cast<std::uint8_t>(x);
        }
        return table;
    }();
    return inverse;
}

AesState mix_columns(const AesState &state) {
    return multiply_columns({2, 3, 1, 1}, state);
}

AesState inverse_mix_columns(const AesState &state) {
    return multiply_columns({14, 11, 13, 9}, state);
}

} // namespace wbtables
