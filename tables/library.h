// Finding, opening and recognising a table library.
#pragma once

#include <stdint.h>

#include "tables/symbols.h"

namespace wbkit {

struct OpenedLibrary {
    void *handle; // null if it could not be opened; never closed
    // The reason then: a text of our own, or of the loader's and valid until this thread uses the loader again.
    const char *error;
};

// Forms the file name and opens it. Checks nothing inside, logs nothing.
OpenedLibrary open_library(const char *dir, const char *wbid, int32_t version);

struct CheckedLibrary {
    void *handle = nullptr;
    const char *wbid = nullptr; // the library's own
    KeyLists lists;
    int32_t status = 0; // 0, -70 or -71; the other fields are null unless it is 0
};

// Opens a table library and makes sure that it is the one that was asked for. Logs why not.
CheckedLibrary open_checked_library(const char *dir, const char *wbid, int32_t version);

} // namespace wbkit
