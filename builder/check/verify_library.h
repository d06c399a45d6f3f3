// Is a table library what the format says? It is read as a file and never loaded, so one for another machine is checked
// like one's own.
#pragma once

#include "builder/check/findings.h"
#include "builder/reader/table_library_file.h"

namespace wbtables {

// Symbols, slots, lengths, tables and signing entries, whoever made the library and however it is encoded.
Findings verify_library(const TableLibraryFile &library);

} // namespace wbtables
