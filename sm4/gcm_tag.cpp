// The one piece of GCM that exists for SM4.

#include "aes/gcm_tag.h"
#include "quen/aes.h"
#include "quen/status.h"
#include "sm4/block.h"
#include "sm4/stream.h"

int32_t sm4_gcm_create_tag(const char *dir, const uint8_t *c, uint64_t c_len, const uint8_t *aad, uint64_t aad_len,
                           const uint8_t h[16], const uint8_t j0[16], uint8_t tag[16], const char *wbid,
                           const char *keyid, int32_t version) {
    // What wbsm4_ctr_encrypt says of these.
    if (j0 == nullptr || tag == nullptr) {
        return WBKIT_BAD_ARGUMENTS;
    }
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::create_gcm_tag(wbkit::kSm4, wbkit::kSm4EncryptCtr.op, key, {c, c_len, aad, aad_len, h, j0}, tag);
}
