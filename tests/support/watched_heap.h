// A heap that can be looked at when everything was freed.
#pragma once

#include <cstdint>
#include <span>

namespace test {

// While it lives, the library's blocks lie in `memory`, one behind the other, and stay there as they were freed.
class WatchedHeap {
  public:
    explicit WatchedHeap(std::span<uint8_t> memory);
    ~WatchedHeap();
    WatchedHeap(const WatchedHeap &) = delete;
    WatchedHeap &operator=(const WatchedHeap &) = delete;
};

} // namespace test
