#include "builder/keys/key_set.h"

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

std::string escaped(std::string_view text, bool (*harmful)(unsigned char c)) {
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        out += harmful(byte) ? fmt::format("\\x{:02x}", byte) : std::string(1, c);
    }
    return out;
}

} // namespace

std::string in_quotes(std::string_view text) {
    constexpr std::size_t kLongest = 80;
    const std::string shown = escaped(text.substr(0, kLongest), [](unsigned char c) { return c < ' ' || c > '~'; });
    return fmt::format("\"{}{}\"", shown, text.size() > kLongest ? "..." : "");
}

std::string without_controls(std::string_view text) {
    constexpr unsigned char kDelete = 0x7f;
    return escaped(text, [](unsigned char c) { return c < ' ' || c == kDelete; });
}

} // namespace wbtables
