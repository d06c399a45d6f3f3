// Every kernel of GHASH that this machine can run, and the exported function, beside the multiplication bit by bit.

#include <algorithm>

#include <fuzzer/FuzzedDataProvider.h>
#include <gtest/gtest.h>

#include "aes/ghash_kernel.h"
#include "bench/literal.h"
#include "quen/aes.h"
#include "support/byte_order.h"
#include "support/bytes.h"

namespace {

using test::Bytes;

// Whole blocks, and the one of lengths that ends a GCM message.
Bytes literal_ghash(const Bytes &h, Bytes &blocks) {
    Bytes sum(16);
    bench::literal::gcm_hash(h.data(), {h.data(), 0}, {blocks.data(), blocks.size()}, sum.data());
    Bytes lengths(16);
    wbkit::store_be64(&lengths[8], blocks.size() * 8);
    blocks.insert(blocks.end(), lengths.begin(), lengths.end());
    return sum;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzedDataProvider in(data, size);
    const auto blocks_len = 16 * in.ConsumeIntegralInRange<size_t>(0, 80);
    const auto piece = in.ConsumeIntegralInRange<size_t>(1, 80);
    Bytes h = in.ConsumeBytes<uint8_t>(16);
    h.resize(16);
    Bytes blocks = in.ConsumeRemainingBytes<uint8_t>();
    const Bytes filler = test::sample(blocks_len);
    blocks.reserve(blocks_len + 16); // so that it is never null
    blocks.resize(std::min(blocks.size(), blocks_len));
    blocks.insert(blocks.end(), filler.begin() + static_cast<ptrdiff_t>(blocks.size()), filler.end());
    const Bytes expected = literal_ghash(h, blocks);

    Bytes sum(16, 0xee);
    ghash(h.data(), blocks.data(), blocks.size(), sum.data());
    EXPECT_EQ(sum, expected);
    for (const wbkit::GhashRow &row : wbkit::ghash_kernels()) {
        if (!row.usable()) {
            continue;
        }
        wbkit::GhashState state;
        std::copy(h.begin(), h.end(), state.h);
        for (size_t at = 0; at < blocks.size(); at += 16 * piece) {
            const Bytes part(blocks.begin() + static_cast<ptrdiff_t>(at),
                             blocks.begin() + static_cast<ptrdiff_t>(std::min(blocks.size(), at + 16 * piece)));
            row.absorb(state, part.data(), part.size() / 16);
        }
        EXPECT_EQ(Bytes(state.y, state.y + 16), expected) << row.name;
    }
    return 0;
}
