// The white-box tables of one AES key: round keys, S-box and MixColumns folded into look-ups.
#pragma once

#include <cstdint>
#include <span>

#include "builder/keys/secret_bytes.h"
#include "builder/tables/encoding.h"

namespace wbtables {

// The block function starts each round with ShiftRows and indexes with the moved bytes, so a table at position p serves
// the byte that ShiftRows moves there and contains that byte's round key.
struct AesTables {
    SecretBytes round_count;  // a little-endian 32-bit word
    SecretBytes xor_table;    // [a][b]: 16 x 16 nibbles, a byte each
    SecretBytes round_tables; // [round][position][byte]: little-endian 32-bit words, output row 0 in the top byte
    SecretBytes last_round;   // [position][byte]: bytes
};

// `key` has 16, 24 or 32 bytes.
AesTables make_aes_tables(std::span<const std::uint8_t> key, EncodingKind kind);

} // namespace wbtables
