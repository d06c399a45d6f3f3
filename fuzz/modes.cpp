// CFB, OFB and CTR with every kernel of both ciphers that this machine can run, beside the definitions block by block.

#include <algorithm>
#include <span>

#include <fuzzer/FuzzedDataProvider.h>
#include <gtest/gtest.h>

#include "aes/block.h"
#include "bench/literal.h"
#include "fuzz/support/table_library.h"
#include "modes/stream.h"
#include "sm4/block.h"
#include "support/bytes.h"

namespace {

using test::Bytes;

struct Mode {
    wbkit::StreamMode run;
    bench::literal::Mode literal;
};
constexpr Mode kModes[] = {
    {wbkit::cfb_encrypt, bench::literal::cfb_encrypt},
    {wbkit::cfb_decrypt, bench::literal::cfb_decrypt},
    {wbkit::ofb_crypt, bench::literal::ofb_crypt},
    {wbkit::ctr_crypt, bench::literal::ctr_crypt},
};

struct Cipher {
    const char *key_id;
    std::span<const wbkit::KernelRow> (*kernels)();
    bench::literal::BlockFunction literal;
};
constexpr Cipher kCiphers[] = {
    {fuzz::kAesIds[0], wbkit::aes_kernels, bench::literal::aes_block},
    {fuzz::kAesIds[1], wbkit::aes_kernels, bench::literal::aes_block},
    {fuzz::kAesIds[2], wbkit::aes_kernels, bench::literal::aes_block},
    {fuzz::kSm4Id, wbkit::sm4_kernels, bench::literal::sm4_block},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzedDataProvider in(data, size);
    const Mode &mode = in.PickValueInArray(kModes);
    const Cipher &cipher = in.PickValueInArray(kCiphers);
    const auto len = in.ConsumeIntegralInRange<size_t>(0, in.ConsumeBool() ? 9000 : 300);
    const auto offset = in.ConsumeIntegralInRange<size_t>(0, 15); // from an aligned place
    Bytes iv = in.ConsumeBytes<uint8_t>(16);
    iv.resize(16, 0xff);
    Bytes text = test::sample(offset + len, in.ConsumeIntegral<uint8_t>());
    const Bytes start = in.ConsumeRemainingBytes<uint8_t>();
    std::copy_n(start.begin(), std::min(start.size(), text.size()), text.begin());

    const tb_entry key = get_tb_entry(nullptr, fuzz::kWbid, cipher.key_id, fuzz::kVersion);
    Bytes expected = text;
    mode.literal({cipher.literal, key}, iv.data(), text.data() + offset, expected.data() + offset, len);
    for (const wbkit::KernelRow &row : cipher.kernels()) {
        if (!row.usable()) {
            continue;
        }
        Bytes out = text;
        mode.run({key, row.encrypt}, iv.data(), text.data() + offset, out.data() + offset, len);
        EXPECT_EQ(out, expected) << row.name;
        out = text;
        mode.run({key, row.encrypt}, iv.data(), out.data() + offset, out.data() + offset, len);
        EXPECT_EQ(out, expected) << row.name << " in place";
    }
    return 0;
}
