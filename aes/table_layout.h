// Where an AES key's tables hold what.
#pragma once

#include <stddef.h>

#include "modes/block_cipher.h"

namespace wbkit {

// A round table entry [r][p][x] is the 32-bit little-endian word that state byte x at position p (after ShiftRows) adds
// to its column in round r: key addition, S-box and MixColumns in one look-up. Bits 31 to 24 go to row 0.
// A last-round entry [p][x] is a byte.
constexpr size_t kAesEntries = 256;
constexpr size_t kAesWordBytes = 4;
constexpr size_t kAesPositionBytes = kAesEntries * kAesWordBytes;
constexpr size_t kAesRoundBytes = kBlockSize * kAesPositionBytes;

} // namespace wbkit
