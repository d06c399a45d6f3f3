// The linear part of a stored byte's encoding.
#pragma once

#include <array>
#include <cstdint>

#include "builder/keys/random.h"

namespace wbtables {

// The rows of an invertible 8x8 matrix, the lower nibble's first (builder/tables/gf2.h). Whatever coefficient of
// MixColumns an S-box output u meets before the matrix, no sum of rows of one nibble is one of the masks of u that
// attacks by correlation predict. A word's nibbles are functions of such sums, so none of their bits and no combination
// of the bits of one nibble correlates with a prediction for the right key: over all bytes of plaintext the
// correlation is exactly zero.
//
// Uniform among all such matrices.
using MixingMatrix = std::array<std::uint8_t, 8>;
MixingMatrix random_mixing_matrix(RandomStream &random);

} // namespace wbtables
