// What the library can serve. A key set that breaks one of these rules is never built.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "builder/keys/key_set.h"

namespace wbtables {

struct Problem {
    std::optional<std::size_t> key; // index in the key set; none: the field is the key set's own
    std::string field;              // as a manifest names it
    std::string message;            // names the field and its limit, never a secret
};

std::vector<Problem> name_problems(const KeySet &set);
std::vector<Problem> secret_problems(const KeySet &set);
// Of wbid, appid and sk alone, for libraries of other builders: their wbid may hold what ours do not.
std::vector<Problem> caller_problems(const KeySet &set);

// Throws an Error with a line for each problem, if there are any.
void refuse(const std::vector<Problem> &problems);

} // namespace wbtables
