#include "jni/held_arrays.h"

namespace wbkit {

HeldArrays::~HeldArrays() {
    for (const uint8_t turn : order_) {
        const Held &held = held_[turn];
        if (held.elements != nullptr) {
            env_->ReleaseByteArrayElements(held.array, held.elements, 0);
        }
    }
}

const uint8_t *HeldArrays::fetch(jbyteArray array) {
    jbyte *elements = array == nullptr || count_ == kMost ? nullptr : env_->GetByteArrayElements(array, nullptr);
    if (count_ < kMost) {
        held_[count_++] = {array, elements};
    }
    complete_ &= elements != nullptr;
    return reinterpret_cast<const uint8_t *>(elements);
}

jsize HeldArrays::length(jbyteArray array) {
    return array == nullptr ? 0 : env_->GetArrayLength(array);
}

ArrayBytes HeldArrays::fetch_length_first(jbyteArray array) {
    const jsize len = length(array);
    return {fetch(array), len};
}

ArrayBytes HeldArrays::fetch_elements_first(jbyteArray array) {
    const uint8_t *data = fetch(array);
    return {data, length(array)};
}

} // namespace wbkit
