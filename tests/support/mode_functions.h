// The mode functions of both ciphers, called with one order of arguments.
#pragma once

#include <cstdint>
#include <type_traits>

#include "quen/aes.h"
#include "quen/sm4.h"

namespace test {

using ModeFunction = int64_t (*)(const char *dir, const uint8_t *iv, const uint8_t *in, uint64_t in_len, uint8_t *out,
                                 int64_t *out_len, int32_t padding, const char *wbid, const char *key_id,
                                 int32_t version);

template <auto Function>
int64_t mode(const char *dir, const uint8_t *iv, const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t *out_len,
             int32_t padding, const char *wbid, const char *key_id, int32_t version) {
    if constexpr (std::is_same_v<decltype(Function), decltype(&aes_WBkit_encrypt_cfb)>) {
        return Function(dir, iv, in, in_len, out, out_len, padding, wbid, key_id, version);
    } else {
        return Function(dir, in, in_len, out, out_len, iv, static_cast<uint32_t>(padding), wbid, key_id, version);
    }
}

} // namespace test
