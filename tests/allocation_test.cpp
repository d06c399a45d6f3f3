// Every heap allocation fails once: the linker leads the library's malloc here.

#include <algorithm>
#include <cstdlib>
#include <functional>

#include <gtest/gtest.h>

#include "natives_table.h"
#include "quen/cms.h"
#include "quen/hash.h"
#include "quen/natives.h"
#include "support/captured_log.h"
#include "support/fake_jni.h"
#include "support/loaded_library.h"
#include "support/mode_functions.h"

namespace {

// Allocations to let through before one fails; negative: none fails.
int until_failure = -1;
bool failed = false;

} // namespace

extern "C" void *__real_malloc(size_t size);
extern "C" void *__wrap_malloc(size_t size) {
    if (until_failure == 0) {
        failed = true;
    }
    return until_failure-- == 0 ? nullptr : __real_malloc(size);
}

namespace {

using test::Bytes;
using test::error;
using test::FakeJni;
using test::Lines;
using test::mode;
using test::TableSource;

// What a call says when its n-th allocation fails, n counted up until the call makes fewer.
std::vector<Lines> lines_of_failures(const std::function<bool()> &call) {
    std::vector<Lines> all;
    test::CapturedLog log;
    for (int n = 0;; ++n) {
        log.take();
        failed = false;
        until_failure = n;
        const bool succeeded = call();
        until_failure = -1;
        EXPECT_EQ(succeeded, !failed) << "allocation " << n;
        if (!failed) {
            return all;
        }
        all.push_back(log.take());
    }
}

const Bytes kSk = test::bytes_of("sk");

class EveryNative : public test::Natives {};

class Allocation : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        loaded_ = new test::LoadedLibrary(TableSource()
                                              .header("alloc", 1)
                                              .text("sk", "sk")
                                              .text("ak", "ak")
                                              .text("appid", "app")
                                              .slots("aes_keyids", {"k"})
                                              .slots("keys", {"2a0236624a0107" /* key "6b", content 07 */})
                                              .slots("sm4_keyids", {"s"})
                                              .aes_tables("k", test::sample(16))
                                              .sm4_table("s"),
                                          "alloc", 1);
    }
    static void TearDownTestSuite() { delete loaded_; }

    static inline test::LoadedLibrary *loaded_;
};

TEST_F(Allocation, OfTheModeFunctions) {
    const struct {
        test::ModeFunction run;
        const char *key_id;
        const char *line;
    } functions[] = {
        {mode<aes_WBkit_encrypt_cfb>, "k", "ERR: malloc failed!"},
        {mode<aes_WBkit_decrypt_cfb>, "k", "ERR: malloc failed!"},
        {mode<aes_WBkit_encrypt_ofb>, "k", "[error]: malloc failed!"},
        {mode<aes_WBkit_decrypt_ofb>, "k", "[error]: malloc failed!"},
        {mode<aes_WBkit_encrypt_ctr>, "k", "[error]: malloc failed!"},
        {mode<aes_WBkit_decrypt_ctr>, "k", "[error]: malloc failed!"},
        {mode<wbsm4_cfb_encrypt>, "s", "[error]: malloc faild!"},
        {mode<wbsm4_cfb_decrypt>, "s", "[error]: malloc faild!"},
        {mode<wbsm4_ofb_encrypt>, "s", "[error]: malloc faild!"},
        {mode<wbsm4_ofb_decrypt>, "s", "[error]: malloc faild!"},
        {mode<wbsm4_ctr_encrypt>, "s", "[error]: malloc failed!"},
        {mode<wbsm4_ctr_decrypt>, "s", "[error]: malloc failed!"},
    };
    const Bytes in = test::sample(20);
    for (const auto &function : functions) {
        Bytes out(36, 0xee);
        int64_t out_len = -5;
        const auto lines = lines_of_failures([&] {
            const int64_t status = function.run(nullptr, in.data(), in.data(), in.size(), out.data(), &out_len, 0,
                                                "alloc", function.key_id, 1);
            if (status != 0) {
                EXPECT_EQ(status, -100);
                EXPECT_EQ(out, Bytes(36, 0xee));
                EXPECT_EQ(out_len, -5);
            }
            return status == 0;
        });
        EXPECT_EQ(lines, std::vector<Lines>{{error(function.line)}});
    }
}

