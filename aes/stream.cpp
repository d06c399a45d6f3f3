#include "aes/stream.h"

#include "aes/block.h"
#include "quen/aes.h"
#include "quen/status.h"
#include "support/log.h"

namespace wbkit {

int32_t run_stream(const StreamFunction &function, const tb_entry &key, const char *wbid, const Message &message) {
    if (!aes_key_is_usable(key)) {
        // One code, whatever the record carries: intended.
        WBKIT_LOG_ERROR("ERR: %s load Nr %s\n", function.op, text_or_null(wbid));
        return WBKIT_NO_TABLES;
    }
    return function.direction(aes_cipher(key), function.mode, message, function.no_memory);
}

} // namespace wbkit

int32_t aes_WBkit_encrypt_cfb(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len, uint8_t *out,
                              int64_t *out_len, int32_t padding, const char *wbid, const char *keyid, int32_t version) {
    return wbkit::run_stream(wbkit::kEncryptCfb, get_tb_entry(dir, wbid, keyid, version), wbid,
                             {iv, in, in_len, out, out_len, padding});
}

int32_t aes_WBkit_decrypt_cfb(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len, uint8_t *out,
                              int64_t *out_len, int32_t padding, const char *wbid, const char *keyid, int32_t version) {
    return wbkit::run_stream(wbkit::kDecryptCfb, get_tb_entry(dir, wbid, keyid, version), wbid,
                             {iv, in, in_len, out, out_len, padding});
}

int32_t aes_WBkit_encrypt_ofb(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len, uint8_t *out,
                              int64_t *out_len, int32_t padding, const char *wbid, const char *keyid, int32_t version) {
    return wbkit::run_stream(wbkit::kEncryptOfb, get_tb_entry(dir, wbid, keyid, version), wbid,
                             {iv, in, in_len, out, out_len, padding});
}

int32_t aes_WBkit_decrypt_ofb(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len, uint8_t *out,
                              int64_t *out_len, int32_t padding, const char *wbid, const char *keyid, int32_t version) {
    return wbkit::run_stream(wbkit::kDecryptOfb, get_tb_entry(dir, wbid, keyid, version), wbid,
                             {iv, in, in_len, out, out_len, padding});
}

int32_t aes_WBkit_encrypt_ctr(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len, uint8_t *out,
                              int64_t *out_len, int32_t padding, const char *wbid, const char *keyid, int32_t version) {
    return wbkit::run_stream(wbkit::kEncryptCtr, get_tb_entry(dir, wbid, keyid, version), wbid,
                             {iv, in, in_len, out, out_len, padding});
}

int32_t aes_WBkit_decrypt_ctr(const char *dir, const uint8_t iv[16], const uint8_t *in, uint64_t in_len, uint8_t *out,
                              int64_t *out_len, int32_t padding, const char *wbid, const char *keyid, int32_t version) {
    return wbkit::run_stream(wbkit::kDecryptCtr, get_tb_entry(dir, wbid, keyid, version), wbid,
                             {iv, in, in_len, out, out_len, padding});
}
