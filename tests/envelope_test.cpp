// Ciphertexts inside CMS messages, through the exported functions.

#include <algorithm>
#include <iterator>
#include <type_traits>

#include <gtest/gtest.h>

#include "quen/cms.h"
#include "support/captured_log.h"
#include "support/cms_message.h"
#include "support/mode_functions.h"
#include "support/table_source.h"
#include "support/temp_dir.h"

namespace {

using test::Bytes;
using test::CmsFields;
using test::error;
using test::Lines;
using test::mode;

constexpr int32_t kVersion = 3;

// The enveloped encryptions with one order of arguments.
using Seal = int32_t (*)(const char *dir, const uint8_t *iv, const Bytes &in, int32_t padding, const Bytes &carried,
                         uint8_t *out, int32_t *out_len, const char *wbid, const char *key_id);

template <auto Function>
int32_t seal(const char *dir, const uint8_t *iv, const Bytes &in, int32_t padding, const Bytes &carried, uint8_t *out,
             int32_t *out_len, const char *wbid, const char *key_id) {
    const auto carried_len = static_cast<int32_t>(carried.size());
    if constexpr (std::is_same_v<decltype(Function), decltype(&aes_cms_WBkit_encrypt_cfb)>) {
        return Function(dir, iv, in.data(), in.size(), padding, carried.data(), carried_len, out, out_len, wbid, key_id,
                        kVersion);
    } else {
        return Function(dir, in.data(), in.size(), carried.data(), carried_len, out, out_len, iv,
                        static_cast<uint32_t>(padding), wbid, key_id, kVersion);
    }
}

using Open = decltype(&aes_cms_WBkit_decrypt_cfb);

struct Row {
    Seal seal;
    Open open;
    test::ModeFunction mode;
    const char *key_id;
    int32_t cipheralg;
};

const Row kRows[] = {
    {seal<aes_cms_WBkit_encrypt_cfb>, aes_cms_WBkit_decrypt_cfb, mode<aes_WBkit_encrypt_cfb>, "k128", 17},
    {seal<aes_cms_WBkit_encrypt_ofb>, aes_cms_WBkit_decrypt_ofb, mode<aes_WBkit_encrypt_ofb>, "k192", 14},
    {seal<aes_cms_WBkit_encrypt_ctr>, aes_cms_WBkit_decrypt_ctr, mode<aes_WBkit_encrypt_ctr>, "k256", 11},
    {seal<wbsm4_cms_cfb_encrypt>, wbsm4_cms_cfb_decrypt, mode<wbsm4_cfb_encrypt>, "sm", 18},
    {seal<wbsm4_cms_ofb_encrypt>, wbsm4_cms_ofb_decrypt, mode<wbsm4_ofb_encrypt>, "sm", 19},
    {seal<wbsm4_cms_ctr_encrypt>, wbsm4_cms_ctr_decrypt, mode<wbsm4_ctr_encrypt>, "sm", 20},
};

struct Opened {
    int32_t status;
    Bytes text; // empty on failure

    bool operator==(const Opened &) const = default;
};

class EnvelopeTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        dir_ = new test::TempDir;
        test::TableSource()
            .header("cms", kVersion)
            .slots("aes_keyids", {"k128", "k192", "k256"})
            .slots("sm4_keyids", {"sm"})
            .aes_tables("k128", test::sample(16))
            .aes_tables("k192", test::sample(24))
            .aes_tables("k256", test::sample(32))
            .sm4_table("sm")
            .build(dir_->path(), "cms", kVersion);
    }
    static void TearDownTestSuite() { delete dir_; }
    static std::string dir() { return dir_->string(); }

    // Whatever the call makes of it, no byte behind the message's length is written.
    static Opened open(Open function, const Bytes &message, const char *key_id) {
        Bytes out(message.size() + 1, 0xee);
        int64_t out_len = 0;
        const int32_t status = function(dir().c_str(), message.data(), static_cast<int32_t>(message.size()), out.data(),
                                        &out_len, "cms", key_id, kVersion);
        EXPECT_EQ(out.back(), 0xee);
        out.resize(status == 0 ? static_cast<size_t>(out_len) : 0);
        return {status, out};
    }

    static Bytes sealed(const Row &row, const Bytes &in, int32_t padding, const Bytes &carried = {}) {
        Bytes out(in.size() + carried.size() + 160);
        auto out_len = static_cast<int32_t>(out.size());
        EXPECT_EQ(row.seal(dir().c_str(), kIv.data(), in, padding, carried, out.data(), &out_len, "cms", row.key_id),
                  0);
        out.resize(static_cast<size_t>(out_len));
        return out;
    }

    struct Gcm {
        Bytes iv = test::sample(12, 3);
        Bytes in = test::sample(20);
        Bytes aad = test::sample(7);
        Bytes carried = test::sample(5);
        Bytes tag = Bytes(16, 0xee);
        uint64_t tag_len = 16;
        const char *key_id = "k256";

        CmsFields seal(int32_t expected = 0) {
            Bytes out(in.size() + aad.size() + iv.size() + carried.size() + 208);
            auto out_len = static_cast<int32_t>(out.size());
            EXPECT_EQ(aes_cms_WBkit_encrypt_gcm(dir().c_str(), iv.data(), iv.size(), in.data(), in.size(), aad.data(),
                                                aad.size(), carried.data(), static_cast<int32_t>(carried.size()),
                                                tag.data(), tag_len, out.data(), &out_len, "cms", key_id, kVersion),
                      expected);
            if (expected != 0) {
                return {};
            }
            out.resize(static_cast<size_t>(out_len));
            const test::CmsUnpacked unpacked = test::unpack_cms(out);
            EXPECT_EQ(unpacked.status, 0);
            return unpacked.fields;
        }
    };

    static inline test::TempDir *dir_;
    static inline const Bytes kIv = test::sample(16, 9);
    test::CapturedLog log_;
};

