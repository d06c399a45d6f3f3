// How the state bytes of one AES key look between its table rounds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "builder/keys/secret_bytes.h"
#include "builder/tables/encoding_kind.h"
#include "builder/tables/nibble_code.h"

namespace wbtables {

// A byte y at one position of the state behind one table round is stored as the nibble code of L y + e: L is a mixing
// matrix, e a byte, both of that round and position. The four words that are added to the stored byte contribute
// L y_i + e_i each; the e_i are random, e is their sum and the constant term of the XOR table.
class Encoding {
  public:
    // `boundaries` is the number of table rounds.
    Encoding(EncodingKind kind, std::size_t boundaries);

    // What a word of `row` holds for its share `byte` of the byte at a position.
    [[nodiscard]] std::uint8_t contribution(std::size_t boundary, std::size_t position, std::size_t row,
                                            std::uint8_t byte) const;
    // The byte that stands at a position as `stored`.
    [[nodiscard]] std::uint8_t plain(std::size_t boundary, std::size_t position, std::size_t stored) const;

    [[nodiscard]] const SecretBytes &xor_table() const { return nibbles_.xor_table(); }

  private:
    void set_place(std::size_t place, std::span<const std::uint8_t> matrix);

    NibbleCode nibbles_;
    SecretBytes mixed_; // [place][byte]
    SecretBytes masks_; // [place][row]
    SecretBytes plain_; // [place][stored byte]
};

} // namespace wbtables
