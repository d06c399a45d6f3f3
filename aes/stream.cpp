#include "aes/stream.h"

#include "aes/block.h"
#include "quen/aes.h"

namespace wbkit {
namespace {

// What a message lacks is found out after the key was loaded.
bool accepts(const Message & /*message*/) {
    return true;
}

constexpr char kCfbNoMemory[] = "ERR: malloc failed!";
constexpr char kNoMemory[] = "[error]: malloc failed!";

} // namespace

// The missing comma is intended: this function alone logs it so.
const StreamFunction kAesEncryptCfb{kAes, accepts, encrypt_message, cfb_encrypt, "en_aes_cfb", kCfbNoMemory};
const StreamFunction kAesDecryptCfb{kAes, accepts, decrypt_message, cfb_decrypt, "de_aes_cfb,", kCfbNoMemory};
const StreamFunction kAesEncryptOfb{kAes, accepts, encrypt_message, ofb_crypt, "en_aes_ofb,", kNoMemory};
const StreamFunction kAesDecryptOfb{kAes, accepts, decrypt_message, ofb_crypt, "de_aes_ofb,", kNoMemory};
const StreamFunction kAesEncryptCtr{kAes, accepts, encrypt_message, ctr_crypt, "en_aes_ctr,", kNoMemory};
const StreamFunction kAesDecryptCtr{kAes, accepts, decrypt_message, ctr_crypt, "de_aes_ctr,", kNoMemory};

} // namespace wbkit

int32_t aes_WBkit_encrypt_cfb(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len, uint8_t *out,
                              int64_t *out_len, int32_t padding, const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::run_stream(wbkit::kAesEncryptCfb, key, {iv, in, in_len, out, out_len, padding});
}

int32_t aes_WBkit_decrypt_cfb(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len, uint8_t *out,
                              int64_t *out_len, int32_t padding, const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::run_stream(wbkit::kAesDecryptCfb, key, {iv, in, in_len, out, out_len, padding});
}

int32_t aes_WBkit_encrypt_ofb(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len, uint8_t *out,
                              int64_t *out_len, int32_t padding, const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::run_stream(wbkit::kAesEncryptOfb, key, {iv, in, in_len, out, out_len, padding});
}

int32_t aes_WBkit_decrypt_ofb(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len, uint8_t *out,
                              int64_t *out_len, int32_t padding, const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::run_stream(wbkit::kAesDecryptOfb, key, {iv, in, in_len, out, out_len, padding});
}

int32_t aes_WBkit_encrypt_ctr(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len, uint8_t *out,
                              int64_t *out_len, int32_t padding, const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::run_stream(wbkit::kAesEncryptCtr, key, {iv, in, in_len, out, out_len, padding});
}

int32_t aes_WBkit_decrypt_ctr(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len, uint8_t *out,
                              int64_t *out_len, int32_t padding, const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::run_stream(wbkit::kAesDecryptCtr, key, {iv, in, in_len, out, out_len, padding});
}
