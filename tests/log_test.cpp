// No secret in the log: the lines of all tests before this one against every key and secret text that they have used.

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <unordered_set>

#include "support/bytes.h"

namespace {

using test::Bytes;
namespace fs = std::filesystem;

std::vector<std::string> lines_of(const fs::path &path) {
    std::ifstream file(path);
    EXPECT_TRUE(file.is_open()) << path;
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The hex digits of a line as bytes, from an even or odd digit on, whatever stands between them.
Bytes digits_of(const std::string &line, size_t first) {
    std::string digits;
    for (const char c : line) {
        if (isxdigit(static_cast<unsigned char>(c)) != 0) {
            digits += static_cast<char>(tolower(c));
        }
    }
    digits.erase(0, first);
    digits.resize(digits.size() / 2 * 2);
    return test::from_hex(digits);
}

// Finds any eight bytes of a secret, raw or as hex digits.
class Secrets {
  public:
    void add(const Bytes &secret) {
        ++count_;
        for_each_window(secret, [&](uint64_t window) { windows_.insert(window); });
    }
    [[nodiscard]] bool in(const std::string &line) const {
        return in(test::bytes_of(line)) || in(digits_of(line, 0)) || (!line.empty() && in(digits_of(line, 1)));
    }
    [[nodiscard]] size_t count() const { return count_; }

  private:
    template <typename Action>
    static void for_each_window(const Bytes &bytes, Action action) {
        for (size_t i = 0; i + sizeof(uint64_t) <= bytes.size(); ++i) {
            uint64_t window = 0;
            memcpy(&window, bytes.data() + i, sizeof window);
            action(window);
        }
    }
    [[nodiscard]] bool in(const Bytes &bytes) const {
        bool found = false;
        for_each_window(bytes, [&](uint64_t window) { found |= windows_.contains(window); });
        return found;
    }

    size_t count_ = 0;
    std::unordered_set<uint64_t> windows_;
};

TEST(Log, HasNoSecret) {
    ASSERT_NE(getenv("WBKIT_TEST_LOGS"), nullptr) << "runs behind all other tests";
    Secrets secrets;
    std::vector<std::string> lines;
    Bytes known;
    for (const auto &entry : fs::directory_iterator(getenv("WBKIT_TEST_LOGS"))) {
        const auto found = lines_of(entry.path());
        if (entry.path().extension() != ".secrets") {
            lines.insert(lines.end(), found.begin(), found.end());
            continue;
        }
        for (const std::string &line : found) {
            known = test::from_hex(line);
            secrets.add(known);
        }
    }
    const size_t logged = lines.size();
    // What virtual machines and programs have logged to standard error. Tests may print what they like.
    for (const std::string &line : lines_of(getenv("WBKIT_TEST_OUTPUT"))) {
        if (line.find("VORLIX-WB") != std::string::npos || line.find("wbtables: ") != std::string::npos) {
            lines.push_back(line);
        }
    }
    std::cout << logged << " lines captured and " << lines.size() - logged << " printed, " << secrets.count()
              << " secrets\n";
    EXPECT_GT(logged, 5000U) << "run all tests, not this one alone";
    EXPECT_GT(secrets.count(), 500U);
    for (const std::string &line : lines) {
        EXPECT_FALSE(secrets.in(line)) << line;
    }
    // They would have been found.
    ASSERT_GE(known.size(), 8U);
    const std::string hex = test::to_hex(known).substr(0, 16);
    for (const std::string &line : {std::string(known.begin(), known.end()), "key: " + hex, "0x" + hex,
                                    "a " + hex.substr(0, 4) + " " + hex.substr(4, 6) + ":" + hex.substr(10)}) {
        EXPECT_TRUE(secrets.in(line)) << line;
    }
}

} // namespace
