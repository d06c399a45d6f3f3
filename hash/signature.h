// Signatures: HMAC-SHA256 under a key that the table library holds encrypted.
#pragma once

#include <stdint.h>

#include "hash/sha256.h"
#include "tables/key_source.h"

namespace wbkit {

// signature and verify of quen/hash.h.
int32_t sign(KeySource &key, const uint8_t *message, uint64_t message_len, uint8_t out[kSha256DigestSize],
             uint32_t *out_len);
int32_t verify_signature(KeySource &key, const uint8_t *mac, int32_t mac_len, const uint8_t *message,
                         uint64_t message_len);

} // namespace wbkit
