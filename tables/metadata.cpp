#include "tables/metadata.h"

#include <string.h>

#include "quen/status.h"
#include "support/log.h"
#include "support/secret.h"

namespace wbkit {

const char *sk_for_ak(const tb_common &common, const char *ak) {
    if (common.status != WBKIT_OK || common.ak == nullptr) {
        WBKIT_LOG_ERROR("ERR: inner ak is null");
        return nullptr;
    }
    // What the caller has beyond the library's ak does not count: intended.
    const size_t ak_len = strlen(common.ak);
    if (strlen(ak) < ak_len || !equal_in_constant_time(ak, common.ak, ak_len)) {
        WBKIT_LOG_ERROR("ERR: ak not matched.");
        return nullptr;
    }
    return common.sk;
}

const char *sk_of(const tb_common &common) {
    if (common.status != WBKIT_OK || common.sk == nullptr) {
        WBKIT_LOG_ERROR("ERR: get_sk_without_ak failed.\n");
        return nullptr;
    }
    return common.sk;
}

namespace {

// Without a terminator; null is a refusal.
int32_t copy_text(const char *text, char *out, uint64_t *out_len) {
    if (text == nullptr) {
        return WBKIT_REFUSED;
    }
    const size_t length = strlen(text);
    memcpy(out, text, length); // NOLINT(bugprone-not-null-terminated-result): the length is told instead
    *out_len = length;
    return WBKIT_OK;
}

int32_t read_text(TextOf text, const char *dir, const char *wbid, int32_t version, char *out, uint64_t *out_len) {
    if (wbid == nullptr || out == nullptr || out_len == nullptr) {
        return WBKIT_REFUSED;
    }
    const tb_common common = get_tb_common(dir, wbid, version);
    return common.status == WBKIT_OK ? copy_text(text(common), out, out_len) : static_cast<int32_t>(WBKIT_REFUSED);
}

} // namespace
} // namespace wbkit

int32_t get_keyids(const char *dir, const char *wbid, int32_t version, char *out, uint64_t *out_len) {
    return wbkit::read_text(wbkit::keyids_text, dir, wbid, version, out, out_len);
}

int32_t get_whitelist(const char *dir, const char *wbid, int32_t version, char *out, uint64_t *out_len) {
    return wbkit::read_text(wbkit::whitelist_text, dir, wbid, version, out, out_len);
}

int32_t get_appid(const char *dir, const char *wbid, int32_t version, char *out, uint64_t *out_len) {
    return wbkit::read_text(wbkit::appid_text, dir, wbid, version, out, out_len);
}

int32_t get_sk(const char *dir, const char *ak, const char *wbid, int32_t version, char *out, uint64_t *out_len) {
    if (ak == nullptr || wbid == nullptr) {
        WBKIT_LOG_ERROR("ERR: sk param is null");
        return WBKIT_REFUSED;
    }
    if (out == nullptr || out_len == nullptr) {
        return WBKIT_REFUSED;
    }
    return wbkit::copy_text(wbkit::sk_for_ak(get_tb_common(dir, wbid, version), ak), out, out_len);
}

const char *get_sk_without_ak(const char *dir, const char *wbid, int32_t version) {
    return wbkit::sk_of(get_tb_common(dir, wbid, version));
}
