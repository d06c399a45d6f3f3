// The natives in a recording environment: what they fetch, release and return, and what the log says.

#include <functional>

#include <gtest/gtest.h>

#include "quen/aes.h"
#include "quen/hash.h"
#include "quen/natives.h"
#include "support/captured_log.h"
#include "support/fake_jni.h"
#include "support/loaded_library.h"

namespace {

using test::Bytes;
using test::bytes_of;
using test::error;
using test::FakeJni;
using test::Lines;
using test::LoadedLibrary;
using test::TableSource;

using Calls = std::vector<std::string>;

const std::string kWbid = "natives";
const std::string kAppid = "com.example.app";
const std::string kSk = "sk of the library";
const std::string kCaller = "com.example.app.caller";
constexpr jint kVersion = 2;

Bytes token(const std::string &wbid = kWbid, const std::string &appid = kAppid) {
    const Bytes message = bytes_of(wbid + appid);
    const Bytes sk = bytes_of(kSk);
    Bytes mac(32);
    hmac_sha256(message.data(), message.size(), sk.data(), static_cast<int32_t>(sk.size()), mac.data());
    return mac;
}

TableSource library(const std::string &wbid) {
    return TableSource()
        .header(wbid, kVersion)
        .text("sk", kSk)
        .text("ak", "open")
        .text("appid", kAppid)
        .text("whitelist", "com.example.app.caller,com.example.other")
        .slots("aes_keyids", {"k"})
        .aes_tables("k", test::sample(32));
}

class Natives : public testing::Test {
  protected:
    static void SetUpTestSuite() { loaded_ = new LoadedLibrary(library(kWbid), kWbid, kVersion); }
    static void TearDownTestSuite() { delete loaded_; }

