// A manifest and the files of its secrets, made from a key set.
#pragma once

#include <filesystem>
#include <functional>

#include "builder/keys/key_set.h"

namespace wbtables {

// Makes the folder `dir`, which is not there yet or is empty: manifest.toml, and in secrets/ a file for each secret of
// `set`. All of it is open to this user alone. It appears at one stroke or, on failure, not at all. parse_manifest
// gives the same key set again.
//
// Returns the manifest's path. Throws Error, and Interrupted if `interrupted` says so.
std::filesystem::path write_manifest_folder(const KeySet &set, const std::filesystem::path &dir,
                                            const std::function<bool()> &interrupted);

} // namespace wbtables
