#include "jni/answer.h"

#include "support/log.h"

namespace wbkit {

jbyteArray refuse_parameters(const char *op) {
    WBKIT_LOG_ERROR("%s, params is not invalid.\n", op);
    return nullptr;
}

jbyteArray refuse_call(const char *tag) {
    if (tag != nullptr) {
        WBKIT_LOG_ERROR("%s: input args invalid", tag);
    }
    return nullptr;
}

jbyteArray report_failure(const char *op, int32_t status) {
    WBKIT_LOG_ERROR("jni %s fail %d\n", op, status);
    return nullptr;
}

jbyteArray new_array(JNIEnv *env, const void *bytes, size_t len) {
    const auto size = static_cast<jsize>(len);
    jbyteArray array = env->NewByteArray(size);
    if (array != nullptr) {
        env->SetByteArrayRegion(array, 0, size, static_cast<const jbyte *>(bytes));
    }
    return array;
}

} // namespace wbkit