    static inline LoadedLibrary *loaded_;
    test::CapturedLog log_;
    FakeJni jni_;
};

struct StreamRow {
    decltype(&WBkit_AES_CFB_encrypt) native;
    decltype(&aes_WBkit_encrypt_cfb) engine;
    bool decrypts;
    std::string op;
    std::string tag; // empty: silent
};

const StreamRow kRows[] = {
    {WBkit_AES_CFB_encrypt, aes_WBkit_encrypt_cfb, false, "en_aes_cfb", ""},
    {WBkit_AES_CFB_decrypt, aes_WBkit_decrypt_cfb, true, "de_aes_cfb", "AES_CFB_DE"},
    {WBkit_AES_OFB_encrypt, aes_WBkit_encrypt_ofb, false, "en_aes_ofb", "AES_OFB_EN"},
    {WBkit_AES_OFB_decrypt, aes_WBkit_decrypt_ofb, true, "de_aes_ofb", "AES_OFB_DE"},
    {WBkit_AES_CTR_encrypt, aes_WBkit_encrypt_ctr, false, "en_aes_ctr", "AES_CTR_EN"},
    {WBkit_AES_CTR_decrypt, aes_WBkit_decrypt_ctr, true, "de_aes_ctr", "AES_CTR_DE"},
};

const Calls kStreamFetches = {"length input",  "elements input", "elements iv",    "elements wbid",
                              "length wbid",   "elements keyid", "length keyid",   "length hash",
                              "elements hash", "length caller",  "elements caller"};
const Calls kStreamReleases = {"release input", "release iv",   "release wbid",
                               "release keyid", "release hash", "release caller"};

template <typename List>
List operator+(List left, const List &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// The arguments of a stream native; a test changes one before the call.
struct StreamCall {
    jbyteArray hash, caller, iv, input;
    jint padding = 0;
    jbyteArray wbid, keyid;
    jint version = kVersion;

    explicit StreamCall(FakeJni &jni, const Bytes &text = test::sample(40))
        : hash(jni.array("hash", token())), caller(jni.array("caller", kCaller)),
          iv(jni.array("iv", test::sample(16, 9))), input(jni.array("input", text)), wbid(jni.array("wbid", kWbid)),
          keyid(jni.array("keyid", "k")) {}

    jbyteArray operator()(const StreamRow &row, FakeJni &jni) const {
        return row.native(jni.env(), nullptr, hash, caller, iv, input, padding, wbid, keyid, version);
    }
};

Bytes engine_result(const StreamRow &row, const Bytes &iv, const Bytes &in, int32_t padding) {
    Bytes out(in.size() + 16);
    int64_t len = 0;
    EXPECT_EQ(
        row.engine(nullptr, iv.data(), in.data(), in.size(), out.data(), &len, padding, kWbid.c_str(), "k", kVersion),
        0);
    out.resize(static_cast<size_t>(len));
    return out;
}

TEST_F(Natives, StreamRowsReturnTheEnginesOutput) {
    const Bytes iv = test::sample(16, 9);
    for (size_t i = 0; i < std::size(kRows); i += 2) {
        for (const jint padding : {0, 1, 2}) {
            const StreamRow &encrypt = kRows[i];
            const StreamRow &decrypt = kRows[i + 1];
            StreamCall call(jni_);
            call.padding = padding;
            const auto encrypted = FakeJni::bytes(call(encrypt, jni_));
            ASSERT_TRUE(encrypted) << encrypt.op;
            const std::string size = std::to_string(padding == 0 ? 40 : 48);
            EXPECT_EQ(jni_.take_calls(),
                      (kStreamFetches + Calls{"length iv", "new " + size, "region " + size} + kStreamReleases));
            if (padding != 2) {
                EXPECT_EQ(*encrypted, engine_result(encrypt, iv, test::sample(40), padding)) << encrypt.op;
            }
            call.input = jni_.array("input", *encrypted);
            EXPECT_EQ(FakeJni::bytes(call(decrypt, jni_)), test::sample(40)) << decrypt.op;
            jni_.take_calls();
        }
    }
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(Natives, StreamRowsRefuseBadArgumentsBeforeAnyFetch) {
    const std::function<void(StreamCall &)> spoilers[] = {
        [](StreamCall &c) { c.hash = nullptr; },      [](StreamCall &c) { c.caller = nullptr; },
        [](StreamCall &c) { c.iv = nullptr; },        [](StreamCall &c) { c.input = nullptr; },
        [](StreamCall &c) { c.wbid = nullptr; },      [](StreamCall &c) { c.keyid = nullptr; },
        [](StreamCall &c) { c.padding = 3; },         [](StreamCall &c) { c.padding = -1; },
        [](StreamCall &c) { c.padding = INT32_MIN; },
    };
    for (const StreamRow &row : kRows) {
        for (const auto &spoil : spoilers) {
            StreamCall call(jni_);
            spoil(call);
            EXPECT_EQ(call(row, jni_), nullptr);
            EXPECT_EQ(jni_.take_calls(), Calls{});
            EXPECT_EQ(log_.take(), Lines{error(row.op + ", params is not invalid.\n")});
        }
    }
}

Lines invalid_args(const StreamRow &row) {
    return row.tag.empty() ? Lines{} : Lines{error(row.tag + ": input args invalid")};
}

TEST_F(Natives, StreamRowsReleaseWhatTheyFetched) {
    for (const StreamRow &row : kRows) {
        for (const char *missing : {"input", "iv", "wbid", "keyid", "hash", "caller"}) {
            jni_.no_elements = {missing};
            EXPECT_EQ(StreamCall(jni_)(row, jni_), nullptr);
            Calls releases = kStreamReleases;
            std::erase(releases, std::string("release ") + missing);
            EXPECT_EQ(jni_.take_calls(), kStreamFetches + releases);
            EXPECT_EQ(log_.take(), invalid_args(row));
        }
        jni_.no_elements = {};
    }
}

TEST_F(Natives, StreamRowsRefuseCallersWithoutAuthorisation) {
    for (const StreamRow &row : kRows) {
        jni_.take_calls();
        StreamCall wrong_token(jni_);
        wrong_token.hash = jni_.array("hash", Bytes(32));
        EXPECT_EQ(wrong_token(row, jni_), nullptr);
        EXPECT_EQ(jni_.take_calls(), kStreamFetches + kStreamReleases);
        EXPECT_EQ(log_.take(), Lines{error("WARN: hash is not matched.\n")} + invalid_args(row));

        StreamCall stranger(jni_);
        stranger.caller = jni_.array("caller", "com.stranger");
        EXPECT_EQ(stranger(row, jni_), nullptr);
        EXPECT_EQ(log_.take(), Lines{error("WARN: not in whitelist\n")} + invalid_args(row));

        // A short token is extended with zeros and compared in full.
        StreamCall short_token(jni_);
        Bytes first_half = token();
        first_half.resize(16);
        short_token.hash = jni_.array("hash", first_half);
        EXPECT_EQ(short_token(row, jni_), nullptr);
        EXPECT_EQ(log_.take(), Lines{error("WARN: hash is not matched.\n")} + invalid_args(row));
        StreamCall empty(jni_);
        empty.hash = jni_.array("hash", Bytes{});
        EXPECT_EQ(empty(row, jni_), nullptr);
        log_.take();
    }
}

TEST_F(Natives, StreamRowsReportTheEnginesStatus) {
    for (const StreamRow &row : kRows) {
        jni_.take_calls();
        StreamCall unknown_key(jni_);
        unknown_key.keyid = jni_.array("keyid", "nokey");
        EXPECT_EQ(unknown_key(row, jni_), nullptr);
        EXPECT_EQ(jni_.take_calls(), kStreamFetches + Calls{"length iv"} + kStreamReleases);
        const std::string comma = row.op == "en_aes_cfb" ? "" : ",";
        EXPECT_EQ(log_.take(), (Lines{error("load natives 2 err. alg not matched.\n"),
                                      error("ERR: " + row.op + comma + " load Nr natives\n"),
                                      error("jni " + row.op + " fail -70\n")}));
        StreamCall empty(jni_, Bytes{});
        const auto result = FakeJni::bytes(empty(row, jni_));
        if (row.decrypts) {
            EXPECT_FALSE(result);
            EXPECT_EQ(log_.take(), Lines{error("jni " + row.op + " fail -1\n")});
            // One block of nothing but padding cannot be told from none.
            StreamCall padding_only(jni_,
                                    engine_result(kRows[&row - kRows - 1], test::sample(16, 9), Bytes(16, 16), 0));
            padding_only.padding = 1;
            EXPECT_EQ(padding_only(row, jni_), nullptr);
            EXPECT_EQ(log_.take(),
                      (Lines{error("ERR: padding mode is error.\n"), error("jni " + row.op + " fail -98\n")}));
        } else {
            EXPECT_EQ(result, Bytes{});
            EXPECT_EQ(log_.take(), Lines{});
        }
    }
}

TEST_F(Natives, StreamRowsWithoutANewArrayReturnNull) {
    jni_.no_new_array = true;
    for (const StreamRow &row : kRows) {
        EXPECT_EQ(StreamCall(jni_)(row, jni_), nullptr);
        EXPECT_EQ(jni_.take_calls(), (kStreamFetches + Calls{"length iv", "new 40"} + kStreamReleases));
        EXPECT_EQ(log_.take(), Lines{});
    }
}

TEST_F(Natives, ShortIvIsExtendedAndALongOneCut) {
    Bytes zero_extended(16);
    std::copy_n(test::sample(16, 9).begin(), 5, zero_extended.begin());
    for (const StreamRow &row : kRows) {
        StreamCall call(jni_);
        call.iv = jni_.array("iv", Bytes(zero_extended.begin(), zero_extended.begin() + 5));
        EXPECT_EQ(FakeJni::bytes(call(row, jni_)), engine_result(row, zero_extended, test::sample(40), 0));
        call.iv = jni_.array("iv", test::sample(20, 9));
        EXPECT_EQ(FakeJni::bytes(call(row, jni_)), engine_result(row, test::sample(16, 9), test::sample(40), 0));
    }
}

TEST_F(Natives, TextsAreTakenAsTheyCome) {
    StreamCall odd_texts(jni_);
    odd_texts.wbid = jni_.array("wbid", std::string(5000, 'w'));
    EXPECT_EQ(odd_texts(kRows[1], jni_), nullptr);
    EXPECT_EQ(log_.take(), (Lines{error("open error:path too long\n"), error("WARN: get appid fail\n"),
                                  error("AES_CFB_DE: input args invalid")}));
    // A key id ends at its zero byte.
    StreamCall with_zero(jni_);
    with_zero.keyid = jni_.array("keyid", std::string("k\0x", 3));
    EXPECT_NE(with_zero(kRows[0], jni_), nullptr);
    EXPECT_EQ(log_.take(), Lines{});
}

struct AccessorRow {
    decltype(&WBkit_get_keyids) native;
    std::string text;
    std::string op;
    std::string tag;
    std::string symbol;
    size_t room;
};

const AccessorRow kAccessors[] = {
    {WBkit_get_keyids, "k,", "get_keyids", "WBkit_get_keyids", "", 212},
    {WBkit_get_whitelist, "com.example.app.caller,com.example.other", "get_whitelist", "get_whitelist", "whitelist",
     10000},
    {WBkit_get_appid, kAppid, "get_appid", "get_appid", "appid", 100},
};

const Calls kAccessorFetches = {"elements wbid", "length wbid",   "length hash",
                                "elements hash", "length caller", "elements caller"};
const Calls kAccessorReleases = {"release wbid", "release hash", "release caller"};

TEST_F(Natives, AccessorsReturnTheirText) {
    for (const AccessorRow &row : kAccessors) {
        const auto hash = jni_.array("hash", token());
        const auto caller = jni_.array("caller", kCaller);
        const auto wbid = jni_.array("wbid", kWbid);
        const std::string size = std::to_string(row.text.size());
        EXPECT_EQ(FakeJni::bytes(row.native(jni_.env(), nullptr, hash, caller, wbid, kVersion)), bytes_of(row.text));
        EXPECT_EQ(jni_.take_calls(), (kAccessorFetches + Calls{"new " + size, "region " + size} + kAccessorReleases));
        EXPECT_EQ(log_.take(), Lines{});

        EXPECT_EQ(row.native(jni_.env(), nullptr, nullptr, caller, wbid, kVersion), nullptr);
        EXPECT_EQ(row.native(jni_.env(), nullptr, hash, nullptr, wbid, kVersion), nullptr);
        EXPECT_EQ(row.native(jni_.env(), nullptr, hash, caller, nullptr, kVersion), nullptr);
        EXPECT_EQ(jni_.take_calls(), Calls{});
        EXPECT_EQ(log_.take(), Lines(3, error(row.op + ", params is not invalid.\n")));

        for (const char *missing : {"wbid", "hash", "caller"}) {
            jni_.no_elements = {missing};
            EXPECT_EQ(row.native(jni_.env(), nullptr, hash, caller, wbid, kVersion), nullptr);
            Calls releases = kAccessorReleases;
            std::erase(releases, std::string("release ") + missing);
            EXPECT_EQ(jni_.take_calls(), kAccessorFetches + releases);
            EXPECT_EQ(log_.take(), Lines{error(row.tag + ": input args invalid")});
        }
        jni_.no_elements = {};
        EXPECT_EQ(row.native(jni_.env(), nullptr, jni_.array("hash", Bytes(32)), caller, wbid, kVersion), nullptr);
        EXPECT_EQ(log_.take(), (Lines{error("WARN: hash is not matched.\n"), error(row.tag + ": input args invalid")}));
        jni_.take_calls();
    }
}

TEST_F(Natives, AccessorsMeasureTheirText) {
    int count = 0;
    for (const AccessorRow &row : kAccessors) {
        // The key-id list is bounded by its record, below its room.
        if (row.symbol.empty()) {
            continue;
        }
        for (const size_t size : {row.room, row.room + 1}) {
            const std::string wbid = "room" + std::to_string(++count);
            const std::string text(size, 'c');
            const std::string appid = row.symbol == "appid" ? text : kAppid;
            const LoadedLibrary loaded(library(wbid).text(row.symbol, text), wbid, kVersion);
            const auto result =
                FakeJni::bytes(row.native(jni_.env(), nullptr, jni_.array("hash", token(wbid, appid)),
                                          jni_.array("caller", "c"), jni_.array("wbid", wbid), kVersion));
            if (size == row.room) {
                EXPECT_EQ(result, bytes_of(text));
                EXPECT_EQ(log_.take(), Lines{});
            } else {
                EXPECT_FALSE(result);
                EXPECT_EQ(log_.take(), Lines{error("jni " + row.op + " fail -1\n")});
            }
        }
    }
    // No whitelist: everybody is admitted, and nothing can be returned.
    const LoadedLibrary loaded(library("nolist").without("whitelist"), "nolist", kVersion);
    EXPECT_EQ(WBkit_get_whitelist(jni_.env(), nullptr, jni_.array("hash", token("nolist")), jni_.array("caller", "x"),
                                  jni_.array("wbid", "nolist"), kVersion),
              nullptr);
    EXPECT_EQ(log_.take(), Lines{error("jni get_whitelist fail -1\n")});
}

TEST_F(Natives, SkForItsAk) {
    const auto wbid = jni_.array("wbid", kWbid);
    const auto ask = [&](const std::string &ak) {
        return FakeJni::bytes(WBkit_get_sk(jni_.env(), nullptr, jni_.array("ak", ak), wbid, kVersion));
    };
    EXPECT_EQ(ask("open"), bytes_of(kSk));
    const std::string size = std::to_string(kSk.size());
    EXPECT_EQ(jni_.take_calls(), (Calls{"elements wbid", "length wbid", "elements ak", "length ak", "new " + size,
                                        "region " + size, "release wbid", "release ak"}));
    EXPECT_EQ(ask("open and more"), bytes_of(kSk));
    EXPECT_EQ(log_.take(), Lines{});
    for (const char *wrong : {"ope", "shut", ""}) {
        EXPECT_FALSE(ask(wrong));
        EXPECT_EQ(log_.take(), (Lines{error("ERR: ak not matched."), error("jni get_sk fail -1\n")}));
    }
    EXPECT_EQ(WBkit_get_sk(jni_.env(), nullptr, jni_.array("ak", "open"), wbid, 99), nullptr);
    EXPECT_EQ(log_.take().size(), 3U) << "open error, inner ak, failure line";
    jni_.take_calls();

    EXPECT_EQ(WBkit_get_sk(jni_.env(), nullptr, nullptr, wbid, kVersion), nullptr);
    EXPECT_EQ(WBkit_get_sk(jni_.env(), nullptr, wbid, nullptr, kVersion), nullptr);
    EXPECT_EQ(jni_.take_calls(), Calls{});
    EXPECT_EQ(log_.take(), Lines(2, error("get_sk, params is not invalid.\n")));
    jni_.no_elements = {"ak"};
    EXPECT_FALSE(ask("open"));
    EXPECT_EQ(jni_.take_calls(), (Calls{"elements wbid", "length wbid", "elements ak", "length ak", "release wbid"}));
    EXPECT_EQ(log_.take(), Lines{error("WBkit_get_sk: input args invalid")});

    jni_.no_elements = {};
    for (const size_t length : {100U, 101U}) {
        const std::string name = "sk" + std::to_string(length);
        const LoadedLibrary loaded(library(name).text("sk", std::string(length, 's')), name, kVersion);
        const auto sk = FakeJni::bytes(
            WBkit_get_sk(jni_.env(), nullptr, jni_.array("ak", "open"), jni_.array("wbid", name), kVersion));
        EXPECT_EQ(sk.has_value(), length == 100);
        EXPECT_EQ(log_.take(), length == 100 ? Lines{} : Lines{error("jni get_sk fail -1\n")});
    }
}

TEST_F(Natives, HmacOfAnything) {
    const auto mac = [&](const Bytes &message, const Bytes &key) {
        return FakeJni::bytes(WBkit_hmac(jni_.env(), nullptr, jni_.array("message", message), jni_.array("key", key)));
    };
    EXPECT_EQ(mac(bytes_of(kWbid + kAppid), bytes_of(kSk)), token());
    EXPECT_EQ(jni_.take_calls(), (Calls{"elements message", "length message", "elements key", "length key", "new 32",
                                        "region 32", "release message", "release key"}));
    // RFC 2104's MAC of nothing under no key.
    EXPECT_EQ(mac({}, {}), test::from_hex("b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad"));
    EXPECT_EQ(WBkit_hmac(jni_.env(), nullptr, nullptr, jni_.array("key", "k")), nullptr);
    EXPECT_EQ(WBkit_hmac(jni_.env(), nullptr, jni_.array("message", "m"), nullptr), nullptr);
    EXPECT_EQ(log_.take(), Lines(2, error("hmac, params is not invalid.\n")));
    jni_.take_calls();
    jni_.no_elements = {"message"};
    EXPECT_FALSE(mac({1}, {2}));
    EXPECT_EQ(jni_.take_calls(),
              (Calls{"elements message", "length message", "elements key", "length key", "release key"}));
    EXPECT_EQ(log_.take(), Lines{error("hmac: input args invalid")});
}

} // namespace
