// Runs the compiler that assembles and links a table library.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace wbtables {

struct CompilerJob {
    std::string compiler;         // a program's name or path, run without a shell
    std::filesystem::path folder; // where it runs and leaves everything
    std::string target;           // as clang names it; empty: the machine that it is for by itself
    std::string source;           // a file in the folder
    std::filesystem::path output; // the library to be made there, relative; its name is its SONAME
};

// What a compiler has to be told to make a table library, but for its target.
std::vector<std::string> compiler_arguments(const std::string &source, const std::filesystem::path &output);

// Several may run at once in one folder. Throws an Error with what the compiler said if it fails, Interrupted if
// `interruptions` tells of one while it runs. It and what it started are asked to end then, and killed if they take
// long or at a second interruption.
void run_compiler(const CompilerJob &job, const std::function<int()> &interruptions);

} // namespace wbtables
