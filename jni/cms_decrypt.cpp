// The natives that decrypt a CMS message: one body, a row for each, two names for each.

#include <string.h>

#include "cms/envelope.h"
#include "jni/keyed_call.h"
#include "quen/natives.h"
#include "quen/status.h"
#include "support/scratch.h"

namespace {

using wbkit::ArrayBytes;
using wbkit::Envelope;
using wbkit::HeldArrays;
using wbkit::KeyedArguments;
using wbkit::KeyedCall;
using wbkit::KeySource;
using wbkit::PackedInput;
using wbkit::ScratchBuffer;

template <const Envelope &envelope>
int32_t decrypt(KeySource &key, const PackedInput &packed, uint8_t *out, int64_t *out_len) {
    return wbkit::decrypt_envelope(envelope, key, packed, out, out_len);
}

struct EnvelopeNative {
    decltype(&wbkit::decrypt_gcm_envelope) run = nullptr;
    wbkit::NativeWords words;
};

// Its failure line names another native: who reads logs looks for that text, and it stays.
constexpr EnvelopeNative kAesCfb{decrypt<wbkit::kAesCfbEnvelope>, {"de_cms_aes_cfb", "AES_CMS_CFB_DE", "de_sm4_cfb"}};
constexpr EnvelopeNative kAesOfb{decrypt<wbkit::kAesOfbEnvelope>, {"de_cms_aes_ofb", "AES_CMS_OFB_DE"}};
constexpr EnvelopeNative kAesCtr{decrypt<wbkit::kAesCtrEnvelope>, {"de_cms_aes_ctr", "AES_CMS_CTR_DE"}};
constexpr EnvelopeNative kAesGcm{wbkit::decrypt_gcm_envelope, {"de_cms_aes_gcm", "de_cms_aes_gcm"}};
constexpr EnvelopeNative kSm4Cfb{decrypt<wbkit::kSm4CfbEnvelope>, {"de_cms_sm4_cfb", "SM4_CMS_CFB_DE"}};
constexpr EnvelopeNative kSm4Ofb{decrypt<wbkit::kSm4OfbEnvelope>, {"de_cms_sm4_ofb", "SM4_CMS_OFB_DE"}};
constexpr EnvelopeNative kSm4Ctr{decrypt<wbkit::kSm4CtrEnvelope>, {"de_cms_sm4_ctr", "SM4_CMS_CTR_DE"}};

jbyteArray run(const EnvelopeNative &native, JNIEnv *env, const KeyedArguments &keyed, jbyteArray message) {
    if (!keyed.present() || message == nullptr) {
        return wbkit::refuse_parameters(native.words);
    }
    ScratchBuffer out;
    HeldArrays arrays(env);
    const ArrayBytes packed = arrays.fetch_length_first(message);
    KeyedCall call(arrays, keyed);
    if (!call.admit(native.words)) {
        return nullptr;
    }
    out.allocate(static_cast<uint64_t>(packed.len));
    if (!out) {
        return wbkit::report_failure(native.words, WBKIT_NO_MEMORY);
    }
    // Unpacked from a copy, since another thread may change the array, and the text is written over it.
    memcpy(out.data(), packed.data, static_cast<size_t>(packed.len));
    int64_t out_len = 0;
    KeySource key = call.key();
    const int32_t status = native.run(key, {out.data(), packed.len}, out.data(), &out_len);
    return wbkit::answer(env, native.words, status, out.data(), out_len);
}

} // namespace

// Each function by the name under which its table row has it and by the name that binds it to WbkitCms.
#define WBKIT_ENVELOPE_NATIVE(native, registered, bound)                                                               \
    jbyteArray registered(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray message,     \
                          jbyteArray wbid, jbyteArray keyid, jint version) {                                           \
        return run(native, env, {hash, caller, wbid, keyid, version}, message);                                        \
    }                                                                                                                  \
    jbyteArray Java_com_vorlix_quen_wb_WbkitCms_##bound(JNIEnv *env, jobject object, jbyteArray hash,                  \
                                                        jbyteArray caller, jbyteArray message, jbyteArray wbid,        \
                                                        jbyteArray keyid, jint version) {                              \
        return registered(env, object, hash, caller, message, wbid, keyid, version);                                   \
    }

WBKIT_ENVELOPE_NATIVE(kAesCfb, WBkit_AES_CMS_CFB_decrypt, aesCfbDecrypt)
WBKIT_ENVELOPE_NATIVE(kAesOfb, WBkit_AES_CMS_OFB_decrypt, aesOfbDecrypt)
WBKIT_ENVELOPE_NATIVE(kAesCtr, WBkit_AES_CMS_CTR_decrypt, aesCtrDecrypt)
WBKIT_ENVELOPE_NATIVE(kAesGcm, WBkit_AES_CMS_GCM_decrypt, aesGcmDecrypt)
WBKIT_ENVELOPE_NATIVE(kSm4Cfb, WBkit_SM4_CMS_CFB_decrypt, sm4CfbDecrypt)
WBKIT_ENVELOPE_NATIVE(kSm4Ofb, WBkit_SM4_CMS_OFB_decrypt, sm4OfbDecrypt)
WBKIT_ENVELOPE_NATIVE(kSm4Ctr, WBkit_SM4_CMS_CTR_decrypt, sm4CtrDecrypt)

#undef WBKIT_ENVELOPE_NATIVE
