#include "jni/caller_check.h"

#include <string.h>

#include <algorithm>

#include "quen/hash.h"
#include "quen/natives.h"
#include "quen/status.h"
#include "support/log.h"
#include "support/secret.h"
#include "tables/metadata.h"

namespace wbkit {
namespace {

constexpr size_t kTokenSize = 32;
using Token = SecretBytes<kTokenSize>;

// The token that a legitimate caller presents: HMAC-SHA256 of the raw wbid bytes followed by the application id, under
// the library's `sk`. False if memory ran out.
bool compute_token(const TextCopy &wbid, const char *appid, const char *sk, Token &token) {
    const size_t appid_len = strlen(appid);
    const size_t sk_len = strlen(sk);
    ScratchBuffer message(uint64_t{wbid.size()} + appid_len);
    if (!message || sk_len > INT32_MAX) {
        return false;
    }
    memcpy(message.data(), wbid.data(), wbid.size());
    memcpy(message.data() + wbid.size(), appid, appid_len);
    return hmac_sha256(message.data(), wbid.size() + appid_len, reinterpret_cast<const uint8_t *>(sk),
                       static_cast<int32_t>(sk_len), token.data()) == WBKIT_OK;
}

bool token_matches(const ArrayBytes &presented, const TextCopy &wbid, const char *appid, const char *sk) {
    Token extended;
    memcpy(extended.data(), presented.data, std::min(kTokenSize, static_cast<size_t>(presented.len)));
    Token expected;
    // A token that could not be computed matches nothing.
    return compute_token(wbid, appid, sk, expected) &&
           equal_in_constant_time(extended.data(), expected.data(), kTokenSize);
}

// The only rule is that the name occurs somewhere in the text: an empty name and a part of a listed one do too. As a
// text, a name ends at its first zero byte.
bool whitelist_holds(const char *whitelist, const ArrayBytes &caller) {
    const auto *name = reinterpret_cast<const char *>(caller.data);
    const size_t name_len = strnlen(name, static_cast<size_t>(caller.len));
    return memmem(whitelist, strlen(whitelist), name, name_len) != nullptr;
}

bool refuse_library() {
    WBKIT_LOG_ERROR("WARN: get appid fail\n");
    return false;
}

} // namespace

// The metadata is read once: a second look could say nothing that the first has not said.
bool authorise(const Caller &caller, const TextCopy &wbid, int32_t version, tb_common &common) {
    common = get_tb_common(nullptr, wbid.c_str(), version);
    if (common.status != WBKIT_OK || common.appid == nullptr) {
        return refuse_library();
    }
    const char *sk = sk_of(common);
    if (sk == nullptr) {
        return false;
    }
    if (!token_matches(caller.token, wbid, common.appid, sk)) {
        WBKIT_LOG_ERROR("WARN: hash is not matched.\n");
        return false;
    }
    // A library without a whitelist, or with an empty one, admits every caller with a valid token: intended.
    if (common.whitelist == nullptr || common.whitelist[0] == '\0') {
        return true;
    }
    if (!whitelist_holds(common.whitelist, caller.name)) {
        WBKIT_LOG_ERROR("WARN: not in whitelist\n");
        return false;
    }
    return true;
}

} // namespace wbkit

int32_t check_is_valid_call(const uint8_t *hash, int32_t /*hash_len*/, const uint8_t *caller, int32_t caller_len,
                            const uint8_t *wbid, int32_t wbid_len, int32_t version) {
    if (hash == nullptr || caller == nullptr || caller_len < 0 || wbid == nullptr || wbid_len < 0) {
        return WBKIT_REFUSED;
    }
    const wbkit::TextCopy wbid_text({wbid, wbid_len});
    if (!wbid_text) {
        wbkit::refuse_library();
        return WBKIT_REFUSED;
    }
    // The token's length is never asked for: 32 bytes count.
    tb_common common;
    if (!wbkit::authorise({{hash, wbkit::kTokenSize}, {caller, caller_len}}, wbid_text, version, common)) {
        return WBKIT_REFUSED;
    }
    return WBKIT_OK;
}
