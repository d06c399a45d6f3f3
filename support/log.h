// The log: one tag, two priorities, every call checked like printf.
#pragma once

#ifdef __ANDROID__
#include <android/log.h>
#else
// On a host a library of our own provides it, or the program that loads us.
extern "C" int __android_log_print(int priority, const char *tag, const char *format, ...)
    __attribute__((format(printf, 3, 4)));
#endif

namespace wbkit {

constexpr int kLogInfo = 4;
constexpr int kLogError = 6;
constexpr char kLogTag[] = "VORLIX-WB";

// What a text argument of a message shows when there is none.
constexpr const char *text_or_null(const char *text) {
    return text != nullptr ? text : "(null)";
}

} // namespace wbkit

#define WBKIT_LOG_INFO(...) static_cast<void>(__android_log_print(wbkit::kLogInfo, wbkit::kLogTag, __VA_ARGS__))
#define WBKIT_LOG_ERROR(...) static_cast<void>(__android_log_print(wbkit::kLogError, wbkit::kLogTag, __VA_ARGS__))
