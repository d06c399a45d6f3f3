#include <gtest/gtest.h>

#include "quen/padding.h"
#include "support/bytes.h"
#include "support/captured_log.h"

namespace {

using test::Bytes;

using Pad = decltype(&PKCS5Padding);
using Unpad = decltype(&PKCS5unPadding);

constexpr Pad kPads[] = {PKCS5Padding, PKCS7Padding, ISO10126Padding};
constexpr Unpad kUnpads[] = {PKCS5unPadding, PKCS7unPadding, ISO10126unPadding};
constexpr uint8_t kUntouched = 0xee;

Bytes padded(Pad pad, const Bytes &in, size_t out_len) {
    Bytes out(std::max(in.size(), out_len) + 1, kUntouched);
    EXPECT_EQ(pad(in.data(), in.size(), out.data(), out_len), in.data());
    EXPECT_EQ(out.back(), kUntouched);
    out.pop_back();
    return out;
}

TEST(Padding, FillsUpToTheNextBlock) {
    for (const Pad pad : kPads) {
        for (const size_t len : {0U, 1U, 13U, 15U, 16U, 31U}) {
            const Bytes in = test::sample(len);
            const size_t count = 16 - len % 16;
            const Bytes out = padded(pad, in, len + count);
            EXPECT_EQ(Bytes(out.begin(), out.begin() + static_cast<ptrdiff_t>(len)), in);
            EXPECT_EQ(out.back(), count);
            if (pad != ISO10126Padding) {
                EXPECT_EQ(Bytes(out.begin() + static_cast<ptrdiff_t>(len), out.end()),
                          Bytes(count, static_cast<uint8_t>(count)));
            }
        }
    }
}

TEST(Padding, Iso10126FillerIsTheLibrarysRandomBytes) {
    srand(7);
    const Bytes expected = {static_cast<uint8_t>(rand()), static_cast<uint8_t>(rand()), 3};
    srand(7);
    const Bytes out = padded(ISO10126Padding, test::sample(13), 16);
    EXPECT_EQ(Bytes(out.begin() + 13, out.end()), expected);
}

TEST(Padding, LengthsThatLeaveNothingToFill) {
    const Bytes in = test::sample(8);
    EXPECT_EQ(padded(PKCS5Padding, in, 8), in);
    EXPECT_EQ(padded(PKCS5Padding, in, 3), in);
    EXPECT_EQ(padded(ISO10126Padding, in, 0), Bytes(8, kUntouched)) << "no room, nothing written";
    // The count is written whatever in_len is: here (3 - 8) mod 256.
    Bytes counted = in;
    counted[2] = 0xfb;
    EXPECT_EQ(padded(ISO10126Padding, in, 3), counted);
    EXPECT_EQ(padded(PKCS5Padding, {}, 300), Bytes(300, 44));

    Bytes copy(8);
    EXPECT_EQ(NoPadding(in.data(), in.size(), copy.data()), in.data());
    EXPECT_EQ(copy, in);
    EXPECT_EQ(NoPadding(nullptr, 0, nullptr), nullptr);
}

struct Unpadding {
    const char *name;
    size_t in_len;
    uint8_t last;
    int64_t out_len;
    int32_t status;
};

TEST(Padding, UnpaddingChecksTheCountAlone) {
    const Unpadding cases[] = {
        {"five of sixteen", 16, 5, 11, 0},          {"a count of zero removes nothing", 16, 0, 16, 0},
        {"a whole block of many", 32, 16, 16, 0},   {"nothing would remain", 16, 16, 0, -98},
        {"a count above a block", 32, 17, 15, -98}, {"a count above the input", 5, 7, -2, -98},
        {"more than there is", 16, 1, 17, -98},     {"no input", 0, 1, 0, -98},
    };
    for (const Unpadding &each : cases) {
        for (const Unpad unpad : kUnpads) {
            SCOPED_TRACE(each.name);
            Bytes in = test::sample(each.in_len);
            if (!in.empty()) {
                in.back() = each.last;
            }
            Bytes out(40, kUntouched);
            test::CapturedLog log;
            EXPECT_EQ(unpad(in.data(), in.size(), out.data(), each.out_len), each.status);
            if (each.status == 0) {
                in.resize(static_cast<size_t>(each.out_len));
                in.resize(out.size(), kUntouched);
                EXPECT_EQ(out, in);
                EXPECT_EQ(log.take(), test::Lines{});
            } else {
                EXPECT_EQ(out, Bytes(40, kUntouched));
                EXPECT_EQ(log.take(), test::Lines{test::error("ERR: padding mode is error.\n")});
            }
        }
    }
}

} // namespace
