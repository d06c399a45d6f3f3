// The natives of the stream modes: one body, a row for each.

#include <string.h>

#include <algorithm>

#include "jni/answer.h"
#include "jni/caller_check.h"
#include "jni/held_arrays.h"
#include "jni/text.h"
#include "modes/block_cipher.h"
#include "quen/aes.h"
#include "quen/natives.h"
#include "quen/status.h"
#include "support/scratch.h"

namespace {

using wbkit::ArrayBytes;
using wbkit::HeldArrays;
using wbkit::kBlockSize;
using wbkit::ScratchBuffer;
using wbkit::TextCopy;

// What an engine takes, in whatever order it takes it.
struct EngineCall {
    const uint8_t *iv;
    const ArrayBytes &input;
    uint8_t *out;
    int64_t *out_len;
    jint padding;
    const TextCopy &wbid;
    const TextCopy &keyid;
    jint version;
};

template <decltype(&aes_WBkit_encrypt_cfb) engine>
int32_t run_aes(const EngineCall &call) {
    return engine(nullptr, call.iv, call.input.data, static_cast<uint64_t>(call.input.len), call.out, call.out_len,
                  call.padding, call.wbid.c_str(), call.keyid.c_str(), call.version);
}

struct StreamNative {
    int32_t (*run)(const EngineCall &call);
    uint32_t growth; // bytes by which the output may exceed the input
    const char *op;  // names the native in its messages
    const char *tag; // begins the "input args invalid" line; null: no such line
};

// Refuses silently, alone of all natives: intended.
constexpr StreamNative kAesCfbEncrypt{run_aes<aes_WBkit_encrypt_cfb>, 16, "en_aes_cfb", nullptr};
constexpr StreamNative kAesCfbDecrypt{run_aes<aes_WBkit_decrypt_cfb>, 0, "de_aes_cfb", "AES_CFB_DE"};
constexpr StreamNative kAesOfbEncrypt{run_aes<aes_WBkit_encrypt_ofb>, 16, "en_aes_ofb", "AES_OFB_EN"};
constexpr StreamNative kAesOfbDecrypt{run_aes<aes_WBkit_decrypt_ofb>, 0, "de_aes_ofb", "AES_OFB_DE"};
constexpr StreamNative kAesCtrEncrypt{run_aes<aes_WBkit_encrypt_ctr>, 16, "en_aes_ctr", "AES_CTR_EN"};
constexpr StreamNative kAesCtrDecrypt{run_aes<aes_WBkit_decrypt_ctr>, 0, "de_aes_ctr", "AES_CTR_DE"};

// What Java passes.
struct StreamArguments {
    jbyteArray hash;
    jbyteArray caller;
    jbyteArray iv;
    jbyteArray input;
    jint padding;
    jbyteArray wbid;
    jbyteArray keyid;
    jint version;

    [[nodiscard]] bool valid() const {
        constexpr uint32_t kLargestPadding = 2;
        return caller != nullptr && hash != nullptr && iv != nullptr && input != nullptr && wbid != nullptr &&
               keyid != nullptr && static_cast<uint32_t>(padding) <= kLargestPadding;
    }
};

// The arrays' elements, fetched in the order of the members.
struct StreamBytes {
    ArrayBytes input;
    const uint8_t *iv;
    ArrayBytes wbid;
    ArrayBytes keyid;
    ArrayBytes hash;
    ArrayBytes caller;

    StreamBytes(HeldArrays &arrays, const StreamArguments &arguments)
        : input(arrays.fetch_length_first(arguments.input)), iv(arrays.fetch(arguments.iv)),
          wbid(arrays.fetch_elements_first(arguments.wbid)), keyid(arrays.fetch_elements_first(arguments.keyid)),
          hash(arrays.fetch_length_first(arguments.hash)), caller(arrays.fetch_length_first(arguments.caller)) {}
};

jbyteArray run_stream(const StreamNative &native, JNIEnv *env, const StreamArguments &arguments) {
    if (!arguments.valid()) {
        return wbkit::refuse_parameters(native.op);
    }
    // Declared before the arrays, so that it is freed after they were released.
    ScratchBuffer out;
    HeldArrays arrays(env);
    const StreamBytes bytes(arrays, arguments);
    if (!arrays.complete()) {
        return wbkit::refuse_call(native.tag);
    }
    const TextCopy wbid(bytes.wbid);
    const TextCopy keyid(bytes.keyid);
    if (!wbid || !keyid) {
        return wbkit::report_failure(native.op, WBKIT_NO_MEMORY);
    }
    tb_common common;
    if (!wbkit::authorise({bytes.hash, bytes.caller}, wbid, arguments.version, common)) {
        return wbkit::refuse_call(native.tag);
    }
    out.allocate(static_cast<uint64_t>(bytes.input.len) + native.growth);
    if (!out) {
        return wbkit::report_failure(native.op, WBKIT_NO_MEMORY);
    }
    // An iv that is too short is extended with zeros; its length is asked for here alone.
    uint8_t iv[kBlockSize] = {};
    memcpy(iv, bytes.iv, std::min(kBlockSize, static_cast<size_t>(arrays.length(arguments.iv))));
    int64_t out_len = 0;
    const int32_t status =
        native.run({iv, bytes.input, out.data(), &out_len, arguments.padding, wbid, keyid, arguments.version});
    if (status != WBKIT_OK) {
        return wbkit::report_failure(native.op, status);
    }
    return wbkit::new_array(env, out.data(), static_cast<size_t>(out_len));
}

} // namespace

jbyteArray WBkit_AES_CFB_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run_stream(kAesCfbEncrypt, env, {hash, caller, iv, input, padding, wbid, keyid, version});
}

jbyteArray WBkit_AES_CFB_decrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run_stream(kAesCfbDecrypt, env, {hash, caller, iv, input, padding, wbid, keyid, version});
}

jbyteArray WBkit_AES_OFB_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run_stream(kAesOfbEncrypt, env, {hash, caller, iv, input, padding, wbid, keyid, version});
}

jbyteArray WBkit_AES_OFB_decrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run_stream(kAesOfbDecrypt, env, {hash, caller, iv, input, padding, wbid, keyid, version});
}

jbyteArray WBkit_AES_CTR_encrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run_stream(kAesCtrEncrypt, env, {hash, caller, iv, input, padding, wbid, keyid, version});
}

jbyteArray WBkit_AES_CTR_decrypt(JNIEnv *env, jobject /*object*/, jbyteArray hash, jbyteArray caller, jbyteArray iv,
                                 jbyteArray input, jint padding, jbyteArray wbid, jbyteArray keyid, jint version) {
    return run_stream(kAesCtrDecrypt, env, {hash, caller, iv, input, padding, wbid, keyid, version});
}
