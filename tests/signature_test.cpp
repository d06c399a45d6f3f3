#include <gtest/gtest.h>

#include "quen/aes.h"
#include "quen/hash.h"
#include "support/captured_log.h"
#include "support/cms_message.h"
#include "support/table_source.h"
#include "support/temp_dir.h"

namespace {

using test::Bytes;
using test::bytes_of;
using test::error;
using test::Lines;
using test::Slots;
using test::TableSource;

constexpr int32_t kVersion = 1;
const Bytes kSigningKey = test::sample(32, 7);
const Bytes kIv = test::sample(16, 8);

struct Signed {
    int32_t status;
    Bytes mac;
    uint32_t mac_len;

    bool operator==(const Signed &) const = default;
};
const Bytes kUntouched(32, 0xee);

class Signature : public testing::Test {
  protected:
    static TableSource source(const std::string &wbid) {
        return TableSource()
            .header(wbid, kVersion)
            .slots("aes_keyids", {"k", "other"})
            .slots("sm4_keyids", {"sm"})
            .aes_tables("k", test::sample(16))
            .aes_tables("other", test::sample(32))
            .sm4_table("sm");
    }

    static void SetUpTestSuite() {
        dir_ = new test::TempDir;
        source("bare").build(dir_->path(), "bare", kVersion);
    }
    static void TearDownTestSuite() { delete dir_; }

    // The key in CFB under the key id "k".
    static Bytes encrypted(const Bytes &key, const Bytes &iv) {
        Bytes out(key.size());
        int64_t len = 0;
        EXPECT_EQ(aes_WBkit_encrypt_cfb(dir_->string().c_str(), iv.data(), key.data(), key.size(), out.data(), &len, 0,
                                        "bare", "k", kVersion),
                  0);
        return out;
    }

    static std::string entry(const std::string &key_id, const Bytes &content, const Bytes &iv) {
        return test::to_hex(
            test::pack_cms({17, 7, bytes_of(test::to_hex(bytes_of(key_id))), {}, {}, iv, content}).message);
    }

    // A table library of its own for these entries.
    std::string with_entries(const Slots &slots) {
        const std::string wbid =
            std::string(testing::UnitTest::GetInstance()->current_test_info()->name()) + std::to_string(++count_);
        source(wbid).slots("keys", slots).build(dir_->path(), wbid, kVersion);
        return wbid;
    }

    static Signed sign(const std::string &wbid, const char *key_id, const Bytes &message) {
        Signed result{0, kUntouched, 99};
        result.status = signature(dir_->string().c_str(), message.data(), message.size(), wbid.c_str(), key_id,
                                  kVersion, result.mac.data(), &result.mac_len);
        return result;
    }
    static int32_t check(const std::string &wbid, const char *key_id, const Bytes &mac, const Bytes &message) {
        return verify(dir_->string().c_str(), mac.data(), static_cast<int32_t>(mac.size()), message.data(),
                      message.size(), wbid.c_str(), key_id, kVersion);
    }

    static Bytes hmac(const Bytes &message, const Bytes &key) {
        Bytes mac(32);
        EXPECT_EQ(hmac_sha256(message.data(), message.size(), key.data(), static_cast<int32_t>(key.size()), mac.data()),
                  0);
        return mac;
    }

    static inline test::TempDir *dir_;
    int count_ = 0;
    test::CapturedLog log_;
};

TEST_F(Signature, IsTheMacUnderTheDecryptedKey) {
    Bytes longer = encrypted(kSigningKey, kIv);
    longer.resize(100, 0xab); // what follows 32 bytes does not count
    Bytes short_content = encrypted(kSigningKey, kIv);
    short_content.resize(20);
    Bytes zero_extended = short_content;
    zero_extended.resize(32);
    Bytes short_key(32);
    int64_t len = 0;
    aes_WBkit_decrypt_cfb(dir_->string().c_str(), kIv.data(), zero_extended.data(), 32, short_key.data(), &len, 0,
                          "bare", "k", kVersion);
    const struct {
        Slots slots;
        Bytes key;
    } cases[] = {
        {{entry("k", encrypted(kSigningKey, kIv), kIv)}, kSigningKey},
        {{{}, {}, entry("sm", Bytes(1024), {}), entry("k", longer, kIv)}, kSigningKey},
        {{entry("k", encrypted(kSigningKey, Bytes(16)), {})}, kSigningKey},                 // no IV: zeros
        {{entry("x", {1}, kIv), entry("k", encrypted(kSigningKey, kIv), {})}, kSigningKey}, // or an earlier entry's
        {{entry("k", short_content, kIv)}, short_key},
    };
    for (const auto &each : cases) {
        const std::string wbid = with_entries(each.slots);
        for (const Bytes &message : {Bytes{}, bytes_of("a message"), test::sample(5000)}) {
            EXPECT_EQ(sign(wbid, "k", message), (Signed{0, hmac(message, each.key), 32}));
            EXPECT_EQ(check(wbid, "k", hmac(message, each.key), message), 0);
        }
    }
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(Signature, VerifyTellsTheFirstDifference) {
    const std::string wbid = with_entries({entry("k", encrypted(kSigningKey, kIv), kIv)});
    const Bytes message = bytes_of("a message");
    const Bytes mac = hmac(message, kSigningKey);
    for (size_t i = 0; i < mac.size(); ++i) {
        for (const int change : {-1, 1}) {
            Bytes wrong = mac;
            wrong[i] = static_cast<uint8_t>(wrong[i] + change);
            // A later difference the other way does not count.
            if (i + 1 < mac.size()) {
                wrong[i + 1] = static_cast<uint8_t>(change > 0 ? 0 : 255);
            }
            const bool smaller = wrong[i] < mac[i];
            EXPECT_EQ(check(wbid, "k", wrong, message) < 0, smaller) << i;
            EXPECT_NE(check(wbid, "k", wrong, message), 0) << i;
        }
    }
    EXPECT_NE(check(wbid, "k", mac, bytes_of("another message")), 0);
    EXPECT_EQ(log_.take(), Lines{});
    for (const size_t size : {0U, 31U, 33U}) {
        Bytes other_size = mac;
        other_size.resize(size);
        EXPECT_EQ(check(wbid, "k", other_size, message), -1);
        EXPECT_EQ(log_.take(), Lines{error("ERR: verify fail, len don't match. " + std::to_string(size) + " 32\n")});
    }
}

TEST_F(Signature, OnlyTheWantedEntryHasAtMostHundredBytes) {
    const std::string wbid = with_entries({entry("k", Bytes(101), kIv), entry("other", {1}, kIv)});
    EXPECT_EQ(sign(wbid, "k", {1}), (Signed{-1, kUntouched, 99}));
    EXPECT_EQ(log_.take(), (Lines{error("ERR: get_ekey unpack fail:-20005\n"), error("ERR: sig, get_ekey:-92\n")}));
    EXPECT_EQ(sign(wbid, "other", {1}).status, 0);
}

} // namespace
