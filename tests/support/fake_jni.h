// A JNI environment that records every call. What can fail there asks support/faults.h.
#pragma once

#include <jni.h>

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace test {

class FakeJni {
  public:
    FakeJni();
    ~FakeJni();
    FakeJni(const FakeJni &) = delete;
    FakeJni &operator=(const FakeJni &) = delete;

    JNIEnv *env() { return &env_; }

    // A Java array; the name stands in the record.
    jbyteArray array(const std::string &name, const Bytes &bytes);
    jbyteArray array(const std::string &name, const std::string &text) { return array(name, bytes_of(text)); }

    // What a native returned: nothing for null.
    static std::optional<Bytes> bytes(jbyteArray array);

    // "length input", "elements input", "release input", "new 16", "region 16" in order.
    std::vector<std::string> take_calls();

    // Arrays whose elements are still out; taking them gives them back.
    std::vector<std::string> take_held();

    // Lengths that arrays are said to have, whatever they have.
    std::map<std::string, jsize> claimed_lengths;

  private:
    struct Array;
    struct Env : JNIEnv {
        FakeJni *self;
    };
    struct Functions;

    Env env_;
    JNINativeInterface_ functions_;
    std::deque<Array> arrays_;
    std::vector<std::string> calls_;
};

} // namespace test
