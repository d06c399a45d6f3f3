// The natives of the stream modes: one body, a row for each.

#include "aes/stream.h"
#include "jni/keyed_call.h"
#include "jni/mode_arguments.h"
#include "quen/natives.h"
#include "quen/status.h"
#include "sm4/stream.h"
#include "support/scratch.h"

namespace {

using wbkit::ArrayBytes;
using wbkit::HeldArrays;
using wbkit::kBlockSize;
using wbkit::KeyedArguments;
using wbkit::KeyedCall;
using wbkit::ScratchBuffer;

struct StreamNative {
    const wbkit::StreamFunction &engine;
    uint32_t growth; // bytes by which the output may exceed the input
    wbkit::NativeWords words;
    wbkit::ReleaseOrder releases = wbkit::kAsFetched;
};

// The hash and caller arrays, fetched last, are never released: so it has always been with this native, and stays.
constexpr uint8_t kWithoutHashAndCaller[] = {0, 1, 2, 3};

// Alone of all natives it has no "input args invalid" line: callers know it so, and it stays.
constexpr StreamNative kAesCfbEncrypt{wbkit::kAesEncryptCfb, kBlockSize, {"en_aes_cfb", nullptr}};
constexpr StreamNative kAesCfbDecrypt{wbkit::kAesDecryptCfb, 0, {"de_aes_cfb", "AES_CFB_DE"}};
constexpr StreamNative kAesOfbEncrypt{wbkit::kAesEncryptOfb, kBlockSize, {"en_aes_ofb", "AES_OFB_EN"}};
constexpr StreamNative kAesOfbDecrypt{wbkit::kAesDecryptOfb, 0, {"de_aes_ofb", "AES_OFB_DE"}};
constexpr StreamNative kAesCtrEncrypt{wbkit::kAesEncryptCtr, kBlockSize, {"en_aes_ctr", "AES_CTR_EN"}};
constexpr StreamNative kAesCtrDecrypt{wbkit::kAesDecryptCtr, 0, {"de_aes_ctr", "AES_CTR_DE"}};
constexpr StreamNative kSm4CfbEncrypt{wbkit::kSm4EncryptCfb, kBlockSize, {"en_sm4_cfb", "SM4_CFB_EN"}};
constexpr StreamNative kSm4CfbDecrypt{wbkit::kSm4DecryptCfb, 0, {"de_sm4_cfb", "SM4_CFB_DE"}};
constexpr StreamNative kSm4OfbEncrypt{
    wbkit::kSm4EncryptOfb, kBlockSize, {"en_sm4_ofb", "SM4_OFB_EN"}, kWithoutHashAndCaller};
constexpr StreamNative kSm4OfbDecrypt{wbkit::kSm4DecryptOfb, 0, {"de_sm4_ofb", "SM4_OFB_DE"}};
constexpr StreamNative kSm4CtrEncrypt{wbkit::kSm4EncryptCtr, kBlockSize, {"en_sm4_ctr", "SM4_CTR_EN"}};
constexpr StreamNative kSm4CtrDecrypt{wbkit::kSm4DecryptCtr, 0, {"de_sm4_ctr", "SM4_CTR_DE"}};

// What Java passes.
struct StreamArguments {
    KeyedArguments keyed;
    jbyteArray iv;
    jbyteArray input;
    jint padding;

    [[nodiscard]] bool valid() const {
        return keyed.present() && iv != nullptr && input != nullptr && wbkit::is_padding_mode(padding);
    }
};

jbyteArray run(const StreamNative &native, JNIEnv *env, const StreamArguments &arguments) {
    if (!arguments.valid()) {
        return wbkit::refuse_parameters(native.words);
    }
    ScratchBuffer out;
    HeldArrays arrays(env, native.releases);
    const ArrayBytes input = arrays.fetch_length_first(arguments.input);
    const uint8_t *iv = arrays.fetch(arguments.iv);
    KeyedCall call(arrays, arguments.keyed);
    if (!call.admit(native.words)) {
        return nullptr;
    }
    out.allocate(static_cast<uint64_t>(input.len) + native.growth);
    if (!out) {
        return wbkit::report_failure(native.words, WBKIT_NO_MEMORY);
    }
    const wbkit::BlockIv block({iv, arrays.length(arguments.iv)});
    int64_t out_len = 0;
    wbkit::KeySource key = call.key();
    const int32_t status = wbkit::run_stream(
        native.engine, key,
        {block.data(), input.data, static_cast<uint64_t>(input.len), out.data(), &out_len, arguments.padding});
    return wbkit::answer(env, native.words, status, out.data(), out_len);
}

} // namespace

jbyteArray WBkit_AES_CFB_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run(kAesCfbEncrypt, env, {{hash, caller, wbid, keyid, version}, iv, input, padding});
}

jbyteArray WBkit_AES_CFB_decrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run(kAesCfbDecrypt, env, {{hash, caller, wbid, keyid, version}, iv, input, padding});
}

jbyteArray WBkit_AES_OFB_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run(kAesOfbEncrypt, env, {{hash, caller, wbid, keyid, version}, iv, input, padding});
}

jbyteArray WBkit_AES_OFB_decrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run(kAesOfbDecrypt, env, {{hash, caller, wbid, keyid, version}, iv, input, padding});
}

jbyteArray WBkit_AES_CTR_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run(kAesCtrEncrypt, env, {{hash, caller, wbid, keyid, version}, iv, input, padding});
}

jbyteArray WBkit_AES_CTR_decrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run(kAesCtrDecrypt, env, {{hash, caller, wbid, keyid, version}, iv, input, padding});
}

jbyteArray WBkit_SM4_CFB_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run(kSm4CfbEncrypt, env, {{hash, caller, wbid, keyid, version}, iv, input, padding});
}

jbyteArray WBkit_SM4_CFB_decrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run(kSm4CfbDecrypt, env, {{hash, caller, wbid, keyid, version}, iv, input, padding});
}

jbyteArray WBkit_SM4_OFB_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run(kSm4OfbEncrypt, env, {{hash, caller, wbid, keyid, version}, iv, input, padding});
}

jbyteArray WBkit_SM4_OFB_decrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run(kSm4OfbDecrypt, env, {{hash, caller, wbid, keyid, version}, iv, input, padding});
}

jbyteArray WBkit_SM4_CTR_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run(kSm4CtrEncrypt, env, {{hash, caller, wbid, keyid, version}, iv, input, padding});
}

jbyteArray WBkit_SM4_CTR_decrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run(kSm4CtrDecrypt, env, {{hash, caller, wbid, keyid, version}, iv, input, padding});
}
