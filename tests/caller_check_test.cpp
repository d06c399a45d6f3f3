#include <gtest/gtest.h>

#include "quen/hash.h"
#include "quen/natives.h"
#include "support/captured_log.h"
#include "support/loaded_library.h"

namespace {

using test::Bytes;
using test::error;
using test::Lines;
using test::LoadedLibrary;
using test::TableSource;

Bytes token_for(const std::string &message, const std::string &sk) {
    Bytes token(32);
    EXPECT_EQ(hmac_sha256(reinterpret_cast<const uint8_t *>(message.data()), message.size(),
                          reinterpret_cast<const uint8_t *>(sk.data()), static_cast<int32_t>(sk.size()), token.data()),
              0);
    return token;
}

int32_t check(const Bytes &token, const std::string &caller, const std::string &wbid, int32_t version = 1) {
    const Bytes caller_bytes = test::bytes_of(caller);
    const Bytes wbid_bytes = test::bytes_of(wbid);
    const uint8_t none = 0;
    return check_is_valid_call(token.data(), -1 /* ignored */, caller.empty() ? &none : caller_bytes.data(),
                               static_cast<int32_t>(caller.size()), wbid.empty() ? &none : wbid_bytes.data(),
                               static_cast<int32_t>(wbid.size()), version);
}

TableSource library(const std::string &wbid) {
    return TableSource().header(wbid, 1).text("sk", "the sk").text("appid", "the app");
}

class CallerCheck : public testing::Test {
  protected:
    test::CapturedLog log_;
};

TEST_F(CallerCheck, AdmitsNamesThatOccurInTheWhitelist) {
    const LoadedLibrary loaded(library("cc1").text("whitelist", "com.ab, com.cd"), "cc1", 1);
    const Bytes token = token_for("cc1the app", "the sk");
    for (const char *caller : {"com.ab", "com.cd", "com.a", "", ", ", "com.ab, com.cd"}) {
        EXPECT_EQ(check(token, caller, "cc1"), 0) << caller;
    }
    // As a text, a name ends at its first zero byte.
    EXPECT_EQ(check(token, std::string("com.ab\0junk", 11), "cc1"), 0);
    EXPECT_EQ(log_.take(), Lines{});
    for (const char *caller : {"com.abc", "COM.AB", "com.ab, com.cd,"}) {
        EXPECT_EQ(check(token, caller, "cc1"), -1) << caller;
        EXPECT_EQ(log_.take(), Lines{error("WARN: not in whitelist\n")});
    }
}

TEST_F(CallerCheck, WithoutWhitelistTheTokenIsEnough) {
    const LoadedLibrary none(library("cc2"), "cc2", 1);
    EXPECT_EQ(check(token_for("cc2the app", "the sk"), "anybody", "cc2"), 0);
    const LoadedLibrary empty(library("cc3").text("whitelist", ""), "cc3", 1);
    EXPECT_EQ(check(token_for("cc3the app", "the sk"), "anybody", "cc3"), 0);
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(CallerCheck, RefusesOtherTokens) {
    const LoadedLibrary loaded(library("cc4"), "cc4", 1);
    const Bytes token = token_for("cc4the app", "the sk");
    const Lines refused{error("WARN: hash is not matched.\n")};
    for (const size_t changed : {0U, 15U, 31U}) {
        Bytes other = token;
        other[changed] ^= 1;
        EXPECT_EQ(check(other, "a", "cc4"), -1);
        EXPECT_EQ(log_.take(), refused);
    }
    for (const Bytes &other : {token_for("the app", "the sk"), token_for("cc4the app", "other sk"), Bytes(32)}) {
        EXPECT_EQ(check(other, "a", "cc4"), -1);
        EXPECT_EQ(log_.take(), refused);
    }
    // The MAC covers the raw bytes of the wbid, the library's name ends at their zero byte.
    const std::string with_zero("cc4\0tail", 8);
    EXPECT_EQ(check(token, "a", with_zero), -1);
    EXPECT_EQ(log_.take(), refused);
    EXPECT_EQ(check(token_for(with_zero + "the app", "the sk"), "a", with_zero), 0);
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(CallerCheck, TextsOfAnyLengthAreReadInPlace) {
    const std::string appid(500, 'i');
    const std::string whitelist = std::string(20000, '.') + "com.last";
    const LoadedLibrary loaded(library("cc8").text("appid", appid).text("whitelist", whitelist), "cc8", 1);
    EXPECT_EQ(check(token_for("cc8" + appid, "the sk"), "com.last", "cc8"), 0);
    EXPECT_EQ(check(token_for("cc8" + appid, "the sk"), std::string(30000, '.'), "cc8"), -1);
    EXPECT_EQ(log_.take(), Lines{error("WARN: not in whitelist\n")});
}

TEST_F(CallerCheck, NullPointersAndNegativeLengthsAreRefusedSilently) {
    const uint8_t b[32] = {};
    EXPECT_EQ(check_is_valid_call(nullptr, 32, b, 1, b, 1, 1), -1);
    EXPECT_EQ(check_is_valid_call(b, 32, nullptr, 1, b, 1, 1), -1);
    EXPECT_EQ(check_is_valid_call(b, 32, b, -1, b, 1, 1), -1);
    EXPECT_EQ(check_is_valid_call(b, 32, b, 1, nullptr, 1, 1), -1);
    EXPECT_EQ(check_is_valid_call(b, 32, b, 1, b, INT32_MIN, 1), -1);
    EXPECT_EQ(log_.take(), Lines{});
}

} // namespace
