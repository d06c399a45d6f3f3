// What is to be said of a table library.
#pragma once

#include <string>
#include <vector>

namespace wbtables {

// A sentence each, naming symbol, key and place; harmless on a terminal and never a secret.
struct Findings {
    std::vector<std::string> problems;
    std::vector<std::string> notes; // worth knowing, but not wrong
    // Fields of the manifest that the library was compared with, and those that could not be.
    std::vector<std::string> compared;
    std::vector<std::string> not_compared;
};

} // namespace wbtables
