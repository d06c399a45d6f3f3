// wbtables inspect
#pragma once

#include <functional>

#include <CLI/CLI.hpp>

namespace wbtables {

// Adds the command to `app`; if it is the one given, `run` becomes its body.
void add_inspect_command(CLI::App &app, std::function<void()> &run);

} // namespace wbtables
