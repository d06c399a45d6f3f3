// wbtables: makes table libraries for libquen-wbkit.so.

#include <cerrno>
#include <cstdio>
#include <exception>
#include <functional>
#include <string>
#include <system_error>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <sys/prctl.h>
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

// Clear keys stand in this process's memory: no crash may write that to a file, or to a program that takes cores over a
// pipe, for which the limit does not hold.
void forbid_core_files() {
    const rlimit none{0, 0};
    static_cast<void>(::setrlimit(RLIMIT_CORE, &none));
    static_cast<void>(::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0));
}

// What was printed is the result, so it must have gone where it should.
void finish_output() {
    errno = 0;
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        const std::string reason = errno == 0 ? "" : ": " + std::generic_category().message(errno);
        throw Error(Failure::library, "standard output: cannot be written" + reason);
    }
}

ExitCode parse_and_run(CLI::App &app, int argc, char **argv, const std::function<void()> &command) {
    try {
        app.parse(argc, argv);
        command();
    } catch (const CLI::ParseError &error) { // help too
        if (app.exit(error) != 0) {
            return kUsage;
        }
    }
    finish_output();
    return kDone;
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
        return parse_and_run(app, argc, argv, command);
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
