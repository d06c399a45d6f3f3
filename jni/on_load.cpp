// The load hook: the only work at load time.

#include "jni/method_table.h"
#include "quen/natives.h"
#include "support/log.h"

namespace {

constexpr char kClassName[] = "com/vorlix/quen/wb/WbkitAndr";

// A pending Java exception stays: on a desktop it tells the caller of System.load why.
bool register_natives(JNIEnv *env) {
    jclass natives_class = env->FindClass(kClassName);
    if (natives_class == nullptr) {
        WBKIT_LOG_ERROR("Native registration unable to find class '%s'\n", kClassName);
        return false;
    }
    const auto methods = wbkit::method_table();
    if (env->RegisterNatives(natives_class, methods.data(), static_cast<jint>(methods.size())) < 0) {
        WBKIT_LOG_ERROR("RegisterNatives failed for '%s'\n", kClassName);
        return false;
    }
    return true;
}

} // namespace

jint JNI_OnLoad(JavaVM *vm, void * /*reserved*/) {
    WBKIT_LOG_INFO("JNI_OnLoad\n");
    void *env = nullptr;
    if (vm->GetEnv(&env, JNI_VERSION_1_6) != JNI_OK) {
        WBKIT_LOG_ERROR("ERROR: GetEnv failed\n");
        return JNI_ERR;
    }
    WBKIT_LOG_INFO("register natives!\n");
    if (!register_natives(static_cast<JNIEnv *>(env))) {
        WBKIT_LOG_ERROR("ERROR: registerNatives failed\n");
        return JNI_ERR;
    }
    WBKIT_LOG_INFO("registerNativeMethods!\n");
    return JNI_VERSION_1_6;
}
