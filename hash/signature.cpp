#include "hash/signature.h"

#include "aes/stream.h"
#include "modes/block_cipher.h"
#include "quen/hash.h"
#include "quen/status.h"
#include "support/log.h"
#include "support/secret.h"
#include "tables/encrypted_key.h"

namespace wbkit {
namespace {

constexpr size_t kSigningKeySize = 32;
// Of the entry that holds it. What follows the key there does not count.
constexpr size_t kEntryRoom = 100;

using SigningKey = SecretBytes<kSigningKeySize>;

// What the table library holds of a signing key. A missing byte counts as zero, a missing IV too.
struct EncryptedSigningKey {
    SecretBytes<kEntryRoom> bytes;
    uint8_t iv[kBlockSize] = {};
    uint8_t len = 0; // not needed
};

int32_t decrypt_signing_key(KeySource &key, const EncryptedSigningKey &encrypted, SigningKey &signing_key) {
    // The length that a decryption leaves behind which stores none: intended, it stands in the message.
    int64_t len = kEntryRoom;
    static_cast<void>(run_stream(kAesDecryptCfb, key,
                                 {encrypted.iv, encrypted.bytes.data(), kSigningKeySize, signing_key.data(), &len, 0}));
    if (len != kSigningKeySize) {
        WBKIT_LOG_ERROR("ERR: sig, decrypt key fail. %d\n", static_cast<int32_t>(len));
        return WBKIT_BAD_SIGNING_KEY;
    }
    return WBKIT_OK;
}

} // namespace

int32_t sign(KeySource &key, const uint8_t *message, uint64_t message_len, uint8_t out[kSha256DigestSize],
             uint32_t *out_len) {
    EncryptedSigningKey encrypted;
    int32_t status = find_encrypted_key(key, {encrypted.bytes.data(), kEntryRoom, &encrypted.len, encrypted.iv});
    if (status != WBKIT_OK) {
        // Its code stands in the log alone: intended.
        WBKIT_LOG_ERROR("ERR: sig, get_ekey:%d\n", status);
        return WBKIT_REFUSED;
    }
    SigningKey signing_key;
    status = decrypt_signing_key(key, encrypted, signing_key);
    if (status != WBKIT_OK) {
        return status;
    }
    *out_len = kSha256DigestSize;
    return hmac_sha256(message, message_len, signing_key.data(), kSigningKeySize, out);
}

int32_t verify_signature(KeySource &key, const uint8_t *mac, int32_t mac_len, const uint8_t *message,
                         uint64_t message_len) {
    SecretBytes<kSha256DigestSize> expected;
    uint32_t expected_len = 0;
    const int32_t status = sign(key, message, message_len, expected.data(), &expected_len);
    if (status != WBKIT_OK) {
        WBKIT_LOG_ERROR("ERR: verify fail\n");
        return status;
    }
    const auto wanted = static_cast<int32_t>(expected_len);
    if (mac_len != wanted) {
        WBKIT_LOG_ERROR("ERR: verify fail, len don't match. %d %d\n", mac_len, wanted);
        return WBKIT_REFUSED;
    }
    return order_in_constant_time(mac, expected.data(), expected.size());
}

} // namespace wbkit

int32_t signature(const char *dir, const uint8_t *message, uint64_t message_len, const char *wbid, const char *keyid,
                  int32_t version, uint8_t out[32], uint32_t *out_len) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::sign(key, message, message_len, out, out_len);
}

int32_t verify(const char *dir, const uint8_t *mac, int32_t mac_len, const uint8_t *message, uint64_t message_len,
               const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::verify_signature(key, mac, mac_len, message, message_len);
}
