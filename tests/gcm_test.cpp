// GCM: its arithmetic, its refusals, and where it leaves the standard. The vectors stand in gcm_vectors_test.cpp.

#include <openssl/evp.h>

#include <algorithm>
#include <memory>

#include <gtest/gtest.h>

#include "quen/aes.h"
#include "support/captured_log.h"
#include "support/table_source.h"
#include "support/temp_dir.h"

namespace {

using test::Bytes;
using test::error;
using test::from_hex;
using test::Lines;
using test::TableSource;

constexpr uint64_t kPartTooLong = (uint64_t{1} << 36) + 1;
constexpr uint64_t kTextTooLong = 0x7ffffff0;

Bytes plus(Bytes a, const Bytes &b) {
    xor_block(a.data(), b.data());
    return a;
}

Bytes times(const Bytes &a, const Bytes &b) {
    Bytes product(16, 0xee);
    gf_mult(a.data(), b.data(), product.data());
    return product;
}

Bytes joined(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes first(Bytes bytes, size_t count) {
    bytes.resize(count);
    return bytes;
}

const Bytes kOne = from_hex("80000000000000000000000000000000");

// a to the power of 2^128 - 2.
Bytes inverse(const Bytes &a) {
    Bytes result = kOne;
    Bytes square = a;
    for (int i = 1; i < 128; ++i) {
        square = times(square, square);
        result = times(result, square);
    }
    return result;
}

TEST(GcmArithmetic, IsThatOfAField) {
    for (uint32_t seed = 0; seed < 50; ++seed) {
        const Bytes a = test::sample(16, 3 * seed);
        const Bytes b = test::sample(16, 3 * seed + 1);
        const Bytes c = test::sample(16, 3 * seed + 2);
        EXPECT_EQ(times(kOne, a), a);
        EXPECT_EQ(times(a, Bytes(16)), Bytes(16));
        EXPECT_EQ(times(a, b), times(b, a));
        EXPECT_EQ(times(a, plus(b, c)), plus(times(a, b), times(a, c)));
        EXPECT_EQ(times(a, inverse(a)), kOne);
        Bytes z = a;
        gf_mult(z.data(), b.data(), z.data());
        EXPECT_EQ(z, times(a, b));
        z = b;
        gf_mult(a.data(), z.data(), z.data());
        EXPECT_EQ(z, times(a, b));
        z = a;
        gf_mult(z.data(), z.data(), z.data());
        EXPECT_EQ(z, times(a, a));
    }
}

TEST(GcmArithmetic, ShiftsBlocks) {
    Bytes v = from_hex("ff01ff8001020305050607088000ffff");
    shift_right_block(v.data());
    EXPECT_EQ(v, from_hex("7f80ffc0008101828283038440007fff"));
}

TEST(GcmArithmetic, GhashPadsWithZerosAndStartsFromZero) {
    const Bytes h = test::sample(16, 7);
    for (size_t len = 0; len <= 50; ++len) {
        Bytes padded = test::sample(len);
        Bytes y(16, 0xee);
        ghash(h.data(), padded.data(), len, y.data());
        padded.resize((len + 15) / 16 * 16);
        Bytes expected(16);
        for (auto at = padded.begin(); at != padded.end(); at += 16) {
            expected = times(plus(expected, Bytes(at, at + 16)), h);
        }
        EXPECT_EQ(y, expected) << len;
    }
}

// What OpenSSL makes of it.
Bytes oracle(const EVP_CIPHER *cipher, const Bytes &key, const Bytes &iv, const Bytes &aad, const Bytes &text) {
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> owner(EVP_CIPHER_CTX_new(),
                                                                                EVP_CIPHER_CTX_free);
    EVP_CIPHER_CTX *ctx = owner.get();
    const bool gcm = EVP_CIPHER_get_mode(cipher) == EVP_CIPH_GCM_MODE;
    const auto size = [](const Bytes &bytes) { return static_cast<int>(bytes.size()); };
    Bytes out(text.size() + (gcm ? 16 : 0));
    int len = 0;
    EXPECT_TRUE(EVP_EncryptInit_ex(ctx, cipher, nullptr, nullptr, nullptr) == 1 &&
                (!gcm || EVP_CIPHER_CTX_ctrl(ctx, EVP_CTRL_AEAD_SET_IVLEN, size(iv), nullptr) == 1) &&
                EVP_EncryptInit_ex(ctx, nullptr, nullptr, key.data(), iv.data()) == 1 &&
                (aad.empty() || EVP_EncryptUpdate(ctx, nullptr, &len, aad.data(), size(aad)) == 1) &&
                EVP_EncryptUpdate(ctx, out.data(), &len, text.data(), size(text)) == 1 &&
                EVP_EncryptFinal_ex(ctx, out.data() + text.size(), &len) == 1 &&
                (!gcm || EVP_CIPHER_CTX_ctrl(ctx, EVP_CTRL_AEAD_GET_TAG, 16, out.data() + text.size()) == 1));
    return out;
}

struct AesKey {
    const char *id;
    size_t size;
    const EVP_CIPHER *(*gcm)();
    const EVP_CIPHER *(*ctr)();

    Bytes value() const { return test::sample(size, 9); }
    // The encryption of a block.
    Bytes encrypt(const Bytes &block) const { return oracle(ctr(), value(), block, {}, Bytes(16)); }
    Bytes h() const { return encrypt(Bytes(16)); }
};

const AesKey kKeys[] = {
    {"k128", 16, EVP_aes_128_gcm, EVP_aes_128_ctr},
    {"k192", 24, EVP_aes_192_gcm, EVP_aes_192_ctr},
    {"k256", 32, EVP_aes_256_gcm, EVP_aes_256_ctr},
};

// A call of either operation. Whoever wants an oddity sets it.
struct Call {
    Bytes in;
    Bytes iv = test::sample(12, 2);
    Bytes aad = test::sample(20, 3);
    Bytes tag = Bytes(16, 0xdd);
    uint64_t tag_len = 16;
    const char *wbid = "good";
    const char *key_id = "k128";
    uint64_t in_len = in.size();
    uint64_t iv_len = iv.size();
    uint64_t aad_len = aad.size();
};

struct Result {
    int32_t status;
    int64_t out_len;
    Bytes out; // with what lies beyond
    Bytes tag;
    Lines lines;

    bool operator==(const Result &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Result &result) {
    return out << result.status << ", " << result.out_len << " bytes: " << test::to_hex(result.out) << ", tag "
               << test::to_hex(result.tag) << ", " << testing::PrintToString(result.lines);
}

// What a refusal leaves: the status, and lines in the log.
Result refused(int32_t status, const Call &call, const Lines &lines = {}) {
    return {status, -12345, joined(call.in, Bytes(20, 0xee)), call.tag, lines};
}

// What a call leaves that writes `out`, and nothing beyond.
Result wrote(int32_t status, const Call &call, const Bytes &out, const Bytes &tag) {
    Result result = refused(status, call);
    std::copy(out.begin(), out.end(), result.out.begin());
    result.out_len = static_cast<int64_t>(out.size());
    result.tag = tag;
    return result;
}

// The call that opens what another one sealed.
Call opening(Call call, const Bytes &sealed, const Bytes &tag) {
    call.in = sealed;
    call.in_len = sealed.size();
    call.tag = tag;
    return call;
}

class Gcm : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        dir_ = new test::TempDir;
        TableSource good = TableSource().header("good", 1).slots("aes_keyids", {"k128", "k192", "k256", "eleven"});
        for (const AesKey &key : kKeys) {
            good.aes_tables(key.id, key.value());
        }
        good.aes_tables("eleven", test::sample(32))
            .number("Nr_eleven", 11)
            .slots("sm4_keyids", {"s"})
            .sm4_table("s")
            .build(dir_->path(), "good", 1);
    }
    static void TearDownTestSuite() { delete dir_; }

    static Result run(bool opens, const Call &call, bool in_place) {
        test::CapturedLog log;
        Result result = refused(0, call); // `out` holds the input in any case
        const uint8_t *in = in_place ? result.out.data() : call.in.data();
        const auto run = [&](auto function) {
            return function(dir_->string().c_str(), in, call.in_len, call.iv.data(), call.iv_len, call.aad.data(),
                            call.aad_len, result.tag.data(), call.tag_len, result.out.data(), &result.out_len,
                            call.wbid, call.key_id, 1);
        };
        result.status = opens ? run(wb_aes_gcm_decrypt) : run(wb_aes_gcm_encrypt);
        result.lines = log.take();
        return result;
    }
    static Result run(bool opens, const Call &call) {
        const Result result = run(opens, call, false);
        EXPECT_EQ(run(opens, call, true), result) << "in place";
        return result;
    }

    static inline test::TempDir *dir_;
};

TEST_F(Gcm, IsOpenSslsForAnyLength) {
    struct Lengths {
        size_t text;
        size_t iv;
        size_t aad;
    };
    std::vector<Lengths> lengths{{0, 12, 0}};
    for (const size_t len : {0U, 1U, 15U, 16U, 17U, 40U, 223U, 224U, 225U, 1023U, 1024U, 1025U, 3000U}) {
        lengths.insert(lengths.end(), {{len, 12, 20}, {len, 16, 0}, {33, 12, len}});
    }
    for (const size_t len : {1U, 11U, 13U, 15U, 17U, 32U, 127U, 128U}) { // OpenSSL takes no longer IV, and no empty one
        lengths.push_back({33, len, 20});
    }
    for (const AesKey &key : kKeys) {
        for (const auto &[text_len, iv_len, aad_len] : lengths) {
            SCOPED_TRACE(std::to_string(text_len) + ' ' + std::to_string(iv_len) + ' ' + std::to_string(aad_len));
            const Bytes text = test::sample(text_len);
            const Call call{.in = text, .iv = test::sample(iv_len, 2), .aad = test::sample(aad_len), .key_id = key.id};
            const Bytes sealed = oracle(key.gcm(), key.value(), call.iv, call.aad, text);
            const Bytes tag(sealed.end() - 16, sealed.end());
            EXPECT_EQ(run(false, call), wrote(0, call, sealed, tag));
            const Call opened = opening(call, sealed, tag);
            EXPECT_EQ(run(true, opened), wrote(0, opened, text, tag));
        }
    }
}

TEST(GcmArithmetic, J0OfNothingAndOfTooMuch) {
    test::CapturedLog log;
    const Bytes h = test::sample(16, 7);
    Bytes j0(16, 0xee);
    aes_gcm_prepare_j0(nullptr, 0, h.data(), j0.data());
    EXPECT_EQ(j0, Bytes(16));
    EXPECT_EQ(log.take(), Lines{});
    j0 = test::sample(16);
    aes_gcm_prepare_j0(j0.data(), kPartTooLong, h.data(), j0.data());
    EXPECT_EQ(j0, test::sample(16));
    EXPECT_EQ(log.take(), Lines{error("[error]: malloc failed!")});
}

TEST_F(Gcm, CountsInAllSixteenBytes) {
    const struct {
        const char *j0;
        ptrdiff_t agreeing_blocks;
    } cases[] = {
        {"000102030405060708090a0bffffffff", 0},
        {"00010203040506ffffffffffffffffff", 0},
        {"000102030405060708090afffffffffe", 1},
        {"fffffffffffffffffffffffffffffffd", 2},
    };
    const AesKey &key = kKeys[2];
    const Bytes text = test::sample(80);
    for (const auto &each : cases) {
        SCOPED_TRACE(each.j0);
        // The IV of 16 bytes that leads there: J0 is (IV H + lengths) H.
        const Bytes j0 = from_hex(each.j0);
        const Bytes lengths = from_hex("00000000000000000000000000000080");
        const Bytes iv = times(plus(times(j0, inverse(key.h())), lengths), inverse(key.h()));
        const Call call{.in = text, .iv = iv, .key_id = key.id};
        const Result sealed = run(false, call);

        // CTR alone; its first block is spent on J0 itself.
        const Bytes ctr = oracle(key.ctr(), key.value(), j0, {}, joined(Bytes(16), text));
        EXPECT_TRUE(std::equal(ctr.begin() + 16, ctr.end(), sealed.out.begin()));
        const Bytes standard = oracle(key.gcm(), key.value(), iv, call.aad, text);
        const auto differ = std::mismatch(standard.begin(), standard.begin() + 80, sealed.out.begin()).first;
        EXPECT_EQ((differ - standard.begin()) / 16, each.agreeing_blocks);
        const Call opened = opening(call, first(sealed.out, 96), sealed.tag);
        EXPECT_EQ(run(true, opened), wrote(0, opened, text, sealed.tag));
    }
}

TEST_F(Gcm, OutputMayOverlapTheInput) {
    constexpr size_t kLen = 1100;
    constexpr size_t kMiddle = 2000;
    const Bytes text = test::sample(kLen);
    const Call call{.in = text};
    const Result sealed = run(false, call);
    for (const ptrdiff_t offset : {-1100, -16, -1, 1, 16, 64, 1099, 1100}) {
        for (const bool opens : {false, true}) {
            const Bytes in = opens ? first(sealed.out, kLen + 16) : text;
            Bytes buffer(3 * kMiddle);
            std::copy(in.begin(), in.end(), buffer.begin() + kMiddle);
            uint8_t *out = buffer.data() + kMiddle + offset;
            int64_t out_len = 0;
            Bytes tag = sealed.tag;
            const auto run = [&](auto function) {
                return function(dir_->string().c_str(), buffer.data() + kMiddle, in.size(), call.iv.data(),
                                call.iv.size(), call.aad.data(), call.aad.size(), tag.data(), 16, out, &out_len,
                                call.wbid, call.key_id, 1);
            };
            EXPECT_EQ(opens ? run(wb_aes_gcm_decrypt) : run(wb_aes_gcm_encrypt), 0);
            EXPECT_EQ(Bytes(out, out + out_len), opens ? text : first(sealed.out, kLen + 16)) << offset;
        }
    }
    // The tag may be made where it goes.
    Bytes out(kLen + 16);
    int64_t out_len = 0;
    EXPECT_EQ(wb_aes_gcm_encrypt(dir_->string().c_str(), text.data(), kLen, call.iv.data(), call.iv.size(),
                                 call.aad.data(), call.aad.size(), out.data() + kLen, 16, out.data(), &out_len, "good",
                                 call.key_id, 1),
              0);
    EXPECT_EQ(out, first(sealed.out, kLen + 16));
}

TEST_F(Gcm, TagsMayBeShorter) {
    const Call whole{.in = test::sample(37)};
    const Result sealed = run(false, whole);
    for (size_t tag_len = 0; tag_len <= 16; ++tag_len) {
        Call call = whole;
        call.tag_len = tag_len;
        const Bytes shorter = first(sealed.out, 37 + tag_len);
        EXPECT_EQ(run(false, call), wrote(0, call, shorter, sealed.tag)) << tag_len;

        Call opened = opening(call, shorter, sealed.tag);
        opened.in = joined(first(shorter, 37), Bytes(tag_len)); // the tag behind the ciphertext is not looked at
        if (tag_len < 16) {
            opened.tag[tag_len] ^= 1;
        }
        EXPECT_EQ(run(true, opened), wrote(0, opened, call.in, opened.tag)) << tag_len;
        if (tag_len > 0) {
            opened.tag[tag_len - 1] ^= 0x80;
            EXPECT_EQ(run(true, opened), wrote(-93, opened, Bytes(37), opened.tag)) << tag_len;
            opened.in_len = tag_len - 1;
            EXPECT_EQ(run(true, opened), refused(-93, opened)) << tag_len;
        }
    }
}

// In the order of the checks: each call is wrong in what is checked later, too.
TEST_F(Gcm, Refusals) {
    const Bytes few = test::sample(16);
    for (const bool opens : {false, true}) {
        for (const uint64_t tag_len : {uint64_t{17}, UINT64_MAX}) {
            const Call call{.in = few, .tag_len = tag_len, .wbid = "none", .in_len = 0, .iv_len = kPartTooLong};
            EXPECT_EQ(run(opens, call), refused(-1, call));
        }
        const test::LogLine load = error("ERR: en_aes_gcm, load Nr good\n");
        for (const char *key_id : {"eleven", "s"}) {
            const Call call{.in = few, .key_id = key_id, .in_len = 15, .iv_len = kPartTooLong};
            EXPECT_EQ(run(opens, call), refused(-70, call, {load})) << key_id;
        }
        const Call unknown{.in = few, .key_id = "unknown"};
        EXPECT_EQ(run(opens, unknown), refused(-70, unknown, {error("load good 1 err. alg not matched.\n"), load}));

        if (opens) {
            const Call call{.in = few, .in_len = 15, .iv_len = kPartTooLong};
            EXPECT_EQ(run(opens, call), refused(-93, call));
        }
        const uint64_t in_len = opens ? kTextTooLong + 16 : kTextTooLong;
        for (const Call &call :
             {Call{.in = few, .in_len = in_len}, Call{.in = few, .in_len = UINT64_MAX},
              Call{.in = few, .in_len = (uint64_t{1} << 32) + 16}, Call{.in = few, .iv_len = kPartTooLong},
              Call{.in = few, .aad_len = kPartTooLong}, Call{.in = few, .aad_len = UINT64_MAX}}) {
            EXPECT_EQ(run(opens, call), refused(-100, call, {error("[error]: malloc failed!")}));
        }
    }
}

TEST_F(Gcm, CreateTagRefusals) {
    const struct {
        decltype(&aes_gcm_create_tag) run;
        const char *key_id;
        const char *unusable;
    } ciphers[] = {
        {aes_gcm_create_tag, "k128", "s"},
        {sm4_gcm_create_tag, "s", "k128"},
    };
    test::CapturedLog log;
    const Bytes in = test::sample(16);
    Bytes tag(16, 0xee);
    for (const auto &cipher : ciphers) {
        const auto status = [&](uint64_t c_len, uint64_t aad_len, const char *key_id) {
            return cipher.run(dir_->string().c_str(), in.data(), c_len, in.data(), aad_len, in.data(), in.data(),
                              tag.data(), "good", key_id, 1);
        };
        for (const uint64_t len : {kPartTooLong, UINT64_MAX}) {
            EXPECT_EQ(status(len, 16, cipher.key_id), -100);
            EXPECT_EQ(status(16, len, cipher.key_id), -100);
            EXPECT_EQ(log.take(), Lines(2, error("[error]: malloc failed!")));
        }
        EXPECT_EQ(status(16, 16, cipher.unusable), -70);
        EXPECT_EQ(log.take().size(), 1U);
        EXPECT_EQ(tag, Bytes(16, 0xee));
    }
    // SM4's looks at pointers too, as its CTR does.
    for (const auto &[j0, out] : {std::pair<const uint8_t *, uint8_t *>(nullptr, tag.data()), {in.data(), nullptr}}) {
        EXPECT_EQ(sm4_gcm_create_tag("", in.data(), 16, in.data(), 16, in.data(), j0, out, "good", "s", 1), -2);
    }
}

} // namespace
