/* CMS messages: packing and unpacking of CMSEncryptedData. The conventions stand in quen/wbkit.h.
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

WBKIT_END_DECLS

#endif
