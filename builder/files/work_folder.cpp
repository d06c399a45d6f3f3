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

namespace wbtables {
namespace {

namespace fs = std::filesystem;

Error cannot_write(const fs::path &path, int reason) {
    return {Failure::library,
            fmt::format("{}: cannot be written: {}", path.string(), std::generic_category().message(reason))};
}

// The work folder is used by its path, so nobody else may be able to put another in its place.
void refuse_unsafe(const fs::path &parent) {
    struct stat status {};
    if (::stat(parent.c_str(), &status) != 0) {
        throw cannot_write(parent, errno);
    }
    if ((status.st_mode & S_IWOTH) != 0 && (status.st_mode & S_ISVTX) == 0) {
        throw Error(Failure::library,
                    fmt::format("{}: everybody may write there and rename what others made; choose another folder",
                                parent.string()));
    }
    if (parent.string().find('$') != std::string::npos) {
        throw Error(Failure::library, fmt::format("{}: the loader would replace what follows the '$'; choose another "
                                                  "folder",
                                                  parent.string()));
    }
}

} // namespace

WorkFolder::WorkFolder(const fs::path &parent) {
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
