/* The Java boundary: the load hook, the natives of com.vorlix.quen.wb.WbkitAndr and the caller check. The conventions
 * stand in quen/wbkit.h.
 *
 * A native gets the JNI environment, an object that it ignores, and Java byte arrays; texts travel as byte arrays too
 * and end at their first zero byte, if they have one. It returns a new byte array, or null on failure with the reason
 * in the log. It throws nothing of its own: only if the virtual machine itself has no memory for an array is that
 * machine's OutOfMemoryError left pending. Every array that it fetched is released before it returns. */
#ifndef QUEN_NATIVES_H
#define QUEN_NATIVES_H

#include <jni.h>
#include <stdint.h>

#include "quen/export.h"

WBKIT_BEGIN_DECLS

/* JNI_OnLoad registers the natives on com.vorlix.quen.wb.WbkitAndr. Returns 0x10006 (JNI 1.6), or -1 if the virtual
 * machine has no such environment, the class is missing, or it lacks one of the methods. */
/* NOLINTNEXTLINE(readability-redundant-declaration): jni.h declares it too. */
JNIEXPORT WBKIT_API jint JNICALL JNI_OnLoad(JavaVM *vm, void *reserved);

/* check_is_valid_call decides whether a caller may use the table library of `wbid` (`wbid_len` bytes, no terminator)
 * and `version`. `hash` is the caller's token: HMAC-SHA256 of the wbid bytes followed by the library's application id
 * under the library's `sk`. 32 bytes of it are read, whatever `hash_len` is.
 *
 * `caller` (`caller_len` bytes, no terminator) must occur somewhere in the text of the library's whitelist: a part of a
 * listed name does, and so does the empty name; a name ends at its first zero byte. A library without a whitelist, or
 * with an empty one, admits every caller with a valid token.
 *
 * Returns 0 if the call is authorised, -1 if not; a null pointer or a negative length is refused without a line in the
 * log. */
WBKIT_API int32_t check_is_valid_call(const uint8_t *hash, int32_t hash_len, const uint8_t *caller, int32_t caller_len,
                                      const uint8_t *wbid, int32_t wbid_len, int32_t version);

/* The stream modes. `hash` and `caller` authorise the call as above. `iv` is one block (a shorter array is extended
 * with zeros); only 32 bytes of `hash` and 16 of `iv` count, and a shorter `hash` is extended with zeros too. `padding`
 * is 0, 1 or 2, anything else is refused. The result has the length that the mode function of quen/aes.h reports.
 *
 * WBkit_AES_CFB_encrypt alone has no line of its own for arrays without elements and callers without authorisation. */
WBKIT_API jbyteArray WBkit_AES_CFB_encrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                           jbyteArray iv, jbyteArray input, jint padding, jbyteArray wbid,
                                           jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_AES_CFB_decrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                           jbyteArray iv, jbyteArray input, jint padding, jbyteArray wbid,
                                           jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_AES_OFB_encrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                           jbyteArray iv, jbyteArray input, jint padding, jbyteArray wbid,
                                           jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_AES_OFB_decrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                           jbyteArray iv, jbyteArray input, jint padding, jbyteArray wbid,
                                           jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_AES_CTR_encrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                           jbyteArray iv, jbyteArray input, jint padding, jbyteArray wbid,
                                           jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_AES_CTR_decrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                           jbyteArray iv, jbyteArray input, jint padding, jbyteArray wbid,
                                           jbyteArray keyid, jint version);

/* The accessors return a text of the table library, without a terminator: the joined key ids (every id followed by a
 * comma), the whitelist, the application id. A text of more than 212, 10000 and 100 bytes is refused. */
WBKIT_API jbyteArray WBkit_get_keyids(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller, jbyteArray wbid,
                                      jint version);
WBKIT_API jbyteArray WBkit_get_whitelist(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                         jbyteArray wbid, jint version);
WBKIT_API jbyteArray WBkit_get_appid(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller, jbyteArray wbid,
                                     jint version);

/* WBkit_get_sk returns the table library's `sk` text if `ak` begins with the library's access key. It asks for no
 * authorisation. An `sk` of more than 100 bytes is refused. */
WBKIT_API jbyteArray WBkit_get_sk(JNIEnv *env, jobject object, jbyteArray ak, jbyteArray wbid, jint version);

/* WBkit_hmac returns HMAC-SHA256 of `message` under `key`, 32 bytes; 32 zero bytes, with a line in the log, if memory
 * for the computation ran out; null if an argument is null. It asks for no authorisation. */
WBKIT_API jbyteArray WBkit_hmac(JNIEnv *env, jobject object, jbyteArray message, jbyteArray key);

WBKIT_END_DECLS

#endif
