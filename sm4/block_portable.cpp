// The SM4 block function (GB/T 32907-2016) as the tables define it, one block at a time.

#include <bit>

#include "sm4/block.h"
#include "sm4/table_layout.h"
#include "support/byte_order.h"
#include "support/secret.h"

namespace wbkit {
namespace {

uint32_t substitute(const uint8_t *round_table, uint32_t word) {
    uint32_t result = 0;
    for (size_t lane = 0; lane < 4; ++lane) {
        const uint32_t byte = word >> (24 - 8 * lane) & 0xff;
        result = result << 8 | round_table[lane * kSm4LaneBytes + byte];
    }
    return result;
}

uint32_t linear_transform(uint32_t b) {
    return b ^ std::rotl(b, 2) ^ std::rotl(b, 10) ^ std::rotl(b, 18) ^ std::rotl(b, 24);
}

// `x` is room for a ring of four words: after round i, word i mod 4 holds X_{i+4}.
void encrypt_block(const uint8_t *table, const uint8_t *in, uint8_t *out, uint32_t *x) {
    for (size_t i = 0; i < 4; ++i) {
        x[i] = load_be32(in + 4 * i);
    }
    for (size_t i = 0; i < kSm4Rounds; ++i) {
        const uint32_t sum = x[(i + 1) % 4] ^ x[(i + 2) % 4] ^ x[(i + 3) % 4];
        x[i % 4] ^= linear_transform(substitute(table + i * kSm4RoundBytes, sum));
    }
    for (size_t i = 0; i < 4; ++i) {
        store_be32(out + 4 * i, x[3 - i]);
    }
}

[[gnu::noinline]] void encrypt_blocks(const uint8_t *table, const uint8_t *in, uint8_t *out, size_t blocks) {
    uint32_t x[4];
    for (size_t block = 0; block < blocks; ++block) {
        encrypt_block(table, in + block * kBlockSize, out + block * kBlockSize, x);
    }
}

} // namespace

void sm4_encrypt_blocks_portable(const tb_entry &key, const uint8_t *in, uint8_t *out, size_t blocks) {
    encrypt_blocks(key.table, in, out, blocks);
    wipe_stack();
}

} // namespace wbkit
