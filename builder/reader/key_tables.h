// The tables of one key as a table library holds them, wherever they stand.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace wbtables {

struct AesTablesView {
    std::string key_id;
    std::uint32_t rounds = 0;                   // 10, 12 or 14
    std::span<const std::uint8_t> xor_table;    // 256 nibbles, a byte each: [a][b]
    std::span<const std::uint8_t> round_tables; // (rounds - 1) * 16 * 256 little-endian 32-bit words
    std::span<const std::uint8_t> last_round;   // 16 * 256 bytes
};

struct Sm4TablesView {
    std::string key_id;
    std::span<const std::uint8_t> tables; // 32 * 4 * 256 bytes: [round][lane][byte]
};

} // namespace wbtables
