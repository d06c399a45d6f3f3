// The ciphers, and HMAC, with their keys in clear (OpenSSL): what tables are compared with, and what encrypts signing
// keys.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "builder/keys/key_set.h"

namespace wbtables {

enum class ClearMode { ecb, ctr, cfb };

// Encrypts `in` without padding. `iv` has 16 bytes; ECB ignores it and takes whole blocks.
std::vector<std::uint8_t> clear_encrypt(Algorithm algorithm, ClearMode mode, std::span<const std::uint8_t> key,
                                        std::span<const std::uint8_t> iv, std::span<const std::uint8_t> in);

// HMAC-SHA256 (RFC 2104).
SecretBytes clear_hmac(std::span<const std::uint8_t> key, std::span<const std::uint8_t> message);

} // namespace wbtables
