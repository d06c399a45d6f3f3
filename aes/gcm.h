// GCM (SP 800-38D), but that the whole counter block counts: for any block cipher, and as the AES operations.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "modes/block_cipher.h"
#include "tables/key_source.h"

namespace wbkit {

constexpr size_t kGcmTagSize = 16;

// What is authenticated besides the text. Neither part is longer than kLongestGcmPart.
struct GcmContext {
    const uint8_t *iv;
    uint64_t iv_len;
    const uint8_t *aad;
    uint64_t aad_len;
};

// `in` and `out` may overlap in any way.
void gcm_encrypt(const BlockCipher &cipher, const GcmContext &context, const uint8_t *in, uint8_t *out, size_t len,
                 uint8_t tag[kGcmTagSize]);

// Compares the tag before it decrypts. False if it is wrong: `out` is zeros then.
bool gcm_decrypt(const BlockCipher &cipher, const GcmContext &context, const uint8_t *in, uint8_t *out, size_t len,
                 const uint8_t *tag, size_t tag_len);

// The arguments that wb_aes_gcm_encrypt and wb_aes_gcm_decrypt of quen/aes.h share.
struct GcmMessage {
    const uint8_t *in;
    uint64_t in_len;
    GcmContext context;
    uint64_t tag_len;
    uint8_t *out;
    int64_t *out_len;
};

// They return the status that quen/aes.h states.
int32_t run_gcm_encrypt(KeySource &key, const GcmMessage &message, uint8_t tag[kGcmTagSize]);
int32_t run_gcm_decrypt(KeySource &key, const GcmMessage &message, const uint8_t *tag);

} // namespace wbkit
