// Where an SM4 key's table set holds what.
#pragma once

#include <stddef.h>

namespace wbkit {

// Entry x of lane j in round i is Sbox(x XOR byte j of the round key): key addition and S-box in one look-up. Lane 0 is
// the most significant byte.
constexpr size_t kSm4Rounds = 32;
constexpr size_t kSm4LaneBytes = 256;
constexpr size_t kSm4RoundBytes = 4 * kSm4LaneBytes;

} // namespace wbkit
