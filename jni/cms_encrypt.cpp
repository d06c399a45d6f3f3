// The natives that encrypt into a CMS message: one body, a row for each.

#include <algorithm>
#include <iterator>

#include "cms/envelope.h"
#include "jni/keyed_call.h"
#include "jni/mode_arguments.h"
#include "quen/natives.h"
#include "quen/status.h"
#include "support/scratch.h"
#include "support/secret.h"

namespace {

using wbkit::ArrayBytes;
using wbkit::ArrayCopy;
using wbkit::Envelope;
using wbkit::FieldBytes;
using wbkit::HeldArrays;
using wbkit::KeyedArguments;
using wbkit::KeyedCall;
using wbkit::KeySource;
using wbkit::PackedOutput;
using wbkit::ScratchBuffer;

// What Java passes. The stream modes take a padding, GCM additional data.
struct EnvelopeArguments {
    KeyedArguments keyed;
    jbyteArray iv;
    jbyteArray input;
    jint padding;
    jbyteArray aad;
    jbyteArray key;
};

struct EnvelopeBytes {
    ArrayBytes input;
    ArrayBytes iv;
    ArrayBytes aad;
    ArrayBytes key; // what the message carries
};

uint64_t size_of(const ArrayBytes &bytes) {
    return static_cast<uint64_t>(bytes.len);
}

// The iv's length is asked for when the call is admitted.
EnvelopeBytes fetch_for_stream(HeldArrays &arrays, const EnvelopeArguments &arguments) {
    const ArrayBytes input = arrays.fetch_length_first(arguments.input);
    const ArrayBytes iv{arrays.fetch(arguments.iv), 0};
    return {input, iv, {}, arrays.fetch_length_first(arguments.key)};
}

// All lengths come first.
EnvelopeBytes fetch_for_gcm(HeldArrays &arrays, const EnvelopeArguments &arguments) {
    const jbyteArray handles[] = {arguments.input, arguments.iv, arguments.aad, arguments.key};
    ArrayBytes bytes[std::size(handles)];
    for (size_t i = 0; i < std::size(handles); ++i) {
        bytes[i].len = arrays.length(handles[i]);
    }
    for (size_t i = 0; i < std::size(handles); ++i) {
        bytes[i].data = arrays.fetch(handles[i]);
    }
    return {bytes[0], bytes[1], bytes[2], bytes[3]};
}

template <const Envelope &envelope>
int32_t encrypt(KeySource &key, const EnvelopeBytes &bytes, jint padding, const PackedOutput &out) {
    const wbkit::BlockIv iv(bytes.iv);
    return wbkit::encrypt_envelope(envelope, key,
                                   {iv.data(), bytes.input.data, size_of(bytes.input), padding,
                                    FieldBytes::of(bytes.key.data, size_of(bytes.key))},
                                   out);
}

int32_t encrypt_gcm(KeySource &key, const EnvelopeBytes &bytes, jint /*padding*/, const PackedOutput &out) {
    // Both are authenticated and then packed: copies, since another thread may change the arrays.
    ArrayCopy iv;
    ArrayCopy aad;
    if (!iv.take(bytes.iv) || !aad.take(bytes.aad)) {
        return WBKIT_NO_MEMORY;
    }
    // Zeros, should it be packed although nothing was encrypted.
    wbkit::SecretBytes<wbkit::kGcmTagSize> tag;
    return wbkit::encrypt_gcm_envelope(key,
                                       {bytes.input.data,
                                        size_of(bytes.input),
                                        {iv.data(), iv.size(), aad.data(), aad.size()},
                                        tag.data(),
                                        tag.size(),
                                        FieldBytes::of(bytes.key.data, size_of(bytes.key))},
                                       out);
}

struct EnvelopeNative {
    decltype(&encrypt_gcm) run = nullptr;
    uint32_t growth = 0; // bytes by which the message may exceed the input and the carried key
    wbkit::NativeWords words;
    bool gcm = false; // takes additional data in place of a padding, and an iv of any length
    bool checks_key = true;

