// From a key set to a finished table library.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "builder/keys/key_set.h"
#include "builder/tables/encoding.h"

namespace wbtables {

struct BuildOptions {
    EncodingKind encoding = EncodingKind::hardened;
    std::string compiler = "clang";
    bool check = true;
    std::function<void(std::string_view step)> progress{};
    std::function<std::string()> library_log{}; // hands over what libquen-wbkit.so has logged since the last call
    std::function<bool()> interrupted{};        // asked between the steps and while the compiler runs
};

// Makes the table library of `set` in the existing folder `dir` and returns its path. A library of that name is
// replaced at one stroke, and only by one that is finished and checked; on failure `dir` is as it was.
//
// Throws Error and Interrupted.
std::filesystem::path build_library(const KeySet &set, const std::filesystem::path &dir, const BuildOptions &options);

} // namespace wbtables
