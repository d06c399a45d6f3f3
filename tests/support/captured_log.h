// The log lines of the process, captured instead of written: a test executable that links this defines Android's log
// function, so the library's lines end here.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace test {

struct LogLine {
    int priority;
    std::string tag;
    std::string text;

    bool operator==(const LogLine &) const = default;
};

std::ostream &operator<<(std::ostream &out, const LogLine &line);

// An error line of the library.
LogLine error(std::string text);
LogLine info(std::string text);

// Lines since this object was made, of this thread and others; taking empties it.
class CapturedLog {
  public:
    CapturedLog();
    std::vector<LogLine> take();
};

using Lines = std::vector<LogLine>;

// Says that these bytes must not stand in the log. WBKIT_TEST_LOG in the environment names a file that gets every line,
// and beside it another that gets the secrets: a test compares the two. Less than 8 bytes are too few for that.
void keep_secret(const Bytes &secret);

} // namespace test
