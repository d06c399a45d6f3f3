// The SHA-256 compression function as FIPS 180-4 writes it, section numbers beside each step. Where the standard moves
// values, the code renames: the working variables change places in an array once its loops are unrolled, and the
// schedule keeps sixteen words, each of which makes room for the one sixteen later.
#include <bit>

#include "hash/sha256.h"
#include "hash/sha256_constants.h"
#include "hash/sha256_kernel.h"
#include "support/byte_order.h"
#include "support/secret.h"

namespace wbkit {
namespace {

// 4.1.2, in forms of fewer operations than the standard's.
inline uint32_t ch(uint32_t x, uint32_t y, uint32_t z) {
    return z ^ (x & (y ^ z));
}
inline uint32_t maj(uint32_t x, uint32_t y, uint32_t z) {
    return y ^ ((x ^ y) & (y ^ z));
}
// Rotations by 2, 13 and 22 in one another.
inline uint32_t big_sigma0(uint32_t x) {
    return std::rotr(x ^ std::rotr(x ^ std::rotr(x, 9), 11), 2);
}
// Not as above: the next round waits for it.
inline uint32_t big_sigma1(uint32_t x) {
    return std::rotr(x, 6) ^ std::rotr(x, 11) ^ std::rotr(x, 25);
}
inline uint32_t small_sigma0(uint32_t x) {
    return std::rotr(x, 7) ^ std::rotr(x, 18) ^ x >> 3;
}
inline uint32_t small_sigma1(uint32_t x) {
    return std::rotr(x, 17) ^ std::rotr(x, 19) ^ x >> 10;
}

// 6.2.2, step 3, where `kw` is the sum of the round's constant and word. In round t, b is where a was in round t - 1.
inline void round(uint32_t (&variables)[8], size_t t, uint32_t kw) {
    const auto variable = [&](char name) -> uint32_t & { return variables[(static_cast<size_t>(name - 'a') - t) % 8]; };
    const uint32_t e = variable('e');
    const uint32_t t1 = variable('h') + big_sigma1(e) + ch(e, variable('f'), variable('g')) + kw;
    const uint32_t a = variable('a');
    variable('d') += t1;
    variable('h') = t1 + big_sigma0(a) + maj(a, variable('b'), variable('c'));
}

// Who calls it wipes the stack behind it: the schedule begins with the block itself, which can be a key.
[[gnu::noinline]] void compress_blocks(uint32_t state[8], const uint8_t *data, size_t blocks) {
    const auto &k = kSha256Constants.round;
    for (; blocks > 0; data += kSha256BlockSize, --blocks) {
        uint32_t variables[8];
        memcpy(variables, state, sizeof variables);
        uint32_t w[16];
#pragma GCC unroll 16
        for (size_t t = 0; t < 16; ++t) {
            w[t] = load_be32(data + 4 * t);
            round(variables, t, k[t] + w[t]);
        }
        for (size_t start = 16; start < 64; start += 16) {
#pragma GCC unroll 16
            for (size_t i = 0; i < 16; ++i) {
                w[i] += small_sigma1(w[(i + 14) % 16]) + w[(i + 9) % 16] + small_sigma0(w[(i + 1) % 16]);
                round(variables, i, k[start + i] + w[i]);
            }
        }
        for (size_t i = 0; i < 8; ++i) {
            state[i] += variables[i];
        }
    }
}

} // namespace

void sha256_compress_portable(uint32_t state[8], const uint8_t *data, size_t blocks) {
    compress_blocks(state, data, blocks);
    wipe_stack();
}

} // namespace wbkit
