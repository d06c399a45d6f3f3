// The sizes of SHA-256.
#pragma once

#include <stddef.h>

namespace wbkit {

constexpr size_t kSha256BlockSize = 64;
constexpr size_t kSha256DigestSize = 32;

} // namespace wbkit