    [[nodiscard]] bool accepts(const EnvelopeArguments &arguments) const {
        return arguments.keyed.present() && arguments.iv != nullptr && arguments.input != nullptr &&
               wbkit::is_padding_mode(arguments.padding) && (!gcm || arguments.aad != nullptr) &&
               (!checks_key || arguments.key != nullptr);
    }
};

constexpr EnvelopeNative kAesCfb{encrypt<wbkit::kAesCfbEnvelope>, 160, {"en_cms_aes_cfb", "AES_CMS_CFB_EN"}};
constexpr EnvelopeNative kAesOfb{encrypt<wbkit::kAesOfbEnvelope>, 160, {"en_cms_aes_ofb", "AES_CMS_OFB_EN"}};
constexpr EnvelopeNative kAesCtr{encrypt<wbkit::kAesCtrEnvelope>, 160, {"en_cms_aes_ctr", "AES_CMS_CTR_EN"}};
constexpr EnvelopeNative kSm4Cfb{encrypt<wbkit::kSm4CfbEnvelope>, 160, {"en_cms_sm4_cfb", "SM4_CMS_CFB_EN"}};
constexpr EnvelopeNative kSm4Ofb{encrypt<wbkit::kSm4OfbEnvelope>, 160, {"en_cms_sm4_ofb", "SM4_CMS_OFB_EN"}};
constexpr EnvelopeNative kSm4Ctr{encrypt<wbkit::kSm4CtrEnvelope>, 160, {"en_cms_sm4_ctr", "SM4_CMS_CTR_EN"}};
constexpr EnvelopeNative kAesGcm{
    .run = encrypt_gcm,
    .growth = 208,
    .words = {"en_cms_aes_gcm", "en_cms_aes_gcm"},
    .gcm = true,
    .checks_key = false, // never was: a null key is noticed when it is fetched, and ends as its line says. It stays.
};

jbyteArray run(const EnvelopeNative &native, JNIEnv *env, const EnvelopeArguments &arguments) {
    if (!native.accepts(arguments)) {
        return wbkit::refuse_parameters(native.words);
    }
    ScratchBuffer out;
    HeldArrays arrays(env);
    EnvelopeBytes bytes = native.gcm ? fetch_for_gcm(arrays, arguments) : fetch_for_stream(arrays, arguments);
    KeyedCall call(arrays, arguments.keyed);
    if (!call.admit(native.words)) {
        return nullptr;
    }
    // No message is longer than a signed 32-bit number can say.
    const uint64_t capacity = std::min<uint64_t>(size_of(bytes.input) + size_of(bytes.key) + native.growth, INT32_MAX);
    out.allocate(capacity);
    if (!out) {
        return wbkit::report_failure(native.words, WBKIT_NO_MEMORY);
    }
    if (!native.gcm) {
        bytes.iv.len = arrays.length(arguments.iv);
    }
    auto out_len = static_cast<int32_t>(capacity);
    KeySource key = call.key();
    const int32_t status = native.run(key, bytes, arguments.padding, {out.data(), &out_len});
    return wbkit::answer(env, native.words, status, out.data(), out_len);
}

} // namespace

jbyteArray WBkit_AES_CMS_CFB_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                     jbyteArray input, jint padding, jbyteArray key, jbyteArray wbid, jbyteArray keyid,
                                     jint version) {
    return run(kAesCfb, env, {{hash, caller, wbid, keyid, version}, iv, input, padding, nullptr, key});
}

jbyteArray WBkit_AES_CMS_OFB_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                     jbyteArray input, jint padding, jbyteArray key, jbyteArray wbid, jbyteArray keyid,
                                     jint version) {
    return run(kAesOfb, env, {{hash, caller, wbid, keyid, version}, iv, input, padding, nullptr, key});
}

jbyteArray WBkit_AES_CMS_CTR_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                     jbyteArray input, jint padding, jbyteArray key, jbyteArray wbid, jbyteArray keyid,
                                     jint version) {
    return run(kAesCtr, env, {{hash, caller, wbid, keyid, version}, iv, input, padding, nullptr, key});
}

jbyteArray WBkit_SM4_CMS_CFB_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                     jbyteArray input, jint padding, jbyteArray key, jbyteArray wbid, jbyteArray keyid,
                                     jint version) {
    return run(kSm4Cfb, env, {{hash, caller, wbid, keyid, version}, iv, input, padding, nullptr, key});
}

jbyteArray WBkit_SM4_CMS_OFB_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                     jbyteArray input, jint padding, jbyteArray key, jbyteArray wbid, jbyteArray keyid,
                                     jint version) {
    return run(kSm4Ofb, env, {{hash, caller, wbid, keyid, version}, iv, input, padding, nullptr, key});
}

jbyteArray WBkit_SM4_CMS_CTR_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                     jbyteArray input, jint padding, jbyteArray key, jbyteArray wbid, jbyteArray keyid,
                                     jint version) {
    return run(kSm4Ctr, env, {{hash, caller, wbid, keyid, version}, iv, input, padding, nullptr, key});
}

jbyteArray WBkit_AES_CMS_GCM_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                     jbyteArray input, jbyteArray aad, jbyteArray key, jbyteArray wbid,
                                     jbyteArray keyid, jint version) {
    return run(kAesGcm, env, {{hash, caller, wbid, keyid, version}, iv, input, 0, aad, key});
}
