// JSON for machines that read what a command prints.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace wbtables {

// In the order in which fields are set. What a library says of itself and a path may be no UTF-8: then it is made so.
inline std::string json_text(const nlohmann::ordered_json &document) {
    return document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

} // namespace wbtables
