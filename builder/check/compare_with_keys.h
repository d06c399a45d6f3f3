// Is a table library that of a key set? It is read as a file and never loaded.
#pragma once

#include "builder/check/findings.h"
#include "builder/keys/key_set.h"
#include "builder/reader/table_library_file.h"

namespace wbtables {

// Adds what differs from `set`: names, ids, what each key's tables encrypt (beside the clear cipher), and each signing
// key that an entry decrypts to. A secret that is empty in `set` is one that nobody knows; it is noted instead.
void compare_with_keys(const TableLibraryFile &library, const KeySet &set, Findings &findings);

} // namespace wbtables
