// How natives end: a new array for Java, or null and the line that says why.
#pragma once

#include <jni.h>
#include <stddef.h>
#include <stdint.h>

namespace wbkit {

// Arguments that are null or out of range, found before anything was fetched. `op` names the native.
jbyteArray refuse_parameters(const char *op);

// Arrays without elements, or a caller without authorisation. A null `tag` refuses silently.
jbyteArray refuse_call(const char *tag);

// The operation failed with this status.
jbyteArray report_failure(const char *op, int32_t status);

// A new Java array of these bytes; null if the virtual machine has none to give.
jbyteArray new_array(JNIEnv *env, const void *bytes, size_t len);

} // namespace wbkit
