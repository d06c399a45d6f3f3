// GCM in both directions beside a plain one: GHASH bit by bit, the counter a byte at a time.

#include <algorithm>

#include <fuzzer/FuzzedDataProvider.h>
#include <gtest/gtest.h>

#include "fuzz/support/plain_gcm.h"
#include "fuzz/support/table_library.h"
#include "quen/aes.h"
#include "support/bytes.h"
#include "support/captured_log.h"
#include "support/forced_kernels.h"

using test::Bytes;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzedDataProvider in(data, size);
    const test::ForcedKernels kernels(in.PickValueInArray(test::kKernelSets));
    const char *const key_id = in.PickValueInArray(fuzz::kAesIds);
    const auto tag_len = in.ConsumeIntegralInRange<size_t>(0, 16);
    const Bytes iv = in.ConsumeBytes<uint8_t>(in.ConsumeBool() ? 12 : in.ConsumeIntegralInRange<size_t>(0, 200));
    const Bytes aad = in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange<size_t>(0, 200));
    const Bytes other_tag = in.ConsumeBool() ? in.ConsumeBytes<uint8_t>(16) : Bytes();
    const Bytes filler = test::sample(in.ConsumeIntegralInRange<size_t>(0, 9000));
    const auto shift = in.ConsumeIntegralInRange<size_t>(0, 40);
    Bytes text = in.ConsumeRemainingBytes<uint8_t>();
    text.insert(text.end(), filler.begin(), filler.end());
    const fuzz::Sealed sealed = fuzz::seal(get_tb_entry(nullptr, fuzz::kWbid, key_id, fuzz::kVersion), iv, aad, text);

    Bytes tag(16);
    Bytes out(text.size() + tag_len);
    int64_t out_len = 0;
    EXPECT_EQ(wb_aes_gcm_encrypt(nullptr, text.data(), text.size(), iv.data(), iv.size(), aad.data(), aad.size(),
                                 tag.data(), tag_len, out.data(), &out_len, fuzz::kWbid, key_id, fuzz::kVersion),
              0);
    Bytes expected = sealed.ciphertext;
    expected.insert(expected.end(), sealed.tag.begin(), sealed.tag.begin() + static_cast<ptrdiff_t>(tag_len));
    EXPECT_EQ(tag, sealed.tag);
    EXPECT_EQ(out, expected);

    if (other_tag.size() == 16) {
        tag = other_tag;
    }
    const bool right = std::equal(tag.begin(), tag.begin() + static_cast<ptrdiff_t>(tag_len), sealed.tag.begin());
    // Apart, and over each other with one or the other in front.
    const size_t from[] = {0, 0, shift};
    const size_t to[] = {out.size(), shift, 0};
    for (size_t i = 0; i < 3; ++i) {
        Bytes room(std::max(from[i] + out.size(), to[i] + text.size()), 0xee);
        std::copy(out.begin(), out.end(), room.begin() + static_cast<ptrdiff_t>(from[i]));
        uint8_t *const opened = room.data() + to[i];
        EXPECT_EQ(wb_aes_gcm_decrypt(nullptr, room.data() + from[i], out.size(), iv.data(), iv.size(), aad.data(),
                                     aad.size(), tag.data(), tag_len, opened, &out_len, fuzz::kWbid, key_id,
                                     fuzz::kVersion),
                  right ? 0 : -93);
        EXPECT_EQ(Bytes(opened, opened + text.size()), right ? text : Bytes(text.size()));
        EXPECT_EQ(out_len, static_cast<int64_t>(text.size()));
    }
    test::CapturedLog().take();
    return 0;
}
