#include "builder/keys/hex.h"

#include <string_view>

namespace wbtables {
namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

std::optional<unsigned> digit_value(std::uint8_t c) {
    const auto lower = static_cast<char>(c >= 'A' && c <= 'F' ? c - 'A' + 'a' : c);
    const auto value = kDigits.find(lower);
    if (value == std::string_view::npos) {
        return std::nullopt;
    }
    return static_cast<unsigned>(value);
}

} // namespace

SecretBytes to_hex(std::span<const std::uint8_t> bytes) {
    SecretBytes text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text.push_back(static_cast<std::uint8_t>(kDigits[byte >> 4U]));
        text.push_back(static_cast<std::uint8_t>(kDigits[byte & 15U]));
    }
    return text;
}

std::optional<SecretBytes> from_hex(std::span<const std::uint8_t> text) {
    if (text.size() % 2 != 0) {
        return std::nullopt;
    }
    SecretBytes bytes;
    bytes.reserve(text.size() / 2);
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const auto high = digit_value(text[i]);
        const auto low = digit_value(text[i + 1]);
        if (!high || !low) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<std::uint8_t>(*high << 4U | *low));
    }
    return bytes;
}

} // namespace wbtables
