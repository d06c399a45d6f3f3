// The tables of one SM4 key (GB/T 32907-2016): the S-box with the round keys folded in.
#pragma once

#include <cstdint>
#include <span>

#include "builder/keys/secret_bytes.h"

namespace wbtables {

// [round][lane][byte]: 32 x 4 x 256 bytes, lane 0 for the top byte of the round's word. The block function XORs plain
// words between the look-ups, so no encoding is possible and entry 0 of a lane tells its round-key byte.
SecretBytes make_sm4_tables(std::span<const std::uint8_t, 16> key);

} // namespace wbtables
