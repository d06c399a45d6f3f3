#include "builder/tables/gf2.h"

#include <array>
#include <cstddef>

#include <openssl/crypto.h>

namespace wbtables {

std::uint8_t multiply(std::span<const std::uint8_t> rows, std::uint8_t word) {
    unsigned image = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        image |= static_cast<unsigned>(parity(rows[i] & word)) << i;
    }
    return static_cast<std::uint8_t>(image);
}

bool is_invertible(std::span<const std::uint8_t> rows) {
    // All sums of the rows are different exactly if no sum of some of them is zero.
    std::array<std::uint8_t, 256> sums{};
    bool invertible = true;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        for (std::size_t k = 0; k < 1U << i; ++k) {
            sums[(1U << i) + k] = sums[k] ^ rows[i];
            invertible = invertible && sums[(1U << i) + k] != 0;
        }
    }
    OPENSSL_cleanse(sums.data(), sums.size());
    return invertible;
}

} // namespace wbtables
