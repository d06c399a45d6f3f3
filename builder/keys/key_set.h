// What one table library is made from: its names, its access secrets and its clear keys.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "builder/keys/secret_bytes.h"

namespace wbtables {

enum class Algorithm { aes128, aes192, aes256, sm4 };

struct AlgorithmRow {
    std::string_view name; // in a manifest
    std::size_t key_len;
    Algorithm algorithm;
    int rounds;
    int bits;
    std::int32_t cms_number; // of CFB in a packed message; AES only
};

constexpr AlgorithmRow kAlgorithms[] = {
    {"aes-128", 16, Algorithm::aes128, 10, 128, 17},
    {"aes-192", 24, Algorithm::aes192, 12, 192, 14},
    {"aes-256", 32, Algorithm::aes256, 14, 256, 11},
    {"sm4", 16, Algorithm::sm4, 32, 128, 0},
};

constexpr const AlgorithmRow &row_of(Algorithm algorithm) {
    return kAlgorithms[static_cast<std::size_t>(algorithm)];
}
// The AES with so many rounds; null if there is none.
constexpr const AlgorithmRow *aes_of(std::int64_t rounds) {
    for (const AlgorithmRow &row : kAlgorithms) {
        if (row.algorithm != Algorithm::sm4 && row.rounds == rounds) {
            return &row;
        }
    }
    return nullptr;
}
constexpr bool is_aes(Algorithm algorithm) {
    return algorithm != Algorithm::sm4;
}

struct KeySpec {
    std::string id;
    Algorithm algorithm{};
    SecretBytes value;
    std::optional<SecretBytes> signing_key; // stored in the library encrypted under `value`
};

struct KeySet {
    std::string wbid;
    std::int32_t version = 0;
    std::string appid;
    // The names of admitted callers in one text. Without it the library has no whitelist and admits every caller that
    // has a valid token; an empty text does the same.
    std::optional<std::string> whitelist;
    SecretBytes sk; // the token's key, a text
    SecretBytes ak; // what a caller must present for sk, a text
    std::vector<KeySpec> keys;
};

// libwb_tables_<wbid>_<version>.so, which is also the library's SONAME.
std::string file_name(const KeySet &set);

// The ids as the library lists them: SM4 ids first, each followed by a comma.
std::string joined_ids(const KeySet &set);

// `key "pay"`, or `key 2` for the second one if it has no id.
std::string describe_key(const KeySet &set, std::size_t index);

// In double quotes, harmless on a terminal and not too long.
std::string in_quotes(std::string_view text);

// The whole text, without what is harmful on a terminal: controls, characters that change the direction of others or
// are not seen, and what is no UTF-8. For the names of files.
std::string without_controls(std::string_view text);

} // namespace wbtables
