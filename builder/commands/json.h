// Prints JSON.
#pragma once

#include <fmt/format.h>

#include "builder/json_text.h"

namespace wbtables {

inline void print_json(const nlohmann::ordered_json &document) {
    fmt::print("{}", json_text(document));
}

} // namespace wbtables
