/* White-box AES: the block function and the CFB, OFB and CTR modes. The conventions stand in quen/wbkit.h.
 *
 * AES is that of FIPS 197, computed from the tables of one key id; only its encryption direction exists and only that
 * is used. The modes are those of NIST SP 800-38A. */
#ifndef QUEN_AES_H
#define QUEN_AES_H

#include <stdint.h>

#include "quen/export.h"
#include "quen/tables.h"

WBKIT_BEGIN_DECLS

/* 16 zero bytes, for test programs. Nothing in the library reads it, and no message should begin with it. */
extern WBKIT_API const uint8_t IV[16];

/* Cipher encrypts the block `state` in place with the AES key whose tables are `entry` (FIPS 197, 5.1).
 *
 * `entry` is trusted: its status is 0, its four AES fields are not null, and its tables have the sizes that `Nr`
 * implies. With an `Nr` other than 10, 12 and 14 only ShiftRows and the last-round table are applied, and the result is
 * no AES. */
WBKIT_API void Cipher(uint8_t state[16], tb_entry entry);

/* ShiftRows rotates row r of the column-major state left by r columns, once (FIPS 197, 5.1.2). */
WBKIT_API void ShiftRows(uint8_t state[16]);

/* get_aes_alg returns the algorithm number of a key by its round count: 17 for 10 rounds, 14 for 12, 11 for 14. For
 * another count, a key that does not load included, it returns 17 after a line in the log. */
WBKIT_API uint32_t get_aes_alg(const char *dir, const char *wbid, const char *keyid, int32_t version);

/* The six mode functions share one shape. Each fetches the key's tables, then pads and encrypts, or decrypts and
 * unpads, `in_len` bytes from `in` to `out`, and stores the number of bytes written in `*out_len`. At most 2147483631
 * (2^31 - 17) bytes go in one call, so a text that is padded to more than that is encrypted but not decrypted.
 *
 * `iv` is the initial vector (CFB, OFB) or the first counter block (CTR); it is not changed. CFB has 128-bit feedback
 * (SP 800-38A, 6.3). In CTR all 16 bytes count, big-endian, modulo 2^128 (6.5). Under one key an OFB vector and a CTR
 * counter block must never come again, and a CFB vector must be unpredictable (appendix C). None of the modes notices a
 * changed ciphertext.
 *
 * `padding`: 0 none, the last block may be partial; 1 PKCS #5 and 2 ISO 10126, each on 16-byte blocks, so that aligned
 * input gains a whole block. The filler of 2 comes from the C library's rand(). Decryption looks at the count in the
 * last byte alone, so an empty text that was encrypted with padding does not come back. OFB and CTR decryption without
 * padding are the same computation as encryption.
 *
 * Encryption: `out` has room for in_len bytes if `padding` is 0, for in_len + 16 - in_len % 16 if it is 1 or 2.
 * Decryption: `out` has room for in_len bytes. `out` may overlap `in` in any way.
 *
 * Return 0; -70 if the key's tables cannot be used; -1 from an encryption for another `padding`, from a decryption if
 * `in_len` is 0; -100 if memory ran out or `in_len` is too large. Two failures of a decryption do store `*out_len`: -98
 * if the count is above 16 or leaves nothing of the text, and -1 for another `padding`. They store in_len less the last
 * decrypted byte, which can be negative. */
WBKIT_API int32_t aes_WBkit_encrypt_cfb(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len,
                                        uint8_t *out, int64_t *out_len, int32_t padding, const char *wbid,
                                        const char *keyid, int32_t version);
WBKIT_API int32_t aes_WBkit_decrypt_cfb(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len,
                                        uint8_t *out, int64_t *out_len, int32_t padding, const char *wbid,
                                        const char *keyid, int32_t version);
WBKIT_API int32_t aes_WBkit_encrypt_ofb(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len,
                                        uint8_t *out, int64_t *out_len, int32_t padding, const char *wbid,
                                        const char *keyid, int32_t version);
WBKIT_API int32_t aes_WBkit_decrypt_ofb(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len,
                                        uint8_t *out, int64_t *out_len, int32_t padding, const char *wbid,
                                        const char *keyid, int32_t version);
WBKIT_API int32_t aes_WBkit_encrypt_ctr(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len,
                                        uint8_t *out, int64_t *out_len, int32_t padding, const char *wbid,
                                        const char *keyid, int32_t version);
WBKIT_API int32_t aes_WBkit_decrypt_ctr(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len,
                                        uint8_t *out, int64_t *out_len, int32_t padding, const char *wbid,
                                        const char *keyid, int32_t version);

WBKIT_END_DECLS

#endif
