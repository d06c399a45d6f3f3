#include "builder/tables/mixing_matrix.h"

#include <algorithm>
#include <cstddef>
#include <span>

#include <openssl/crypto.h>

#include "builder/tables/gf2.h"
#include "builder/tables/predicted_masks.h"

namespace wbtables {
namespace {

// By mask of the matrix's input: whether it is a predicted mask of u behind some coefficient. The mask 0 counts as
// one: that no sum of rows is zero is what makes them independent.
constexpr std::array<bool, 256> kIsForbidden = [] {
    std::array<bool, 256> forbidden{true};
    for (unsigned mask = 1; mask < forbidden.size(); ++mask) {
        forbidden.at(mask) = std::any_of(kMixCoefficients.begin(), kMixCoefficients.end(), [mask](LinearMap map) {
            return kIsPredicted.at(mask_through(map, static_cast<std::uint8_t>(mask)));
        });
    }
    return forbidden;
}();

constexpr std::size_t kNibbleRows = 4;
using SumsOfRows = std::array<std::uint8_t, 1U << kNibbleRows>;

// Draws row after row until a sum is forbidden: about one nibble in forty is drawn to its end.
bool draw_nibble(std::span<std::uint8_t> rows, SumsOfRows &sums, RandomStream &random) {
    sums[0] = 0;
    for (std::size_t i = 0; i < kNibbleRows; ++i) {
        rows[i] = random.next();
        for (std::size_t k = 0; k < 1U << i; ++k) {
            const std::uint8_t sum = sums[k] ^ rows[i];
            if (kIsForbidden[sum]) {
                return false;
            }
            sums[(1U << i) + k] = sum;
        }
    }
    return true;
}

} // namespace

// To start again from nothing after each failure, even of the whole, keeps the result uniform.
MixingMatrix random_mixing_matrix(RandomStream &random) {
    MixingMatrix matrix{};
    SumsOfRows sums{};
    const std::span<std::uint8_t> rows = matrix;
    do {
        for (const auto nibble : {rows.first(kNibbleRows), rows.last(kNibbleRows)}) {
            while (!draw_nibble(nibble, sums, random)) {
            }
        }
    } while (!is_invertible(matrix));
    OPENSSL_cleanse(sums.data(), sums.size());
    return matrix;
}

} // namespace wbtables
