// The texts of a table library's metadata, for those who read them in place.
#pragma once

#include "quen/tables.h"
#include "tables/library.h"

namespace wbkit {

// The record of a library that is open, without its texts: whether its metadata can be read, and its key ids. Logs why
// not.
tb_common key_ids_of(const CheckedLibrary &library);

// Chooses a text of a usable record; null if the library has none.
using TextOf = const char *(*)(const tb_common &common);

inline const char *keyids_text(const tb_common &common) {
    return common.keyids;
}
inline const char *whitelist_text(const tb_common &common) {
    return common.whitelist;
}
inline const char *appid_text(const tb_common &common) {
    return common.appid;
}

// The `sk` of a table library, for who shows its `ak`. Null, with a line in the log, if the record is of no use or `ak`
// does not begin with the library's; null without a line if the library has no `sk`.
const char *sk_for_ak(const tb_common &common, const char *ak);

// The `sk` of a table library, for checking tokens. Null, with a line in the log, if the record is of no use.
const char *sk_of(const tb_common &common);

} // namespace wbkit
