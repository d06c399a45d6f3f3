/* A library of somebody else's: its load hook initialises CLASS, as FindClass does. What that throws reaches the caller
 * of System.load. */

#include <jni.h>
#include <stddef.h>

JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM *vm, void *reserved) {
    JNIEnv *env = NULL;
    (void)reserved;
    if ((*vm)->GetEnv(vm, (void **)&env, JNI_VERSION_1_6) != JNI_OK) {
        return JNI_ERR;
    }
    (*env)->FindClass(env, CLASS);
    return JNI_VERSION_1_6;
}
