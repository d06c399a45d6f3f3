// The compiler of Android's NDK.
#pragma once

#include <filesystem>

namespace wbtables {

// The clang of the NDK in `folder`. Throws an Error (Failure::compiler) if there is none.
std::filesystem::path find_ndk_compiler(const std::filesystem::path &folder);

} // namespace wbtables
