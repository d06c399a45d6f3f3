// A text that came as a Java byte array.
#pragma once

#include <string.h>

#include "jni/held_arrays.h"
#include "support/scratch.h"

namespace wbkit {

// A copy of an array's bytes with a terminator behind them. As a text it ends at its first zero byte.
class TextCopy {
  public:
    explicit TextCopy(const ArrayBytes &bytes)
        : len_(static_cast<size_t>(bytes.len)), text_(static_cast<uint64_t>(bytes.len) + 1) {
        if (text_) {
            memcpy(text_.data(), bytes.data, len_);
            text_.data()[len_] = 0;
        }
    }

    // False if memory ran out.
    explicit operator bool() const { return static_cast<bool>(text_); }
    [[nodiscard]] const char *c_str() const { return reinterpret_cast<const char *>(text_.data()); }

    // All bytes of the array, zero bytes among them included.
    [[nodiscard]] const uint8_t *data() const { return text_.data(); }
    [[nodiscard]] size_t size() const { return len_; }

  private:
    size_t len_;
    ScratchBuffer text_;
};

} // namespace wbkit
