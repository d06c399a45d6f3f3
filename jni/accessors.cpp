// The natives that hand out a table library's own texts: three accessors in one body, and getSk.

#include <string.h>

#include "jni/answer.h"
#include "jni/array_copy.h"
#include "jni/caller_check.h"
#include "jni/held_arrays.h"
#include "quen/natives.h"
#include "quen/status.h"
#include "tables/library.h"
#include "tables/metadata.h"
#include "tables/symbols.h"

namespace {

using wbkit::ArrayBytes;
using wbkit::ArrayCopy;
using wbkit::HeldArrays;

struct Accessor {
    wbkit::TextOf text = nullptr;
    size_t room = 0; // a longer text is refused
    wbkit::NativeWords words;
};

constexpr Accessor kGetKeyids{wbkit::keyids_text, 212, {"get_keyids", "WBkit_get_keyids"}};
constexpr Accessor kGetWhitelist{wbkit::whitelist_text, 10000, {"get_whitelist", "get_whitelist"}};
constexpr Accessor kGetAppid{wbkit::appid_text, 100, {"get_appid", "get_appid"}};
constexpr size_t kSkRoom = 100;

// A text of the library for Java; one that is missing or longer than its room is refused.
jbyteArray answer_text(JNIEnv *env, const wbkit::NativeWords &words, const char *text, size_t room) {
    if (text == nullptr || strlen(text) > room) {
        return wbkit::report_failure(words, WBKIT_REFUSED);
    }
    return wbkit::new_array(env, text, strlen(text));
}

jbyteArray run_accessor(const Accessor &accessor, JNIEnv *env, jbyteArray hash, jbyteArray caller, jbyteArray wbid,
                        jint version) {
    if (caller == nullptr || hash == nullptr || wbid == nullptr) {
        return wbkit::refuse_parameters(accessor.words);
    }
    HeldArrays arrays(env);
    const ArrayBytes wbid_bytes = arrays.fetch_elements_first(wbid);
    const ArrayBytes hash_bytes = arrays.fetch_length_first(hash);
    const ArrayBytes caller_bytes = arrays.fetch_length_first(caller);
    if (!arrays.complete()) {
        return wbkit::refuse_call(accessor.words);
    }
    ArrayCopy wbid_copy;
    ArrayCopy name;
    if (!wbid_copy.take(wbid_bytes) || !name.take(caller_bytes)) {
        return wbkit::report_failure(accessor.words, WBKIT_NO_MEMORY);
    }
    const wbkit::Admission admission = wbkit::authorise({hash_bytes, name}, wbid_copy, version);
    if (!admission.granted) {
        return wbkit::refuse_call(accessor.words);
    }
    return answer_text(env, accessor.words, accessor.text(admission.common), accessor.room);
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
    constexpr wbkit::NativeWords kWords{"get_sk", "WBkit_get_sk"};
    if (ak == nullptr || wbid == nullptr) {
        return wbkit::refuse_parameters(kWords);
    }
    HeldArrays arrays(env);
    const ArrayBytes wbid_bytes = arrays.fetch_elements_first(wbid);
    const ArrayBytes ak_bytes = arrays.fetch_elements_first(ak);
    if (!arrays.complete()) {
        return wbkit::refuse_call(kWords);
    }
    ArrayCopy wbid_copy;
    ArrayCopy ak_copy;
    if (!wbid_copy.take(wbid_bytes) || !ak_copy.take(ak_bytes)) {
        return wbkit::report_failure(kWords, WBKIT_NO_MEMORY);
    }
    const wbkit::CheckedLibrary library = wbkit::open_checked_library(nullptr, wbid_copy.c_str(), version);
    tb_common common = wbkit::key_ids_of(library);
    if (common.status == WBKIT_OK) {
        common.ak = wbkit::find_text(library.handle, "ak");
        common.sk = wbkit::find_text(library.handle, "sk");
    }
    return answer_text(env, kWords, wbkit::sk_for_ak(common, ak_copy.c_str()), kSkRoom);
}
