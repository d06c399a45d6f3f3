// The natives that sign and verify.

#include "hash/signature.h"
#include "jni/keyed_call.h"
#include "quen/natives.h"
#include "quen/status.h"
#include "support/secret.h"

namespace {

using wbkit::ArrayBytes;
using wbkit::HeldArrays;
using wbkit::KeyedArguments;
using wbkit::KeyedCall;
using wbkit::KeySource;

constexpr wbkit::NativeWords kSignature{"signature", "WBkit_signature"};
constexpr wbkit::NativeWords kVerify{
    .op = "verify",
    .tag = "verify",
    .tells_failures = false, // its number tells, and verify_signature logs why: intended
};

// The signature, fetched first, is released behind the key id: the order that callers know, intended.
constexpr uint8_t kVerifyReleases[] = {1, 2, 3, 0, 4, 5};

} // namespace

jbyteArray WBkit_signature(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray data,
                           jbyteArray wbid, jbyteArray keyid, jint version) {
    const KeyedArguments keyed{hash, caller, wbid, keyid, version};
    if (!keyed.present() || data == nullptr) {
        return wbkit::refuse_parameters(kSignature);
    }
    HeldArrays arrays(env);
    const ArrayBytes message = arrays.fetch_length_first(data);
    KeyedCall call(arrays, keyed);
    if (!call.admit(kSignature)) {
        return nullptr;
    }
    wbkit::SecretBytes<wbkit::kSha256DigestSize> mac;
    uint32_t mac_len = mac.size();
    KeySource key = call.key();
    const int32_t status = wbkit::sign(key, message.data, static_cast<uint64_t>(message.len), mac.data(), &mac_len);
    return wbkit::answer(env, kSignature, status, mac.data(), mac_len);
}

jint WBkit_verify(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray sig, jbyteArray data,
                  jbyteArray wbid, jbyteArray keyid, jint version) {
    const KeyedArguments keyed{hash, caller, wbid, keyid, version};
    if (!keyed.present() || sig == nullptr || data == nullptr) {
        wbkit::refuse_parameters(kVerify);
        return WBKIT_REFUSED;
    }
    HeldArrays arrays(env, kVerifyReleases);
    const ArrayBytes mac = arrays.fetch_length_first(sig);
    const ArrayBytes message = arrays.fetch_length_first(data);
    KeyedCall call(arrays, keyed);
    if (!call.admit(kVerify)) {
        return WBKIT_REFUSED;
    }
    KeySource key = call.key();
    return wbkit::verify_signature(key, mac.data, mac.len, message.data, static_cast<uint64_t>(message.len));
}
