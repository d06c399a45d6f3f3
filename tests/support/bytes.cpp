#include "support/bytes.h"

#include <random>
#include <stdexcept>

namespace test {
namespace {

int digit(char c) {
    const size_t value = std::string_view("0123456789abcdef").find(c);
    if (value == std::string_view::npos) {
        throw std::invalid_argument("not hex");
    }
    return static_cast<int>(value);
}

} // namespace

Bytes from_hex(std::string_view hex) {
    if (hex.size() % 2 != 0) {
        throw std::invalid_argument("odd hex");
    }
    Bytes bytes;
    for (size_t i = 0; i < hex.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(digit(hex[i]) * 16 + digit(hex[i + 1])));
    }
    return bytes;
}

std::string to_hex(const Bytes &bytes) {
    std::string hex;
    for (const uint8_t byte : bytes) {
        hex += "0123456789abcdef"[byte / 16];
        hex += "0123456789abcdef"[byte % 16];
    }
    return hex;
}

Bytes bytes_of(std::string_view text) {
    return {text.begin(), text.end()};
}

Bytes sample(size_t size, uint32_t seed) {
    std::mt19937 generator(seed);
    Bytes bytes(size);
    for (uint8_t &byte : bytes) {
        byte = static_cast<uint8_t>(generator());
    }
    return bytes;
}

} // namespace test
