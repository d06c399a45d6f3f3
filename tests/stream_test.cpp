#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/mode_functions.h"
#include "support/table_source.h"
#include "support/temp_dir.h"

namespace {

using test::Bytes;
using test::error;
using test::Lines;
using test::mode;
using test::ModeFunction;
using test::TableSource;

constexpr int32_t kVersion = 1;

struct Mode {
    ModeFunction encrypt;
    ModeFunction decrypt;
};

// What the modes of a cipher have in common.
struct Cipher {
    const char *name;
    const char *key_id;
    const char *bad_key;
    bool checks_arguments; // itself, before anything else, with a status of its own
    std::vector<Mode> modes;
};

const Cipher kCiphers[] = {
    {"Aes",
     "k",
     "eleven",
     false,
     {{mode<aes_WBkit_encrypt_cfb>, mode<aes_WBkit_decrypt_cfb>},
      {mode<aes_WBkit_encrypt_ofb>, mode<aes_WBkit_decrypt_ofb>},
      {mode<aes_WBkit_encrypt_ctr>, mode<aes_WBkit_decrypt_ctr>}}},
    {"Sm4",
     "s",
     "k",
     true,
     {{mode<wbsm4_cfb_encrypt>, mode<wbsm4_cfb_decrypt>},
      {mode<wbsm4_ofb_encrypt>, mode<wbsm4_ofb_decrypt>},
      {mode<wbsm4_ctr_encrypt>, mode<wbsm4_ctr_decrypt>}}},
};

std::ostream &operator<<(std::ostream &out, const Cipher &cipher) {
    return out << cipher.name;
}

struct Result {
    int64_t status;
    int64_t out_len;
    Bytes out;

    bool operator==(const Result &) const = default;
};

// What a refusal leaves: the status alone.
Result refused(int64_t status, size_t room) {
    return {status, -12345, Bytes(room, 0xee)};
}

class Stream : public testing::TestWithParam<Cipher> {
  protected:
    static void SetUpTestSuite() {
        dir_ = new test::TempDir;
        TableSource()
            .header("good", kVersion)
            .slots("aes_keyids", {"k", "eleven"})
            .slots("sm4_keyids", {"s"})
            .aes_tables("k", test::sample(16))
            .aes_tables("eleven", test::sample(32))
            .number("Nr_eleven", 11)
            .sm4_table("s")
            .build(dir_->path(), "good", kVersion);
    }
    static void TearDownTestSuite() { delete dir_; }

    static Result run(ModeFunction function, const Bytes &in, int32_t padding, uint64_t in_len,
                      const char *key_id = GetParam().key_id) {
        Result result = refused(0, in.size() + 16);
        result.status = function(dir_->string().c_str(), kIv.data(), in.data(), in_len, result.out.data(),
                                 &result.out_len, padding, "good", key_id, kVersion);
        return result;
    }
    static Bytes text_of(const Result &result) {
        EXPECT_EQ(result.status, 0);
        return Bytes(result.out.begin(), result.out.begin() + static_cast<ptrdiff_t>(result.out_len));
    }

