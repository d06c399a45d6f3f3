// How the state bytes of one AES key look between its table rounds.
#pragma once

#include <cstddef>
#include <cstdint>

#include "builder/keys/secret_bytes.h"

namespace wbtables {

enum class EncodingKind {
    none,       // bytes are themselves: the key can be read from the tables
    randomised, // the default
};

// A byte y at one position of the state behind one table round is stored as f(L y): L is a random invertible matrix
// over GF(2) of that round and position, f one random bijection of nibbles, applied to both halves, for the whole key.
//
// The XOR table has X[f(a)][f(b)] = f(a XOR b). Since L is linear, the contributions of a column can be XORed through
// it whatever L they carry, so one table serves every round.
class Encoding {
  public:
    // `boundaries` is the number of table rounds.
    Encoding(EncodingKind kind, std::size_t boundaries);

    // The map of one boundary and position, and its inverse.
    [[nodiscard]] const std::uint8_t *to_stored(std::size_t boundary, std::size_t position) const;
    [[nodiscard]] const std::uint8_t *to_plain(std::size_t boundary, std::size_t position) const;

    [[nodiscard]] const SecretBytes &xor_table() const { return xor_table_; }

  private:
    void set_xor_table(const SecretBytes &nibbles);
    void set_maps(std::size_t index, EncodingKind kind, const SecretBytes &nibbles);

    SecretBytes to_stored_;
    SecretBytes to_plain_;
    SecretBytes xor_table_;
};

} // namespace wbtables
