// Padding of any lengths, and unpadding with any that a caller may have computed.

#include <algorithm>

#include <fuzzer/FuzzedDataProvider.h>
#include <gtest/gtest.h>

#include "quen/padding.h"
#include "support/bytes.h"
#include "support/captured_log.h"

namespace {

using test::Bytes;

// The text, as far as it is not cut, and filler behind it with the count at the end, or everywhere.
void pad(const Bytes &text, size_t out_len) {
    const auto count = static_cast<uint8_t>(out_len - text.size());
    Bytes expected = text;
    expected.resize(std::max(text.size(), out_len), count);
    for (const auto padding : {PKCS5Padding, PKCS7Padding}) {
        Bytes out(expected.size(), 0xee);
        padding(text.data(), text.size(), out.data(), out_len);
        EXPECT_EQ(out, expected);
    }
    Bytes out(expected.size(), 0xee);
    ISO10126Padding(text.data(), text.size(), out.data(), out_len);
    if (out_len == 0) {
        EXPECT_EQ(out, Bytes(text.size(), 0xee));
        return;
    }
    EXPECT_EQ(out[out_len - 1], count);
    out.resize(std::min(text.size(), out_len - 1));
    expected.resize(out.size());
    EXPECT_EQ(out, expected);
}

void unpad(const Bytes &padded, int64_t out_len) {
    const bool fits = out_len > 0 && out_len <= static_cast<int64_t>(padded.size()) && padded.back() <= 16;
    Bytes expected(padded.size(), 0xee);
    if (fits) {
        std::copy_n(padded.begin(), out_len, expected.begin());
    }
    for (const auto unpadding : {PKCS5unPadding, PKCS7unPadding, ISO10126unPadding}) {
        Bytes out(padded.size(), 0xee);
        EXPECT_EQ(unpadding(padded.data(), padded.size(), out.data(), out_len), fits ? 0 : -98);
        EXPECT_EQ(out, expected);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzedDataProvider in(data, size);
    const auto padded_len = in.ConsumeIntegralInRange<size_t>(0, 600);
    const auto any_len = in.ConsumeIntegral<int64_t>();
    const auto text = in.ConsumeRemainingBytes<uint8_t>();
    pad(text, padded_len);
    unpad(text, any_len);
    if (!text.empty()) {
        unpad(text, static_cast<int64_t>(text.size()) - text.back());
    }
    test::CapturedLog().take();
    return 0;
}
