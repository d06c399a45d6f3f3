// As much of a Java virtual machine as a native of GCM calls, at next to no cost: arrays are handed out as they are.
#pragma once

#include <jni.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace bench {

class FakeJni {
  public:
    FakeJni();
    FakeJni(const FakeJni &) = delete;
    FakeJni &operator=(const FakeJni &) = delete;

    JNIEnv *env() { return &env_; }
    jbyteArray array(const void *bytes, std::size_t len);
    // Overwrites an array of this length.
    static void fill(jbyteArray array, const void *bytes, std::size_t len);
    // What a native returned. It holds until the next native is called.
    static const std::vector<std::uint8_t> &bytes(jbyteArray array);

  private:
    struct Env : JNIEnv {
        FakeJni *self;
    };
    struct Functions;

    Env env_;
    JNINativeInterface_ functions_;
    std::deque<std::vector<std::uint8_t>> arrays_;
    std::vector<std::uint8_t> result_;
};

} // namespace bench