TEST_F(EnvelopeTest, CarriesWhatItsDecryptionTakes) {
    for (const Row &row : kRows) {
        for (const int32_t padding : {0, 1, 2}) {
            const Bytes text = test::sample(20);
            // Longer than a block and than any buffer of fixed size.
            const Bytes carried = test::sample(padding == 0 ? 0 : 3000);
            const Bytes message = sealed(row, text, padding, carried);
            const CmsFields fields = test::unpack_cms(message).fields;
            EXPECT_EQ(fields.cipheralg, row.cipheralg);
            EXPECT_EQ(fields.padding, 7U + static_cast<uint32_t>(padding));
            EXPECT_EQ(fields.iv, kIv);
            EXPECT_EQ(fields.key, carried);
            EXPECT_EQ(fields.aad.size() + fields.tag.size(), 0U);
            EXPECT_EQ(fields.content.size(), padding == 0 ? 20U : 32U);
            if (padding != 2) {
                Bytes expected(36);
                int64_t len = 0;
                row.mode(dir().c_str(), kIv.data(), text.data(), text.size(), expected.data(), &len, padding, "cms",
                         row.key_id, kVersion);
                expected.resize(static_cast<size_t>(len));
                EXPECT_EQ(fields.content, expected);
            }
            EXPECT_EQ(open(row.open, message, row.key_id), (Opened{0, text}));
        }
    }
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(EnvelopeTest, ReportsWhatTheModeOrThePackerSays) {
    for (const Row &row : kRows) {
        const Bytes text = test::sample(20);
        Bytes out(200, 0xee);
        const Bytes untouched = out;
        const auto size = static_cast<int32_t>(sealed(row, text, 1).size());
        for (const int32_t capacity : {size, size - 1, 0}) {
            int32_t out_len = capacity;
            const bool fits = capacity == size;
            EXPECT_EQ(row.seal(dir().c_str(), kIv.data(), text, 1, {}, out.data(), &out_len, "cms", row.key_id),
                      fits ? 0 : -3);
            EXPECT_EQ(out_len, capacity);
            EXPECT_EQ(log_.take(), fits ? Lines{} : Lines{error("[error]: -3")});
            EXPECT_EQ(out == untouched, !fits);
            out = untouched;
        }
        int32_t out_len = 200;
        EXPECT_EQ(row.seal(dir().c_str(), kIv.data(), text, 3, {}, out.data(), &out_len, "cms", row.key_id),
                  row.cipheralg < 18 ? -1 : -2);
        EXPECT_EQ(log_.take(), Lines{});
        EXPECT_EQ(out, untouched);
    }
    // A text that no message can hold is refused before it is read.
    Bytes out(16);
    int32_t out_len = 16;
    EXPECT_EQ(aes_cms_WBkit_encrypt_ctr(dir().c_str(), kIv.data(), out.data(), UINT64_MAX, 0, nullptr, 0, out.data(),
                                        &out_len, "cms", "k256", kVersion),
              -100);
    EXPECT_EQ(log_.take(), Lines{error("[error]: malloc failed!")});
    EXPECT_EQ(aes_cms_WBkit_encrypt_ctr(dir().c_str(), kIv.data(), out.data(), 1, 0, nullptr, -1, out.data(), &out_len,
                                        "cms", "k256", kVersion),
              -2);
    EXPECT_EQ(log_.take(), Lines{error("[error]: -2")});
}

TEST_F(EnvelopeTest, GcmCarriesItsTagAndAdditionalData) {
    struct Case {
        Gcm gcm;
        int32_t cipheralg;
    };
    const Case cases[] = {
        {{.key_id = "k128"}, 17},
        {{.iv = test::sample(100), .aad = {}, .key_id = "k192"}, 14},
        {{.in = {}, .aad = test::sample(5000), .carried = test::sample(5000), .tag_len = 4}, 11},
    };
    for (const auto &[given, cipheralg] : cases) {
        Gcm gcm = given;
        CmsFields fields = gcm.seal();
        const Bytes tag(gcm.tag.begin(), gcm.tag.begin() + static_cast<ptrdiff_t>(gcm.tag_len));
        Bytes expected(gcm.in.size() + gcm.tag_len);
        Bytes full_tag(16);
        int64_t len = 0;
        EXPECT_EQ(wb_aes_gcm_encrypt(dir().c_str(), gcm.in.data(), gcm.in.size(), gcm.iv.data(), gcm.iv.size(),
                                     gcm.aad.data(), gcm.aad.size(), full_tag.data(), gcm.tag_len, expected.data(),
                                     &len, "cms", gcm.key_id, kVersion),
                  0);
        EXPECT_EQ(gcm.tag, full_tag);
        EXPECT_EQ(fields, (CmsFields{cipheralg, 7, gcm.carried, gcm.aad, tag, gcm.iv, expected}));

        const auto reopened = [&] {
            return open(aes_cms_WBkit_decrypt_gcm, test::pack_cms(fields).message, gcm.key_id);
        };
        fields.padding = 8; // not looked at
        EXPECT_EQ(reopened(), (Opened{0, gcm.in}));
        for (Bytes *part : {&fields.tag, &fields.iv, &fields.content, &fields.aad}) {
            // The tag behind the content is not looked at.
            if (part->empty() || (part == &fields.content && gcm.in.empty())) {
                continue;
            }
            part->front() ^= 1;
            EXPECT_EQ(reopened().status, -93);
            part->front() ^= 1;
        }
    }
    EXPECT_EQ(log_.take(), Lines{});
}

TEST_F(EnvelopeTest, WhatAMessageSaysOfItself) {
    const Bytes text = test::sample(20);
    for (const Row &row : kRows) {
        CmsFields fields = test::unpack_cms(sealed(row, text, 1)).fields;
        const auto reopened = [&] { return open(row.open, test::pack_cms(fields).message, row.key_id); };
        fields.cipheralg = 99;
        EXPECT_EQ(reopened().text, text) << "the number is not looked at";
        for (const uint32_t number : {0U, 1U, 7U, 10U, UINT32_MAX}) {
            fields.padding = number;
            EXPECT_EQ(reopened().text.size(), 32U) << "not unpadded for " << number;
        }
        fields.padding = 8;
        fields.iv.push_back(0xff);
        EXPECT_EQ(reopened().text, text) << "an iv is cut to a block";
        fields.tag = Bytes(17);
        EXPECT_EQ(reopened().status, -20005);
        EXPECT_EQ(log_.take(), Lines{error("[error]: -20005")});
        fields.tag = Bytes(16);
        EXPECT_EQ(reopened().text, text) << "a tag is of no account here";
        fields.padding = 7;
        fields.iv.resize(5);
        const Bytes short_iv_text = reopened().text;
        fields.iv.resize(16);
        EXPECT_EQ(reopened().text, short_iv_text) << "an iv is extended with zeros";
        fields.content = {};
        EXPECT_EQ(reopened().status, row.cipheralg < 18 ? -1 : -2);
        EXPECT_EQ(log_.take(), Lines{});
    }
}

TEST_F(EnvelopeTest, GcmNeedsATag) {
    Gcm long_tag{.tag_len = 17, .key_id = "nokey"};
    long_tag.seal(-1);
    Gcm gcm;
    CmsFields fields = gcm.seal();
    for (const size_t len : {0U, 3U, 17U}) {
        fields.tag.resize(len);
        // Before the key is looked for.
        EXPECT_EQ(open(aes_cms_WBkit_decrypt_gcm, test::pack_cms(fields).message, "nokey").status,
                  len == 17 ? -20005 : -93);
        EXPECT_EQ(log_.take(), len == 17 ? Lines{error("[error]: -20005")} : Lines{});
    }
    fields.tag = gcm.tag;
    fields.content.resize(15);
    EXPECT_EQ(open(aes_cms_WBkit_decrypt_gcm, test::pack_cms(fields).message, "k256").status, -93);
}

TEST_F(EnvelopeTest, NoMessageAtAll) {
    std::vector<Open> functions = {aes_cms_WBkit_decrypt_gcm};
    std::ranges::transform(kRows, std::back_inserter(functions), &Row::open);
    for (const Open function : functions) {
        int64_t out_len = 77;
        uint8_t out = 0;
        EXPECT_EQ(function(dir().c_str(), nullptr, 5, &out, &out_len, "cms", "k256", kVersion), -20005);
        EXPECT_EQ(function(dir().c_str(), &out, -1, &out, &out_len, "cms", "k256", kVersion), -20005);
        EXPECT_EQ(log_.take(), Lines(2, error("[error]: -20005")));
        EXPECT_EQ(out_len, 77);
    }
}

} // namespace
