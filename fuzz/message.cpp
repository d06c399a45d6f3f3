// CMS messages of any bytes: each enveloped decryption does what its mode does with the fields that unpack.

#include <iterator>

#include <gtest/gtest.h>

#include "fuzz/support/table_library.h"
#include "quen/cms.h"
#include "support/captured_log.h"
#include "support/cms_message.h"
#include "support/forced_kernels.h"
#include "support/mode_functions.h"

namespace {

using test::Bytes;
using test::CmsFields;

struct Envelope {
    decltype(&aes_cms_WBkit_decrypt_cfb) open;
    test::ModeFunction mode; // null: GCM
    const char *key_id;
};
constexpr Envelope kEnvelopes[] = {
    {aes_cms_WBkit_decrypt_cfb, test::mode<aes_WBkit_decrypt_cfb>, "a128"},
    {aes_cms_WBkit_decrypt_ofb, test::mode<aes_WBkit_decrypt_ofb>, "a192"},
    {aes_cms_WBkit_decrypt_ctr, test::mode<aes_WBkit_decrypt_ctr>, "a256"},
    {aes_cms_WBkit_decrypt_gcm, nullptr, "a128"},
    {wbsm4_cms_cfb_decrypt, test::mode<wbsm4_cfb_decrypt>, "s"},
    {wbsm4_cms_ofb_decrypt, test::mode<wbsm4_ofb_decrypt>, "s"},
    {wbsm4_cms_ctr_decrypt, test::mode<wbsm4_ctr_decrypt>, "s"},
};

struct Result {
    int64_t status;
    Bytes out;
    int64_t len = 1234567;

    bool operator==(const Result &) const = default;
};

int32_t padding_of(uint32_t number) {
    return number == 9 ? 2 : number == 8 ? 1 : 0;
}

void expect(const Envelope &envelope, const test::CmsUnpacked &unpacked, Result &result) {
    const CmsFields &f = unpacked.fields;
    if (unpacked.status != 0 || f.tag.size() > 16) {
        result.status = -20005;
    } else if (envelope.mode != nullptr) {
        Bytes iv = f.iv;
        iv.resize(16);
        result.status = envelope.mode(nullptr, iv.data(), f.content.data(), f.content.size(), result.out.data(),
                                      &result.len, padding_of(f.padding), fuzz::kWbid, envelope.key_id, 1);
    } else if (f.tag.size() < 4) {
        result.status = -93;
    } else {
        result.status = wb_aes_gcm_decrypt(nullptr, f.content.data(), f.content.size(), f.iv.data(), f.iv.size(),
                                           f.aad.data(), f.aad.size(), f.tag.data(), f.tag.size(), result.out.data(),
                                           &result.len, fuzz::kWbid, envelope.key_id, 1);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const test::ForcedKernels kernels(test::kKernelSets[size % std::size(test::kKernelSets)]);
    const Bytes message(data, data + size);
    const test::CmsUnpacked unpacked = test::unpack_cms(message);
    for (const Envelope &envelope : kEnvelopes) {
        Result result{0, Bytes(size, 0xee)};
        Result expected = result;
        result.status = envelope.open(nullptr, message.data(), static_cast<int32_t>(size), result.out.data(),
                                      &result.len, fuzz::kWbid, envelope.key_id, 1);
        expect(envelope, unpacked, expected);
        EXPECT_TRUE(result == expected) << result.status << ' ' << expected.status;
    }
    test::CapturedLog().take();
    return 0;
}
