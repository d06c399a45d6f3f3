#include "builder/commands/library_log.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace wbtables {
namespace {

std::string &lines() {
    static std::string text;
    return text;
}

} // namespace

std::string take_library_log() {
    std::string text = std::exchange(lines(), {});
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

} // namespace wbtables

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl*): Android's name
extern "C" int __android_log_print(int priority, const char *tag, const char *format, ...)
    __attribute__((visibility("default"), format(printf, 3, 4)));

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl*): Android's name
extern "C" int __android_log_print(int /*priority*/, const char *tag, const char *format, ...) {
    std::array<char, 1024> message{};
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(message.data(), message.size(), format, arguments);
    va_end(arguments);
    std::string &lines = wbtables::lines();
    lines.append(tag).append(": ").append(message.data());
    if (lines.back() != '\n') {
        lines.push_back('\n');
    }
    return length;
}
