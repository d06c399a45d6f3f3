// How somebody else's build makes table libraries of emitted sources.
#pragma once

#include <string>

namespace wbtables {

// `library` is the file name that it must have, `source` and `data` what was emitted.
std::string instructions(const std::string &library, const std::string &source, const std::string &data);

} // namespace wbtables
