// SHA-256 (FIPS 180-4), a byte at a time into the block.

#include <string.h>

#include <array>
#include <bit>

#include "hash/sha256_constants.h"
#include "literal.h"
#include "support/byte_order.h"

namespace bench::literal {
namespace {

using std::rotr;

struct Hash {
    uint8_t data[64];
    uint32_t used = 0;
    uint64_t bits = 0;
    std::array<uint32_t, 8> state;
};

void compress(Hash &hash) {
    uint32_t w[64];
    for (size_t t = 0; t < 16; ++t) {
        w[t] = wbkit::load_be32(hash.data + 4 * t);
    }
    for (size_t t = 16; t < 64; ++t) {
        const uint32_t s0 = rotr(w[t - 15], 7) ^ rotr(w[t - 15], 18) ^ w[t - 15] >> 3;
        const uint32_t s1 = rotr(w[t - 2], 17) ^ rotr(w[t - 2], 19) ^ w[t - 2] >> 10;
        w[t] = s1 + w[t - 7] + s0 + w[t - 16];
    }
    auto [a, b, c, d, e, f, g, h] = hash.state;
    for (size_t t = 0; t < 64; ++t) {
        const uint32_t t1 = h + (rotr(e, 6) ^ rotr(e, 11) ^ rotr(e, 25)) + ((e & f) ^ (~e & g)) +
                            wbkit::kSha256Constants.round[t] + w[t];
        const uint32_t t2 = (rotr(a, 2) ^ rotr(a, 13) ^ rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + t1;
        d = c;
        c = b;
        b = a;
        a = t1 + t2;
    }
    const uint32_t sum[8] = {a, b, c, d, e, f, g, h};
    for (size_t i = 0; i < 8; ++i) {
        hash.state[i] += sum[i];
    }
}

void put(Hash &hash, uint8_t byte) {
    hash.data[hash.used++] = byte;
    if (hash.used == sizeof hash.data) {
        compress(hash);
        hash.bits += 512;
        hash.used = 0;
    }
}

} // namespace

void sha256(const uint8_t *data, size_t len, uint8_t digest[32]) {
    Hash hash;
    memcpy(hash.state.data(), wbkit::kSha256Constants.initial, sizeof hash.state);
    for (size_t i = 0; i < len; ++i) {
        put(hash, data[i]);
    }
    const uint64_t bits = hash.bits + uint64_t{8} * hash.used;
    put(hash, 0x80);
    while (hash.used != sizeof hash.data - 8) {
        put(hash, 0);
    }
    wbkit::store_be64(hash.data + hash.used, bits);
    compress(hash);
    for (size_t i = 0; i < 8; ++i) {
        wbkit::store_be32(digest + 4 * i, hash.state[i]);
    }
}

} // namespace bench::literal
