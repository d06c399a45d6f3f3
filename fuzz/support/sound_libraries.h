// Table libraries as the tool makes them, to be damaged.
#pragma once

#include <string>
#include <vector>

#include "builder/keys/key_set.h"

namespace fuzz {

// An AES key with a signing key, and one of SM4.
const wbtables::KeySet &sound_keys();

// The bytes of a library of these keys for each machine of Android, the same in every process.
std::vector<std::string> sound_libraries();

} // namespace fuzz
