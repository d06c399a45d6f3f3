// From a key set to finished table libraries.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "builder/keys/key_set.h"
#include "builder/object/abi.h"
#include "builder/tables/encoding.h"

namespace wbtables {

struct BuildOptions {
    EncodingKind encoding = EncodingKind::hardened;
    std::string compiler = "clang";
    bool check = true;
    std::function<void(std::string_view step)> progress{}; // never called by two threads at once
    std::function<std::string()> library_log{}; // hands over what libquen-wbkit.so has logged since the last call
    // How often the user has asked to stop, told between the steps and while compilers run, to any thread. The second
    // time ends a compiler that does not heed the first.
    std::function<int()> interruptions{};
};

// Makes the table library of `set` for this machine in the folder `dir`, whose last part is made if it is not there.
// Returns its path. A library of that name is replaced at one stroke, and only by one that is finished and checked; on
// failure `dir` is as it was.
//
// Throws Error and Interrupted.
std::filesystem::path build_library(const KeySet &set, const std::filesystem::path &dir, const BuildOptions &options);

// The same for several ABIs, in folders of `dir` named as they are, and all with the same tables and secrets. Either
// all libraries are replaced or none. Returns their paths in the order of `abis`.
std::vector<std::filesystem::path> build_libraries(const KeySet &set, const std::filesystem::path &dir,
                                                   const std::vector<Abi> &abis, const BuildOptions &options);

// Writes what a compiler makes the table library of `set` from into the folder `dir`: assembler text that
// holds for every ABI, the data that it includes, which is secret, and a text with the command lines. Returns their
// paths.
std::vector<std::filesystem::path> emit_sources(const KeySet &set, const std::filesystem::path &dir,
                                                const BuildOptions &options);

} // namespace wbtables
