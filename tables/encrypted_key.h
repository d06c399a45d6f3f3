// Encrypted keys of a table library.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "tables/key_source.h"

namespace wbkit {

// No entry of a table library may hold a longer encrypted key.
constexpr size_t kEncryptedKeyRoom = 1024;

struct EncryptedKeyOutput {
    uint8_t *out;
    size_t room; // a longer key is refused, at most kEncryptedKeyRoom
    uint8_t *out_len;
    uint8_t *iv;
};

// get_ekey of quen/tables.h for a key that may belong to a library that is open already.
int32_t find_encrypted_key(const KeySource &key, const EncryptedKeyOutput &output);

} // namespace wbkit
