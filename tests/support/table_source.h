// Table libraries as a test wants them, sound or malformed: a generator of its own, which knows nothing of the
// project's builder and refuses nothing.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace test {

using Slots = std::vector<std::optional<std::string>>;

class TableSource {
  public:
    TableSource &text(const std::string &symbol, const std::string &value);
    TableSource &number(const std::string &symbol, int32_t value);
    TableSource &bytes(const std::string &symbol, const Bytes &value);
    // Ten pointers; missing ones are null.
    TableSource &slots(const std::string &symbol, const Slots &values);

    // wbid, version and empty key lists: a library that opens.
    TableSource &header(const std::string &wbid, int32_t version);
    // Every table of an AES key, without encodings.
    TableSource &aes_tables(const std::string &key_id, const Bytes &key);
    // The table set of an SM4 key from its 32 round keys' bytes; zero bytes do for a test of look-ups.
    TableSource &sm4_table(const std::string &key_id);

    // Leaves a symbol out that was named before.
    TableSource &without(const std::string &symbol);

    // Compiles DIR/libwb_tables_<wbid>_<version>.so.
    std::filesystem::path build(const std::filesystem::path &dir, const std::string &wbid, int32_t version) const;

  private:
    struct Symbol {
        std::string name;
        std::string body; // assembler
    };
    TableSource &set(const std::string &name, const std::string &body);

    std::vector<Symbol> symbols_;
};

// The unencoded tables of an AES key, folded from its key schedule as FIPS 197 writes it.
struct AesTables {
    int32_t round_count;
    Bytes xor_table;
    Bytes round_tables;
    Bytes last_round;
};
AesTables fold_aes_key(const Bytes &key);

} // namespace test
