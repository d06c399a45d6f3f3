// Runs the compiler that assembles and links a table library.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace wbtables {

struct CompilerJob {
    std::string compiler;         // a program's name or path, run without a shell
    std::filesystem::path folder; // where it runs and leaves everything
    std::string source;           // a file in there
    std::string output;           // the library to be made there; its SONAME too
};

// Throws an Error with what the compiler said if it fails, Interrupted if `interrupted` tells so while it runs.
void run_compiler(const CompilerJob &job, const std::function<bool()> &interrupted);

} // namespace wbtables
