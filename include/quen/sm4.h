/* White-box SM4: the block function and the CFB, OFB and CTR modes. The conventions stand in quen/wbkit.h.
 *
 * SM4 is that of GB/T 32907-2016, computed from the tables of one key id, in its encryption direction alone. */
#ifndef QUEN_SM4_H
#define QUEN_SM4_H

#include <stdint.h>

#include "quen/export.h"
#include "quen/tables.h"

WBKIT_BEGIN_DECLS

/* wbsm4 encrypts one block from `in` to `out` with the SM4 key whose tables are `entry` (GB/T 32907-2016, 7.1). Only
 * the record's `table` is read; it is trusted: not null, 32,768 bytes. `out` may be `in`. */
WBKIT_API void wbsm4(const uint8_t in[16], uint8_t out[16], tb_entry entry);

/* The six mode functions are those of quen/aes.h for SM4 keys: the same modes (NIST SP 800-38A), paddings, room for
 * `out`, limit of length and warnings. They differ in the order of their arguments, in what they check themselves, and
 * in the type of their result.
 *
 * Return 0; -2, before anything else and without a line in the log, if `padding` is above 2, or `in_len`, `in`, `out`
 * or `iv` is 0 or null, so an empty text is refused in both directions; -70 if the key's tables cannot be used, which
 * is also said of an AES key; -100 if memory ran out or `in_len` is too large. A decryption returns -98, having stored
 * in_len less the last decrypted byte in `*out_len`, if that byte is above 16 or leaves nothing of the text. */
WBKIT_API int64_t wbsm4_cfb_encrypt(const char *dir, const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t *out_len,
                                    const uint8_t iv[16], uint32_t padding, const char *wbid, const char *keyid,
                                    int32_t version);
WBKIT_API int64_t wbsm4_cfb_decrypt(const char *dir, const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t *out_len,
                                    const uint8_t iv[16], uint32_t padding, const char *wbid, const char *keyid,
                                    int32_t version);
WBKIT_API int64_t wbsm4_ofb_encrypt(const char *dir, const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t *out_len,
                                    const uint8_t iv[16], uint32_t padding, const char *wbid, const char *keyid,
                                    int32_t version);
WBKIT_API int64_t wbsm4_ofb_decrypt(const char *dir, const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t *out_len,
                                    const uint8_t iv[16], uint32_t padding, const char *wbid, const char *keyid,
                                    int32_t version);
WBKIT_API int64_t wbsm4_ctr_encrypt(const char *dir, const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t *out_len,
                                    const uint8_t iv[16], uint32_t padding, const char *wbid, const char *keyid,
                                    int32_t version);
WBKIT_API int64_t wbsm4_ctr_decrypt(const char *dir, const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t *out_len,
                                    const uint8_t iv[16], uint32_t padding, const char *wbid, const char *keyid,
                                    int32_t version);

WBKIT_END_DECLS

#endif
