// What the tables of any library of the format hold, whoever made it and however they are encoded.
#pragma once

#include <string>
#include <vector>

#include "builder/reader/key_tables.h"

namespace wbtables {

// A sentence for each thing that is wrong, naming the key, the table and the place.
//
// AES: the XOR table has entries below 16 and combines four words as an XOR under some bijection of nibbles; in each
// round table each byte of the words, and in each table of the last round the byte, takes all 256 values. SM4: each
// table is the S-box behind the XOR with one byte.
std::vector<std::string> table_problems(const AesTablesView &tables);
std::vector<std::string> table_problems(const Sm4TablesView &tables);

// The XOR table is the plain one, so that nibbles stand for themselves.
bool adds_plain_nibbles(const AesTablesView &tables);

} // namespace wbtables
