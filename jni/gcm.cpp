// The two natives of AES-GCM: one body, a row for each.

#include <string.h>

#include "aes/gcm.h"
#include "jni/keyed_call.h"
#include "quen/natives.h"
#include "quen/status.h"
#include "support/scratch.h"
#include "support/secret.h"

namespace {

using wbkit::GcmContext;
using wbkit::GcmMessage;
using wbkit::HeldArrays;
using wbkit::KeyedArguments;
using wbkit::KeyedCall;
using wbkit::KeySource;
using wbkit::kGcmTagSize;
using wbkit::ScratchBuffer;
using wbkit::SecretBytes;

struct GcmNative {
    int32_t (*run)(KeySource &key, const GcmMessage &message) = nullptr;
    uint32_t growth = 0; // bytes by which the output exceeds the input
    wbkit::NativeWords words;
};

int32_t encrypt(KeySource &key, const GcmMessage &message) {
    SecretBytes<kGcmTagSize> tag;
    return wbkit::run_gcm_encrypt(key, message, tag.data());
}

// Decrypted in place from a copy: another thread may change the array between the look at its tag and the decryption.
int32_t decrypt(KeySource &key, const GcmMessage &message) {
    const auto len = static_cast<size_t>(message.in_len);
    memcpy(message.out, message.in, len);
    SecretBytes<kGcmTagSize> tag;
    if (len >= kGcmTagSize) {
        memcpy(tag.data(), message.out + len - kGcmTagSize, kGcmTagSize);
    }
    GcmMessage in_place = message;
    in_place.in = message.out;
    return wbkit::run_gcm_decrypt(key, in_place, tag.data());
}

constexpr GcmNative kEncrypt{encrypt, kGcmTagSize, {"en_aes_gcm", "en_aes_gcm"}};
constexpr GcmNative kDecrypt{decrypt, 0, {"de_aes_gcm", "de_aes_gcm"}};

// What Java passes.
struct GcmArguments {
    KeyedArguments keyed;
    jbyteArray iv;
    jbyteArray input;
    jbyteArray aad;

    [[nodiscard]] bool valid() const { return keyed.present() && iv != nullptr && input != nullptr && aad != nullptr; }
};

jbyteArray run(const GcmNative &native, JNIEnv *env, const GcmArguments &arguments) {
    if (!arguments.valid()) {
        return wbkit::refuse_parameters(native.words);
    }
    ScratchBuffer out;
    HeldArrays arrays(env);
    const jsize input_len = arrays.length(arguments.input);
    const jsize iv_len = arrays.length(arguments.iv);
    const jsize aad_len = arrays.length(arguments.aad);
    const uint8_t *input = arrays.fetch(arguments.input);
    const uint8_t *iv = arrays.fetch(arguments.iv);
    const uint8_t *aad = arrays.fetch(arguments.aad);
    KeyedCall call(arrays, arguments.keyed);
    if (!call.admit(native.words)) {
        return nullptr;
    }
    out.allocate(static_cast<uint64_t>(input_len) + native.growth);
    if (!out) {
        return wbkit::report_failure(native.words, WBKIT_NO_MEMORY);
    }
    const GcmContext context{iv, static_cast<uint64_t>(iv_len), aad, static_cast<uint64_t>(aad_len)};
    int64_t out_len = 0;
    KeySource key = call.key();
    const int32_t status =
        native.run(key, {input, static_cast<uint64_t>(input_len), context, kGcmTagSize, out.data(), &out_len});
    return wbkit::answer(env, native.words, status, out.data(), out_len);
}

} // namespace

jbyteArray WBkit_AES_GCM_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jbyteArray aad, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run(kEncrypt, env, {{hash, caller, wbid, keyid, version}, iv, input, aad});
}

jbyteArray WBkit_AES_GCM_decrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jbyteArray aad, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run(kDecrypt, env, {{hash, caller, wbid, keyid, version}, iv, input, aad});
}
