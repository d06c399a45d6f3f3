// The ABIs of Android.
#pragma once

#include <algorithm>
#include <iterator>
#include <string_view>

namespace wbtables {

struct Abi {
    std::string_view name; // as Android names its folder of libraries
    const char *target;    // as clang names it, with Android 5, the first release that the library runs on
};

constexpr Abi kAbis[] = {
    {"arm64-v8a", "aarch64-linux-android21"},
    {"armeabi-v7a", "armv7a-linux-androideabi21"},
    {"x86_64", "x86_64-linux-android21"},
    {"x86", "i686-linux-android21"},
};

// Null for another name.
constexpr const Abi *find_abi(std::string_view name) {
    const auto *const found = std::ranges::find(kAbis, name, &Abi::name);
    return found == std::end(kAbis) ? nullptr : found;
}

} // namespace wbtables
