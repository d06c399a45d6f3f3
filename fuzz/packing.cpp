// Packing of CMS messages beside an encoder that is written by hand (Protocol Buffers, proto3), and back.

#include <fuzzer/FuzzedDataProvider.h>
#include <gtest/gtest.h>

#include "support/cms_message.h"

namespace {

using test::Bytes;

void put_number(Bytes &out, uint8_t field, int32_t number) {
    if (number == 0) {
        return;
    }
    out.push_back(static_cast<uint8_t>(field << 3));
    auto rest = static_cast<uint64_t>(int64_t{number}); // a negative one takes ten bytes
    for (; rest >= 0x80; rest >>= 7) {
        out.push_back(static_cast<uint8_t>(rest | 0x80));
    }
    out.push_back(static_cast<uint8_t>(rest));
}

void put_bytes(Bytes &out, uint8_t field, const Bytes &bytes) {
    if (bytes.empty()) {
        return;
    }
    out.push_back(static_cast<uint8_t>(field << 3 | 2));
    size_t rest = bytes.size();
    for (; rest >= 0x80; rest >>= 7) {
        out.push_back(static_cast<uint8_t>(rest | 0x80));
    }
    out.push_back(static_cast<uint8_t>(rest));
    out.insert(out.end(), bytes.begin(), bytes.end());
}

Bytes encode(const test::CmsFields &f) {
    Bytes out;
    put_bytes(out, 1, test::bytes_of("irvo_cms_2020-02-27"));
    put_number(out, 2, 3);
    put_number(out, 3, f.cipheralg);
    put_number(out, 4, static_cast<int32_t>(f.padding));
    put_bytes(out, 5, f.key);
    put_bytes(out, 6, f.iv);
    put_bytes(out, 7, f.aad);
    put_bytes(out, 8, f.tag);
    put_bytes(out, 9, f.content);
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzedDataProvider in(data, size);
    const int32_t capacity = in.ConsumeBool() ? in.ConsumeIntegral<int16_t>() : INT32_MAX;
    test::CmsFields fields{in.ConsumeBool() ? in.ConsumeIntegralInRange(0, 20) : in.ConsumeIntegral<int32_t>(),
                           in.ConsumeBool() ? in.ConsumeIntegralInRange(0U, 9U) : in.ConsumeIntegral<uint32_t>()};
    for (Bytes *const field : {&fields.key, &fields.aad, &fields.tag, &fields.iv}) {
        *field = in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange<size_t>(0, 300));
    }
    fields.content = in.ConsumeRemainingBytes<uint8_t>();

    const Bytes message = encode(fields);
    // The GCM numbers want a pointer for each of these, and an empty field has none here.
    const bool lacks = fields.cipheralg >= 6 && fields.cipheralg <= 8 &&
                       (fields.aad.empty() || fields.tag.empty() || fields.content.empty());
    const test::CmsPacked packed = test::pack_cms(fields, capacity);
    if (lacks || static_cast<int64_t>(message.size()) > capacity) {
        EXPECT_EQ(packed.status, lacks ? -2 : -3);
        return 0;
    }
    EXPECT_EQ(packed.status, 0);
    EXPECT_EQ(packed.message, message);
    const test::CmsUnpacked unpacked = test::unpack_cms(message);
    EXPECT_EQ(unpacked.status, 0);
    EXPECT_TRUE(unpacked.fields == fields);
    return 0;
}
