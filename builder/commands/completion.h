// wbtables completion
#pragma once

#include <functional>

#include <CLI/CLI.hpp>

namespace wbtables {

// Adds the command to `app`; if it is the one given, `run` becomes its body. The scripts say what `app` has by then.
void add_completion_command(CLI::App &app, std::function<void()> &run);

} // namespace wbtables
