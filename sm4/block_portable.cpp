// The SM4 block function (GB/T 32907-2016) as the tables define it. A block alone mostly waits for its own look-ups, so
// several go through the rounds side by side.

#include <bit>

#include "sm4/block.h"
#include "sm4/table_layout.h"
#include "support/byte_order.h"
#include "support/secret.h"

namespace wbkit {
namespace {

constexpr size_t kSideBySide = 4;

uint32_t substitute(const uint8_t *round_table, uint32_t word) {
    const auto look_up = [=](size_t lane) -> uint32_t {
        const uint32_t byte = word >> (24 - 8 * lane) & 0xff;
        return round_table[lane * kSm4LaneBytes + byte];
    };
    return (look_up(0) << 24 | look_up(1) << 16) | (look_up(2) << 8 | look_up(3));
}

uint32_t linear_transform(uint32_t b) {
    return b ^ std::rotl(b, 2) ^ std::rotl(b, 10) ^ std::rotl(b, 18) ^ std::rotl(b, 24);
}

// x is a ring of four words a block: after round i, word i mod 4 holds X_{i+4}.
template <size_t Blocks>
[[gnu::noinline]] void encrypt(const uint8_t *table, const uint8_t *in, uint8_t *out) {
    uint32_t x[Blocks][4];
    for (size_t block = 0; block < Blocks; ++block) {
        for (size_t i = 0; i < 4; ++i) {
            x[block][i] = load_be32(in + block * kBlockSize + 4 * i);
        }
    }
    for (size_t i = 0; i < kSm4Rounds; i += 4) {
#pragma GCC unroll 4
        for (size_t k = 0; k < 4; ++k) { // i mod 4, as a constant
            for (size_t block = 0; block < Blocks; ++block) {
                uint32_t *w = x[block];
                const uint32_t sum = w[(k + 1) % 4] ^ w[(k + 2) % 4] ^ w[(k + 3) % 4];
                w[k] ^= linear_transform(substitute(table + (i + k) * kSm4RoundBytes, sum));
            }
        }
    }
    for (size_t block = 0; block < Blocks; ++block) {
        for (size_t i = 0; i < 4; ++i) {
            store_be32(out + block * kBlockSize + 4 * i, x[block][3 - i]);
        }
    }
}

} // namespace

void sm4_encrypt_blocks_portable(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    constexpr size_t kBatchBytes = kSideBySide * kBlockSize;
    for (; blocks >= kSideBySide; blocks -= kSideBySide, in += kBatchBytes, out += kBatchBytes) {
        encrypt<kSideBySide>(key.table, in, out);
    }
    for (; blocks > 0; --blocks, in += kBlockSize, out += kBlockSize) {
        encrypt<1>(key.table, in, out);
    }
    wipe_stack();
}

} // namespace wbkit
