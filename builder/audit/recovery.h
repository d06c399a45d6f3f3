// How an attack ends.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "builder/audit/attack.h"
#include "builder/audit/confirm.h"

namespace wbtables {

inline Recovery without_key(std::string remark) {
    return {std::nullopt, 0, std::move(remark)};
}

inline Recovery without_format() {
    return without_key("the tables have not the sizes of the format");
}

template <typename TablesView>
Recovery with_key_if_confirmed(const TablesView &tables, SecretBytes key) {
    if (!confirms(tables, key)) {
        return without_key("the tables do not encrypt under the key that they suggest");
    }
    return {std::move(key), 0, {}};
}

} // namespace wbtables
