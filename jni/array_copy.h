// A copy of a Java byte array, which nobody else can change.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "jni/held_arrays.h"
#include "support/scratch.h"

namespace wbkit {

// The array's bytes with a terminator behind them. As a text it ends at its first zero byte.
class ArrayCopy {
  public:
    // Once a copy. False if memory ran out.
    bool take(const ArrayBytes &bytes) {
        len_ = static_cast<size_t>(bytes.len);
        text_.allocate(uint64_t{len_} + 1);
        if (text_) {
            memcpy(text_.data(), bytes.data, len_);
            text_.data()[len_] = 0;
        }
        return static_cast<bool>(text_);
    }

    [[nodiscard]] const char *c_str() const { return reinterpret_cast<const char *>(text_.data()); }

    // All bytes of the array, zero bytes among them included.
    [[nodiscard]] const uint8_t *data() const { return text_.data(); }
    [[nodiscard]] size_t size() const { return len_; }

  private:
    size_t len_ = 0;
    ScratchBuffer text_;
};

} // namespace wbkit
