#include "support/captured_log.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <set>
#include <utility>

namespace {

std::mutex mutex;
std::vector<test::LogLine> lines;

// A file that is named after the log's.
class Copy {
  public:
    explicit Copy(const std::string &ending) {
        const char *log = getenv("WBKIT_TEST_LOG"); // set before the program begins
        file_ = log == nullptr ? nullptr : fopen((log + ending).c_str(), "w");
        if (file_ != nullptr) {
            setvbuf(file_, nullptr, _IOLBF, BUFSIZ);
        }
    }
    void write(const char *line) {
        if (file_ != nullptr) {
            fprintf(file_, "%s\n", line);
        }
    }

  private:
    FILE *file_; // for the life of the process
};

} // namespace

extern "C" __attribute__((visibility("default"), format(printf, 3, 4))) int
__android_log_print(int priority, const char *tag, const char *format, ...) {
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const std::lock_guard lock(mutex);
    static Copy copy("");
    copy.write(text);
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

void keep_secret(const Bytes &secret) {
    static Copy copy(".secrets");
    static std::set<std::string> known;
    const std::lock_guard lock(mutex);
    const auto [hex, is_new] = known.insert(to_hex(secret));
    if (secret.size() >= 8 && is_new) {
        copy.write(hex->c_str());
    }
}

CapturedLog::CapturedLog() {
    take();
}

std::vector<LogLine> CapturedLog::take() {
    const std::lock_guard lock(mutex);
    return std::exchange(lines, {});
}

} // namespace test