    static inline test::TempDir *dir_;
    static inline const Bytes kIv = test::sample(16, 5);
    test::CapturedLog log_;
};

TEST_P(Stream, PaddedLengthsAndRoundTrips) {
    for (const Mode &each : GetParam().modes) {
        for (const size_t len : {1U, 5U, 15U, 16U, 17U, 32U, 1023U, 1024U, 1025U, 3000U}) {
            for (const int32_t padding : {0, 1, 2}) {
                const Bytes in = test::sample(len);
                const Bytes encrypted = text_of(run(each.encrypt, in, padding, len));
                EXPECT_EQ(encrypted.size(), padding == 0 ? len : len + 16 - len % 16);
                EXPECT_EQ(text_of(run(each.decrypt, encrypted, padding, encrypted.size())), in);
            }
        }
        if (!GetParam().checks_arguments) {
            EXPECT_EQ(text_of(run(each.encrypt, {}, 0, 0)), Bytes{});
            EXPECT_EQ(run(each.encrypt, {}, 1, 0).out_len, 16);
        }
    }
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_P(Stream, OutputMayBeTheInput) {
    for (const Mode &each : GetParam().modes) {
        for (const ModeFunction function : {each.encrypt, each.decrypt}) {
            Bytes buffer = test::sample(100);
            const Bytes expected = text_of(run(function, buffer, 0, buffer.size()));
            int64_t len = 0;
            EXPECT_EQ(function(dir_->string().c_str(), kIv.data(), buffer.data(), buffer.size(), buffer.data(), &len, 0,
                               "good", GetParam().key_id, kVersion),
                      0);
            EXPECT_EQ(buffer, expected);
        }
    }
}

TEST_P(Stream, UnpaddingFailuresStoreTheLength) {
    const struct {
        size_t len;
        uint8_t last;
        int32_t padding;
        int64_t status;
        int64_t out_len;
    } cases[] = {
        {16, 16, 1, -98, 0}, {32, 17, 2, -98, 15}, {3, 5, 1, -98, -2}, {32, 255, 1, -98, -223},
        {16, 4, 3, -1, 12},  {16, 4, -1, -1, 12},  {5, 9, 7, -1, -4},
    };
    for (const Mode &mode : GetParam().modes) {
        for (const auto &each : cases) {
            Bytes text = test::sample(each.len);
            text.back() = each.last;
            const Bytes encrypted = text_of(run(mode.encrypt, text, 0, text.size()));
            const Result stored{each.status, each.out_len, Bytes(each.len + 16, 0xee)};
            const bool refuses = GetParam().checks_arguments && each.status == -1;
            EXPECT_EQ(run(mode.decrypt, encrypted, each.padding, encrypted.size()),
                      refuses ? refused(-2, each.len + 16) : stored)
                << each.len << " bytes ending in " << int{each.last};
            EXPECT_EQ(log_.take(), each.status == -98 ? Lines{error("ERR: padding mode is error.\n")} : Lines{});
        }
    }
}

// In the order of the checks: each call is wrong in what is checked later, too.
TEST_P(Stream, Refusals) {
    const Bytes in = test::sample(16);
    const char *const bad_key = GetParam().bad_key;
    for (const Mode &each : GetParam().modes) {
        for (const ModeFunction function : {each.encrypt, each.decrypt}) {
            // A padded length that does not fit 31 bits: nothing is read.
            for (const uint64_t len : {uint64_t{0x7ffffff0}, uint64_t{INT32_MAX}, uint64_t{1} << 32, UINT64_MAX}) {
                EXPECT_EQ(run(function, in, 1, len, bad_key), refused(-70, 32)) << len;
                EXPECT_EQ(run(function, in, 1, len), refused(-100, 32)) << len;
                EXPECT_EQ(log_.take().size(), 2U) << len;
            }
        }
        if (!GetParam().checks_arguments) {
            for (const int32_t padding : {3, -1}) {
                EXPECT_EQ(run(each.encrypt, in, padding, 16, bad_key), refused(-70, 32));
                EXPECT_EQ(run(each.encrypt, in, padding, UINT64_MAX), refused(-1, 32));
            }
            EXPECT_EQ(run(each.decrypt, in, 1, 0, bad_key), refused(-70, 32));
            EXPECT_EQ(run(each.decrypt, in, 1, 0), refused(-1, 32));
            EXPECT_EQ(log_.take().size(), 3U) << "of the key alone";
            continue;
        }
        for (const ModeFunction function : {each.encrypt, each.decrypt}) {
            EXPECT_EQ(run(function, in, 3, 16, bad_key), refused(-2, 32));
            EXPECT_EQ(run(function, in, -1, 16, bad_key), refused(-2, 32));
            EXPECT_EQ(run(function, in, 0, 0, bad_key), refused(-2, 32));
            Bytes out(32, 0xee);
            int64_t out_len = -12345;
            for (const int null : {0, 1, 2}) {
                EXPECT_EQ(function(dir_->string().c_str(), null == 0 ? nullptr : kIv.data(),
                                   null == 1 ? nullptr : in.data(), 16, null == 2 ? nullptr : out.data(), &out_len, 0,
                                   "good", bad_key, kVersion),
                          -2);
            }
            EXPECT_EQ((Result{-2, out_len, out}), refused(-2, 32));
            EXPECT_EQ(log_.take(), Lines{});
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Ciphers, Stream, testing::ValuesIn(kCiphers),
                         [](const auto &each) { return each.param.name; });

} // namespace
