// Every heap allocation fails once: the linker leads the library's malloc here.

#include <cstdlib>
#include <functional>

#include <gtest/gtest.h>

#include "quen/aes.h"
#include "quen/cms.h"
#include "quen/hash.h"
#include "quen/natives.h"
#include "support/captured_log.h"
#include "support/fake_jni.h"
#include "support/loaded_library.h"

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
                                              .aes_tables("k", test::sample(16)),
                                          "alloc", 1);
    }
    static void TearDownTestSuite() { delete loaded_; }

    static inline test::LoadedLibrary *loaded_;
};

TEST_F(Allocation, OfTheModeFunctions) {
    const struct {
        decltype(&aes_WBkit_encrypt_cfb) run;
        const char *line;
    } functions[] = {
        {aes_WBkit_encrypt_cfb, "ERR: malloc failed!"},     {aes_WBkit_decrypt_cfb, "ERR: malloc failed!"},
        {aes_WBkit_encrypt_ofb, "[error]: malloc failed!"}, {aes_WBkit_decrypt_ofb, "[error]: malloc failed!"},
        {aes_WBkit_encrypt_ctr, "[error]: malloc failed!"}, {aes_WBkit_decrypt_ctr, "[error]: malloc failed!"},
    };
    const Bytes in = test::sample(20);
    for (const auto &function : functions) {
        Bytes out(36, 0xee);
        int64_t out_len = -5;
        const auto lines = lines_of_failures([&] {
            const int32_t status =
                function.run(nullptr, in.data(), in.data(), in.size(), out.data(), &out_len, 0, "alloc", "k", 1);
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

TEST_F(Allocation, OfHmac) {
    Bytes mac(32, 0xee);
    const auto lines = lines_of_failures([&] {
        const int32_t status = hmac_sha256(kSk.data(), 2, kSk.data(), 2, mac.data());
        EXPECT_TRUE(status == 0 || (status == -100 && mac == Bytes(32, 0xee)));
        return status == 0;
    });
    EXPECT_EQ(lines, std::vector<Lines>{{error("ERR: hmac256 malloc failed.\n")}});
}

TEST_F(Allocation, OfPacking) {
    Bytes out(100, 0xee);
    const auto lines = lines_of_failures([&] {
        auto out_len = static_cast<int32_t>(out.size());
        const int32_t status = CMSEncrypted_Pack(17, 7, nullptr, 0, nullptr, 0, nullptr, 0, kSk.data(), 2, nullptr, 0,
                                                 out.data(), &out_len);
        EXPECT_TRUE(status == 0 || (status == -7 && out == Bytes(100, 0xee) && out_len == 100));
        return status == 0;
    });
    EXPECT_EQ(lines, std::vector<Lines>{{}});
}

TEST_F(Allocation, OfEncryptedKeys) {
    const auto lines = lines_of_failures([&] {
        uint8_t out[1024];
        uint8_t len;
        uint8_t iv[16];
        const int32_t status = get_ekey(nullptr, "alloc", "k", 1, out, &len, iv);
        EXPECT_TRUE(status == 0 || status == -92) << status;
        return status == 0;
    });
    EXPECT_EQ(lines, std::vector<Lines>{{error("ERR: get_ekey unpack fail:-20005\n")}});
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
    const Lines no_token{error("WARN: hash is not matched.\n"), refused[0]};
    const Lines no_memory{error("jni en_aes_ctr fail -100\n")};
    EXPECT_EQ(stream, (std::vector<Lines>{
                          no_memory,                                                          // the wbid
                          no_memory,                                                          // the key id
                          no_token,                                                           // the token's message
                          {error("ERR: hmac256 malloc failed.\n"), no_token[0], no_token[1]}, // and its MAC
                          no_memory,                                                          // the output
                          {error("[error]: malloc failed!"), no_memory[0]},                   // the engine
                      }));

    // The exported check, by itself.
    const auto check = lines_of_failures(
        [&] { return check_is_valid_call(token.data(), 32, token.data(), 0, message.data(), 5, 1) == 0; });
    EXPECT_EQ(check, (std::vector<Lines>{
                         {error("WARN: get appid fail\n")},
                         {no_token[0]},
                         {error("ERR: hmac256 malloc failed.\n"), no_token[0]},
                     }));

    const auto accessor = lines_of_failures([&] {
        FakeJni jni;
        return WBkit_get_appid(jni.env(), nullptr, jni.array("hash", token), jni.array("caller", "c"),
                               jni.array("wbid", "alloc"), 1) != nullptr;
    });
    const auto accessor_refused = error("get_appid: input args invalid");
    EXPECT_EQ(accessor, (std::vector<Lines>{
                            {error("jni get_appid fail -100\n")},
                            {no_token[0], accessor_refused},
                            {error("ERR: hmac256 malloc failed.\n"), no_token[0], accessor_refused},
                        }));

    const auto sk = lines_of_failures([&] {
        FakeJni jni;
        return WBkit_get_sk(jni.env(), nullptr, jni.array("ak", "ak"), jni.array("wbid", "alloc"), 1) != nullptr;
    });
    EXPECT_EQ(sk, std::vector<Lines>(2, {error("jni get_sk fail -100\n")}));

    // Its status is not examined: zeros come back.
    const auto mac = lines_of_failures([&] {
        FakeJni jni;
        const auto result =
            FakeJni::bytes(WBkit_hmac(jni.env(), nullptr, jni.array("message", "m"), jni.array("key", "k")));
        return result != Bytes(32);
    });
    EXPECT_EQ(mac, std::vector<Lines>{{error("ERR: hmac256 malloc failed.\n")}});
}

} // namespace
