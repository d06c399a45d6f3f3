// One signing key as a table library stores it.
#pragma once

#include "builder/keys/key_set.h"

namespace wbtables {

// The hex text of a packed CMSEncryptedData: the 32-byte signing key, encrypted with AES-CFB128 under the key's own
// value and a random IV, with the hex text of the key id. `key` has a signing key.
SecretBytes signing_entry(const KeySpec &key);

} // namespace wbtables
