// HMAC-SHA256 (RFC 2104). The inner hash runs over one buffer that holds the padded key and the message.

#include <string.h>

#include "hash/sha256.h"
#include "quen/hash.h"
#include "quen/status.h"
#include "support/log.h"
#include "support/scratch.h"
#include "support/secret.h"

namespace {

using wbkit::kSha256BlockSize;
using wbkit::kSha256DigestSize;
using wbkit::SecretBytes;

constexpr uint8_t kInnerPad = 0x36;
constexpr uint8_t kOuterPad = 0x5c;

void digest(const uint8_t *data, uint64_t len, uint8_t *out) {
    sha256_ctx ctx;
    sha256_init(&ctx);
    sha256_update(&ctx, data, len);
    sha256_final(&ctx, out);
    wbkit::wipe(&ctx, sizeof ctx);
}

// K0: the key, or the digest of one that is longer than a block, extended with zeros.
void prepare_key(const uint8_t *key, size_t key_len, SecretBytes<kSha256BlockSize> &k0) {
    if (key_len > kSha256BlockSize) {
        digest(key, key_len, k0.data());
    } else if (key_len != 0) {
        memcpy(k0.data(), key, key_len);
    }
}

void store_padded_key(const SecretBytes<kSha256BlockSize> &k0, uint8_t pad, uint8_t *out) {
    for (size_t i = 0; i < kSha256BlockSize; ++i) {
        out[i] = k0.data()[i] ^ pad;
    }
}

int32_t out_of_memory() {
    WBKIT_LOG_ERROR("ERR: hmac256 malloc failed.\n");
    return WBKIT_NO_MEMORY;
}

} // namespace

int32_t hmac_sha256(const uint8_t *message, uint64_t message_len, const uint8_t *key, int32_t key_len,
                    uint8_t out[32]) {
    if (key_len < 0) {
        return WBKIT_REFUSED;
    }
    if (message_len > UINT32_MAX - kSha256BlockSize) {
        return out_of_memory();
    }
    SecretBytes<kSha256BlockSize> k0;
    prepare_key(key, static_cast<size_t>(key_len), k0);
    wbkit::ScratchBuffer inner(kSha256BlockSize + message_len);
    if (!inner) {
        return out_of_memory();
    }
    store_padded_key(k0, kInnerPad, inner.data());
    if (message_len != 0) {
        memcpy(inner.data() + kSha256BlockSize, message, static_cast<size_t>(message_len));
    }
    SecretBytes<kSha256BlockSize + kSha256DigestSize> outer;
    store_padded_key(k0, kOuterPad, outer.data());
    digest(inner.data(), kSha256BlockSize + message_len, outer.data() + kSha256BlockSize);
    digest(outer.data(), outer.size(), out);
    wbkit::wipe_stack();
    return WBKIT_OK;
}
