/* The Java boundary: the load hook, the natives of com.vorlix.quen.wb.WbkitAndr and the caller check. The conventions
 * stand in quen/wbkit.h.
 *
 * A native gets the JNI environment, an object that it ignores, and Java byte arrays; texts travel as byte arrays too
 * and end at their first zero byte, if they have one. It returns a new byte array, or null on failure with the reason
 * in the log. It throws nothing of its own: only if the virtual machine itself has no memory for an array is that
 * machine's OutOfMemoryError left pending. Arrays behind one whose elements could not be had are asked for all the
 * same: intended. Every array that it fetched is released before it returns, but for `hash` and `caller` of
 * WBkit_SM4_OFB_encrypt: intended. */
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
 * is 0, 1 or 2, anything else is refused. The result has the length that the mode function of quen/aes.h
 * or quen/sm4.h reports, and what those refuse is refused.
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
WBKIT_API jbyteArray WBkit_SM4_CFB_encrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                           jbyteArray iv, jbyteArray input, jint padding, jbyteArray wbid,
                                           jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_SM4_CFB_decrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                           jbyteArray iv, jbyteArray input, jint padding, jbyteArray wbid,
                                           jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_SM4_OFB_encrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                           jbyteArray iv, jbyteArray input, jint padding, jbyteArray wbid,
                                           jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_SM4_OFB_decrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                           jbyteArray iv, jbyteArray input, jint padding, jbyteArray wbid,
                                           jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_SM4_CTR_encrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                           jbyteArray iv, jbyteArray input, jint padding, jbyteArray wbid,
                                           jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_SM4_CTR_decrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                           jbyteArray iv, jbyteArray input, jint padding, jbyteArray wbid,
                                           jbyteArray keyid, jint version);

/* GCM with an AES key, as in quen/aes.h, with a tag of 16 bytes behind the ciphertext. `iv` has any length; `aad` and
 * the text may be empty. An input of the decryption that is shorter than its tag is refused with -93. */
WBKIT_API jbyteArray WBkit_AES_GCM_encrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                           jbyteArray iv, jbyteArray input, jbyteArray aad, jbyteArray wbid,
                                           jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_AES_GCM_decrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                           jbyteArray iv, jbyteArray input, jbyteArray aad, jbyteArray wbid,
                                           jbyteArray keyid, jint version);

/* The enveloped encryptions of quen/cms.h. `iv` and `padding` are those of the stream modes above; `key` is data of the
 * caller's that the message carries. The result is a packed CMSEncryptedData.
 *
 * WBkit_AES_CMS_GCM_encrypt takes additional data in place of a padding, an `iv` of any length, and puts a 16-byte tag
 * into the message. A message has at most 208 bytes besides `input` and `key`: `iv` and `aad` together have some 130 of
 * them, and more is refused with -3. It returns a message without content if the key cannot be used: intended, see
 * quen/cms.h. */
WBKIT_API jbyteArray WBkit_AES_CMS_CFB_encrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray iv, jbyteArray input, jint padding, jbyteArray key,
                                               jbyteArray wbid, jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_AES_CMS_OFB_encrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray iv, jbyteArray input, jint padding, jbyteArray key,
                                               jbyteArray wbid, jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_AES_CMS_CTR_encrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray iv, jbyteArray input, jint padding, jbyteArray key,
                                               jbyteArray wbid, jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_SM4_CMS_CFB_encrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray iv, jbyteArray input, jint padding, jbyteArray key,
                                               jbyteArray wbid, jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_SM4_CMS_OFB_encrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray iv, jbyteArray input, jint padding, jbyteArray key,
                                               jbyteArray wbid, jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_SM4_CMS_CTR_encrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray iv, jbyteArray input, jint padding, jbyteArray key,
                                               jbyteArray wbid, jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_AES_CMS_GCM_encrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray iv, jbyteArray input, jbyteArray aad, jbyteArray key,
                                               jbyteArray wbid, jbyteArray keyid, jint version);

/* The enveloped decryptions of quen/cms.h; `message` is a packed CMSEncryptedData.
 *
 * They are registered on WbkitAndr with three arrays (hash, caller, message), while the functions read six parameters:
 * intended, and the reason why a Java program must not call those methods. It calls the methods of
 * com.vorlix.quen.wb.WbkitCms, which are bound to the second seven by their names and are the same functions. */
