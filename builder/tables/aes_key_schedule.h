// The AES S-box and key expansion (FIPS 197, 5.1.1 and 5.2).
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "builder/keys/secret_bytes.h"

namespace wbtables {

// Multiplication by x in the field of AES.
constexpr std::uint8_t xtime(std::uint8_t a) {
    return static_cast<std::uint8_t>(static_cast<unsigned>(a) << 1U ^ ((a & 0x80U) != 0 ? 0x1BU : 0U));
}

extern const std::array<std::uint8_t, 256> kAesSbox;

// 16 * (rounds + 1) bytes. `key` has 16, 24 or 32.
SecretBytes expand_aes_key(std::span<const std::uint8_t> key);

// The way back: the key whose schedule ends with `end`, which is as long as the key.
SecretBytes aes_key_of_schedule_end(std::span<const std::uint8_t> end);

} // namespace wbtables
