// In which order the columns of an AES state are stored between its table rounds.
#pragma once

#include <cstddef>

#include "builder/keys/secret_bytes.h"
#include "builder/tables/encoding_kind.h"

namespace wbtables {

// Before each table round, stored column k holds true column c[k], c a random permutation of that round. The input's
// and the output's order is the true one, and with them that before the second round and before the last, since
// ShiftRows is the block function's: it fixes in which row each byte of a column is stored. The byte that ShiftRows
// moves from column k, row i to column k - i must be one that the true ShiftRows moves to the column that is stored
// there in the next round, so it is of true row c[k] - c_next[k - i], modulo 4.
//
// Uniform, independently for each of the rounds in between.
class ColumnOrder {
  public:
    ColumnOrder(EncodingKind kind, std::size_t table_rounds);

    // The true position of the byte that is stored at `position` before a round, the last round's being table_rounds.
    [[nodiscard]] std::size_t true_position(std::size_t round, std::size_t position) const;

  private:
    [[nodiscard]] std::size_t true_column(std::size_t round, std::size_t column) const {
        return columns_[round * 4 + column % 4];
    }

    SecretBytes columns_; // [round][column]
};

} // namespace wbtables
