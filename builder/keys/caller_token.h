// What an application shows for every use of a key.
#pragma once

#include <string_view>

#include "builder/keys/secret_bytes.h"

namespace wbtables {

// HMAC-SHA256 of the wbid's bytes and then the appid's, under sk: the 32 bytes that the natives take as `hash`.
SecretBytes caller_token(std::string_view wbid, std::string_view appid, const SecretBytes &sk);

} // namespace wbtables
