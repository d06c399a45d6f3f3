// Runs wbtables as its users do.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace test {

struct CommandResult {
    int exit_code; // 128 and the signal's number if one ended it
    std::string out;
    std::string err;
};

// An emulator says something of its own when a signal ends a process, and makes a copy of a child that would share
// memory, which then cannot tell why it did not start.
inline constexpr bool kEmulated = sizeof WBTABLES_EMULATOR > 1;

// Runs `wbtables arguments...` in `folder`, with `input` on standard input and descriptor 9,
// and these variables added.
CommandResult run_wbtables(const std::filesystem::path &folder, const std::vector<std::string> &arguments,
                           std::string_view input = {}, const std::map<std::string, std::string> &variables = {});

} // namespace test
