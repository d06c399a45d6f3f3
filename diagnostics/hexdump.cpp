// A hex dump in the log, for debugging.

#include <inttypes.h>
#include <stddef.h>
#include <stdint.h>

#include <algorithm>

#include "quen/diagnostics.h"
#include "support/log.h"

namespace {

constexpr size_t kBytesPerLine = 16;

// Colours of a terminal.
#define WBKIT_TITLE "\033[1;33m"
#define WBKIT_OFFSET "\033[36m"
#define WBKIT_PRINTABLE "\033[32m"
#define WBKIT_RESET "\033[0m"

struct Line {
    char hex[3 * kBytesPerLine + 1];
    char printable[kBytesPerLine + 1];
};

// `count` bytes, at most kBytesPerLine; what is missing is blank, so that the columns stay.
Line format_line(const uint8_t *bytes, size_t count) {
    constexpr char kDigits[] = "0123456789abcdef";
    Line line = {};
    std::fill_n(line.hex, 3 * kBytesPerLine, ' ');
    for (size_t i = 0; i < count; ++i) {
        line.hex[3 * i] = kDigits[bytes[i] >> 4];
        line.hex[3 * i + 1] = kDigits[bytes[i] & 15];
        line.printable[i] = bytes[i] >= ' ' && bytes[i] <= '~' ? static_cast<char>(bytes[i]) : '.';
    }
    return line;
}

} // namespace

void hexdump(const char *title, const void *data, uint64_t len) {
    const auto *bytes = static_cast<const uint8_t *>(data);
    if (bytes == nullptr) {
        len = 0;
    }
    WBKIT_LOG_ERROR(WBKIT_TITLE "%s" WBKIT_RESET ", %" PRIu64 " bytes\n", wbkit::text_or_null(title), len);
    for (uint64_t offset = 0; offset < len; offset += kBytesPerLine) {
        const auto count = static_cast<size_t>(std::min<uint64_t>(kBytesPerLine, len - offset));
        const Line line = format_line(bytes + offset, count);
        WBKIT_LOG_ERROR(WBKIT_OFFSET "%08" PRIx64 WBKIT_RESET "  %s " WBKIT_PRINTABLE "%s" WBKIT_RESET "\n", offset,
                        line.hex, line.printable);
    }
}
