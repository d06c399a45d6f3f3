#include <gtest/gtest.h>

#include "quen/hash.h"
#include "support/bytes.h"
#include "support/captured_log.h"
#include "support/vector_file.h"

namespace {

using test::Bytes;

Bytes digest_of_pieces(const Bytes &message, size_t piece) {
    sha256_ctx ctx;
    sha256_init(&ctx);
    for (size_t done = 0; done < message.size(); done += piece) {
        sha256_update(&ctx, message.data() + done, std::min(piece, message.size() - done));
    }
    Bytes digest(32);
    sha256_final(&ctx, digest.data());
    return digest;
}

Bytes digest_of(const Bytes &message) {
    return digest_of_pieces(message, message.size() + 1);
}

TEST(Sha256, PublicVectors) {
    for (const auto &vector : test::read_vectors("sha256")) {
        const Bytes message = vector.bytes("msg");
        const Bytes expected = vector.bytes("digest");
        EXPECT_EQ(digest_of(message), expected) << vector.where;
        EXPECT_EQ(digest_of_pieces(message, 7), expected) << vector.where;
    }
}

TEST(Sha256, MonteCarlo) {
    for (const auto &vector : test::read_vectors("sha256-monte")) {
        Bytes a = vector.bytes("seed");
        Bytes b = a;
        Bytes c = a;
        for (int i = 0; i < 1000; ++i) {
            Bytes joined = a;
            joined.insert(joined.end(), b.begin(), b.end());
            joined.insert(joined.end(), c.begin(), c.end());
            a = b;
            b = c;
            c = digest_of(joined);
        }
        EXPECT_EQ(c, vector.bytes("digest")) << vector.where;
    }
}

TEST(Sha256, PiecesOfAnySizeGiveOneDigest) {
    const Bytes message = test::sample(1000);
    for (const size_t len : {54U, 55U, 56U, 63U, 64U, 65U, 119U, 120U, 1000U}) {
        const Bytes part(message.begin(), message.begin() + len);
        const Bytes expected = digest_of(part);
        for (const size_t piece : {1U, 63U, 64U, 65U, 128U}) {
            EXPECT_EQ(digest_of_pieces(part, piece), expected) << len << " in pieces of " << piece;
        }
    }
}

TEST(Sha256, ContextCountsWhatItCompressed) {
    const Bytes message = test::sample(150);
    sha256_ctx ctx;
    sha256_init(&ctx);
    sha256_update(&ctx, message.data(), 10);
    EXPECT_EQ(ctx.datalen, 10U);
    EXPECT_EQ(ctx.bitlen, 0U);
    sha256_update(&ctx, message.data() + 10, 140);
    EXPECT_EQ(ctx.datalen, 150U - 128);
    EXPECT_EQ(ctx.bitlen, 1024U);
    sha256_update(&ctx, nullptr, 0);

    // A transform of the blocks alone reaches the same chaining value.
    sha256_ctx blocks;
    sha256_init(&blocks);
    sha256_transform(&blocks, message.data());
    sha256_transform(&blocks, message.data() + 64);
    EXPECT_TRUE(std::equal(std::begin(ctx.state), std::end(ctx.state), std::begin(blocks.state)));
    EXPECT_EQ(blocks.bitlen, 0U);
}

Bytes mac_of(const Bytes &message, const Bytes &key) {
    Bytes mac(32);
    EXPECT_EQ(hmac_sha256(message.data(), message.size(), key.data(), static_cast<int32_t>(key.size()), mac.data()), 0);
    return mac;
}

TEST(Hmac, PublicVectors) {
    for (const auto &vector : test::read_vectors("hmac-sha256")) {
        const Bytes tag = vector.bytes("tag");
        Bytes mac = mac_of(vector.bytes("msg"), vector.bytes("key"));
        mac.resize(tag.size());
        EXPECT_EQ(mac == tag, vector.word("result") == "valid") << vector.where;
    }
}

TEST(Hmac, OnlyKeysAboveABlockAreHashed) {
    const Bytes message = test::sample(20);
    const Bytes key = test::sample(65);
    EXPECT_EQ(mac_of(message, key), mac_of(message, digest_of(key)));
    const Bytes block(key.begin(), key.end() - 1);
    EXPECT_NE(mac_of(message, block), mac_of(message, digest_of(block)));
}

TEST(Hmac, RefusalsLeaveTheOutputAlone) {
    const Bytes untouched(32, 0xee);
    Bytes mac = untouched;
    test::CapturedLog log;
    EXPECT_EQ(hmac_sha256(nullptr, 0, nullptr, -1, mac.data()), -1);
    EXPECT_EQ(log.take(), test::Lines{});
    // The message is not read: its length plus 64 does not fit 32 bits.
    const uint8_t byte = 0;
    for (const uint64_t len : {uint64_t{UINT32_MAX} - 63, uint64_t{1} << 32, UINT64_MAX}) {
        EXPECT_EQ(hmac_sha256(&byte, len, &byte, 1, mac.data()), -100);
        EXPECT_EQ(log.take(), test::Lines{test::error("ERR: hmac256 malloc failed.\n")});
    }
    EXPECT_EQ(mac, untouched);
}

} // namespace
