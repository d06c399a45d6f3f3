#include <openssl/crypto.h>

#include <fstream>

#include "results.h"
#include "support/cpu.h"

namespace bench {
namespace {

// The first value of a field of /proc/cpuinfo; empty if it has none.
std::string cpu_field(const std::string &name) {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        const auto colon = line.find(':');
        if (line.starts_with(name) && line.find_first_not_of(" \t", name.size()) == colon && colon + 2 <= line.size()) {
            return line.substr(colon + 2);
        }
    }
    return {};
}

} // namespace

std::string describe_machine() {
    std::string text = cpu_field("model name");
    if (text.empty()) {
        text = "unknown CPU";
    }
    for (const char *field : {"cpu family", "model"}) {
        if (const std::string value = cpu_field(field); !value.empty()) {
            text += std::string(", ") + field + ' ' + value;
        }
    }
#ifdef __clang__
    const std::string compiler = __VERSION__;
#else
    const std::string compiler = "GCC " __VERSION__;
#endif
    return text + "; " + compiler + ", " + WBKIT_BENCH_FLAGS + "; " + OpenSSL_version(OPENSSL_VERSION);
}

} // namespace bench
