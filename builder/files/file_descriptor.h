// An open file that closes itself.
#pragma once

#include <unistd.h>

namespace wbtables {

class FileDescriptor {
  public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;
    FileDescriptor(FileDescriptor &&) = delete;
    FileDescriptor &operator=(FileDescriptor &&) = delete;

    [[nodiscard]] bool is_open() const { return fd_ >= 0; }
    [[nodiscard]] int get() const { return fd_; }

  private:
    int fd_;
};

} // namespace wbtables
