// The algorithms as they are defined, a byte and a bit at a time: what all speeds are compared with. Compiled like the
// library, kept as it is.
#pragma once

#include <jni.h>
#include <stddef.h>
#include <stdint.h>

#include "quen/tables.h"

namespace bench::literal {

// Encrypts a block in place. The record comes by value, anew for every block.
using BlockFunction = void (*)(uint8_t state[16], tb_entry entry);
void aes_block(uint8_t state[16], tb_entry entry);
void sm4_block(uint8_t state[16], tb_entry entry);

struct Cipher {
    BlockFunction encrypt;
    const tb_entry &entry;
};

using Mode = void (*)(const Cipher &cipher, const uint8_t iv[16], const uint8_t *in, uint8_t *out, size_t len);
void cfb_encrypt(const Cipher &cipher, const uint8_t iv[16], const uint8_t *in, uint8_t *out, size_t len);
void cfb_decrypt(const Cipher &cipher, const uint8_t iv[16], const uint8_t *in, uint8_t *out, size_t len);
void ofb_crypt(const Cipher &cipher, const uint8_t iv[16], const uint8_t *in, uint8_t *out, size_t len);
void ctr_crypt(const Cipher &cipher, const uint8_t iv[16], const uint8_t *in, uint8_t *out, size_t len);

// GHASH of the additional data, the ciphertext and their lengths, through one buffer. False if memory ran out.
struct Bytes {
    const uint8_t *data;
    size_t len;
};
bool gcm_hash(const uint8_t h[16], Bytes aad, Bytes ciphertext, uint8_t sum[16]);

// `out` receives the ciphertext and the tag behind it.
bool gcm_encrypt(const Cipher &cipher, const uint8_t iv[12], Bytes aad, Bytes in, uint8_t *out);

void sha256(const uint8_t *data, size_t len, uint8_t digest[32]);

// The native of AES-GCM encryption, which opens the table library for each thing that it wants to know: three times to
// authorise its caller, three times for the key.
jbyteArray gcm_native(JNIEnv *env, jobject object, jbyteArray hash, jbyteArray caller, jbyteArray iv, jbyteArray input,
                      jbyteArray aad, jbyteArray wbid, jbyteArray keyid, jint version);

} // namespace bench::literal
