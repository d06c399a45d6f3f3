// Every kernel of GHASH and SHA-256 against a plain one.

#include <gtest/gtest.h>

#include "aes/ghash_kernel.h"
#include "bench/literal.h"
#include "hash/sha256.h"
#include "hash/sha256_kernel.h"
#include "support/byte_order.h"
#include "support/fenced_bytes.h"

namespace {

using test::Bytes;
using test::FencedBytes;

// Whole blocks, the last of which says how many bits are before it.
Bytes plain_ghash(const Bytes &h, Bytes &blocks) {
    Bytes y(16);
    blocks.reserve(blocks.size() + 16); // so that it is never null
    bench::literal::gcm_hash(h.data(), {h.data(), 0}, {blocks.data(), blocks.size()}, y.data());
    Bytes lengths(16);
    wbkit::store_be64(&lengths[8], blocks.size() * 8);
    blocks.insert(blocks.end(), lengths.begin(), lengths.end());
    return y;
}

// One sum over pieces, as what a kernel makes of the subkey in one piece it uses in the next ones.
TEST(GhashKernels, AnySubkeyAndAnyPieces) {
    Bytes first_bit(16);
    first_bit[0] = 0x80;
    Bytes last_bit(16);
    last_bit[15] = 1;
    for (const Bytes &h : {test::sample(16), Bytes(16), Bytes(16, 0xff), first_bit, last_bit}) {
        for (size_t blocks = 0; blocks <= 260; blocks += blocks < 70 ? 1 : 19) {
            for (const size_t after : {0U, 1U, 3U, 8U, 37U}) {
                Bytes data = test::sample(16 * (after + blocks + after), static_cast<uint32_t>(blocks));
                const Bytes expected = plain_ghash(h, data);
                for (const wbkit::GhashRow &row : wbkit::ghash_kernels()) {
                    if (!row.usable()) {
                        continue;
                    }
                    wbkit::GhashState state;
                    std::copy(h.begin(), h.end(), state.h);
                    const uint8_t *piece = data.data();
                    for (const size_t count : {after, blocks, after + 1}) {
                        FencedBytes fenced(16 * count, FencedBytes::Fence::behind);
                        fenced.fill({piece, piece + 16 * count});
                        row.absorb(state, fenced.data(), count);
                        piece += 16 * count;
                    }
                    EXPECT_EQ(Bytes(state.y, state.y + 16), expected)
                        << row.name << ", " << blocks << " blocks between " << after;
                }
            }
        }
    }
}

TEST(Sha256Kernels, AnyChainingValue) {
    for (uint32_t blocks = 0; blocks <= 40; ++blocks) {
        FencedBytes data(blocks * wbkit::kSha256BlockSize, FencedBytes::Fence::behind);
        data.fill(test::sample(blocks * wbkit::kSha256BlockSize, blocks));
        uint32_t start[8];
        const Bytes chaining_value = test::sample(sizeof start, blocks + 100);
        memcpy(start, chaining_value.data(), sizeof start);
        const auto compressed = [&](wbkit::Sha256Kernel compress) {
            std::vector<uint32_t> state(std::begin(start), std::end(start));
            compress(state.data(), data.data(), blocks);
            return state;
        };
        for (const wbkit::Sha256Row &row : wbkit::sha256_kernels()) {
            if (row.usable()) {
                EXPECT_EQ(compressed(row.compress), compressed(wbkit::sha256_compress_portable))
                    << row.name << ", " << blocks << " blocks";
            }
        }
    }
}

} // namespace
