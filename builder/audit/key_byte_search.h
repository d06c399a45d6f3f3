// From the front of the cipher: the round key of the first table round, and of the second one where a key is longer
// than a round key. Each byte is guessed by itself. What makes a guess right is the attack's own matter.
//
// What the second round's tables are indexed with is stored bytes, and which true byte of which row stands behind each
// is unknown. With the first round key known, the running of the first round tells: one column byte is varied alone, so
// the true column behind it is known, and only one of its four rows takes the same stored values whichever byte is
// varied. This uses the XOR table for what it is made for, to run the cipher, and learns nothing from its entries.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>

#include "builder/audit/attack.h"
#include "builder/reader/table_cipher.h"

namespace wbtables {

// The 256 words that one place of a round looks up, by the true byte that the place holds: what the S-box gets, XOR the
// right key byte.
using WordsOfPlace = std::array<std::uint32_t, 256>;
using Explains = std::function<bool(const WordsOfPlace &words, std::uint8_t guess)>;

// A byte is found if `explains` holds for exactly one guess.
Recovery search_key_bytes(const AesTablesView &tables, const Explains &explains);

} // namespace wbtables
