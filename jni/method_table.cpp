#include "jni/method_table.h"

#include <string_view>

#include "quen/natives.h"

namespace wbkit {
namespace {

constexpr char kStream[] = "([B[B[B[BI[B[BI)[B";
constexpr char kAccessor[] = "([B[B[BI)[B";
constexpr char kGetSk[] = "([B[BI)[B";
constexpr char kHmac[] = "([B[B)[B";

// One list, read twice: to check each row's signature against its function's type, and to fill the table.
#define WBKIT_NATIVES(NATIVE)                                                                                          \
    NATIVE("WBkit_AES_CFB_encrypt", kStream, WBkit_AES_CFB_encrypt)                                                    \
    NATIVE("WBkit_AES_CFB_decrypt", kStream, WBkit_AES_CFB_decrypt)                                                    \
    NATIVE("WBkit_AES_OFB_encrypt", kStream, WBkit_AES_OFB_encrypt)                                                    \
    NATIVE("WBkit_AES_OFB_decrypt", kStream, WBkit_AES_OFB_decrypt)                                                    \
    NATIVE("WBkit_AES_CTR_encrypt", kStream, WBkit_AES_CTR_encrypt)                                                    \
    NATIVE("WBkit_AES_CTR_decrypt", kStream, WBkit_AES_CTR_decrypt)                                                    \
    NATIVE("getKeyids", kAccessor, WBkit_get_keyids)                                                                   \
    NATIVE("getWhitelist", kAccessor, WBkit_get_whitelist)                                                             \
    NATIVE("getAppid", kAccessor, WBkit_get_appid)                                                                     \
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
WBKIT_NATIVES(WBKIT_CHECK)

// The JDK's record has pointers to non-const characters; the virtual machine only reads them.
#define WBKIT_ROW(name, signature, function)                                                                           \
    {const_cast<char *>(name), const_cast<char *>(signature), reinterpret_cast<void *>(function)},
const JNINativeMethod kMethods[] = {WBKIT_NATIVES(WBKIT_ROW)};

#undef WBKIT_ROW
#undef WBKIT_CHECK
#undef WBKIT_NATIVES

} // namespace

std::span<const JNINativeMethod> method_table() {
    return kMethods;
}

} // namespace wbkit
