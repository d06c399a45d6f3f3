// How the nibbles of one AES key are stored, and how they are added.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "builder/keys/secret_bytes.h"
#include "builder/tables/encoding_kind.h"

namespace wbtables {

// A nibble v is stored as h(v), h a bijection of which every combination of output bits is as far from every affine
// function as four bits allow (linearity 8). The XOR table is X[a][b] = h(A h'(a) + B h'(b) + c), h' the inverse of h,
// + the XOR, A and B invertible 4x4 matrices over GF(2), c a nibble.
//
// The block function takes the words w0 to w3 of a column, row 0 first, as X[X[w0][w1]][X[w2][w3]], that is
//   h(AA h'(w0) + AB h'(w1) + BA h'(w2) + BB h'(w3) + (A + B + I) c).
// So a word of row i that contributes v holds h(M v), M the inverse of AA, AB, BA or BB, and the sum is short of the
// contributions' by the constant term.
//
// Drawn independently, uniform each: h among the bijections of linearity 8, A and B among the invertible matrices, c.
class NibbleCode {
  public:
    explicit NibbleCode(EncodingKind kind);

    // Both nibbles of a byte.
    [[nodiscard]] std::uint8_t stored(std::uint8_t byte) const { return on_both(kStored, byte); }
    [[nodiscard]] std::uint8_t contribution(std::size_t row, std::uint8_t byte) const { return on_both(row, byte); }
    [[nodiscard]] std::uint8_t constant() const { return constant_; }

    [[nodiscard]] const SecretBytes &xor_table() const { return xor_table_; }

  private:
    static constexpr std::size_t kNibbles = 16;
    static constexpr std::size_t kStored = 4; // behind the maps of the four rows

    [[nodiscard]] std::uint8_t on_both(std::size_t map, std::uint8_t byte) const {
        const std::uint8_t *const image = &maps_[map * kNibbles];
        return static_cast<std::uint8_t>(image[byte >> 4U] << 4U | image[byte & 15U]);
    }

    SecretBytes maps_;
    SecretBytes xor_table_;
    std::uint8_t constant_ = 0;
};

} // namespace wbtables
