#include "builder/keys/caller_token.h"

#include <string>

#include "builder/error.h"
#include "quen/hash.h"

namespace wbtables {

SecretBytes caller_token(std::string_view wbid, std::string_view appid, const SecretBytes &sk) {
    constexpr std::size_t kTokenLen = 32;
    const std::string message = std::string(wbid).append(appid);
    SecretBytes token(kTokenLen);
    if (hmac_sha256(reinterpret_cast<const std::uint8_t *>(message.data()), message.size(), sk.data(),
                    static_cast<std::int32_t>(sk.size()), token.data()) != 0) {
        throw Error(Failure::library, "the token cannot be computed: out of memory");
    }
    return token;
}

} // namespace wbtables
