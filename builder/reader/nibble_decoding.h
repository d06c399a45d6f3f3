// Nibbles as the XOR table adds them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace wbtables {

// A decoding of nibbles, right up to an affine map, from 16 x 16 entries of an XOR table; nothing if it adds no
// nibbles.
//
// X[a][b] = h(A h^-1(a) + B h^-1(b) + c), with any bijection h and any matrices A and B over GF(2). Row a is a
// permutation of nibbles; followed by row 0 backwards, only h(y) -> h(y + A (h^-1(a) + h^-1(0))) remains of it. So the
// rows give all 16 translations, seen through h, and where they take one nibble tells h apart from its affine part.
std::optional<std::array<std::uint8_t, 16>> decode_nibbles(std::span<const std::uint8_t> xor_table);

} // namespace wbtables
