// Whether a caller may use a table library.
#pragma once

#include "jni/array_copy.h"
#include "jni/held_arrays.h"
#include "quen/tables.h"
#include "tables/library.h"

namespace wbkit {

// What a caller presents. A token array that is shorter than 32 bytes is extended with zeros.
struct Caller {
    const ArrayBytes &token;
    const ArrayCopy &name;
};

// What the check found: the open table library, and of its metadata what the check looked at, so that nobody needs to
// ask for it again.
struct Admission {
    bool granted = false;
    CheckedLibrary library;
    tb_common common = {};
};

// Checks the token and the name against the table library's metadata. Logs why not.
Admission authorise(const Caller &caller, const ArrayCopy &wbid, int32_t version);

} // namespace wbkit
