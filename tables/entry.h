// The tables of one key id.
#pragma once

#include <stdint.h>

#include "quen/tables.h"
#include "tables/library.h"

namespace wbkit {

// get_tb_entry of quen/tables.h for a library that was opened, without the library's texts. `wbid` and `version` are
// what was asked for.
tb_entry find_key(const CheckedLibrary &library, const char *wbid, const char *key_id, int32_t version);

} // namespace wbkit
