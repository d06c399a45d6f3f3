// The SHA-256 compression function as FIPS 180-4 writes it, section numbers beside each step.

#include <bit>

#include "hash/sha256.h"
#include "hash/sha256_constants.h"
#include "support/byte_order.h"
#include "support/secret.h"

namespace wbkit {
namespace {

// 4.1.2
uint32_t ch(uint32_t x, uint32_t y, uint32_t z) {
    return (x & y) ^ (~x & z);
}
uint32_t maj(uint32_t x, uint32_t y, uint32_t z) {
    return (x & y) ^ (x & z) ^ (y & z);
}
uint32_t big_sigma0(uint32_t x) {
    return std::rotr(x, 2) ^ std::rotr(x, 13) ^ std::rotr(x, 22);
}
uint32_t big_sigma1(uint32_t x) {
    return std::rotr(x, 6) ^ std::rotr(x, 11) ^ std::rotr(x, 25);
}
uint32_t small_sigma0(uint32_t x) {
    return std::rotr(x, 7) ^ std::rotr(x, 18) ^ x >> 3;
}
uint32_t small_sigma1(uint32_t x) {
    return std::rotr(x, 17) ^ std::rotr(x, 19) ^ x >> 10;
}

using Schedule = uint32_t[64];

// 6.2.2, step 1
void prepare(Schedule &w, const uint8_t *block) {
    for (size_t t = 0; t < 16; ++t) {
        w[t] = load_be32(block + 4 * t);
    }
    for (size_t t = 16; t < 64; ++t) {
        w[t] = small_sigma1(w[t - 2]) + w[t - 7] + small_sigma0(w[t - 15]) + w[t - 16];
    }
}

// 6.2.2, steps 2 to 4
void compress(uint32_t state[8], const Schedule &w) {
    uint32_t a = state[0];
    uint32_t b = state[1];
    uint32_t c = state[2];
    uint32_t d = state[3];
    uint32_t e = state[4];
    uint32_t f = state[5];
    uint32_t g = state[6];
    uint32_t h = state[7];
    for (size_t t = 0; t < 64; ++t) {
        const uint32_t t1 = h + big_sigma1(e) + ch(e, f, g) + kSha256Constants.round[t] + w[t];
        const uint32_t t2 = big_sigma0(a) + maj(a, b, c);
        h = g;
        g = f;
        f = e;
        e = d + t1;
        d = c;
        c = b;
        b = a;
        a = t1 + t2;
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
    state[4] += e;
    state[5] += f;
    state[6] += g;
    state[7] += h;
}

// Who calls it wipes the stack behind it: the schedule begins with the block itself, which can be a key.
[[gnu::noinline]] void compress_blocks(uint32_t state[8], const uint8_t *data, size_t blocks) {
    Schedule w;
    for (size_t block = 0; block < blocks; ++block) {
        prepare(w, data + block * kSha256BlockSize);
        compress(state, w);
    }
}

} // namespace

void sha256_compress(uint32_t state[8], const uint8_t *data, size_t blocks) {
    compress_blocks(state, data, blocks);
    wipe_stack();
}

} // namespace wbkit
