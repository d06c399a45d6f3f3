// The natives as the virtual machine learns them.
#pragma once

#include <jni.h>

#include <span>

namespace wbkit {

// In the order of registration; static data.
std::span<const JNINativeMethod> method_table();

} // namespace wbkit
