#include "jni/caller_check.h"

#include <string.h>

#include <algorithm>

#include "quen/hash.h"
#include "quen/natives.h"
#include "quen/status.h"
#include "support/log.h"
#include "support/secret.h"
#include "tables/metadata.h"
#include "tables/symbols.h"

namespace wbkit {
namespace {

constexpr size_t kTokenSize = 32;
using Token = SecretBytes<kTokenSize>;

// The token that a legitimate caller presents: HMAC-SHA256 of the raw wbid bytes followed by the application id, under
// the library's `sk`. False if memory ran out.
bool compute_token(const ArrayCopy &wbid, const char *appid, const char *sk, Token &token) {
    const size_t appid_len = strlen(appid);
    const size_t sk_len = strlen(sk);
    ScratchBuffer message(uint64_t{wbid.size()} + appid_len);
    if (!message || sk_len > INT32_MAX) {
        WBKIT_LOG_ERROR("ERR: hmac256 malloc failed.\n"); // as the MAC itself says
        return false;
    }
    memcpy(message.data(), wbid.data(), wbid.size());
    memcpy(message.data() + wbid.size(), appid, appid_len);
    return hmac_sha256(message.data(), wbid.size() + appid_len, reinterpret_cast<const uint8_t *>(sk),
                       static_cast<int32_t>(sk_len), token.data()) == WBKIT_OK;
}

bool token_matches(const ArrayBytes &presented, const ArrayCopy &wbid, const char *appid, const char *sk) {
    Token extended;
    memcpy(extended.data(), presented.data, std::min(kTokenSize, static_cast<size_t>(presented.len)));
    Token expected;
    // A token that could not be computed matches nothing.
    return compute_token(wbid, appid, sk, expected) &&
           equal_in_constant_time(extended.data(), expected.data(), kTokenSize);
}

bool refuse_library() {
    WBKIT_LOG_ERROR("WARN: get appid fail\n");
    return false;
}

// Fills `common` with what it looks at.
bool is_authorised(const Caller &caller, const ArrayCopy &wbid, void *handle, tb_common &common) {
    if (common.status != WBKIT_OK) {
        return refuse_library();
    }
    common.appid = find_text(handle, "appid");
    if (common.appid == nullptr) {
        return refuse_library();
    }
    common.sk = find_text(handle, "sk");
    const char *sk = sk_of(common);
    if (sk == nullptr) {
        return false;
    }
    if (!token_matches(caller.token, wbid, common.appid, sk)) {
        WBKIT_LOG_ERROR("WARN: hash is not matched.\n");
        return false;
    }
    common.whitelist = find_text(handle, "whitelist");
    // A library without a whitelist, or with an empty one, admits every caller with a valid token: intended.
    if (common.whitelist == nullptr || common.whitelist[0] == '\0') {
        return true;
    }
    // The only rule is that the name occurs somewhere in the text: an empty name and a part of a listed one do too:
    // intended.
    if (strstr(common.whitelist, caller.name.c_str()) == nullptr) {
        WBKIT_LOG_ERROR("WARN: not in whitelist\n");
        return false;
    }
    return true;
}

} // namespace

Admission authorise(const Caller &caller, const ArrayCopy &wbid, int32_t version) {
    Admission admission{false, open_checked_library(nullptr, wbid.c_str(), version), {}};
    admission.common = key_ids_of(admission.library);
    admission.granted = is_authorised(caller, wbid, admission.library.handle, admission.common);
    return admission;
}

} // namespace wbkit

int32_t check_is_valid_call(const uint8_t *hash, int32_t /*hash_len*/, const uint8_t *caller, int32_t caller_len,
                            const uint8_t *wbid, int32_t wbid_len, int32_t version) {
    if (hash == nullptr || caller == nullptr || caller_len < 0 || wbid == nullptr || wbid_len < 0) {
        return WBKIT_REFUSED;
    }
    wbkit::ArrayCopy wbid_copy;
    wbkit::ArrayCopy name;
    if (!wbid_copy.take({wbid, wbid_len}) || !name.take({caller, caller_len})) {
        wbkit::refuse_library();
        return WBKIT_REFUSED;
    }
    // The token's length is never asked for: 32 bytes count.
    const bool granted = wbkit::authorise({{hash, wbkit::kTokenSize}, name}, wbid_copy, version).granted;
    return granted ? WBKIT_OK : WBKIT_REFUSED;
}
