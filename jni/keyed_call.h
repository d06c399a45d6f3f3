// What the natives that use a key have in common: whose call it is, and which key it names.
#pragma once

#include <jni.h>

#include "jni/answer.h"
#include "jni/array_copy.h"
#include "jni/caller_check.h"
#include "jni/held_arrays.h"
#include "tables/key_source.h"

namespace wbkit {

// What Java passes for it.
struct KeyedArguments {
    jbyteArray hash;
    jbyteArray caller;
    jbyteArray wbid;
    jbyteArray keyid;
    jint version;

    [[nodiscard]] bool present() const {
        return caller != nullptr && hash != nullptr && wbid != nullptr && keyid != nullptr;
    }
};

class KeyedCall {
  public:
    // Fetches the four arrays. A native fetches its own beforehand.
    KeyedCall(HeldArrays &arrays, const KeyedArguments &arguments);

    // Whether the call may go on: every array gave its elements, and the caller may use the table library. Logs why
    // not.
    bool admit(const NativeWords &words);

    // The key of an admitted call, in the library that is open since then.
    [[nodiscard]] KeySource key() const { return {admission_.library, wbid_.c_str(), keyid_.c_str(), version_}; }

  private:
    HeldArrays &arrays_;
    ArrayBytes wbid_bytes_;
    ArrayBytes keyid_bytes_;
    ArrayBytes token_;
    ArrayBytes caller_bytes_;
    jint version_;
    ArrayCopy wbid_;
    ArrayCopy keyid_;
    ArrayCopy caller_;
    Admission admission_;
};

} // namespace wbkit
