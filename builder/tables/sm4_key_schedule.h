// The SM4 S-box and key expansion (GB/T 32907-2016, 6.2 and 7.3).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "builder/keys/secret_bytes.h"

namespace wbtables {

constexpr std::size_t kSm4Rounds = 32;

extern const std::array<std::uint8_t, 256> kSm4Sbox;

// The round keys one after the other, 4 big-endian bytes each.
SecretBytes expand_sm4_key(std::span<const std::uint8_t, 16> key);

// The way back: the key of the first four round keys.
SecretBytes sm4_key_of_round_keys(std::span<const std::uint8_t, 16> first_four);

} // namespace wbtables
