#include "builder/tables/column_order.h"

#include <numeric>
#include <span>

#include "builder/keys/random.h"

namespace wbtables {

ColumnOrder::ColumnOrder(EncodingKind kind, std::size_t table_rounds) : columns_((table_rounds + 2) * 4) {
    for (std::size_t round = 0; round < table_rounds + 2; ++round) {
        const auto columns = std::span(columns_).subspan(round * 4, 4);
        if (kind == EncodingKind::hardened && round >= 2 && round < table_rounds) {
            random_permutation(columns);
        } else {
            std::iota(columns.begin(), columns.end(), std::uint8_t{0});
        }
    }
}

std::size_t ColumnOrder::true_position(std::size_t round, std::size_t position) const {
    const std::size_t column = true_column(round, position / 4);
    const std::size_t moved_to = true_column(round + 1, position / 4 + 4 - position % 4);
    return 4 * column + (column + 4 - moved_to) % 4;
}

} // namespace wbtables
