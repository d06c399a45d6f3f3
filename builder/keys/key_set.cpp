#include "builder/keys/key_set.h"

#include <algorithm>
#include <iterator>

#include <fmt/format.h>

namespace wbtables {

std::string file_name(const KeySet &set) {
    return fmt::format("libwb_tables_{}_{}.so", set.wbid, set.version);
}

std::string joined_ids(const KeySet &set) {
    std::string sm4;
    std::string aes;
    for (const KeySpec &key : set.keys) {
        (is_aes(key.algorithm) ? aes : sm4).append(key.id).append(",");
    }
    return sm4 + aes;
}

std::string describe_key(const KeySet &set, std::size_t index) {
    const std::string &id = set.keys[index].id;
    return id.empty() ? fmt::format("key {}", index + 1) : fmt::format("key {}", in_quotes(id));
}

namespace {

std::string escaped(std::string_view text) {
    std::string out;
    for (const char c : text) {
        out += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
    }
    return out;
}

struct Range {
    char32_t first;
    char32_t last;
};

// Controls, and characters that are not seen themselves, or that move others.
constexpr Range kHarmful[] = {{0, 0x1f},        {0x7f, 0x9f},     {0xad, 0xad},      {0x61c, 0x61c},
                              {0x180e, 0x180e}, {0x200b, 0x200f}, {0x2028, 0x202e},  {0x2060, 0x206f},
                              {0xfeff, 0xfeff}, {0xfff9, 0xfffb}, {0xe0000, 0xe0fff}};

bool is_harmful(char32_t code) {
    return std::ranges::any_of(kHarmful,
                               [code](const Range &range) { return range.first <= code && code <= range.last; });
}

struct Utf8Form {
    unsigned char mask; // of the first byte
    unsigned char mark;
    char32_t least; // what is less has a shorter form
};
constexpr Utf8Form kUtf8Forms[] = {{0x80, 0, 0}, {0xe0, 0xc0, 0x80}, {0xf0, 0xe0, 0x800}, {0xf8, 0xf0, 0x10000}};

// How many bytes the harmless character has that the text begins with; 0 if there is none.
std::size_t harmless_len(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    const auto *const form =
        std::ranges::find_if(kUtf8Forms, [first](const Utf8Form &each) { return (first & each.mask) == each.mark; });
    const auto len = static_cast<std::size_t>(form - std::begin(kUtf8Forms)) + 1;
    if (form == std::end(kUtf8Forms) || text.size() < len) {
        return 0;
    }
    char32_t code = first & static_cast<unsigned char>(~form->mask);
    for (const char c : text.substr(1, len - 1)) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xc0U) != 0x80U) {
            return 0;
        }
        code = code << 6U | (byte & 0x3fU);
    }
    const bool is_character = code >= form->least && code <= 0x10ffff && (code < 0xd800 || code > 0xdfff);
    return is_character && !is_harmful(code) ? len : 0;
}

} // namespace

std::string in_quotes(std::string_view text) {
    constexpr std::size_t kLongest = 80;
    std::string shown;
    for (const char &c : text.substr(0, kLongest)) {
        shown += c < ' ' || c > '~' ? escaped({&c, 1}) : std::string(1, c);
    }
    return fmt::format("\"{}{}\"", shown, text.size() > kLongest ? "..." : "");
}

std::string without_controls(std::string_view text) {
    std::string shown;
    while (!text.empty()) {
        const std::size_t len = harmless_len(text);
        const std::string_view first = text.substr(0, std::max<std::size_t>(len, 1));
        shown += len == 0 ? escaped(first) : std::string(first);
        text.remove_prefix(first.size());
    }
    return shown;
}

} // namespace wbtables
