// How the fastest of several ways to do one thing is chosen.
#pragma once

#include <span>

#ifdef WBKIT_FORCED_KERNELS
#include <stdlib.h>
#include <string.h>
#endif

namespace wbkit {

#ifdef WBKIT_FORCED_KERNELS
// In builds with tests: whether WBKIT_KERNELS, names with commas between them, has this one.
inline bool is_forced(const char *name) {
    const char *list = getenv("WBKIT_KERNELS"); // NOLINT(concurrency-mt-unsafe): set before the program begins
    const size_t len = strlen(name);
    while (list != nullptr && *list != '\0') {
        const size_t item = strcspn(list, ",");
        if (item == len && memcmp(list, name, len) == 0) {
            return true;
        }
        list += item + (list[item] == ',' ? 1 : 0);
    }
    return false;
}
#else
constexpr bool is_forced(const char * /*name*/) {
    return false;
}
#endif

// A row has a `name` and says by `usable()` whether the CPU that runs can use it. The first usable row wins, unless
// another usable one is forced; the last row of every table is usable everywhere. Asked when an operation starts:
// nothing is remembered between calls.
template <typename Row>
const Row &choose_row(std::span<const Row> rows) {
    const Row *best = &rows.back();
    bool found = false;
    for (const Row &row : rows) {
        if (!row.usable()) {
            continue;
        }
        if (is_forced(row.name)) {
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
