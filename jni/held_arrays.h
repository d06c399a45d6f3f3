// Java byte arrays during one native call.
#pragma once

#include <jni.h>
#include <stddef.h>
#include <stdint.h>

#include <iterator>
#include <span>

namespace wbkit {

// The elements of a Java byte array and their count. `data` is null if the virtual machine could not give them.
struct ArrayBytes {
    const uint8_t *data;
    jsize len;
};

// The order in which a native gives its arrays back, by their turns in fetching.
using ReleaseOrder = std::span<const uint8_t>;
inline constexpr uint8_t kAsFetched[] = {0, 1, 2, 3, 4, 5, 6, 7};

// Holds the elements of a call's arrays and gives them back when its scope ends. Releasing with mode 0 copies the
// elements back, unchanged as they are, and frees them: nothing of ArrayBytes outlives this. The output buffer of a
// call is declared before its arrays, so that it is freed after they were released.
//
// Elements can be the array itself, not a copy: another Java thread may change them meanwhile. What is read twice,
// because it is checked and then used, is copied first.
class HeldArrays {
  public:
    explicit HeldArrays(JNIEnv *env, ReleaseOrder order = kAsFetched) : env_(env), order_(order) {}
    ~HeldArrays();
    HeldArrays(const HeldArrays &) = delete;
    HeldArrays &operator=(const HeldArrays &) = delete;
    HeldArrays(HeldArrays &&) = delete;
    HeldArrays &operator=(HeldArrays &&) = delete;

    // Null if there are no elements to give, as for a null array, of which the virtual machine is not asked. Then
    // nothing is held, and nothing released when its turn comes.
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
    static constexpr size_t kMost = std::size(kAsFetched);

    JNIEnv *env_;
    ReleaseOrder order_;
    Held held_[kMost] = {};
    size_t count_ = 0;
    bool complete_ = true;
};

} // namespace wbkit
