// One of the two ciphers, as the operations see it that know no cipher.
#pragma once

#include <stddef.h>

#include <span>

#include "modes/block_cipher.h"
#include "tables/key_source.h"

namespace wbkit {

struct CipherFamily {
    const char *tables; // what it takes of a key, as the line names it that says that a key has none
    bool (*usable)(const tb_entry &key);
    std::span<const KernelRow> (*kernels)();
};

// Fetches the key for the operation `op`. False, after a line of its own in the log, if its tables cannot be used:
// the same line and code whatever status the record carries. Intended.
bool load_key(const CipherFamily &family, KeySource &key, const char *op);

// The cipher with a key that was loaded, and the best kernel of the CPU that runs. It refers to the key's record.
BlockCipher cipher_of(const CipherFamily &family, const tb_entry &key);
BlockCipher cipher_of(const CipherFamily &family, tb_entry &&key) = delete;

} // namespace wbkit
