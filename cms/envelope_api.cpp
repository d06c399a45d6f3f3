// The enveloped operations of the C surface.

#include "cms/envelope.h"
#include "quen/cms.h"

int32_t aes_cms_WBkit_encrypt_cfb(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len,
                                  int32_t padding, const uint8_t *key, int32_t key_len, uint8_t *out, int32_t *out_len,
                                  const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource source(dir, wbid, keyid, version);
    return wbkit::encrypt_envelope(wbkit::kAesCfbEnvelope, source, {iv, in, in_len, padding, {key, key_len}},
                                   {out, out_len});
}

int32_t aes_cms_WBkit_encrypt_ofb(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len,
                                  int32_t padding, const uint8_t *key, int32_t key_len, uint8_t *out, int32_t *out_len,
                                  const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource source(dir, wbid, keyid, version);
    return wbkit::encrypt_envelope(wbkit::kAesOfbEnvelope, source, {iv, in, in_len, padding, {key, key_len}},
                                   {out, out_len});
}

int32_t aes_cms_WBkit_encrypt_ctr(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len,
                                  int32_t padding, const uint8_t *key, int32_t key_len, uint8_t *out, int32_t *out_len,
                                  const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource source(dir, wbid, keyid, version);
    return wbkit::encrypt_envelope(wbkit::kAesCtrEnvelope, source, {iv, in, in_len, padding, {key, key_len}},
                                   {out, out_len});
}

int32_t aes_cms_WBkit_encrypt_gcm(const char *dir, const uint8_t *iv, uint64_t iv_len, const uint8_t *in,
                                  uint64_t in_len, const uint8_t *aad, uint64_t aad_len, const uint8_t *key,
                                  int32_t key_len, uint8_t tag[16], uint64_t tag_len, uint8_t *out, int32_t *out_len,
                                  const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource source(dir, wbid, keyid, version);
    return wbkit::encrypt_gcm_envelope(source, {in, in_len, {iv, iv_len, aad, aad_len}, tag, tag_len, {key, key_len}},
                                       {out, out_len});
}

int32_t wbsm4_cms_cfb_encrypt(const char *dir, const uint8_t *in, uint64_t in_len, const uint8_t *key, int32_t key_len,
                              uint8_t *out, int32_t *out_len, const uint8_t iv[16], uint32_t padding, const char *wbid,
                              const char *keyid, int32_t version) {
    wbkit::KeySource source(dir, wbid, keyid, version);
    return wbkit::encrypt_envelope(wbkit::kSm4CfbEnvelope, source,
                                   {iv, in, in_len, static_cast<int32_t>(padding), {key, key_len}}, {out, out_len});
}

int32_t wbsm4_cms_ofb_encrypt(const char *dir, const uint8_t *in, uint64_t in_len, const uint8_t *key, int32_t key_len,
                              uint8_t *out, int32_t *out_len, const uint8_t iv[16], uint32_t padding, const char *wbid,
                              const char *keyid, int32_t version) {
    wbkit::KeySource source(dir, wbid, keyid, version);
    return wbkit::encrypt_envelope(wbkit::kSm4OfbEnvelope, source,
                                   {iv, in, in_len, static_cast<int32_t>(padding), {key, key_len}}, {out, out_len});
}

int32_t wbsm4_cms_ctr_encrypt(const char *dir, const uint8_t *in, uint64_t in_len, const uint8_t *key, int32_t key_len,
                              uint8_t *out, int32_t *out_len, const uint8_t iv[16], uint32_t padding, const char *wbid,
                              const char *keyid, int32_t version) {
    wbkit::KeySource source(dir, wbid, keyid, version);
    return wbkit::encrypt_envelope(wbkit::kSm4CtrEnvelope, source,
                                   {iv, in, in_len, static_cast<int32_t>(padding), {key, key_len}}, {out, out_len});
}

int32_t aes_cms_WBkit_decrypt_cfb(const char *dir, const uint8_t *msg, int32_t msg_len, uint8_t *out, int64_t *out_len,
                                  const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource source(dir, wbid, keyid, version);
    return wbkit::decrypt_envelope(wbkit::kAesCfbEnvelope, source, {msg, msg_len}, out, out_len);
}

int32_t aes_cms_WBkit_decrypt_ofb(const char *dir, const uint8_t *msg, int32_t msg_len, uint8_t *out, int64_t *out_len,
                                  const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource source(dir, wbid, keyid, version);
    return wbkit::decrypt_envelope(wbkit::kAesOfbEnvelope, source, {msg, msg_len}, out, out_len);
}

int32_t aes_cms_WBkit_decrypt_ctr(const char *dir, const uint8_t *msg, int32_t msg_len, uint8_t *out, int64_t *out_len,
                                  const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource source(dir, wbid, keyid, version);
    return wbkit::decrypt_envelope(wbkit::kAesCtrEnvelope, source, {msg, msg_len}, out, out_len);
}

int32_t aes_cms_WBkit_decrypt_gcm(const char *dir, const uint8_t *msg, int32_t msg_len, uint8_t *out, int64_t *out_len,
                                  const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource source(dir, wbid, keyid, version);
    return wbkit::decrypt_gcm_envelope(source, {msg, msg_len}, out, out_len);
}

int32_t wbsm4_cms_cfb_decrypt(const char *dir, const uint8_t *msg, int32_t msg_len, uint8_t *out, int64_t *out_len,
                              const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource source(dir, wbid, keyid, version);
    return wbkit::decrypt_envelope(wbkit::kSm4CfbEnvelope, source, {msg, msg_len}, out, out_len);
}

int32_t wbsm4_cms_ofb_decrypt(const char *dir, const uint8_t *msg, int32_t msg_len, uint8_t *out, int64_t *out_len,
                              const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource source(dir, wbid, keyid, version);
    return wbkit::decrypt_envelope(wbkit::kSm4OfbEnvelope, source, {msg, msg_len}, out, out_len);
}

int32_t wbsm4_cms_ctr_decrypt(const char *dir, const uint8_t *msg, int32_t msg_len, uint8_t *out, int64_t *out_len,
                              const char *wbid, const char *keyid, int32_t version) {
    wbkit::KeySource source(dir, wbid, keyid, version);
    return wbkit::decrypt_envelope(wbkit::kSm4CtrEnvelope, source, {msg, msg_len}, out, out_len);
}
