// The natives that hand out a table library's own texts: three accessors in one body, and getSk.

#include <string.h>

#include "jni/answer.h"
#include "jni/caller_check.h"
#include "jni/held_arrays.h"
#include "jni/text.h"
#include "quen/natives.h"
#include "quen/status.h"
#include "tables/metadata.h"

namespace {

using wbkit::ArrayBytes;
using wbkit::HeldArrays;
using wbkit::TextCopy;

struct Accessor {
    wbkit::TextOf text;
    size_t room; // a longer text is refused
    const char *op;
    const char *tag;
};

constexpr Accessor kGetKeyids{wbkit::keyids_text, 212, "get_keyids", "WBkit_get_keyids"};
constexpr Accessor kGetWhitelist{wbkit::whitelist_text, 10000, "get_whitelist", "get_whitelist"};
constexpr Accessor kGetAppid{wbkit::appid_text, 100, "get_appid", "get_appid"};
constexpr size_t kSkRoom = 100;

// A text of the library for Java; one that is missing or longer than its room is refused.
jbyteArray answer_text(JNIEnv *env, const char *op, const char *text, size_t room) {
    if (text == nullptr || strlen(text) > room) {
        return wbkit::report_failure(op, WBKIT_REFUSED);
    }
    return wbkit::new_array(env, text, strlen(text));
}

jbyteArray run_accessor(const Accessor &accessor, JNIEnv *env, jbyteArray hash, jbyteArray caller, jbyteArray wbid,
                        jint version) {
    if (caller == nullptr || hash == nullptr || wbid == nullptr) {
        return wbkit::refuse_parameters(accessor.op);
    }
    HeldArrays arrays(env);
    const ArrayBytes wbid_bytes = arrays.fetch_elements_first(wbid);
    const ArrayBytes hash_bytes = arrays.fetch_length_first(hash);
    const ArrayBytes caller_bytes = arrays.fetch_length_first(caller);
    if (!arrays.complete()) {
        return wbkit::refuse_call(accessor.tag);
    }
    const TextCopy wbid_text(wbid_bytes);
    if (!wbid_text) {
        return wbkit::report_failure(accessor.op, WBKIT_NO_MEMORY);
    }
    tb_common common;
    if (!wbkit::authorise({hash_bytes, caller_bytes}, wbid_text, version, common)) {
        return wbkit::refuse_call(accessor.tag);
    }
    return answer_text(env, accessor.op, accessor.text(common), accessor.room);
}

} // namespace

jbyteArray WBkit_get_keyids(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray wbid,
                            jint version) {
    return run_accessor(kGetKeyids, env, hash, caller, wbid, version);
}

jbyteArray WBkit_get_whitelist(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray wbid,
                               jint version) {
    return run_accessor(kGetWhitelist, env, hash, caller, wbid, version);
}

jbyteArray WBkit_get_appid(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray wbid,
                           jint version) {
    return run_accessor(kGetAppid, env, hash, caller, wbid, version);
}

jbyteArray WBkit_get_sk(JNIEnv *env, jobject /*object*/, jbyteArray ak, jbyteArray wbid, jint version) {
    constexpr char kOp[] = "get_sk";
    if (ak == nullptr || wbid == nullptr) {
        return wbkit::refuse_parameters(kOp);
    }
    HeldArrays arrays(env);
    const ArrayBytes wbid_bytes = arrays.fetch_elements_first(wbid);
    const ArrayBytes ak_bytes = arrays.fetch_elements_first(ak);
    if (!arrays.complete()) {
        return wbkit::refuse_call("WBkit_get_sk");
    }
    const TextCopy wbid_text(wbid_bytes);
    const TextCopy ak_text(ak_bytes);
    if (!wbid_text || !ak_text) {
        return wbkit::report_failure(kOp, WBKIT_NO_MEMORY);
    }
    const tb_common common = get_tb_common(nullptr, wbid_text.c_str(), version);
    return answer_text(env, kOp, wbkit::sk_for_ak(common, ak_text.c_str()), kSkRoom);
}
