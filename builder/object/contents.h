// Which symbols a table library exports and what they hold.
#pragma once

#include <string_view>

#include "builder/keys/key_set.h"
#include "builder/object/image.h"
#include "builder/tables/encoding.h"

namespace wbtables {

// "hardened" or "none", as symbol wbtables_encoding says it.
std::string_view encoding_name(EncodingKind kind);

// `set` keeps the rules of builder/keys/rules.h.
Image table_library_image(const KeySet &set, EncodingKind kind);

} // namespace wbtables
