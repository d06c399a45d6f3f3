#include "builder/files/publication.h"

#include <cerrno>
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

// Where others may load it but not change it, whatever the umask is.
bool finish_file(const fs::path &path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    return file.is_open() && ::fstat(file.get(), &status) == 0 &&
           ::fchmod(file.get(), status.st_mode & ~mode_t{S_IWGRP | S_IWOTH}) == 0 && ::fsync(file.get()) == 0;
}

// Keeps what stands at `place` under another name. Not every file system has hard links; without them the place is
// empty for a moment.
bool keep(const fs::path &place, const fs::path &kept) {
    struct stat status {};
    if (::lstat(place.c_str(), &status) != 0 || S_ISDIR(status.st_mode)) {
        return false;
    }
    return ::link(place.c_str(), kept.c_str()) == 0 || ::rename(place.c_str(), kept.c_str()) == 0;
}

} // namespace

Publication::~Publication() {
    std::error_code ignored;
    for (; !done_.empty(); done_.pop_back()) {
        if (done_.back().earlier.empty()) {
            fs::remove(done_.back().place, ignored);
        }
        restore(done_.back());
    }
}

void Publication::put(const fs::path &from, const fs::path &to) {
    constexpr mode_t kFolderMode = 0755;
    const bool made_folder = ::mkdir(to.parent_path().c_str(), kFolderMode) == 0;
    const fs::path kept = work_ / fmt::format("earlier-{}", done_.size());
    const Step step{to, keep(to, kept) ? kept : fs::path(), made_folder};
    if (!finish_file(from) || ::rename(from.c_str(), to.c_str()) != 0) {
        const int reason = errno;
        restore(step);
        throw Error(Failure::library, fmt::format("{}: cannot be written: {}", without_controls(to.string()),
                                                  std::generic_category().message(reason)));
    }
    done_.push_back(step);
}

// What was there before stands there again, or nothing did.
void Publication::restore(const Step &step) {
    std::error_code ignored;
    if (!step.earlier.empty()) {
        fs::rename(step.earlier, step.place, ignored);
    }
    if (step.made_folder) {
        fs::remove(step.place.parent_path(), ignored); // goes only if it is empty
    }
}

} // namespace wbtables
