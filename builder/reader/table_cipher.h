// The block functions as a key's tables define them, over tables that were read as a file of any ABI. They are hostile:
// whatever they hold, no index leaves a table.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "builder/reader/key_tables.h"
#include "builder/tables/aes_steps.h"

namespace wbtables {

class AesTableCipher {
  public:
    // One stored byte changed by XOR behind a table round.
    struct Fault {
        std::size_t round;
        std::size_t place;
        std::uint8_t change;
    };

    // Nothing if the tables have not the format's sizes. The views must outlive it.
    static std::optional<AesTableCipher> over(const AesTablesView &tables);

    [[nodiscard]] std::size_t rounds() const { return rounds_; } // those of AES; one less go through the round tables
    [[nodiscard]] std::size_t key_len() const { return 4 * (rounds_ - 6); }

    // What a state byte at `place` behind ShiftRows looks up in a table round; output row 0 in the top byte.
    [[nodiscard]] std::uint32_t word(std::size_t round, std::size_t place, std::uint8_t stored) const;
    // What the XOR table makes of each pair of nibbles.
    [[nodiscard]] std::uint32_t add(std::uint32_t a, std::uint32_t b) const;
    [[nodiscard]] AesState run_round(std::size_t round, const AesState &state) const;
    [[nodiscard]] AesState encrypt(const AesState &block, const std::optional<Fault> &fault = {}) const;

  private:
    explicit AesTableCipher(const AesTablesView &tables);

    std::size_t rounds_;
    std::span<const std::uint8_t> round_tables_;
    std::span<const std::uint8_t> last_round_;
    std::array<std::uint8_t, 256> xor_table_{}; // entries cut to nibbles
};

class Sm4TableCipher {
  public:
    static std::optional<Sm4TableCipher> over(const Sm4TablesView &tables);

    [[nodiscard]] std::uint8_t entry(std::size_t round, std::size_t lane, std::uint8_t byte) const;
    [[nodiscard]] std::array<std::uint8_t, 16> encrypt(const std::array<std::uint8_t, 16> &block) const;

  private:
    explicit Sm4TableCipher(const Sm4TablesView &tables) : tables_(tables.tables) {}

    std::span<const std::uint8_t> tables_;
};

} // namespace wbtables
