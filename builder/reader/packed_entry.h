// One entry of a table library's `keys`: the hex text of a packed CMSEncryptedData, with a key encrypted by AES-CFB128
// under the tables of the key id that it names.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "builder/keys/secret_bytes.h"
#include "builder/reader/key_tables.h"

namespace wbtables {

struct PackedEntry {
    std::string key_id;
    SecretBytes iv;
    SecretBytes content; // encrypted
};

// Takes an entry apart, whatever it holds. Nothing if it is none, and then, or if a field is larger than the room that
// the library has for it, a problem: a sentence without a subject.
std::optional<PackedEntry> unpack_entry(std::string_view text, std::vector<std::string> &problems);

// The key in it, as the tables decrypt it. A short iv counts as one with zeros behind it.
SecretBytes decrypt_entry(const PackedEntry &entry, const AesTablesView &tables);

} // namespace wbtables
