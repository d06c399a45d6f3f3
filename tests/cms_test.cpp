#include <gtest/gtest.h>

#include "quen/cms.h"
#include "support/cms_message.h"

namespace {

using test::Bytes;
using test::from_hex;
using test::pack_cms;
using test::unpack_cms;
using Fields = test::CmsFields;
using Packed = test::CmsPacked;
using Unpacked = test::CmsUnpacked;

const std::string kVersionField = "0a13" + test::to_hex(test::bytes_of("irvo_cms_2020-02-27"));

TEST(Cms, WireFormat) {
    const Bytes iv = test::sample(16);
    const Bytes content = test::sample(32, 2);
    const Packed packed = pack_cms({18, 8, {}, {}, {}, iv, content});
    EXPECT_EQ(packed.status, 0);
    EXPECT_EQ(test::to_hex(packed.message),
              kVersionField + "100318122008" + "3210" + test::to_hex(iv) + "4a20" + test::to_hex(content));

    // Every field, in field-number order; an enumeration beyond its names and below zero is a plain number.
    const Packed all =
        pack_cms({-1, 9, from_hex("0102"), from_hex("03"), from_hex("0405"), from_hex("06"), from_hex("07")});
    EXPECT_EQ(test::to_hex(all.message), kVersionField + "1003" + "18ffffffffffffffffff01" + "2009" + "2a020102" +
                                             "320106" + "3a0103" + "42020405" + "4a0107");
}

TEST(Cms, RoundTrip) {
    for (const int32_t cipheralg : {0, 6, 11, 14, 17, 20, -1}) {
        const Fields fields{
            cipheralg, 7, test::sample(200), test::sample(17), test::sample(16), test::sample(12), test::sample(1000)};
        const Unpacked back = unpack_cms(pack_cms(fields).message);
        ASSERT_EQ(back.status, 0);
        EXPECT_EQ(back.fields, fields);
    }
    const Unpacked nearly_empty = unpack_cms(pack_cms({11, 7, {}, {}, {}, test::sample(16), {}}).message);
    EXPECT_EQ(nearly_empty.fields.key, Bytes{});
    EXPECT_EQ(nearly_empty.fields.content, Bytes{});
}

TEST(Cms, CapacityIsMeasuredExactly) {
    const Fields fields{18, 8, {}, {}, {}, test::sample(16), test::sample(32)};
    EXPECT_EQ(pack_cms(fields, 79).status, 0);
    EXPECT_EQ(pack_cms(fields, 78).status, -3);
    EXPECT_EQ(pack_cms(fields, -1).status, -3);
}

TEST(Cms, PackRefusesMissingPointersAndNegativeLengths) {
    const uint8_t b[16] = {};
    uint8_t out[256];
    int32_t len = sizeof out;
    const auto pack_with = [&](int32_t alg, const uint8_t *key, int32_t key_len, const uint8_t *aad, int32_t aad_len,
                               const uint8_t *tag, int32_t tag_len, const uint8_t *iv, int32_t iv_len,
                               const uint8_t *content, uint32_t content_len, uint8_t *to, int32_t *to_len) {
        return CMSEncrypted_Pack(alg, 0, key, key_len, aad, aad_len, tag, tag_len, iv, iv_len, content, content_len, to,
                                 to_len);
    };
    // The GCM numbers need every pointer but key's, the others only iv's.
    for (const int32_t alg : {6, 7, 8}) {
        EXPECT_EQ(pack_with(alg, nullptr, 0, nullptr, 0, b, 16, b, 16, b, 1, out, &len), -2);
        EXPECT_EQ(pack_with(alg, nullptr, 0, b, 0, nullptr, 0, b, 16, b, 1, out, &len), -2);
        EXPECT_EQ(pack_with(alg, nullptr, 0, b, 0, b, 16, b, 16, nullptr, 0, out, &len), -2);
        EXPECT_EQ(pack_with(alg, nullptr, 0, b, 0, b, 16, b, 16, b, 1, nullptr, &len), -2);
    }
    for (const int32_t alg : {5, 6, 9}) {
        EXPECT_EQ(pack_with(alg, b, 1, b, 1, b, 16, nullptr, 0, b, 1, out, &len), -2);
        EXPECT_EQ(pack_with(alg, b, 1, b, 1, b, 16, b, 16, b, 1, out, nullptr), -2);
        EXPECT_EQ(pack_with(alg, b, -1, b, 1, b, 16, b, 16, b, 1, out, &len), -2);
        EXPECT_EQ(pack_with(alg, b, 1, b, -1, b, 16, b, 16, b, 1, out, &len), -2);
        EXPECT_EQ(pack_with(alg, b, 1, b, 1, b, -1, b, 16, b, 1, out, &len), -2);
        EXPECT_EQ(pack_with(alg, b, 1, b, 1, b, 16, b, INT32_MIN, b, 1, out, &len), -2);
        EXPECT_EQ(pack_with(alg, nullptr, 1, b, 1, b, 16, b, 16, b, 1, out, &len), -2);
    }
    EXPECT_EQ(pack_with(18, nullptr, 0, nullptr, 0, nullptr, 0, b, 16, nullptr, 1, out, &len), -2);
    EXPECT_EQ(pack_with(18, nullptr, 0, nullptr, 0, nullptr, 0, b, 16, nullptr, 0, nullptr, &len), -3);
    // More than any capacity: refused without reading the content.
    EXPECT_EQ(pack_with(18, nullptr, 0, nullptr, 0, nullptr, 0, b, 16, b, UINT32_MAX, out, &len), -3);
    EXPECT_EQ(len, static_cast<int32_t>(sizeof out));
}

TEST(Cms, UnpackAcceptsWhatItDoesNotKnow) {
    // Another version, content type 1, an unknown field 15, cipheralg 20, padding 9.
    const Unpacked unpacked = unpack_cms(from_hex("0a0178"
                                                  "1001"
                                                  "1814"
                                                  "2009"
                                                  "7a03aabbcc"
                                                  "4a02beef"));
    ASSERT_EQ(unpacked.status, 0);
    EXPECT_EQ(unpacked.fields.cipheralg, 20);
    EXPECT_EQ(unpacked.fields.padding, 9U);
    EXPECT_EQ(unpacked.fields.content, from_hex("beef"));
    const Unpacked no_fields = unpack_cms(from_hex("7a00"));
    EXPECT_EQ(no_fields.status, 0);
    EXPECT_EQ(no_fields.fields.cipheralg, 0);
    EXPECT_EQ(no_fields.fields.iv, Bytes{});
}

TEST(Cms, UnpackRefusesWhatIsNoMessage) {
    EXPECT_EQ(unpack_cms(from_hex("ff")).status, -20005);
    EXPECT_EQ(unpack_cms(from_hex("4a20beef")).status, -20005) << "a field longer than the message";
    EXPECT_EQ(unpack_cms(from_hex("4affffffff7f")).status, -20005) << "a length near 2^35";
    EXPECT_EQ(unpack_cms(from_hex("1a00")).status, -20005) << "an enumeration as bytes";
    const Bytes message = pack_cms({18, 8, {}, {}, {}, test::sample(16), test::sample(32)}).message;
    for (size_t cut = 1; cut < message.size(); ++cut) {
        // Some prefixes end at a field's end and are messages; none may be read beyond its end.
        unpack_cms(Bytes(message.begin(), message.begin() + static_cast<ptrdiff_t>(cut)));
    }
    int32_t alg;
    uint32_t padding;
    int32_t len;
    uint32_t content_len;
    uint8_t room[64];
    for (const int32_t msg_len : {-1, INT32_MIN}) {
        EXPECT_EQ(CMSEncrypted_Unpack(message.data(), msg_len, &alg, &padding, room, &len, room, &len, room, &len, room,
                                      &len, room, &content_len),
                  -20005);
    }
    EXPECT_EQ(CMSEncrypted_Unpack(nullptr, 0, &alg, &padding, room, &len, room, &len, room, &len, room, &len, room,
                                  &content_len),
              -20005);
}

TEST(Cms, MessagesOfTheSchemaHaveTheirFields) {
    struct Expected {
        const ProtobufCMessageDescriptor &descriptor;
        unsigned last_number;
        const char *last_field;
    };
    const Expected messages[] = {
        {cmsencrypted_data__descriptor, 9, "encryptedContent"}, {cmsenveloped_data__descriptor, 11, "encrypteddata"},
        {cmseciesenveloped_data__descriptor, 11, "d"},          {cmssigned_data__descriptor, 6, "signeddata"},
        {cmsdigested_data__descriptor, 4, "digesteddata"},
    };
    for (const Expected &each : messages) {
        EXPECT_EQ(each.descriptor.n_fields, each.last_number) << each.descriptor.name;
        const ProtobufCFieldDescriptor *field =
            protobuf_c_message_descriptor_get_field(&each.descriptor, each.last_number);
        ASSERT_NE(field, nullptr) << each.descriptor.name;
        EXPECT_STREQ(field->name, each.last_field);
    }
}

} // namespace
