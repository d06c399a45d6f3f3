// How natives end: a new array for Java, or null and the line that says why.
#pragma once

#include <jni.h>
#include <stddef.h>
#include <stdint.h>

namespace wbkit {

// How a native's messages name it.
struct NativeWords {
    const char *op = nullptr;
    const char *tag = nullptr;       // begins the "input args invalid" line; null: no such line
    const char *failed_op = nullptr; // in the line of a failed operation; null: `op` stands there too
    bool tells_failures = true;      // whether there is such a line
};

// Arguments that are null or out of range, found before anything was fetched.
jbyteArray refuse_parameters(const NativeWords &words);

// Arrays without elements, or a caller without authorisation.
jbyteArray refuse_call(const NativeWords &words);

// The operation failed with this status.
jbyteArray report_failure(const NativeWords &words, int32_t status);

// A new Java array of these bytes; null if the virtual machine has none to give.
jbyteArray new_array(JNIEnv *env, const void *bytes, size_t len);

// The operation ended with this status, and with these bytes if it is 0.
jbyteArray answer(JNIEnv *env, const NativeWords &words, int32_t status, const void *bytes, int64_t len);

} // namespace wbkit
