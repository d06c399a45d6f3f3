#include "support/fake_jni.h"

#include <algorithm>
#include <utility>

#include <gtest/gtest.h>

#include "support/faults.h"

namespace test {

struct FakeJni::Array {
    std::string name;
    Bytes bytes;
    // What was handed out: memory of its own, so that sanitizers see any access beyond it or after its release.
    jbyte *elements = nullptr;
};

struct FakeJni::Functions {
    static FakeJni &self(JNIEnv *env) { return *static_cast<Env *>(env)->self; }
    // A null handle, with which a real machine would crash, stands in the record as "null".
    static Array &array(JNIEnv *env, jarray handle) {
        return *reinterpret_cast<Array *>(handle != nullptr ? handle : self(env).array("null", Bytes{}));
    }

    static jsize JNICALL length(JNIEnv *env, jarray handle) {
        const Array &asked = array(env, handle);
        self(env).calls_.push_back("length " + asked.name);
        const auto claimed = self(env).claimed_lengths.find(asked.name);
        return claimed != self(env).claimed_lengths.end() ? claimed->second : static_cast<jsize>(asked.bytes.size());
    }

    static jbyte *JNICALL elements(JNIEnv *env, jbyteArray handle, jboolean *is_copy) {
        EXPECT_EQ(is_copy, nullptr);
        FakeJni &jni = self(env);
        Array &found = array(env, handle);
        jni.calls_.push_back("elements " + found.name);
        if (must_fail(jni.calls_.back())) {
            return nullptr;
        }
        EXPECT_EQ(found.elements, nullptr) << found.name << " fetched twice";
        found.elements = new jbyte[found.bytes.size()];
        std::ranges::copy(found.bytes, found.elements);
        return found.elements;
    }

    static void JNICALL release(JNIEnv *env, jbyteArray handle, jbyte *elements, jint mode) {
        Array &found = array(env, handle);
        self(env).calls_.push_back("release " + found.name);
        EXPECT_EQ(mode, 0);
        EXPECT_NE(elements, nullptr) << found.name;
        EXPECT_EQ(elements, found.elements) << found.name;
        EXPECT_TRUE(std::equal(found.bytes.begin(), found.bytes.end(), reinterpret_cast<const uint8_t *>(elements)))
            << found.name << " was changed";
        delete[] std::exchange(found.elements, nullptr);
    }

    static jbyteArray JNICALL new_array(JNIEnv *env, jsize size) {
        FakeJni &jni = self(env);
        jni.calls_.push_back("new " + std::to_string(size));
        return must_fail(jni.calls_.back()) ? nullptr : jni.array("result", Bytes(static_cast<size_t>(size)));
    }

    static void JNICALL region(JNIEnv *env, jbyteArray handle, jsize start, jsize size, const jbyte *from) {
        self(env).calls_.push_back("region " + std::to_string(size));
        std::copy_n(from, size, array(env, handle).bytes.begin() + start);
    }
};

FakeJni::FakeJni() : env_{}, functions_{} {
    // Whatever else a native calls is a null pointer here.
    functions_.GetArrayLength = Functions::length;
    functions_.GetByteArrayElements = Functions::elements;
    functions_.ReleaseByteArrayElements = Functions::release;
    functions_.NewByteArray = Functions::new_array;
    functions_.SetByteArrayRegion = Functions::region;
    env_.functions = &functions_;
    env_.self = this;
}

FakeJni::~FakeJni() {
    EXPECT_EQ(take_held(), std::vector<std::string>{}) << "never released";
}

jbyteArray FakeJni::array(const std::string &name, const Bytes &bytes) {
    arrays_.push_back({name, bytes});
    return reinterpret_cast<jbyteArray>(&arrays_.back());
}

std::optional<Bytes> FakeJni::bytes(jbyteArray array) {
    if (array == nullptr) {
        return std::nullopt;
    }
    return reinterpret_cast<Array *>(array)->bytes;
}

std::vector<std::string> FakeJni::take_calls() {
    return std::exchange(calls_, {});
}

std::vector<std::string> FakeJni::take_held() {
    std::vector<std::string> names;
    for (Array &array : arrays_) {
        if (array.elements != nullptr) {
            names.push_back(array.name);
            delete[] std::exchange(array.elements, nullptr);
        }
    }
    return names;
}

} // namespace test
