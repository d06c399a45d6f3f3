#include <gtest/gtest.h>

#include "quen/aes.h"
#include "support/captured_log.h"
#include "support/table_source.h"
#include "support/temp_dir.h"

namespace {

using test::Bytes;
using test::error;
using test::Lines;
using test::TableSource;

constexpr int32_t kVersion = 1;

struct Function {
    decltype(&aes_WBkit_encrypt_cfb) run;
    decltype(&aes_WBkit_encrypt_cfb) inverse;
    bool decrypts;
    const char *load_message;
    const char *no_memory;
};

const Function kFunctions[] = {
    {aes_WBkit_encrypt_cfb, aes_WBkit_decrypt_cfb, false, "ERR: en_aes_cfb load Nr bad\n", "ERR: malloc failed!"},
    {aes_WBkit_decrypt_cfb, aes_WBkit_encrypt_cfb, true, "ERR: de_aes_cfb, load Nr bad\n", "ERR: malloc failed!"},
    {aes_WBkit_encrypt_ofb, aes_WBkit_decrypt_ofb, false, "ERR: en_aes_ofb, load Nr bad\n", "[error]: malloc failed!"},
    {aes_WBkit_decrypt_ofb, aes_WBkit_encrypt_ofb, true, "ERR: de_aes_ofb, load Nr bad\n", "[error]: malloc failed!"},
    {aes_WBkit_encrypt_ctr, aes_WBkit_decrypt_ctr, false, "ERR: en_aes_ctr, load Nr bad\n", "[error]: malloc failed!"},
    {aes_WBkit_decrypt_ctr, aes_WBkit_encrypt_ctr, true, "ERR: de_aes_ctr, load Nr bad\n", "[error]: malloc failed!"},
};

struct Result {
    int32_t status;
    int64_t out_len;
    Bytes out;

