// wbtables: makes table libraries for libquen-wbkit.so.

#include <cstdio>
#include <exception>
#include <functional>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <sys/resource.h>

#include "builder/commands/audit.h"
#include "builder/commands/build.h"
#include "builder/commands/completion.h"
#include "builder/commands/exit_code.h"
#include "builder/commands/inspect.h"
#include "builder/commands/interrupt.h"
#include "builder/commands/keygen.h"
#include "builder/commands/token.h"
#include "builder/commands/verify.h"
#include "builder/error.h"

namespace wbtables {
namespace {

ExitCode exit_code_of(Failure failure) {
    switch (failure) {
    case Failure::refused:
        return kRefused;
    case Failure::compiler:
        return kCompilerFailed;
    case Failure::library:
        break;
    }
    return kLibraryFailed;
}

// Clear keys stand in this process's memory: no crash may write that to a file.
void forbid_core_files() {
    const rlimit none{0, 0};
    static_cast<void>(::setrlimit(RLIMIT_CORE, &none));
}

int run(int argc, char **argv) {
    std::function<void()> command;
    CLI::App app("Makes table libraries for libquen-wbkit.so from keys.", "wbtables");
    app.set_version_flag("--version", "wbtables " WBTABLES_VERSION);
    app.require_subcommand(1);
    app.footer("Example: wbtables build demo.toml -o out");
    add_audit_command(app, command);
    add_build_command(app, command);
    add_completion_command(app, command);
    add_inspect_command(app, command);
    add_keygen_command(app, command);
    add_token_command(app, command);
    add_verify_command(app, command);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? kDone : kUsage;
    }
    try {
        command();
        return kDone;
    } catch (const Interrupted &) {
        end_as_interrupted();
    } catch (const Error &error) {
        if (was_interrupted()) {
            end_as_interrupted();
        }
        fmt::print(stderr, "{}\n", error.what());
        return exit_code_of(error.failure());
    } catch (const std::exception &error) {
        fmt::print(stderr, "wbtables: {}\n", error.what());
        return kLibraryFailed;
    }
}

} // namespace
} // namespace wbtables

int main(int argc, char **argv) {
    try {
        wbtables::forbid_core_files();
        return wbtables::run(argc, argv);
    } catch (...) {
        static_cast<void>(std::fputs("wbtables: out of memory\n", stderr));
        return wbtables::kLibraryFailed;
    }
}
