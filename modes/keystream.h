// The keystream of one batch of blocks.
#pragma once

#include <algorithm>

#include "modes/stream.h"
#include "support/secret.h"

namespace wbkit {

// Room for as many blocks as `len` bytes touch, at most kBatchBlocks; wiped when its scope ends. A short message pays
// for its own blocks alone.
class Keystream {
  public:
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the bytes are not filled here, see below
    explicit Keystream(size_t len) : size_(std::min(blocks_of(len), kBatchBlocks) * kBlockSize) {}
    ~Keystream() { wipe(bytes_, size_); }
    Keystream(const Keystream &) = delete;
    Keystream &operator=(const Keystream &) = delete;
    Keystream(Keystream &&) = delete;
    Keystream &operator=(Keystream &&) = delete;

    [[nodiscard]] uint8_t *data() { return bytes_; }
    [[nodiscard]] size_t size() const { return size_; }

  private:
    size_t size_;
    alignas(64) uint8_t bytes_[kBatchBlocks * kBlockSize]; // filled when they are used: here it would cost time
};

} // namespace wbkit
