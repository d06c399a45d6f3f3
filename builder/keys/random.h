// Random numbers for secrets, from OpenSSL's private generator.
#pragma once

#include <cstdint>
#include <span>

#include "builder/keys/secret_bytes.h"

namespace wbtables {

void fill_random(std::span<std::uint8_t> out);
SecretBytes random_bytes(std::size_t count);

// Uniform in 0 .. bound - 1. 0 < bound <= 256.
unsigned random_below(unsigned bound);

// Makes `out` a uniformly random permutation of 0 .. out.size() - 1 (Fisher-Yates). out.size() <= 256.
void random_permutation(std::span<std::uint8_t> out);

} // namespace wbtables
