// Linear maps of bytes: 8x8 matrices over GF(2).
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace wbtables {

// columns[i] is the image of the byte 1 << i.
using Gf2Matrix = std::array<std::uint8_t, 8>;

bool is_invertible(const Gf2Matrix &columns);

// Uniform among the invertible matrices.
Gf2Matrix random_invertible_matrix();

std::uint8_t multiply(const Gf2Matrix &columns, std::uint8_t byte);

} // namespace wbtables
