#include "fake_jni.h"

#include <algorithm>
#include <stdexcept>

namespace bench {
namespace {

using Array = std::vector<std::uint8_t>;

jbyteArray handle(Array &array) {
    return reinterpret_cast<jbyteArray>(&array);
}

Array &array_of(jarray array) {
    return *reinterpret_cast<Array *>(array);
}

} // namespace

struct FakeJni::Functions {
    static jsize JNICALL length(JNIEnv * /*env*/, jarray array) { return static_cast<jsize>(array_of(array).size()); }

    static jbyte *JNICALL elements(JNIEnv * /*env*/, jbyteArray array, jboolean * /*is_copy*/) {
        return reinterpret_cast<jbyte *>(array_of(array).data());
    }

    static void JNICALL release(JNIEnv * /*env*/, jbyteArray /*array*/, jbyte * /*elements*/, jint /*mode*/) {}

    static jbyteArray JNICALL new_array(JNIEnv *env, jsize size) {
        Array &result = static_cast<Env *>(env)->self->result_;
        result.resize(static_cast<std::size_t>(size));
        return handle(result);
    }

    static void JNICALL region(JNIEnv * /*env*/, jbyteArray array, jsize start, jsize size, const jbyte *from) {
        std::copy_n(from, size, array_of(array).begin() + start);
    }
};

FakeJni::FakeJni() : env_{}, functions_{} {
    functions_.GetArrayLength = Functions::length;
    functions_.GetByteArrayElements = Functions::elements;
    functions_.ReleaseByteArrayElements = Functions::release;
    functions_.NewByteArray = Functions::new_array;
    functions_.SetByteArrayRegion = Functions::region;
    env_.functions = &functions_;
    env_.self = this;
}

jbyteArray FakeJni::array(const void *bytes, std::size_t len) {
    const auto *first = static_cast<const std::uint8_t *>(bytes);
    Array &array = arrays_.emplace_back();
    array.reserve(len + 1); // also an empty array has elements to point to
    array.assign(first, first + len);
    return handle(array);
}

void FakeJni::fill(jbyteArray array, const void *bytes, std::size_t len) {
    std::copy_n(static_cast<const std::uint8_t *>(bytes), len, array_of(array).begin());
}

const std::vector<std::uint8_t> &FakeJni::bytes(jbyteArray array) {
    if (array == nullptr) {
        throw std::runtime_error("a native refused its call");
    }
    return array_of(array);
}

} // namespace bench
