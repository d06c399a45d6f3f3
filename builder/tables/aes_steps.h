// Steps of the clear cipher (FIPS 197, 5.1) byte by byte, as tables are made of them and attacks take them apart.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "builder/tables/aes_key_schedule.h"

namespace wbtables {

constexpr std::size_t kAesBlock = 16;
using AesState = std::array<std::uint8_t, kAesBlock>; // column-major, as a block's bytes arrive

// The place whose byte ShiftRows moves to `place`, and the place that it moves the byte at `place` to.
constexpr std::size_t shifted_from(std::size_t place) {
    return (place + place % 4 * 4) % kAesBlock;
}
constexpr std::size_t shifted_to(std::size_t place) {
    return (place + kAesBlock - place % 4 * 4) % kAesBlock;
}

// What MixColumns multiplies input row `from` by in output row `to`: 1, 2 or 3.
constexpr unsigned mix_coefficient(std::size_t to, std::size_t from) {
    constexpr std::array<unsigned, 4> kRow = {2, 3, 1, 1};
    return kRow[(from + 4 - to) % 4];
}

// The product in the field of AES.
constexpr std::uint8_t multiply_field(unsigned factor, std::uint8_t byte) {
    std::uint8_t product = 0;
    for (; factor != 0; factor >>= 1U, byte = xtime(byte)) {
        product ^= (factor & 1U) != 0 ? byte : std::uint8_t{0};
    }
    return product;
}

const std::array<std::uint8_t, 256> &aes_inverse_sbox();

AesState mix_columns(const AesState &state);
AesState inverse_mix_columns(const AesState &state);

} // namespace wbtables
