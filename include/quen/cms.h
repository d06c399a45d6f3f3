/* CMS messages: packing and unpacking of CMSEncryptedData, and ciphertexts that travel in one. The conventions stand in
 * quen/wbkit.h.
 *
 * quen/cms.pb-c.h is generated from the message schema and needs protobuf-c's header. The wire format is Protocol
 * Buffers, proto3. */
#ifndef QUEN_CMS_H
#define QUEN_CMS_H

#include <stdint.h>

#include "quen/cms.pb-c.h"
#include "quen/export.h"

WBKIT_BEGIN_DECLS

/* CMSEncrypted_Pack writes a CMSEncryptedData with these fields, version "irvo_cms_2020-02-27" and content type
 * ENCRYPTEDDATA to `out`. `*out_len` is the capacity of `out` on entry and the packed size afterwards. A field of
 * length 0 is absent from the message. `cipheralg` and `padding` may be numbers that the enumerations do not name.
 *
 * `key`, `aad`, `tag` and `content` may be null if their length is 0, and a null `out` counts as a capacity of 0; if
 * `cipheralg` is 6, 7 or 8 (the GCM values), only `key` may be null. `iv` is never null.
 *
 * Returns 0; -2 for a null pointer that may not be null (`out_len` included) or a negative length; -7 if memory ran
 * out; -3 if the message is larger than the capacity, or its fields together than any (2^31 - 1 bytes); -20001 if it
 * could not be serialised. Logs nothing. */
WBKIT_API int32_t CMSEncrypted_Pack(int32_t cipheralg, uint32_t padding, const uint8_t *key, int32_t key_len,
                                    const uint8_t *aad, int32_t aad_len, const uint8_t *tag, int32_t tag_len,
                                    const uint8_t *iv, int32_t iv_len, const uint8_t *content, uint32_t content_len,
                                    uint8_t *out, int32_t *out_len);

/* CMSEncrypted_Unpack takes a packed CMSEncryptedData apart. Version and content type are neither checked nor returned,
 * unknown fields are skipped.
 *
 * Every field is copied at its full length, whatever that is: a buffer that is to be safe for any message has room for
 * `msg_len` bytes. Absent fields have length 0 and leave their buffer untouched.
 *
 * Returns 0; -20005 if the bytes are not a CMSEncryptedData, `msg` is null, `msg_len` is negative, or memory ran out.
 * Logs nothing. */
WBKIT_API int32_t CMSEncrypted_Unpack(const uint8_t *msg, int32_t msg_len, int32_t *cipheralg, uint32_t *padding,
                                      uint8_t *key, int32_t *key_len, uint8_t *aad, int32_t *aad_len, uint8_t *tag,
                                      int32_t *tag_len, uint8_t *iv, int32_t *iv_len, uint8_t *content,
                                      uint32_t *content_len);

/* The enveloped encryptions run a mode of quen/aes.h or quen/sm4.h and pack the ciphertext, with what its decryption
 * takes, into a CMSEncryptedData. `iv`, `in`, `in_len` and `padding` are those of the mode, except that `iv` is never
 * null. `out` may overlap any of them. `*out_len` is the capacity of `out` on entry and the size of the message
 * afterwards: at most in_len + key_len + 160 bytes, with GCM in_len + tag_len + iv_len + aad_len + key_len + 96.
 *
 * `key` (`key_len` bytes; null if 0) is data of the caller's that the message carries in its `key` field. Nothing is
 * encrypted with it.
 *
 * The message's `cipheralg` tells the size of an AES key, whatever the mode: 17 for AES-128, 14 for AES-192, 11 for
 * AES-256; SM4 has 18 in CFB, 19 in OFB, 20 in CTR. Its `padding` is 7 for none (and in GCM), 8 for PKCS #5, 9 for ISO
 * 10126. Not all of these numbers have a name in the schema: intended.
 *
 * The AES and the SM4 functions take the same arguments in different orders.
 *
 * Return 0; the status of the mode function if it fails; -2 if memory for the ciphertext ran out; what
 * CMSEncrypted_Pack returns if that fails, with a line in the log. */
WBKIT_API int32_t aes_cms_WBkit_encrypt_cfb(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len,
                                            int32_t padding, const uint8_t *key, int32_t key_len, uint8_t *out,
                                            int32_t *out_len, const char *wbid, const char *keyid, int32_t version);
WBKIT_API int32_t aes_cms_WBkit_encrypt_ofb(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len,
                                            int32_t padding, const uint8_t *key, int32_t key_len, uint8_t *out,
                                            int32_t *out_len, const char *wbid, const char *keyid, int32_t version);
WBKIT_API int32_t aes_cms_WBkit_encrypt_ctr(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len,
                                            int32_t padding, const uint8_t *key, int32_t key_len, uint8_t *out,
                                            int32_t *out_len, const char *wbid, const char *keyid, int32_t version);
