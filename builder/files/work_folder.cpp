#include "builder/files/work_folder.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "builder/error.h"
#include "builder/files/file_descriptor.h"
#include "builder/keys/key_set.h"

namespace wbtables {
namespace {

namespace fs = std::filesystem;

Error cannot_write(const fs::path &path, int reason) {
    return {Failure::library, fmt::format("{}: cannot be written: {}", without_controls(path.string()),
                                          std::generic_category().message(reason))};
}

// The work folder is used by its path, so nobody else may be able to put another in its place.
void refuse_unsafe(const fs::path &parent) {
    struct stat status {};
    if (::stat(parent.c_str(), &status) != 0) {
        throw cannot_write(parent, errno);
    }
    if (status.st_uid != ::geteuid() && status.st_uid != 0) {
        throw Error(Failure::library,
                    fmt::format("{}: belongs to another user, who may rename what is made there; choose another folder",
                                without_controls(parent.string())));
    }
    // Where the umask is 002, a user's first group is the user's own.
    const bool group_may_write = (status.st_mode & S_IWGRP) != 0 && status.st_gid != ::getegid();
    const bool all_may_write = (status.st_mode & S_IWOTH) != 0;
    if ((group_may_write || all_may_write) && (status.st_mode & S_ISVTX) == 0) {
        throw Error(Failure::library,
                    fmt::format("{}: {} may write there and rename what others made; choose another folder",
                                without_controls(parent.string()), all_may_write ? "everybody" : "another group"));
    }
    if (parent.string().find('$') != std::string::npos) {
        throw Error(Failure::library, fmt::format("{}: the loader would replace what follows the '$'; choose another "
                                                  "folder",
                                                  without_controls(parent.string())));
    }
}

} // namespace

ParentFolder::ParentFolder(const fs::path &path) {
    constexpr mode_t kFolderMode = 0755;
    if (::mkdir(path.c_str(), kFolderMode) == 0) {
        made_ = path;
    }
}

ParentFolder::~ParentFolder() {
    if (!made_.empty()) {
        ::rmdir(made_.c_str());
    }
}

WorkFolder::WorkFolder(const fs::path &parent) : parent_(parent) {
    refuse_unsafe(parent);
    std::string pattern = (parent / ".wbtables-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw cannot_write(parent, errno);
    }
    path_ = pattern;
}

WorkFolder::~WorkFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

void WorkFolder::publish(const fs::path &to) const {
    if (::rename(path_.c_str(), to.c_str()) != 0) {
        throw cannot_write(to, errno);
    }
}

void write_file(const fs::path &path, std::span<const std::byte> bytes) {
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file.is_open()) {
        throw cannot_write(path, errno);
    }
    while (!bytes.empty()) {
        const ssize_t written = ::write(file.get(), bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            throw cannot_write(path, errno);
        }
        bytes = bytes.subspan(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
}

} // namespace wbtables
