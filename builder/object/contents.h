// Which symbols a table library exports and what they hold.
#pragma once

#include "builder/keys/key_set.h"
#include "builder/object/image.h"
#include "builder/tables/encoding.h"

namespace wbtables {

// `set` keeps the rules of builder/keys/rules.h.
Image table_library_image(const KeySet &set, EncodingKind kind);

} // namespace wbtables
