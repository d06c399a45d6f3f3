// Java byte arrays during one native call.
#pragma once

#include <jni.h>
#include <stddef.h>
#include <stdint.h>

namespace wbkit {

// The elements of a Java byte array and their count. `data` is null if the virtual machine could not give them.
struct ArrayBytes {
    const uint8_t *data;
    jsize len;
};

// Holds the elements of a call's arrays and gives them back when its scope ends, in the order of fetching. Releasing
// with mode 0 copies the elements back, unchanged as they are, and frees them: nothing of ArrayBytes outlives this.
//
// Elements can be the array itself, not a copy: another Java thread may change them meanwhile. What is checked and then
// used is copied first.
class HeldArrays {
  public:
    explicit HeldArrays(JNIEnv *env) : env_(env) {}
    ~HeldArrays();
    HeldArrays(const HeldArrays &) = delete;
    HeldArrays &operator=(const HeldArrays &) = delete;
    HeldArrays(HeldArrays &&) = delete;
    HeldArrays &operator=(HeldArrays &&) = delete;

    // Null if there are no elements to give, as for a null array, of which the virtual machine is not asked. Then
    // nothing is held.
    const uint8_t *fetch(jbyteArray array);

    // 0 for a null array.
    jsize length(jbyteArray array);

    // Both, in the order in which the native's contract asks for them.
    ArrayBytes fetch_length_first(jbyteArray array);
    ArrayBytes fetch_elements_first(jbyteArray array);

    // Whether every fetch so far gave elements.
    [[nodiscard]] bool complete() const { return complete_; }

  private:
    struct Held {
        jbyteArray array;
        jbyte *elements;
    };
    // No native takes more arrays.
    static constexpr size_t kMost = 8;

    JNIEnv *env_;
    Held held_[kMost] = {};
    size_t count_ = 0;
    bool complete_ = true;
};

} // namespace wbkit
