#include "builder/tables/gf2.h"

#include "builder/keys/random.h"

namespace wbtables {

bool is_invertible(const Gf2Matrix &columns) {
    // Eliminates column by column: each must keep a bit that no earlier one accounts for.
    Gf2Matrix rest = columns;
    for (std::size_t i = 0; i < rest.size(); ++i) {
        if (rest[i] == 0) {
            return false;
        }
        const unsigned pivot = rest[i] & -static_cast<unsigned>(rest[i]);
        for (std::size_t k = i + 1; k < rest.size(); ++k) {
            if ((rest[k] & pivot) != 0) {
                rest[k] ^= rest[i];
            }
        }
    }
    return true;
}

Gf2Matrix random_invertible_matrix() {
    Gf2Matrix columns{};
    do {
        fill_random(columns);
    } while (!is_invertible(columns));
    return columns;
}

std::uint8_t multiply(const Gf2Matrix &columns, std::uint8_t byte) {
    std::uint8_t image = 0;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if ((byte & 1U << i) != 0) {
            image ^= columns[i];
        }
    }
    return image;
}

} // namespace wbtables