TEST_F(Allocation, OfEnvelopes) {
    const Bytes in = test::sample(20);
    Bytes out(300, 0xee);
    std::vector<int32_t> statuses;
    const auto note = [&](int32_t status) {
        EXPECT_TRUE(status == 0 || out == Bytes(300, 0xee));
        statuses.push_back(status);
        return status == 0;
    };
    const Lines not_packed{error("[error]: -7")};
    const auto stream = lines_of_failures([&] {
        int32_t out_len = 300;
        return note(aes_cms_WBkit_encrypt_ctr(nullptr, in.data(), in.data(), in.size(), 0, nullptr, 0, out.data(),
                                              &out_len, "alloc", "k", 1));
    });
    EXPECT_EQ(stream, (std::vector<Lines>{{}, {error("[error]: malloc failed!")}, not_packed}));
    EXPECT_EQ(statuses, (std::vector<int32_t>{-2, -100, -7, 0}));

    statuses.clear();
    out.assign(300, 0xee);
    const auto gcm = lines_of_failures([&] {
        int32_t out_len = 300;
        uint8_t tag[16];
        return note(aes_cms_WBkit_encrypt_gcm(nullptr, in.data(), 12, in.data(), in.size(), nullptr, 0, nullptr, 0, tag,
                                              16, out.data(), &out_len, "alloc", "k", 1));
    });
    EXPECT_EQ(gcm, (std::vector<Lines>{{}, not_packed}));
    EXPECT_EQ(statuses, (std::vector<int32_t>{-2, -7, 0}));
}

TEST_F(Allocation, OfSignatures) {
    std::vector<int32_t> statuses;
    auto lines = lines_of_failures([&] {
        Bytes mac(32, 0xee);
        uint32_t len = 0;
        statuses.push_back(signature(nullptr, kSk.data(), 2, "alloc", "k", 1, mac.data(), &len));
        EXPECT_EQ(statuses.back() != 0, mac == Bytes(32, 0xee));
        EXPECT_EQ(len, statuses.back() == 0 || statuses.back() == -100 ? 32U : 0U);
        return statuses.back() == 0;
    });
    // protobuf-c allocates too, which is seen where it is compiled in.
    lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
    statuses.erase(std::unique(statuses.begin(), statuses.end()), statuses.end());
    EXPECT_EQ(lines, (std::vector<Lines>{
                         {error("ERR: get_ekey unpack fail:-20005\n"), error("ERR: sig, get_ekey:-92\n")},
                         {error("ERR: malloc failed!"), error("ERR: sig, decrypt key fail. 100\n")},
                         {error("ERR: hmac256 malloc failed.\n")},
                     }));
    EXPECT_EQ(statuses, (std::vector<int32_t>{-1, -90, -100, 0}));
}

TEST_F(Allocation, OfNatives) {
    Bytes message = test::bytes_of("allocapp");
    Bytes token(32);
    hmac_sha256(message.data(), message.size(), kSk.data(), 2, token.data());
    const Bytes input = test::sample(20);
    const auto stream = lines_of_failures([&] {
        FakeJni jni;
        return WBkit_AES_CTR_encrypt(jni.env(), nullptr, jni.array("hash", token), jni.array("caller", "c"),
                                     jni.array("iv", Bytes(16)), jni.array("input", input), 0,
                                     jni.array("wbid", "alloc"), jni.array("keyid", "k"), 1) != nullptr;
    });
    const Lines refused{error("AES_CTR_EN: input args invalid")};
    const Lines no_token{error("ERR: hmac256 malloc failed.\n"), error("WARN: hash is not matched.\n"), refused[0]};
    const Lines no_memory{error("jni en_aes_ctr fail -100\n")};
    EXPECT_EQ(stream, (std::vector<Lines>{
                          no_memory,                                        // the wbid
                          no_memory,                                        // the key id
                          no_memory,                                        // the caller's name
                          no_token,                                         // the token's message
                          no_token,                                         // and its MAC
                          no_memory,                                        // the output
                          {error("[error]: malloc failed!"), no_memory[0]}, // the engine
                      }));

    // The exported check, by itself.
    const auto check = lines_of_failures(
        [&] { return check_is_valid_call(token.data(), 32, token.data(), 0, message.data(), 5, 1) == 0; });
    EXPECT_EQ(check, (std::vector<Lines>{
                         {error("WARN: get appid fail\n")},
                         {error("WARN: get appid fail\n")},
                         {no_token[0], no_token[1]},
                         {no_token[0], no_token[1]},
                     }));

    // Its status is not examined: zeros come back.
    const auto mac = lines_of_failures([&] {
        FakeJni jni;
        const auto result =
            FakeJni::bytes(WBkit_hmac(jni.env(), nullptr, jni.array("message", "m"), jni.array("key", "k")));
        return result != Bytes(32);
    });
    EXPECT_EQ(mac, std::vector<Lines>{{error("ERR: hmac256 malloc failed.\n")}});
}

// hmac answers zeros, which is not what it should; everything else refuses.
TEST_F(EveryNative, SurvivesEachFailingAllocation) {
    for (const test::NativeRow &row : test::natives()) {
        const test::Arguments good = test::good_arguments(row);
        const test::Answer expected = row.expected(good);
        int n = 0;
        do {
            failed = false;
            until_failure = n++;
            const test::Answer answer = row(jni_, good);
            until_failure = -1;
            EXPECT_EQ(answer == expected, !failed) << row.op << ", allocation " << n;
            EXPECT_EQ(log_.take().empty(), !failed) << row.op << ", allocation " << n;
        } while (failed);
    }
}

} // namespace
