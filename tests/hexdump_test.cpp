#include <gtest/gtest.h>

#include <regex>

#include "quen/diagnostics.h"
#include "support/bytes.h"
#include "support/captured_log.h"

namespace {

using test::Bytes;

const std::regex kEscape("\x1b\\[[0-9;]*m");

// The text of a dump's lines: each is an error, coloured, and leaves no colour behind.
std::vector<std::string> dump(const char *title, const void *data, uint64_t len) {
    test::CapturedLog log;
    hexdump(title, data, len);
    std::vector<std::string> texts;
    for (const auto &line : log.take()) {
        EXPECT_EQ(line, test::error(line.text));
        EXPECT_TRUE(std::regex_search(line.text, std::regex("^\x1b\\[[0-9;]*[1-9]m")));
        const size_t last = line.text.rfind('\x1b');
        EXPECT_TRUE(last != std::string::npos && line.text.compare(last, 4, "\x1b[0m") == 0) << last;
        texts.push_back(std::regex_replace(line.text, kEscape, ""));
    }
    return texts;
}

TEST(Hexdump, SixteenBytesALine) {
    const Bytes bytes = test::bytes_of(std::string("\0 az~\x7f\x80\xff%s\x1b[1m\n!Q", 17));
    EXPECT_EQ(dump("a title", bytes.data(), 17),
              (std::vector<std::string>{
                  "a title, 17 bytes\n",
                  "00000000  00 20 61 7a 7e 7f 80 ff 25 73 1b 5b 31 6d 0a 21  . az~...%s.[1m.!\n",
                  "00000010  51                                               Q\n",
              }));
    EXPECT_EQ(dump("one line", bytes.data(), 16).size(), 2U);
}

TEST(Hexdump, TakesOddArguments) {
    EXPECT_EQ(dump(nullptr, "A", 0), std::vector<std::string>{"(null), 0 bytes\n"});
    EXPECT_EQ(dump("%s%n%d", nullptr, 5), std::vector<std::string>{"%s%n%d, 0 bytes\n"});
    test::CapturedLog log;
    dump_aes_xor();
    dump_table();
    EXPECT_EQ(log.take(), test::Lines{});
}

} // namespace
