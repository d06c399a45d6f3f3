// GCM (SP 800-38D): GHASH bit by bit over a copy of everything.

#include <stdlib.h>
#include <string.h>

#include "literal.h"
#include "support/byte_order.h"

namespace bench::literal {
namespace {

void multiply(const uint8_t x[16], const uint8_t y[16], uint8_t z[16]) {
    uint8_t sum[16] = {};
    uint8_t v[16];
    memcpy(v, y, sizeof v);
    for (size_t i = 0; i < 128; ++i) {
        if ((x[i / 8] >> (7 - i % 8) & 1) != 0) {
            for (size_t k = 0; k < 16; ++k) {
                sum[k] ^= v[k];
            }
        }
        const bool reduce = (v[15] & 1) != 0;
        for (size_t k = 15; k > 0; --k) {
            v[k] = static_cast<uint8_t>(v[k] >> 1 | v[k - 1] << 7);
        }
        v[0] = static_cast<uint8_t>(v[0] >> 1 ^ (reduce ? 0xe1 : 0));
    }
    memcpy(z, sum, sizeof sum);
}

size_t padded(size_t len) {
    return (len + 15) / 16 * 16;
}

} // namespace

bool gcm_hash(const uint8_t h[16], Bytes aad, Bytes ciphertext, uint8_t sum[16]) {
    const size_t len = padded(aad.len) + padded(ciphertext.len) + 16;
    auto *buffer = static_cast<uint8_t *>(calloc(1, len));
    if (buffer == nullptr) {
        return false;
    }
    memcpy(buffer, aad.data, aad.len);
    memcpy(buffer + padded(aad.len), ciphertext.data, ciphertext.len);
    wbkit::store_be64(buffer + len - 16, aad.len * 8);
    wbkit::store_be64(buffer + len - 8, ciphertext.len * 8);
    memset(sum, 0, 16);
    for (size_t i = 0; i < len; i += 16) {
        for (size_t k = 0; k < 16; ++k) {
            sum[k] ^= buffer[i + k];
        }
        multiply(sum, h, sum);
    }
    free(buffer);
    return true;
}

bool gcm_encrypt(const Cipher &cipher, const uint8_t iv[12], Bytes aad, Bytes in, uint8_t *out) {
    uint8_t h[16] = {};
    cipher.encrypt(h, cipher.entry);
    uint8_t j0[16] = {};
    uint8_t first[16] = {};
    memcpy(j0, iv, 12);
    j0[15] = 1;
    memcpy(first, j0, sizeof first);
    first[15] = 2;
    ctr_crypt(cipher, first, in.data, out, in.len);
    uint8_t sum[16];
    if (!gcm_hash(h, aad, {out, in.len}, sum)) {
        return false;
    }
    ctr_crypt(cipher, j0, sum, out + in.len, sizeof sum);
    return true;
}

} // namespace bench::literal
