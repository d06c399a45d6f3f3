// Bytes between pages that nobody may touch.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "support/bytes.h"

namespace test {

class FencedBytes {
  public:
    enum class Fence { in_front, behind };

    // `size` bytes that touch the fence in front of them or behind them.
    FencedBytes(size_t size, Fence fence)
        : page_(static_cast<size_t>(sysconf(_SC_PAGESIZE))), room_((size + page_ - 1) / page_ * page_),
          map_(mmap(nullptr, room_ + 2 * page_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)), size_(size) {
        auto *first = static_cast<uint8_t *>(map_) + page_;
        if (map_ == MAP_FAILED || (room_ != 0 && mprotect(first, room_, PROT_READ | PROT_WRITE) != 0)) {
            throw std::runtime_error("no fenced memory");
        }
        data_ = fence == Fence::in_front ? first : first + room_ - size;
    }
    ~FencedBytes() { munmap(map_, room_ + 2 * page_); }
    FencedBytes(const FencedBytes &) = delete;
    FencedBytes &operator=(const FencedBytes &) = delete;

    uint8_t *data() { return data_; }
    void fill(const Bytes &bytes) { std::copy_n(bytes.begin(), size_, data_); }
    Bytes bytes() const { return {data_, data_ + size_}; }

  private:
    size_t page_;
    size_t room_;
    void *map_;
    size_t size_;
    uint8_t *data_;
};

} // namespace test
