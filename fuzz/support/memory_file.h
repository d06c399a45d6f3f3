// A file in memory, for what reads files by their names.
#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <span>
#include <stdexcept>
#include <string>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "builder/files/file_descriptor.h"
#include "builder/keys/key_set.h"

namespace fuzz {

class MemoryFile {
  public:
    explicit MemoryFile(const char *name) : file_(memfd_create(name, MFD_CLOEXEC)) {
        require(file_.is_open() && fchmod(file_.get(), S_IRUSR | S_IWUSR) == 0);
    }

    void fill(std::span<const uint8_t> bytes) const {
        require(ftruncate(file_.get(), 0) == 0 &&
                pwrite(file_.get(), bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    }
    [[nodiscard]] std::filesystem::path path() const { return "/proc/self/fd/" + std::to_string(file_.get()); }

  private:
    static void require(bool done) {
        if (!done) {
            throw std::runtime_error("no file in memory");
        }
    }

    wbtables::FileDescriptor file_;
};

// Neither a terminal nor a log is led astray by it.
inline bool is_harmless(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    return wbtables::without_controls(text) == text;
}

} // namespace fuzz
