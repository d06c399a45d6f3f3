// The compression function of SHA-256 over whole blocks.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace wbkit {

constexpr size_t kSha256BlockSize = 64;
constexpr size_t kSha256DigestSize = 32;

// Compresses `blocks` 64-byte blocks into the chaining value (FIPS 180-4, 6.2.2).
void sha256_compress(uint32_t state[8], const uint8_t *data, size_t blocks);

} // namespace wbkit
