// The check of a finished library that this machine may be unable to load.
#pragma once

#include <filesystem>
#include <string_view>

#include "builder/object/image.h"

namespace wbtables {

// Reads the table library as a file and compares it with `image`: its ABI, each symbol's bytes, size and alignment,
// each slot, and that it exports nothing else. Throws an Error that names the first difference.
void check_library_file(const std::filesystem::path &library, std::string_view abi, const Image &image);

} // namespace wbtables
