#include "jni/method_table.h"

#include <iterator>
#include <string_view>

#include "quen/natives.h"

namespace wbkit {
namespace {

constexpr char kStream[] = "([B[B[B[BI[B[BI)[B";
constexpr char kGcm[] = "([B[B[B[B[B[B[BI)[B";
constexpr char kCmsEncrypt[] = "([B[B[B[BI[B[B[BI)[B";
constexpr char kCmsGcmEncrypt[] = "([B[B[B[B[B[B[B[BI)[B";
constexpr char kAccessor[] = "([B[B[BI)[B";
constexpr char kSignature[] = "([B[B[B[B[BI)[B";
constexpr char kVerify[] = "([B[B[B[B[B[BI)I";
constexpr char kGetSk[] = "([B[BI)[B";
constexpr char kHmac[] = "([B[B)[B";

// The Java class declares three arrays, the functions take six parameters: intended, part of the contract with that
// class, and so not checked. Java calls these operations through WbkitCms.
constexpr char kCmsDecrypt[] = "([B[B[B)[B";

// One list, read twice: to check each row's signature against its function's type, and to fill the table.
#define WBKIT_NATIVES(NATIVE, UNCHECKED)                                                                               \
    NATIVE("WBkit_AES_CFB_encrypt", kStream, WBkit_AES_CFB_encrypt)                                                    \
    NATIVE("WBkit_AES_CFB_decrypt", kStream, WBkit_AES_CFB_decrypt)                                                    \
    NATIVE("WBkit_AES_OFB_encrypt", kStream, WBkit_AES_OFB_encrypt)                                                    \
    NATIVE("WBkit_AES_OFB_decrypt", kStream, WBkit_AES_OFB_decrypt)                                                    \
    NATIVE("WBkit_AES_CTR_encrypt", kStream, WBkit_AES_CTR_encrypt)                                                    \
    NATIVE("WBkit_AES_CTR_decrypt", kStream, WBkit_AES_CTR_decrypt)                                                    \
    NATIVE("WBkit_SM4_CFB_encrypt", kStream, WBkit_SM4_CFB_encrypt)                                                    \
    NATIVE("WBkit_SM4_CFB_decrypt", kStream, WBkit_SM4_CFB_decrypt)                                                    \
    NATIVE("WBkit_SM4_OFB_encrypt", kStream, WBkit_SM4_OFB_encrypt)                                                    \
    NATIVE("WBkit_SM4_OFB_decrypt", kStream, WBkit_SM4_OFB_decrypt)                                                    \
    NATIVE("WBkit_SM4_CTR_encrypt", kStream, WBkit_SM4_CTR_encrypt)                                                    \
    NATIVE("WBkit_SM4_CTR_decrypt", kStream, WBkit_SM4_CTR_decrypt)                                                    \
    NATIVE("WBkit_AES_GCM_encrypt", kGcm, WBkit_AES_GCM_encrypt)                                                       \
    NATIVE("WBkit_AES_GCM_decrypt", kGcm, WBkit_AES_GCM_decrypt)                                                       \
    NATIVE("WBkit_AES_CMS_CFB_encrypt", kCmsEncrypt, WBkit_AES_CMS_CFB_encrypt)                                        \
    UNCHECKED("WBkit_AES_CMS_CFB_decrypt", kCmsDecrypt, WBkit_AES_CMS_CFB_decrypt)                                     \
    NATIVE("WBkit_AES_CMS_OFB_encrypt", kCmsEncrypt, WBkit_AES_CMS_OFB_encrypt)                                        \
    UNCHECKED("WBkit_AES_CMS_OFB_decrypt", kCmsDecrypt, WBkit_AES_CMS_OFB_decrypt)                                     \
    NATIVE("WBkit_AES_CMS_CTR_encrypt", kCmsEncrypt, WBkit_AES_CMS_CTR_encrypt)                                        \
    UNCHECKED("WBkit_AES_CMS_CTR_decrypt", kCmsDecrypt, WBkit_AES_CMS_CTR_decrypt)                                     \
    NATIVE("WBkit_SM4_CMS_CFB_encrypt", kCmsEncrypt, WBkit_SM4_CMS_CFB_encrypt)                                        \
    UNCHECKED("WBkit_SM4_CMS_CFB_decrypt", kCmsDecrypt, WBkit_SM4_CMS_CFB_decrypt)                                     \
    NATIVE("WBkit_SM4_CMS_OFB_encrypt", kCmsEncrypt, WBkit_SM4_CMS_OFB_encrypt)                                        \
    UNCHECKED("WBkit_SM4_CMS_OFB_decrypt", kCmsDecrypt, WBkit_SM4_CMS_OFB_decrypt)                                     \
    NATIVE("WBkit_SM4_CMS_CTR_encrypt", kCmsEncrypt, WBkit_SM4_CMS_CTR_encrypt)                                        \
    UNCHECKED("WBkit_SM4_CMS_CTR_decrypt", kCmsDecrypt, WBkit_SM4_CMS_CTR_decrypt)                                     \
    NATIVE("WBkit_AES_CMS_GCM_encrypt", kCmsGcmEncrypt, WBkit_AES_CMS_GCM_encrypt)                                     \
    UNCHECKED("WBkit_AES_CMS_GCM_decrypt", kCmsDecrypt, WBkit_AES_CMS_GCM_decrypt)                                     \
    NATIVE("getKeyids", kAccessor, WBkit_get_keyids)                                                                   \
    NATIVE("getWhitelist", kAccessor, WBkit_get_whitelist)                                                             \
    NATIVE("getAppid", kAccessor, WBkit_get_appid)                                                                     \
    NATIVE("signature", kSignature, WBkit_signature)                                                                   \
    NATIVE("verify", kVerify, WBkit_verify)                                                                            \
    NATIVE("getSk", kGetSk, WBkit_get_sk)                                                                              \
    NATIVE("hmac", kHmac, WBkit_hmac)

// The code of a type in a signature.
template <typename T>
constexpr std::string_view kCode;
template <>
constexpr std::string_view kCode<jint> = "I";
template <>
constexpr std::string_view kCode<jbyteArray> = "[B";

constexpr bool eat(std::string_view &signature, std::string_view code) {
    if (code.empty() || !signature.starts_with(code)) {
        return false;
    }
    signature.remove_prefix(code.size());
    return true;
}

template <typename Result, typename... Arguments>
constexpr bool fits(std::string_view signature, Result (* /*function*/)(JNIEnv *, jobject, Arguments...)) {
    return eat(signature, "(") && (eat(signature, kCode<Arguments>) && ...) && eat(signature, ")") &&
           eat(signature, kCode<Result>) && signature.empty();
}

#define WBKIT_CHECK(name, signature, function) static_assert(fits(signature, function), name);
#define WBKIT_UNCHECKED(name, signature, function)
WBKIT_NATIVES(WBKIT_CHECK, WBKIT_UNCHECKED)

// The JDK's record has pointers to non-const characters; the virtual machine only reads them.
#define WBKIT_ROW(name, signature, function)                                                                           \
    {const_cast<char *>(name), const_cast<char *>(signature), reinterpret_cast<void *>(function)},
const JNINativeMethod kMethods[] = {WBKIT_NATIVES(WBKIT_ROW, WBKIT_ROW)};
static_assert(std::size(kMethods) == 35);

#undef WBKIT_ROW
#undef WBKIT_UNCHECKED
#undef WBKIT_CHECK
#undef WBKIT_NATIVES

} // namespace

std::span<const JNINativeMethod> method_table() {
    return kMethods;
}

} // namespace wbkit