WBKIT_API jbyteArray WBkit_AES_CMS_CFB_decrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray message, jbyteArray wbid, jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_AES_CMS_OFB_decrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray message, jbyteArray wbid, jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_AES_CMS_CTR_decrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray message, jbyteArray wbid, jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_AES_CMS_GCM_decrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray message, jbyteArray wbid, jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_SM4_CMS_CFB_decrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray message, jbyteArray wbid, jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_SM4_CMS_OFB_decrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray message, jbyteArray wbid, jbyteArray keyid, jint version);
WBKIT_API jbyteArray WBkit_SM4_CMS_CTR_decrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray message, jbyteArray wbid, jbyteArray keyid, jint version);

JNIEXPORT WBKIT_API jbyteArray JNICALL
Java_com_vorlix_quen_wb_WbkitCms_aesCfbDecrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray message, jbyteArray wbid, jbyteArray keyid, jint version);
JNIEXPORT WBKIT_API jbyteArray JNICALL
Java_com_vorlix_quen_wb_WbkitCms_aesOfbDecrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray message, jbyteArray wbid, jbyteArray keyid, jint version);
JNIEXPORT WBKIT_API jbyteArray JNICALL
Java_com_vorlix_quen_wb_WbkitCms_aesCtrDecrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray message, jbyteArray wbid, jbyteArray keyid, jint version);
JNIEXPORT WBKIT_API jbyteArray JNICALL
Java_com_vorlix_quen_wb_WbkitCms_aesGcmDecrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray message, jbyteArray wbid, jbyteArray keyid, jint version);
JNIEXPORT WBKIT_API jbyteArray JNICALL
Java_com_vorlix_quen_wb_WbkitCms_sm4CfbDecrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray message, jbyteArray wbid, jbyteArray keyid, jint version);
JNIEXPORT WBKIT_API jbyteArray JNICALL
Java_com_vorlix_quen_wb_WbkitCms_sm4OfbDecrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray message, jbyteArray wbid, jbyteArray keyid, jint version);
JNIEXPORT WBKIT_API jbyteArray JNICALL
Java_com_vorlix_quen_wb_WbkitCms_sm4CtrDecrypt(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                               jbyteArray message, jbyteArray wbid, jbyteArray keyid, jint version);

/* The accessors return a text of the table library, without a terminator: the joined key ids (every id followed by a
 * comma), the whitelist, the application id. A text of more than 212, 10000 and 100 bytes is refused. */
WBKIT_API jbyteArray WBkit_get_keyids(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller, jbyteArray wbid,
                                      jint version);
WBKIT_API jbyteArray WBkit_get_whitelist(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller,
                                         jbyteArray wbid, jint version);
WBKIT_API jbyteArray WBkit_get_appid(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller, jbyteArray wbid,
                                     jint version);

/* WBkit_signature returns the 32-byte signature of `data` under the signing key of `keyid`, as signature of quen/hash.h
 * does. */
WBKIT_API jbyteArray WBkit_signature(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller, jbyteArray data,
                                     jbyteArray wbid, jbyteArray keyid, jint version);

/* WBkit_verify returns 0 if `sig` is the signature of `data`; otherwise what verify of quen/hash.h returns, or -1 if an
 * argument is null, has no elements to give or cannot be copied, or the caller is not authorised. */
WBKIT_API jint WBkit_verify(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller, jbyteArray sig,
                            jbyteArray data, jbyteArray wbid, jbyteArray keyid, jint version);

/* WBkit_get_sk returns the table library's `sk` text if `ak` begins with the library's access key. It asks for no
 * authorisation. An `sk` of more than 100 bytes is refused. */
WBKIT_API jbyteArray WBkit_get_sk(JNIEnv *env, jobject object, jbyteArray ak, jbyteArray wbid, jint version);

/* WBkit_hmac returns HMAC-SHA256 of `message` under `key`, 32 bytes; 32 zero bytes, with a line in the log, if memory
 * for the computation ran out; null if an argument is null. It asks for no authorisation. */
WBKIT_API jbyteArray WBkit_hmac(JNIEnv *env, jobject object, jbyteArray message, jbyteArray key);

WBKIT_END_DECLS

#endif
