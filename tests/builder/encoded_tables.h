// AES tables in a random encoding out of all that the format admits, more than the builder itself makes.
#pragma once

#include "builder/reader/key_tables.h"
#include "support/bytes.h"

namespace test {

struct EncodedTables {
    std::uint32_t rounds = 0;
    Bytes xor_table;
    Bytes round_tables;
    Bytes last_round;

    [[nodiscard]] wbtables::AesTablesView view() const { return {"key", rounds, xor_table, round_tables, last_round}; }
};

EncodedTables encoded_tables(const Bytes &key);

} // namespace test
