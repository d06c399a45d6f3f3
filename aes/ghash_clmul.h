// What the kernels with carry-less multiplication of x86-64 keep in GhashState.powers.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "aes/ghash_kernel.h"

namespace wbkit {

// So many powers of the hash subkey make one sum of products, which is reduced once.
constexpr size_t kPclmulPowers = 8;
constexpr size_t kVpclmulPowers = 32;

// The subkey to the power of `exponent`, 1 to kVpclmulPowers. The highest comes first, as the first block of a sum is
// multiplied by it. Bytes are reversed, and the bits shifted by one: see ghash_pclmul.cpp.
inline uint8_t *ghash_power(GhashState &state, size_t exponent) {
    return state.powers + 16 * (kVpclmulPowers - exponent);
}
static_assert(16 * kVpclmulPowers == sizeof(GhashState::powers));

// Makes the first kPclmulPowers powers.
void ghash_make_powers_pclmul(GhashState &state);

} // namespace wbkit