    bool operator==(const Result &) const = default;
};

// What a refusal leaves: the status alone.
Result refused(int32_t status, size_t room) {
    return {status, -12345, Bytes(room, 0xee)};
}

class AesStream : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        dir_ = new test::TempDir;
        TableSource()
            .header("good", kVersion)
            .slots("aes_keyids", {"k"})
            .aes_tables("k", test::sample(16))
            .build(dir_->path(), "good", kVersion);
        TableSource()
            .header("bad", kVersion)
            .slots("aes_keyids", {"eleven", "noxor", "norounds", "nolast"})
            .slots("sm4_keyids", {"s"})
            .sm4_table("s")
            .aes_tables("eleven", test::sample(32))
            .number("Nr_eleven", 11)
            .aes_tables("noxor", test::sample(16))
            .without("Xor_noxor")
            .aes_tables("norounds", test::sample(24))
            .without("Tyboxes192_norounds")
            .aes_tables("nolast", test::sample(32))
            .without("TboxesLast_nolast")
            .build(dir_->path(), "bad", kVersion);
    }
    static void TearDownTestSuite() { delete dir_; }

    static Result run(decltype(Function::run) function, const Bytes &in, int32_t padding, uint64_t in_len,
                      const char *wbid = "good", const char *key_id = "k") {
        Result result = refused(0, in.size() + 16);
        result.status = function(dir_->string().c_str(), kIv.data(), in.data(), in_len, result.out.data(),
                                 &result.out_len, padding, wbid, key_id, kVersion);
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

TEST_F(AesStream, PaddedLengthsAndRoundTrips) {
    for (const Function &function : kFunctions) {
        if (function.decrypts) {
            continue;
        }
        for (const size_t len : {1U, 5U, 15U, 16U, 17U, 32U, 1023U, 1024U, 1025U, 3000U}) {
            for (const int32_t padding : {0, 1, 2}) {
                const Bytes in = test::sample(len);
                const Bytes encrypted = text_of(run(function.run, in, padding, len));
                EXPECT_EQ(encrypted.size(), padding == 0 ? len : len + 16 - len % 16);
                EXPECT_EQ(text_of(run(function.inverse, encrypted, padding, encrypted.size())), in);
            }
        }
        EXPECT_EQ(text_of(run(function.run, {}, 0, 0)), Bytes{});
        EXPECT_EQ(run(function.run, {}, 1, 0).out_len, 16);
    }
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(AesStream, OutputMayBeTheInput) {
    for (const Function &function : kFunctions) {
        Bytes buffer = test::sample(100);
        const Bytes expected = text_of(run(function.run, buffer, 0, buffer.size()));
        int64_t len = 0;
        EXPECT_EQ(function.run(dir_->string().c_str(), kIv.data(), buffer.data(), buffer.size(), buffer.data(), &len, 0,
                               "good", "k", kVersion),
                  0);
        EXPECT_EQ(buffer, expected);
    }
}

TEST_F(AesStream, UnpaddingFailuresStoreTheLength) {
    for (const Function &function : kFunctions) {
        if (!function.decrypts) {
            continue;
        }
        struct Case {
            size_t len;
            uint8_t last;
            int32_t padding;
            int32_t status;
            int64_t out_len;
        };
        const Case cases[] = {
            {16, 16, 1, -98, 0}, {32, 17, 2, -98, 15}, {3, 5, 1, -98, -2}, {32, 255, 1, -98, -223},
            {16, 4, 3, -1, 12},  {16, 4, -1, -1, 12},  {5, 9, 7, -1, -4},
        };
        for (const Case &each : cases) {
            Bytes text = test::sample(each.len);
            text.back() = each.last;
            const Bytes encrypted = text_of(run(function.inverse, text, 0, text.size()));
            log_.take();
            const Result expected{each.status, each.out_len, Bytes(each.len + 16, 0xee)};
            EXPECT_EQ(run(function.run, encrypted, each.padding, encrypted.size()), expected)
                << each.len << " bytes ending in " << int{each.last};
            EXPECT_EQ(log_.take(), each.status == -98 ? Lines{error("ERR: padding mode is error.\n")} : Lines{});
        }
    }
}

TEST_F(AesStream, RefusalsTouchNothing) {
    const Bytes in = test::sample(16);
    for (const Function &function : kFunctions) {
        // The key comes first, before anything else that is wrong.
        for (const char *key_id : {"eleven", "noxor", "norounds", "nolast", "s"}) {
            EXPECT_EQ(run(function.run, in, 9, UINT64_MAX, "bad", key_id), refused(-70, 32)) << key_id;
            EXPECT_EQ(log_.take(), Lines{error(function.load_message)}) << key_id;
        }
        EXPECT_EQ(run(function.run, in, 0, 16, "bad", "unknown"), refused(-70, 32));
        EXPECT_EQ(log_.take(), (Lines{error("load bad 1 err. alg not matched.\n"), error(function.load_message)}));
        EXPECT_EQ(run(function.run, in, 0, 16, nullptr, "k").status, -70);
        log_.take();

        if (function.decrypts) {
            EXPECT_EQ(run(function.run, in, 1, 0), refused(-1, 32));
        } else {
            EXPECT_EQ(run(function.run, in, 3, 16), refused(-1, 32));
            EXPECT_EQ(run(function.run, in, -1, 16), refused(-1, 32));
        }
        EXPECT_EQ(log_.take(), Lines{});
        // A padded length that does not fit 31 bits: nothing is read.
        for (const uint64_t len :
             {uint64_t{0x7ffffff0}, uint64_t{INT32_MAX}, uint64_t{UINT32_MAX}, uint64_t{1} << 32, UINT64_MAX}) {
            EXPECT_EQ(run(function.run, in, 1, len), refused(-100, 32)) << len;
            EXPECT_EQ(log_.take(), Lines{error(function.no_memory)}) << len;
        }
    }
}

} // namespace
