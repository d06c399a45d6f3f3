#include "aes/ghash.h"

#include <string.h>

#include "aes/gcm_limits.h"
#include "modes/block_cipher.h"
#include "quen/aes.h"
#include "support/byte_order.h"
#include "support/secret.h"

namespace wbkit {
namespace {

constexpr uint64_t kReduction = uint64_t{0xe1} << 56;

FieldElement load(const uint8_t *block) {
    return {load_be64(block), load_be64(block + 8)};
}

void store(uint8_t *block, const FieldElement &element) {
    store_be64(block, element.high);
    store_be64(block + 8, element.low);
}

// All ones if the bit is 1. Masks instead of branches, so that the time tells nothing of the bits.
uint64_t mask_of(uint64_t bit) {
    uint64_t mask = 0 - (bit & 1);
    // The compiler must not know that there are two masks alone, or it could branch after all.
    asm volatile("" : "+r"(mask));
    return mask;
}

// Bit by bit (SP 800-38D, 6.3, algorithm 1). Who calls it wipes the stack behind it.
[[gnu::noinline]] FieldElement multiply(const FieldElement &x, const FieldElement &y) {
    FieldElement z = {0, 0};
    FieldElement v = y;
    for (size_t i = 0; i < 128; ++i) {
        const uint64_t word = i < 64 ? x.high : x.low;
        const uint64_t take = mask_of(word >> (63 - i % 64));
        z.high ^= v.high & take;
        z.low ^= v.low & take;
        const uint64_t reduce = mask_of(v.low);
        v.low = v.low >> 1 | v.high << 63;
        v.high = v.high >> 1 ^ (kReduction & reduce);
    }
    return z;
}

} // namespace

Ghash::Ghash(const uint8_t h[16]) : h_(load(h)) {}

Ghash::~Ghash() {
    wipe(&h_, sizeof h_);
    wipe(&y_, sizeof y_);
}

void Ghash::absorb_block(const uint8_t *block) {
    const FieldElement x = load(block);
    y_ = multiply({y_.high ^ x.high, y_.low ^ x.low}, h_);
}

void Ghash::absorb(const uint8_t *data, uint64_t len) {
    for (; len >= kBlockSize; data += kBlockSize, len -= kBlockSize) {
        absorb_block(data);
    }
    if (len != 0) {
        SecretBytes<kBlockSize> last;
        memcpy(last.data(), data, static_cast<size_t>(len));
        absorb_block(last.data());
    }
    wipe_stack();
}

void Ghash::absorb_lengths(uint64_t first, uint64_t second) {
    uint8_t lengths[kBlockSize];
    store(lengths, {first * 8, second * 8});
    absorb_block(lengths);
    wipe_stack();
}

void Ghash::finish(uint8_t y[16]) const {
    store(y, y_);
}

void prepare_j0(const uint8_t *iv, uint64_t iv_len, const uint8_t h[16], uint8_t j0[16]) {
    constexpr size_t kRecommendedLen = 12;
    if (iv_len == kRecommendedLen) {
        memcpy(j0, iv, kRecommendedLen);
        store_be32(j0 + kRecommendedLen, 1);
        return;
    }
    Ghash hash(h);
    hash.absorb(iv, iv_len);
    hash.absorb_lengths(0, iv_len);
    hash.finish(j0);
}

} // namespace wbkit

void xor_block(uint8_t dst[16], const uint8_t src[16]) {
    for (size_t i = 0; i < wbkit::kBlockSize; ++i) {
        dst[i] ^= src[i];
    }
}

void shift_right_block(uint8_t v[16]) {
    const wbkit::FieldElement element = wbkit::load(v);
    wbkit::store(v, {element.high >> 1, element.low >> 1 | element.high << 63});
}

void gf_mult(const uint8_t x[16], const uint8_t y[16], uint8_t z[16]) {
    wbkit::store(z, wbkit::multiply(wbkit::load(x), wbkit::load(y)));
    wbkit::wipe_stack();
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
