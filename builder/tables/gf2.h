// Linear maps over GF(2) of words of up to 8 bits.
#pragma once

#include <bit>
#include <cstdint>
#include <span>

namespace wbtables {

constexpr bool parity(unsigned bits) {
    return (std::popcount(bits) & 1) != 0;
}

// Bit i of the image is the parity of the bits that rows[i] selects.
std::uint8_t multiply(std::span<const std::uint8_t> rows, std::uint8_t word);

// `rows` has as many rows as columns, at most 8.
bool is_invertible(std::span<const std::uint8_t> rows);

} // namespace wbtables
