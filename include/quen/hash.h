/* SHA-256 (FIPS 180-4), HMAC-SHA256 (RFC 2104), and a signature made with it. The conventions stand in quen/wbkit.h. */
#ifndef QUEN_HASH_H
#define QUEN_HASH_H

#include <stdint.h>

#include "quen/export.h"

WBKIT_BEGIN_DECLS

/* A hash in progress; the caller's own, and to be changed by the functions below alone. */
typedef struct sha256_ctx {
    uint8_t data[64];  /* the pending part of the current block */
    uint32_t datalen;  /* pending bytes in `data`, 0 to 63 */
    uint64_t bitlen;   /* message bits compressed so far */
    uint32_t state[8]; /* the chaining value */
} sha256_ctx;

/* sha256_init starts a hash (FIPS 180-4, 5.3.3). */
WBKIT_API void sha256_init(sha256_ctx *ctx);

/* sha256_update absorbs `len` bytes. A message may come in pieces of any sizes; `data` may be null if `len` is 0. */
WBKIT_API void sha256_update(sha256_ctx *ctx, const uint8_t *data, uint64_t len);

/* sha256_final pads the message and writes its digest. The context is spent: only sha256_init may follow. */
WBKIT_API void sha256_final(sha256_ctx *ctx, uint8_t hash[32]);

/* sha256_transform compresses one block into the context's `state` (FIPS 180-4, 6.2.2) and changes nothing else. */
WBKIT_API void sha256_transform(sha256_ctx *ctx, const uint8_t block[64]);

/* hmac_sha256 writes HMAC-SHA256 of the message under `key` to `out`; the message comes first. A key of more than 64
 * bytes is hashed first. `message` and `key` may be null if their length is 0.
 *
 * Returns 0; -1, without a line in the log, if `key_len` is negative; -100 if memory ran out or message_len + 64 does
 * not fit 32 bits. */
WBKIT_API int32_t hmac_sha256(const uint8_t *message, uint64_t message_len, const uint8_t *key, int32_t key_len,
                              uint8_t out[32]);

/* signature writes HMAC-SHA256 of the message under the signing key of `keyid` to `out`, and 32 to `*out_len`. The
 * table library holds that key encrypted, in an entry of `keys` (see get_ekey); it is decrypted with the AES key of the
 * same id in CFB mode, used, and wiped.
 *
 * The first 32 bytes of the entry's content are the encrypted key; a shorter content is extended with zeros, one of
 * more than 100 bytes is refused. An entry without an IV is decrypted with the IV of an entry that was read before it,
 * or with zeros. `message` may be null if its length is 0.
 *
 * Returns 0; -1 if get_ekey fails, whatever with; -90 if the AES key cannot be used, also because `keyid` is an SM4
 * key, or memory for the decryption ran out; -100, with `*out_len` stored, if hmac_sha256 fails. */
WBKIT_API int32_t signature(const char *dir, const uint8_t *message, uint64_t message_len, const char *wbid,
                            const char *keyid, int32_t version, uint8_t out[32], uint32_t *out_len);

/* verify makes the signature of the message anew and compares it, in constant time, with `mac`.
 *
 * Returns 0 if they are equal, and only then. Otherwise the status of signature, if that fails; -1 if `mac_len` is not
 * 32; or a number, without a line in the log, that is negative if the first byte that differs is the smaller one in
 * `mac`, and positive if it is the larger one. */
WBKIT_API int32_t verify(const char *dir, const uint8_t *mac, int32_t mac_len, const uint8_t *message,
                         uint64_t message_len, const char *wbid, const char *keyid, int32_t version);

WBKIT_END_DECLS

#endif
