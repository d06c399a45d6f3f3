// What the natives of the block modes take besides texts and a key.
#pragma once

#include <string.h>

#include <algorithm>

#include "jni/held_arrays.h"
#include "modes/block_cipher.h"

namespace wbkit {

constexpr bool is_padding_mode(jint padding) {
    constexpr uint32_t kLargest = 2;
    return static_cast<uint32_t>(padding) <= kLargest;
}

// One block from an array of any length: cut, or extended with zeros.
class BlockIv {
  public:
    explicit BlockIv(const ArrayBytes &bytes) {
        memcpy(block_, bytes.data, std::min(kBlockSize, static_cast<size_t>(bytes.len)));
    }
    [[nodiscard]] const uint8_t *data() const { return block_; }

  private:
    uint8_t block_[kBlockSize] = {};
};

} // namespace wbkit
