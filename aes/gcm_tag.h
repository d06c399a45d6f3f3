// The GCM tag by itself, for either cipher.
#pragma once

#include "modes/cipher_family.h"

namespace wbkit {

struct GcmTagInput {
    const uint8_t *ciphertext;
    uint64_t ciphertext_len;
    const uint8_t *aad;
    uint64_t aad_len;
    const uint8_t *h;
    const uint8_t *j0;
};

// `op` names the operation in the line of a key that cannot be used.
int32_t create_gcm_tag(const CipherFamily &family, const char *op, KeySource &key, const GcmTagInput &input,
                       uint8_t tag[16]);

} // namespace wbkit
