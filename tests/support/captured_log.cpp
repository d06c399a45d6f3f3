#include "support/captured_log.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

namespace {

std::mutex mutex;
std::vector<test::LogLine> lines;

} // namespace

extern "C" __attribute__((visibility("default"), format(printf, 3, 4))) int
__android_log_print(int priority, const char *tag, const char *format, ...) {
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const std::lock_guard lock(mutex);
    lines.push_back({priority, tag, text});
    return length;
}

namespace test {

std::ostream &operator<<(std::ostream &out, const LogLine &line) {
    return out << line.priority << '/' << line.tag << ": \"" << line.text << '"';
}

LogLine error(std::string text) {
    return {6, "VORLIX-WB", std::move(text)};
}

LogLine info(std::string text) {
    return {4, "VORLIX-WB", std::move(text)};
}

CapturedLog::CapturedLog() {
    take();
}

std::vector<LogLine> CapturedLog::take() {
    const std::lock_guard lock(mutex);
    return std::exchange(lines, {});
}

} // namespace test
