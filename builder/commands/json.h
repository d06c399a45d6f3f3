// JSON for machines that read what a command prints.
#pragma once

#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace wbtables {

// In the order in which fields are set. What a library says of itself may be no UTF-8: then it is made so.
inline void print_json(const nlohmann::ordered_json &document) {
    fmt::print("{}\n", document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

} // namespace wbtables
