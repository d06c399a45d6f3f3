#include "hash/sha256.h"

#include <string.h>

#include <algorithm>
#include <iterator>

#include "hash/sha256_constants.h"
#include "hash/sha256_kernel.h"
#include "quen/hash.h"
#include "support/byte_order.h"
#include "support/kernel.h"
#include "support/secret.h"

using wbkit::kSha256BlockSize;
using wbkit::Sha256Kernel;

namespace {

// The block's last 8 bytes hold the message's length.
constexpr size_t kLengthAt = kSha256BlockSize - 8;

Sha256Kernel choose_kernel() {
    return wbkit::choose_row(wbkit::sha256_kernels()).compress;
}

// Adds bytes to the pending block and compresses it when it is full. Returns how many it took.
size_t fill_pending(sha256_ctx *ctx, Sha256Kernel compress, const uint8_t *data, uint64_t len) {
    const auto taken = static_cast<size_t>(std::min<uint64_t>(kSha256BlockSize - ctx->datalen, len));
    memcpy(ctx->data + ctx->datalen, data, taken);
    ctx->datalen += static_cast<uint32_t>(taken);
    if (ctx->datalen == kSha256BlockSize) {
        compress(ctx->state, ctx->data, 1);
        ctx->bitlen += 8 * kSha256BlockSize;
        ctx->datalen = 0;
    }
    return taken;
}

} // namespace

void sha256_init(sha256_ctx *ctx) {
    ctx->datalen = 0;
    ctx->bitlen = 0;
    memcpy(ctx->state, wbkit::kSha256Constants.initial, sizeof ctx->state);
}

void sha256_update(sha256_ctx *ctx, const uint8_t *data, uint64_t len) {
    if (len == 0) {
        return;
    }
    const Sha256Kernel compress = choose_kernel();
    if (ctx->datalen != 0) {
        const size_t taken = fill_pending(ctx, compress, data, len);
        data += taken;
        len -= taken;
    }
    const auto blocks = static_cast<size_t>(len / kSha256BlockSize);
    if (blocks != 0) {
        compress(ctx->state, data, blocks);
        ctx->bitlen += uint64_t{8} * kSha256BlockSize * blocks;
        data += blocks * kSha256BlockSize;
    }
    if (len % kSha256BlockSize != 0) {
        fill_pending(ctx, compress, data, len % kSha256BlockSize);
    }
}

void sha256_final(sha256_ctx *ctx, uint8_t hash[32]) {
    const Sha256Kernel compress = choose_kernel();
    size_t used = ctx->datalen;
    ctx->bitlen += uint64_t{8} * used;
    ctx->data[used++] = 0x80;
    if (used > kLengthAt) {
        memset(ctx->data + used, 0, kSha256BlockSize - used);
        compress(ctx->state, ctx->data, 1);
        used = 0;
    }
    memset(ctx->data + used, 0, kLengthAt - used);
    wbkit::store_be64(ctx->data + kLengthAt, ctx->bitlen);
    compress(ctx->state, ctx->data, 1);
    for (size_t i = 0; i < std::size(ctx->state); ++i) {
        wbkit::store_be32(hash + 4 * i, ctx->state[i]);
    }
    wbkit::wipe_stack<64>(); // without optimisation a call has its arguments there
}

void sha256_transform(sha256_ctx *ctx, const uint8_t block[64]) {
    choose_kernel()(ctx->state, block, 1);
}
