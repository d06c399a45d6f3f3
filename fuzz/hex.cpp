// Hex text: the library's reading of each pair as "%2hhx" does it, and the tool's, which takes digits alone.

#include <cstdlib>
#include <cstring>
#include <optional>

#include <gtest/gtest.h>

#include "builder/keys/hex.h"
#include "quen/tables.h"
#include "support/bytes.h"

namespace {

using test::Bytes;

bool is_space(char c) {
    return std::strchr(" \t\n\v\f\r", c) != nullptr;
}

int digit(char c) {
    const char *const digits = "00112233445566778899aAbBcCdDeEfF";
    const char *const found = std::strchr(digits, c);
    return found == nullptr ? -1 : static_cast<int>((found - digits) / 2);
}

// Two characters behind white space: digits, with a sign or "0x" in front.
std::optional<uint8_t> scan(char first, char second) {
    if (is_space(first)) {
        first = second;
        second = ' ';
    }
    if ((first == '-' || first == '+') && digit(second) >= 0) {
        return static_cast<uint8_t>(first == '-' ? -digit(second) : digit(second));
    }
    if (digit(first) < 0) {
        return {};
    }
    return static_cast<uint8_t>(digit(second) < 0 ? digit(first) : digit(first) * 16 + digit(second));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string bytes_given(reinterpret_cast<const char *>(data), size);
    const std::string text = bytes_given.substr(0, bytes_given.find('\0'));
    Bytes bytes(text.size() / 2, 0xee);
    Bytes expected = bytes;
    bool strict = text.size() % 2 == 0;
    for (size_t i = 0; i < expected.size(); ++i) {
        expected[i] = scan(text[2 * i], text[2 * i + 1]).value_or(0xee);
        strict = strict && digit(text[2 * i]) >= 0 && digit(text[2 * i + 1]) >= 0;
    }
    get_byte_data(text.c_str(), bytes.data());
    EXPECT_EQ(bytes, expected) << text;

    const auto read = wbtables::from_hex({reinterpret_cast<const uint8_t *>(text.data()), text.size()});
    EXPECT_EQ(read.has_value(), strict) << text;
    if (read) {
        EXPECT_EQ(Bytes(read->begin(), read->end()), expected);
    }
    return 0;
}
