/* White-box AES: the block function, the CFB, OFB and CTR modes, and GCM. The conventions stand in quen/wbkit.h.
 *
 * AES is that of FIPS 197, computed from the tables of one key id; only its encryption direction exists and only that
 * is used. The modes are those of NIST SP 800-38A, GCM is that of SP 800-38D but for its counter. */
#ifndef QUEN_AES_H
#define QUEN_AES_H

#include <stdint.h>

#include "quen/export.h"
#include "quen/tables.h"

WBKIT_BEGIN_DECLS

/* 16 zero bytes, for test programs. Nothing in the library reads it, and no message should have it as its IV. */
extern WBKIT_API const uint8_t IV[16];

/* Cipher encrypts the block `state` in place with the AES key whose tables are `entry` (FIPS 197, 5.1).
 *
 * `entry` is trusted: its status is 0, its three AES tables are not null, and they have the sizes that `Nr` implies.
 * With an `Nr` other than 10, 12 and 14 only ShiftRows and the last-round table are applied, and the result is no AES.
 * */
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
 * counter block must never come again, and a CFB vector must be unpredictable (appendices B and C). None of the modes
 * notices a changed ciphertext.
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

/* The arithmetic of GCM. A block is an element of GF(2^128) whose first bit is the most significant bit of byte 0 (SP
 * 800-38D, 6.3). The time of the first five depends on lengths alone, that of
 * making a tag also on where the block function looks into its tables. */

/* xor_block adds `src` to `dst`: dst = dst XOR src. */
WBKIT_API void xor_block(uint8_t dst[16], const uint8_t src[16]);

/* shift_right_block shifts the block, read as one big-endian number, right by one bit; the lowest bit falls out. */
WBKIT_API void shift_right_block(uint8_t v[16]);

/* gf_mult writes the product of `x` and `y` to `z`, which may be either of them (SP 800-38D, 6.3). */
WBKIT_API void gf_mult(const uint8_t x[16], const uint8_t y[16], uint8_t z[16]);

/* ghash writes GHASH of `x_len` bytes under the hash subkey `h` to `y` (SP 800-38D, 6.4). A partial last block is
 * extended with zeros. What `y` held before does not count. `x` may be null if `x_len` is 0. */
WBKIT_API void ghash(const uint8_t h[16], const uint8_t *x, uint64_t x_len, uint8_t y[16]);

/* aes_gcm_prepare_j0 makes the pre-counter block of an IV under the hash subkey `h` (SP 800-38D, 7.1, step 2). 12 bytes
 * are the IV that the standard recommends; any other length, none included, is hashed.
 *
 * `iv` may be null if `iv_len` is 0. An IV of more than 2^36 bytes leaves `j0` as it was, with a line in the log. */
WBKIT_API void aes_gcm_prepare_j0(const uint8_t *iv, uint64_t iv_len, const uint8_t h[16], uint8_t j0[16]);

/* aes_gcm_create_tag writes the full tag of the ciphertext `c` and the additional data `aad` to `tag`, for an AES key:
 * E(j0) XOR GHASH of both and their lengths (SP 800-38D, 7.1, steps 4 to 6). `h` is the key's hash subkey, the
 * encryption of 16 zero bytes. `c` and `aad` may be null if their length is 0.
 *
 * Returns 0; -100, with the line of a failed allocation, if one of them has more than 2^36 bytes; -70, with the line of
 * aes_WBkit_encrypt_ctr, if the key's tables cannot be used. */
WBKIT_API int32_t aes_gcm_create_tag(const char *dir, const uint8_t *c, uint64_t c_len, const uint8_t *aad,
                                     uint64_t aad_len, const uint8_t h[16], const uint8_t j0[16], uint8_t tag[16],
                                     const char *wbid, const char *keyid, int32_t version);

/* sm4_gcm_create_tag is aes_gcm_create_tag for an SM4 key, whose failure has the line of wbsm4_ctr_encrypt; like that
 * function it also returns -2, without a line, for a null `j0` or `tag`. Who wants SM4 in GCM (RFC 8998) runs the
 * message itself through wbsm4_ctr_encrypt, from j0 + 1 on; nothing here calls it. */
WBKIT_API int32_t sm4_gcm_create_tag(const char *dir, const uint8_t *c, uint64_t c_len, const uint8_t *aad,
                                     uint64_t aad_len, const uint8_t h[16], const uint8_t j0[16], uint8_t tag[16],
                                     const char *wbid, const char *keyid, int32_t version);

/* GCM (SP 800-38D) with an AES key, with one departure: the whole counter block counts, modulo 2^128, where the
 * standard counts its last four bytes alone. The two agree as long as those four bytes do not overflow: always with an
 * `iv` of 12 bytes; with another length a message of n blocks differs with a chance of n in 2^32, which is why 12 is
 * the length to use. Never use an `iv` twice with a key.
 *
 * `iv` has any length, none included; `aad` is authenticated and not encrypted. `iv` and `aad` may be null if their
 * length is 0. `tag_len` is the number of bytes of the tag that travel, at most 16; less than 12 is for those who know
 * why (appendix C), and 0 accepts every ciphertext. `out` may overlap `in` in any way. At most 2147483631 (2^31 - 17)
 * bytes of text go in one call, and 2^36 of `iv` and of `aad`.
 *
 * wb_aes_gcm_encrypt encrypts `in_len` bytes from `in`, which may be null if there are none. `out` has room for in_len
 * + tag_len bytes: the ciphertext, then the first `tag_len` bytes of the tag. `tag` receives all 16, and may be the end
 * of `out` if there is room for them.
 *
 * wb_aes_gcm_decrypt takes `in_len` bytes, the ciphertext and `tag_len` bytes of tag behind it, and compares the
 * ciphertext's tag, in constant time, with `tag_len` bytes of `tag`; those behind the ciphertext are not looked at.
 * Only then does it decrypt. `out` has room for in_len - tag_len bytes, and `*out_len` receives that number.
 *
 * Return 0; -1 if `tag_len` is above 16; -70 if the key's tables cannot be used; -100, with the line of a failed
 * allocation, if a length is too large. wb_aes_gcm_decrypt also returns -93 if `in_len` is below `tag_len`; and, if the
 * tag is wrong, -93 with `*out_len` stored and zeros in `out`. */
WBKIT_API int32_t wb_aes_gcm_encrypt(const char *dir, const uint8_t *in, uint64_t in_len, const uint8_t *iv,
                                     uint64_t iv_len, const uint8_t *aad, uint64_t aad_len, uint8_t tag[16],
                                     uint64_t tag_len, uint8_t *out, int64_t *out_len, const char *wbid,
                                     const char *keyid, int32_t version);
WBKIT_API int32_t wb_aes_gcm_decrypt(const char *dir, const uint8_t *in, uint64_t in_len, const uint8_t *iv,
                                     uint64_t iv_len, const uint8_t *aad, uint64_t aad_len, const uint8_t tag[16],
                                     uint64_t tag_len, uint8_t *out, int64_t *out_len, const char *wbid,
                                     const char *keyid, int32_t version);

WBKIT_END_DECLS

#endif
