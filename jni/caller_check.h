// Whether a caller may use a table library.
#pragma once

#include "jni/held_arrays.h"
#include "jni/text.h"
#include "quen/tables.h"

namespace wbkit {

// What a caller presents. A token array that is shorter than 32 bytes is extended with zeros.
struct Caller {
    const ArrayBytes &token;
    const ArrayBytes &name;
};

// Checks the token and the name against the table library's metadata, which it leaves in `common`: whoever needs the
// metadata of an authorised call need not open the library again. Logs why not.
bool authorise(const Caller &caller, const TextCopy &wbid, int32_t version, tb_common &common);

} // namespace wbkit
