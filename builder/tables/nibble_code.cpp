#include "builder/tables/nibble_code.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <span>

#include "builder/keys/random.h"
#include "builder/tables/gf2.h"

namespace wbtables {
namespace {

constexpr std::size_t kNibbles = 16;
constexpr int kLeastLinearity = 8; // no bijection of 16 values has less

// No sum, over all inputs, of -1 to the power of a combination of output bits plus one of input bits is greater.
bool has_least_linearity(std::span<const std::uint8_t> bijection) {
    for (unsigned out_mask = 1; out_mask < kNibbles; ++out_mask) {
        for (unsigned in_mask = 0; in_mask < kNibbles; ++in_mask) {
            int sum = 0;
            for (unsigned in = 0; in < kNibbles; ++in) {
                sum += parity((out_mask & bijection[in]) ^ (in_mask & in)) ? -1 : 1;
            }
            if (std::abs(sum) > kLeastLinearity) {
                return false;
            }
        }
    }
    return true;
}

void draw_bijection(std::span<std::uint8_t> bijection) {
    do {
        random_permutation(bijection);
    } while (!has_least_linearity(bijection));
}

// The images of all nibbles under an invertible matrix.
void draw_linear_map(std::span<std::uint8_t> map) {
    SecretBytes rows(4);
    do {
        fill_random(rows);
        std::for_each(rows.begin(), rows.end(), [](std::uint8_t &row) { row &= 15U; });
    } while (!is_invertible(rows));
    for (unsigned nibble = 0; nibble < map.size(); ++nibble) {
        map[nibble] = multiply(rows, static_cast<std::uint8_t>(nibble));
    }
}

} // namespace

NibbleCode::NibbleCode(EncodingKind kind) : maps_(kNibbles * 5), xor_table_(kNibbles * kNibbles) {
    SecretBytes left(kNibbles);  // A
    SecretBytes right(kNibbles); // B
    std::uint8_t term = 0;       // c
    const std::span stored = std::span(maps_).subspan(kStored * kNibbles);
    for (const std::span<std::uint8_t> map : {std::span(left), std::span(right), stored}) {
        std::iota(map.begin(), map.end(), std::uint8_t{0});
    }
    if (kind == EncodingKind::hardened) {
        draw_bijection(stored);
        draw_linear_map(left);
        draw_linear_map(right);
        term = static_cast<std::uint8_t>(random_below(kNibbles));
    }
    const SecretBytes *const factors[][2] = {{&left, &left}, {&left, &right}, {&right, &left}, {&right, &right}};
    for (std::size_t a = 0; a < kNibbles; ++a) {
        for (std::size_t b = 0; b < kNibbles; ++b) {
            xor_table_[stored[a] * kNibbles + stored[b]] = stored[left[a] ^ right[b] ^ term];
        }
        for (std::size_t row = 0; row < std::size(factors); ++row) {
            const auto &[outer, inner] = factors[row];
            maps_[row * kNibbles + (*outer)[(*inner)[a]]] = stored[a];
        }
    }
    const auto constant = static_cast<unsigned>(left[term] ^ right[term] ^ term);
    constant_ = static_cast<std::uint8_t>(constant << 4U | constant);
}

} // namespace wbtables
