#include "jni/answer.h"

#include "quen/status.h"
#include "support/log.h"

namespace wbkit {

jbyteArray refuse_parameters(const NativeWords &words) {
    WBKIT_LOG_ERROR("%s, params is not invalid.\n", words.op);
    return nullptr;
}

jbyteArray refuse_call(const NativeWords &words) {
    if (words.tag != nullptr) {
        WBKIT_LOG_ERROR("%s: input args invalid", words.tag);
    }
    return nullptr;
}

jbyteArray report_failure(const NativeWords &words, int32_t status) {
    WBKIT_LOG_ERROR("jni %s fail %d\n", words.failed_op != nullptr ? words.failed_op : words.op, status);
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

jbyteArray answer(JNIEnv *env, const NativeWords &words, int32_t status, const void *bytes, int64_t len) {
    return status == WBKIT_OK ? new_array(env, bytes, static_cast<size_t>(len)) : report_failure(words, status);
}

} // namespace wbkit
