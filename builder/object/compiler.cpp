#include "builder/object/compiler.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>

#include "builder/error.h"

namespace wbtables {
namespace {

namespace fs = std::filesystem;

std::string log_name(const CompilerJob &job) {
    return job.output.string() + ".log";
}

// Secrets may have come through the environment, so the compiler gets what it needs and no more.
std::vector<std::string> environment(const fs::path &folder) {
    std::vector<std::string> variables = {"LC_ALL=C", "TMPDIR=" + folder.string()};
    for (const char *const name : {"PATH", "HOME", "LD_LIBRARY_PATH"}) {
        const char *const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): nothing here changes it
        if (value != nullptr) {
            variables.push_back(fmt::format("{}={}", name, value));
        }
    }
    return variables;
}

std::vector<char *> pointers(std::vector<std::string> &texts) {
    std::vector<char *> out(texts.size() + 1); // ends with a null pointer
    std::transform(texts.begin(), texts.end(), out.begin(), [](std::string &text) { return text.data(); });
    return out;
}

// Where the child runs and what it has open: nothing of ours, for standard input too may carry a secret. It leads a
// process group, so that what it started in turn can be ended with it.
class SpawnSetup {
  public:
    SpawnSetup(const fs::path &folder, const std::string &log) {
        check(posix_spawn_file_actions_init(&actions_));
        check(posix_spawn_file_actions_addchdir_np(&actions_, folder.c_str()));
        check(posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
        check(posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                               S_IRUSR | S_IWUSR));
        check(posix_spawn_file_actions_adddup2(&actions_, STDOUT_FILENO, STDERR_FILENO));
        check(posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1));
        check(posix_spawnattr_init(&attributes_));
        check(posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF));
        sigset_t defaults; // what this program may ignore
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        sigaddset(&defaults, SIGXFSZ);
        check(posix_spawnattr_setsigdefault(&attributes_, &defaults));
    }
    ~SpawnSetup() {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&actions_);
    }
    SpawnSetup(const SpawnSetup &) = delete;
    SpawnSetup &operator=(const SpawnSetup &) = delete;
    SpawnSetup(SpawnSetup &&) = delete;
    SpawnSetup &operator=(SpawnSetup &&) = delete;

    [[nodiscard]] const posix_spawn_file_actions_t *actions() const { return &actions_; }
    [[nodiscard]] const posix_spawnattr_t *attributes() const { return &attributes_; }

  private:
    static void check(int result) {
        if (result != 0) {
            throw std::system_error(result, std::generic_category(), "posix_spawn");
        }
    }

    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

pid_t start(const CompilerJob &job) {
    // A relative path means the caller's folder, not the one that the compiler runs in; a bare name is searched for.
    const std::string program =
        job.compiler.find('/') == std::string::npos ? job.compiler : fs::absolute(job.compiler).string();
    std::vector<std::string> argument_texts = compiler_arguments(job.source, job.output);
    if (!job.target.empty()) {
        argument_texts.insert(argument_texts.begin(), "--target=" + job.target);
    }
    argument_texts.insert(argument_texts.begin(), program);
    std::vector<std::string> environment_texts = environment(fs::absolute(job.folder));
    const SpawnSetup setup(job.folder, log_name(job));
    pid_t child = -1;
    const int result = posix_spawnp(&child, program.c_str(), setup.actions(), setup.attributes(),
                                    pointers(argument_texts).data(), pointers(environment_texts).data());
    if (result != 0) {
        throw Error(Failure::compiler,
                    fmt::format("{}: cannot be run: {}", job.compiler, std::generic_category().message(result)));
    }
    return child;
}

// Ends the compiler and what it started, at first in a friendly way.
class Ending {
  public:
    explicit Ending(pid_t child) : group_(-child) {}

    void proceed(int interruptions) {
        constexpr auto kPatience = std::chrono::seconds(2);
        const auto now = std::chrono::steady_clock::now();
        if (!asked_) {
            ::kill(group_, SIGTERM);
            asked_ = true;
            asked_at_ = now;
        } else if (interruptions > 1 || now - asked_at_ > kPatience) {
            ::kill(group_, SIGKILL);
        }
    }
    // While the compiler's id is still its own.
    void finish() const {
        if (asked_) {
            ::kill(group_, SIGKILL);
        }
    }

  private:
    pid_t group_;
    bool asked_ = false;
    std::chrono::steady_clock::time_point asked_at_{};
};

bool has_ended(pid_t child) {
    siginfo_t info{};
    if (::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) != 0 && errno != EINTR) {
        throw std::system_error(errno, std::generic_category(), "waitid");
    }
    return info.si_pid == child;
}

// Asks again and again: a signal that came just before a blocking wait would not end it.
int wait_for(pid_t child, const std::function<int()> &interruptions) {
    constexpr auto kInterval = std::chrono::milliseconds(2);
    Ending ending(child);
    while (!has_ended(child)) {
        if (const int count = interruptions ? interruptions() : 0; count != 0) {
            ending.proceed(count);
        }
        std::this_thread::sleep_for(kInterval);
    }
    ending.finish();
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "waitpid");
        }
    }
    return status;
}

std::string contents(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// As messages name it: one of several may fail.
std::string described(const CompilerJob &job) {
    return job.target.empty() ? job.compiler : fmt::format("{} --target={}", job.compiler, job.target);
}

} // namespace

// A table library needs no C library and no start files; its own SONAME is how a virtual machine finds it once it is
// loaded. 16 KiB pages, also where the read-only part ends, and both hash tables are for Android, old and new.
std::vector<std::string> compiler_arguments(const std::string &source, const fs::path &output) {
    return {"-shared",
            "-nostdlib",
            "-fuse-ld=lld",
            "-Wl,-soname," + output.filename().string(),
            "-Wl,-z,max-page-size=16384",
            "-Wl,-z,common-page-size=16384",
            "-Wl,-z,relro",
            "-Wl,-z,now",
            "-Wl,-z,noexecstack",
            "-Wl,-z,defs",
            "-Wl,--hash-style=both",
            "-Wl,--build-id=none",
            "-Wl,--strip-all",
            "-o",
            output.string(),
            source};
}

void run_compiler(const CompilerJob &job, const std::function<int()> &interruptions) {
    const int status = wait_for(start(job), interruptions);
    if (interruptions && interruptions() != 0) {
        throw Interrupted();
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        const std::string how = WIFEXITED(status) ? fmt::format("exit status {}", WEXITSTATUS(status))
                                                  : fmt::format("signal {}", WTERMSIG(status));
        throw Error(Failure::compiler,
                    fmt::format("{}: failed with {}\n{}", described(job), how, contents(job.folder / log_name(job))));
    }
    if (!fs::is_regular_file(job.folder / job.output)) {
        throw Error(Failure::compiler, fmt::format("{}: made no library", described(job)));
    }
}

} // namespace wbtables
