// Scratch memory of one call.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace wbkit {

// Heap memory that is wiped and freed when its scope ends. It may hold plaintext and key material.
class ScratchBuffer {
  public:
    ScratchBuffer() = default;
    explicit ScratchBuffer(uint64_t size) { allocate(size); }
    ~ScratchBuffer();
    ScratchBuffer(const ScratchBuffer &) = delete;
    ScratchBuffer &operator=(const ScratchBuffer &) = delete;
    ScratchBuffer(ScratchBuffer &&) = delete;
    ScratchBuffer &operator=(ScratchBuffer &&) = delete;

    // Once a buffer. Afterwards data() is null if memory ran out; size 0 is memory too.
    void allocate(uint64_t size);

    [[nodiscard]] uint8_t *data() { return data_; }
    [[nodiscard]] const uint8_t *data() const { return data_; }
    explicit operator bool() const { return data_ != nullptr; }

  private:
    uint8_t *data_ = nullptr;
    size_t size_ = 0;
};

} // namespace wbkit
