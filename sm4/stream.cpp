#include "sm4/stream.h"

#include "quen/sm4.h"
#include "sm4/block.h"

namespace wbkit {
namespace {

bool accepts(const Message &message) {
    constexpr uint32_t kLargestPadding = 2;
    return static_cast<uint32_t>(message.padding) <= kLargestPadding && message.in_len != 0 && message.in != nullptr &&
           message.out != nullptr && message.iv != nullptr;
}

// Two spellings: intended.
constexpr char kNoMemory[] = "[error]: malloc faild!";
constexpr char kCtrNoMemory[] = "[error]: malloc failed!";

} // namespace

const StreamFunction kSm4EncryptCfb{kSm4, accepts, encrypt_message, cfb_encrypt, "en_sm4_cfb,", kNoMemory};
const StreamFunction kSm4DecryptCfb{kSm4, accepts, decrypt_message, cfb_decrypt, "de_sm4_cfb,", kNoMemory};
const StreamFunction kSm4EncryptOfb{kSm4, accepts, encrypt_message, ofb_crypt, "en_sm4_ofb,", kNoMemory};
const StreamFunction kSm4DecryptOfb{kSm4, accepts, decrypt_message, ofb_crypt, "de_sm4_ofb,", kNoMemory};
const StreamFunction kSm4EncryptCtr{kSm4, accepts, encrypt_message, ctr_crypt, "en_sm4_ctr,", kCtrNoMemory};
const StreamFunction kSm4DecryptCtr{kSm4, accepts, decrypt_message, ctr_crypt, "de_sm4_ctr,", kCtrNoMemory};

} // namespace wbkit

int64_t wbsm4_cfb_encrypt(const char *dir, const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t *out_len,
                          const uint8_t iv[16], uint32_t padding, const char *wbid, const char *keyid,
                          int32_t version) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::run_stream(wbkit::kSm4EncryptCfb, key, {iv, in, in_len, out, out_len, static_cast<int32_t>(padding)});
}

int64_t wbsm4_cfb_decrypt(const char *dir, const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t *out_len,
                          const uint8_t iv[16], uint32_t padding, const char *wbid, const char *keyid,
                          int32_t version) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::run_stream(wbkit::kSm4DecryptCfb, key, {iv, in, in_len, out, out_len, static_cast<int32_t>(padding)});
}

int64_t wbsm4_ofb_encrypt(const char *dir, const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t *out_len,
                          const uint8_t iv[16], uint32_t padding, const char *wbid, const char *keyid,
                          int32_t version) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::run_stream(wbkit::kSm4EncryptOfb, key, {iv, in, in_len, out, out_len, static_cast<int32_t>(padding)});
}

int64_t wbsm4_ofb_decrypt(const char *dir, const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t *out_len,
                          const uint8_t iv[16], uint32_t padding, const char *wbid, const char *keyid,
                          int32_t version) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::run_stream(wbkit::kSm4DecryptOfb, key, {iv, in, in_len, out, out_len, static_cast<int32_t>(padding)});
}

int64_t wbsm4_ctr_encrypt(const char *dir, const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t *out_len,
                          const uint8_t iv[16], uint32_t padding, const char *wbid, const char *keyid,
                          int32_t version) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::run_stream(wbkit::kSm4EncryptCtr, key, {iv, in, in_len, out, out_len, static_cast<int32_t>(padding)});
}

int64_t wbsm4_ctr_decrypt(const char *dir, const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t *out_len,
                          const uint8_t iv[16], uint32_t padding, const char *wbid, const char *keyid,
                          int32_t version) {
    wbkit::KeySource key(dir, wbid, keyid, version);
    return wbkit::run_stream(wbkit::kSm4DecryptCtr, key, {iv, in, in_len, out, out_len, static_cast<int32_t>(padding)});
}
