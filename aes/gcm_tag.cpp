#include "aes/gcm_tag.h"

#include "aes/block.h"
#include "aes/gcm_limits.h"
#include "aes/ghash.h"
#include "aes/stream.h"
#include "modes/stream.h"
#include "quen/aes.h"
#include "quen/status.h"
#include "support/secret.h"

namespace wbkit {

int32_t create_gcm_tag(const CipherFamily &family, const char *op, KeySource &key, const GcmTagInput &input,
                       uint8_t tag[16]) {
    if (input.ciphertext_len > kLongestGcmPart || input.aad_len > kLongestGcmPart) {
        log_gcm_too_long();
        return WBKIT_NO_MEMORY;
    }
    if (!load_key(family, key, op)) {
        return WBKIT_NO_TABLES;
    }
    Ghash hash(input.h);
    hash.absorb(input.aad, input.aad_len);
    hash.absorb_last(input.ciphertext, input.ciphertext_len, input.aad_len, input.ciphertext_len);
    SecretBytes<kBlockSize> sum;
    hash.finish(sum.data());
    // The mode alone: the whole operation takes a scratch buffer and could run out of memory.
    ctr_crypt(cipher_of(family, key.fetch()), input.j0, sum.data(), tag, kBlockSize);
    return WBKIT_OK;
}

} // namespace wbkit

int32_t aes_gcm_create_tag(const char *dir, const uint8_t *c, uint64_t c_len, const uint8_t *aad, uint64_t aad_len,
                           const uint8_t h[16], const uint8_t j0[16], uint8_t tag[16], const char *wbid,
                           const char *keyid, int32_t version) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::create_gcm_tag(wbkit::kAes, wbkit::kAesEncryptCtr.op, key, {c, c_len, aad, aad_len, h, j0}, tag);
}
