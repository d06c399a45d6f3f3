#include "aes/ghash.h"

#include <string.h>

#include "aes/gcm_limits.h"
#include "modes/block_cipher.h"
#include "quen/aes.h"
#include "support/byte_order.h"
#include "support/kernel.h"
#include "support/secret.h"

namespace wbkit {

Ghash::Ghash(const uint8_t h[16]) : kernel_(choose_row(ghash_kernels()).absorb) {
    memcpy(state_.h, h, sizeof state_.h);
}

Ghash::~Ghash() {
    wipe(&state_, sizeof state_);
}

void Ghash::absorb(const uint8_t *data, uint64_t len) {
    const auto blocks = static_cast<size_t>(len / kBlockSize);
    if (blocks != 0) {
        kernel_(state_, data, blocks);
    }
    const auto rest = static_cast<size_t>(len % kBlockSize);
    if (rest != 0) {
        SecretBytes<kBlockSize> last;
        memcpy(last.data(), data + blocks * kBlockSize, rest);
        kernel_(state_, last.data(), 1);
    }
}

void Ghash::absorb_last(const uint8_t *data, uint64_t len, uint64_t first, uint64_t second) {
    // A block that is partial, or the only one, goes with the lengths: that saves a call of the kernel.
    const auto tail = static_cast<size_t>(len <= kBlockSize ? len : len % kBlockSize);
    SecretBytes<2 * kBlockSize> last;
    uint8_t *lengths = last.data();
    if (tail != 0) {
        memcpy(last.data(), data + (len - tail), tail);
        lengths += kBlockSize;
    }
    store_be64(lengths, first * 8);
    store_be64(lengths + 8, second * 8);
    absorb(data, len - tail);
    kernel_(state_, last.data(), tail != 0 ? 2 : 1);
}

void Ghash::finish(uint8_t y[16]) const {
    memcpy(y, state_.y, sizeof state_.y);
}

void prepare_j0(const uint8_t *iv, uint64_t iv_len, const uint8_t h[16], uint8_t j0[16]) {
    if (iv_len == kPlainIvLen) {
        memcpy(j0, iv, kPlainIvLen);
        store_be32(j0 + kPlainIvLen, 1);
        return;
    }
    Ghash hash(h);
    hash.absorb_last(iv, iv_len, 0, iv_len);
    hash.finish(j0);
}

} // namespace wbkit

void xor_block(uint8_t dst[16], const uint8_t src[16]) {
    for (size_t i = 0; i < wbkit::kBlockSize; ++i) {
        dst[i] ^= src[i];
    }
}

void shift_right_block(uint8_t v[16]) {
    for (size_t i = wbkit::kBlockSize - 1; i > 0; --i) {
        v[i] = static_cast<uint8_t>(v[i] >> 1 | v[i - 1] << 7);
    }
    v[0] >>= 1;
}

void gf_mult(const uint8_t x[16], const uint8_t y[16], uint8_t z[16]) {
    wbkit::Ghash product(y);
    product.absorb(x, wbkit::kBlockSize); // the first block alone: (0 + x) * y
    product.finish(z);
}

void ghash(const uint8_t h[16], const uint8_t *x, uint64_t x_len, uint8_t y[16]) {
    wbkit::Ghash hash(h);
    hash.absorb(x, x_len);
    hash.finish(y);
}

void aes_gcm_prepare_j0(const uint8_t *iv, uint64_t iv_len, const uint8_t h[16], uint8_t j0[16]) {
    if (iv_len > wbkit::kLongestGcmPart) {
        wbkit::log_gcm_too_long();
        return;
    }
    wbkit::prepare_j0(iv, iv_len, h, j0);
}
