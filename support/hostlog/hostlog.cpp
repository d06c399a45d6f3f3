// Android's log function for machines without Android: writes to standard error in the brief form of Android's tools,
//
//     E/VORLIX-WB( 1234): WARN: hash is not matched.
//
// WBKIT_LOG_LEVEL in the environment holds the letter of the lowest priority that is written: V, D, I, W, E, F, or S to
// write none. Without it, or with another value, everything is written.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl*): Android's name
extern "C" int __android_log_print(int priority, const char *tag, const char *format, ...)
    __attribute__((visibility("default"), format(printf, 3, 4)));

namespace {

// A longer text is cut, a longer tag too.
constexpr size_t kTextRoom = 4000;
constexpr size_t kPrefixRoom = 128;

// Indexed by priority, as Android numbers them from "unknown" to "silent".
constexpr char kLetters[] = "??VDIWEFS";
constexpr int kSilent = 8;

int lowest_priority() {
    const char *const level = getenv("WBKIT_LOG_LEVEL"); // NOLINT(concurrency-mt-unsafe): nothing here changes it
    if (level == nullptr || level[0] == '\0' || level[1] != '\0' || level[0] == '?') {
        return 0;
    }
    const char *const found = strchr(kLetters, level[0]);
    return found == nullptr ? 0 : static_cast<int>(found - kLetters);
}

char letter_of(int priority) {
    return priority >= 0 && priority < kSilent ? kLetters[priority] : '?';
}

// Collects a message's lines, so that a message of usual length goes out in one write and no other can come between.
class Output {
  public:
    void append(const char *bytes, size_t count) {
        while (count > 0) {
            if (used_ == sizeof buffer_) {
                flush();
            }
            const size_t room = sizeof buffer_ - used_;
            const size_t part = count < room ? count : room;
            memcpy(buffer_ + used_, bytes, part);
            used_ += part;
            bytes += part;
            count -= part;
        }
    }

    void flush() {
        for (size_t done = 0; done < used_ && error_ == 0;) {
            const ssize_t written = write(STDERR_FILENO, buffer_ + done, used_ - done);
            if (written > 0) {
                done += static_cast<size_t>(written);
            } else if (written == 0 || errno != EINTR) {
                error_ = written == 0 ? EIO : errno;
            }
            total_ += written > 0 ? static_cast<int>(written) : 0;
        }
        used_ = 0;
    }

    [[nodiscard]] int result() const { return error_ == 0 ? total_ : -error_; }

  private:
    char buffer_[kTextRoom + 4 * kPrefixRoom] = {};
    size_t used_ = 0;
    int total_ = 0;
    int error_ = 0;
};

// One prefixed line for every line of the text; a newline at its end starts no further one.
int write_lines(const char *prefix, size_t prefix_len, const char *text) {
    Output output;
    do {
        const size_t len = strcspn(text, "\n");
        output.append(prefix, prefix_len);
        output.append(text, len);
        output.append("\n", 1);
        text += len + (text[len] == '\n' ? 1 : 0);
    } while (*text != '\0');
    output.flush();
    return output.result();
}

// What snprintf left in a buffer of `room` bytes.
size_t kept(int needed, size_t room) {
    const auto len = static_cast<size_t>(needed);
    return len < room ? len : room - 1;
}

} // namespace

// Returns the number of bytes written, 0 for a message below the level, a negative errno value if it could not be
// written. errno stays as it was.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl*): Android's name
int __android_log_print(int priority, const char *tag, const char *format, ...) {
    const int lowest = lowest_priority();
    if (priority < lowest || lowest == kSilent) {
        return 0;
    }
    const int saved_errno = errno;
    char prefix[kPrefixRoom];
    const int prefix_len = snprintf(prefix, sizeof prefix, "%c/%-8.80s(%5d): ", letter_of(priority),
                                    tag != nullptr ? tag : "", static_cast<int>(getpid()));
    char text[kTextRoom + 1];
    va_list arguments;
    va_start(arguments, format);
    errno = saved_errno; // for a "%m" in the format
    const int text_len = vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const int result =
        prefix_len < 0 || text_len < 0 ? -EINVAL : write_lines(prefix, kept(prefix_len, sizeof prefix), text);
    errno = saved_errno;
    return result;
}
