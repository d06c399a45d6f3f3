#include "run_command.h"

#include <cstdlib>
#include <stdexcept>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "key_sets.h"
#include "support/temp_dir.h"

namespace test {
namespace {

void redirect(int fd, const std::filesystem::path &path, int flags) {
    const int file = open(path.c_str(), flags, 0600);
    if (file < 0 || dup2(file, fd) < 0) {
        _exit(126);
    }
    close(file);
}

// Under emulation the emulator has to be told of it: the system cannot run it.
[[noreturn]] void become_wbtables(std::vector<std::string> arguments) {
    const std::string emulator = WBTABLES_EMULATOR;
    arguments.insert(arguments.begin(), "wbtables");
    if (!emulator.empty()) {
        arguments.insert(arguments.begin(), {emulator, "-0", "wbtables"});
        arguments[3] = WBTABLES_COMMAND;
    }
    std::vector<char *> argv;
    for (std::string &argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    execvp(emulator.empty() ? WBTABLES_COMMAND : emulator.c_str(), argv.data());
    _exit(127);
}

} // namespace

CommandResult run_wbtables(const std::filesystem::path &folder, const std::vector<std::string> &arguments,
                           std::string_view input, const std::map<std::string, std::string> &variables) {
    const TempDir streams;
    write_text(streams.path() / "in", input);
    const pid_t child = fork();
    if (child == 0) {
        redirect(STDIN_FILENO, streams.path() / "in", O_RDONLY);
        redirect(STDOUT_FILENO, streams.path() / "out", O_WRONLY | O_CREAT);
        redirect(STDERR_FILENO, streams.path() / "err", O_WRONLY | O_CREAT);
        redirect(9, streams.path() / "in", O_RDONLY);
        for (const auto &[name, value] : variables) {
            setenv(name.c_str(), value.c_str(), 1);
        }
        if (chdir(folder.c_str()) == 0) {
            become_wbtables(arguments);
        }
        _exit(126);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        throw std::runtime_error("cannot run wbtables");
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), read_text(streams.path() / "out"),
            read_text(streams.path() / "err")};
}

} // namespace test
