// What libquen-wbkit.so logs while wbtables runs. The library's reasons become part of error messages instead of loose
// lines: the program defines Android's log function itself and keeps the lines.
#pragma once

#include <string>

namespace wbtables {

// The lines since the last call, each with a newline behind all but the last.
std::string take_library_log();

} // namespace wbtables
