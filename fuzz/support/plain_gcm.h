// GCM as slow and plain as it gets: GHASH bit by bit, the counter a byte at a time.
#pragma once

#include "quen/tables.h"
#include "support/bytes.h"

namespace fuzz {

struct Sealed {
    test::Bytes ciphertext;
    test::Bytes tag; // all of it
};

// SP 800-38D, 7.1, but that the whole counter block counts. `key` is an AES key.
Sealed seal(const tb_entry &key, const test::Bytes &iv, const test::Bytes &aad, const test::Bytes &text);

} // namespace fuzz
