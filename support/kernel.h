// How the fastest of several ways to do one thing is chosen.
#pragma once

#include <stddef.h>

#include <span>

namespace wbkit {

// The kernels that a test or a benchmark asks for: names with commas between them. Null in the library that ships.
const char *forced_kernels();

// Written out, since benchmarks measure short calls with forced kernels.
constexpr bool is_listed(const char *list, const char *name) {
    while (*list != '\0') {
        size_t i = 0;
        while (name[i] != '\0' && list[i] == name[i]) {
            ++i;
        }
        if (name[i] == '\0' && (list[i] == ',' || list[i] == '\0')) {
            return true;
        }
        while (list[i] != ',' && list[i] != '\0') {
            ++i;
        }
        list += list[i] == ',' ? i + 1 : i;
    }
    return false;
}

// A row has a `name` and says by `usable()` whether the CPU that runs can use it. The first usable row wins, unless
// another usable one is forced; the last row of every table is usable everywhere. Asked when an operation starts:
// nothing is remembered between calls.
template <typename Row>
const Row &choose_row(std::span<const Row> rows) {
    const char *const forced = forced_kernels();
    const Row *best = &rows.back();
    bool found = false;
    for (const Row &row : rows) {
        if (!row.usable()) {
            continue;
        }
        if (forced != nullptr && is_listed(forced, row.name)) {
            return row;
        }
        if (!found) {
            best = &row;
            found = true;
        }
    }
    return *best;
}

} // namespace wbkit