WBKIT_API int32_t wbsm4_cms_cfb_encrypt(const char *dir, const uint8_t *in, uint64_t in_len, const uint8_t *key,
                                        int32_t key_len, uint8_t *out, int32_t *out_len, const uint8_t iv[16],
                                        uint32_t padding, const char *wbid, const char *keyid, int32_t version);
WBKIT_API int32_t wbsm4_cms_ofb_encrypt(const char *dir, const uint8_t *in, uint64_t in_len, const uint8_t *key,
                                        int32_t key_len, uint8_t *out, int32_t *out_len, const uint8_t iv[16],
                                        uint32_t padding, const char *wbid, const char *keyid, int32_t version);
WBKIT_API int32_t wbsm4_cms_ctr_encrypt(const char *dir, const uint8_t *in, uint64_t in_len, const uint8_t *key,
                                        int32_t key_len, uint8_t *out, int32_t *out_len, const uint8_t iv[16],
                                        uint32_t padding, const char *wbid, const char *keyid, int32_t version);

/* aes_cms_WBkit_encrypt_gcm is the same for GCM; the message also carries `aad` and the first `tag_len` bytes of the
 * tag, which `tag` receives in full and which stand behind the ciphertext too.
 *
 * A key that cannot be used is not reported: a message without content, with what `tag` held before, is packed and 0
 * returned. That is intended, and shown by the log alone. Who needs to know asks get_tb_entry beforehand for a status
 * of 0, a round count of 10, 12 or 14, and three tables that are not null.
 *
 * Returns 0; -1 if `tag_len` is above 16; -2, without a line in the log, if memory for the ciphertext ran out or
 * `in_len` is too large; otherwise what CMSEncrypted_Pack returns, with a line in the log if it fails, and with `tag`
 * filled all the same. */
WBKIT_API int32_t aes_cms_WBkit_encrypt_gcm(const char *dir, const uint8_t *iv, uint64_t iv_len, const uint8_t *in,
                                            uint64_t in_len, const uint8_t *aad, uint64_t aad_len, const uint8_t *key,
                                            int32_t key_len, uint8_t tag[16], uint64_t tag_len, uint8_t *out,
                                            int32_t *out_len, const char *wbid, const char *keyid, int32_t version);

/* The enveloped decryptions unpack a CMSEncryptedData and run the mode in their name over its content. The key is the
 * one that is named here: `cipheralg`, `key`, `version` and `ctype` of the message are not looked at, so the wrong
 * function or key is noticed by bad padding or, in GCM, by the tag, if at all.
 *
 * `padding` 9 and 8 in the message mean ISO 10126 and PKCS #5, everything else none; GCM ignores it. Of an `iv` longer
 * than a block the first 16 bytes count and a shorter one is extended with zeros, GCM aside, which takes it as it is.
 *
 * `out` has room for `msg_len` bytes and may be `msg`; `*out_len` receives the length of the text.
 *
 * Return 0; -20005, with a line in the log, if the message does not unpack (`msg` null or `msg_len` negative included)
 * or its tag has more than 16 bytes; otherwise the status of the mode's decryption, which has the same effect on
 * `*out_len`: -1 (AES) or -2 (SM4) for a message without content. GCM refuses a tag of less than 4 bytes with -93
 * before the key is looked up. */
WBKIT_API int32_t aes_cms_WBkit_decrypt_cfb(const char *dir, const uint8_t *msg, int32_t msg_len, uint8_t *out,
                                            int64_t *out_len, const char *wbid, const char *keyid, int32_t version);
WBKIT_API int32_t aes_cms_WBkit_decrypt_ofb(const char *dir, const uint8_t *msg, int32_t msg_len, uint8_t *out,
                                            int64_t *out_len, const char *wbid, const char *keyid, int32_t version);
WBKIT_API int32_t aes_cms_WBkit_decrypt_ctr(const char *dir, const uint8_t *msg, int32_t msg_len, uint8_t *out,
                                            int64_t *out_len, const char *wbid, const char *keyid, int32_t version);
WBKIT_API int32_t aes_cms_WBkit_decrypt_gcm(const char *dir, const uint8_t *msg, int32_t msg_len, uint8_t *out,
                                            int64_t *out_len, const char *wbid, const char *keyid, int32_t version);
WBKIT_API int32_t wbsm4_cms_cfb_decrypt(const char *dir, const uint8_t *msg, int32_t msg_len, uint8_t *out,
                                        int64_t *out_len, const char *wbid, const char *keyid, int32_t version);
WBKIT_API int32_t wbsm4_cms_ofb_decrypt(const char *dir, const uint8_t *msg, int32_t msg_len, uint8_t *out,
                                        int64_t *out_len, const char *wbid, const char *keyid, int32_t version);
WBKIT_API int32_t wbsm4_cms_ctr_decrypt(const char *dir, const uint8_t *msg, int32_t msg_len, uint8_t *out,
                                        int64_t *out_len, const char *wbid, const char *keyid, int32_t version);

WBKIT_END_DECLS

#endif
