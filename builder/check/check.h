// The check that every finished library passes before it is called done.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "builder/keys/key_set.h"
#include "builder/object/image.h"

namespace wbtables {

// Loads the table library of `set` in `folder` through libquen-wbkit.so and compares every exported byte with `image`,
// the metadata with `set`, what the tables encrypt with the clear ciphers, and each signing key with what its entry
// decrypts to. Throws an Error that names the first difference; `library_log`, if given, hands over what the library
// has logged since it was last called.
void check_library(const std::filesystem::path &folder, const KeySet &set, const Image &image,
                   const std::function<std::string()> &library_log);

} // namespace wbtables
