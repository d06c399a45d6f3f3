#include "support/cms_message.h"

#include <gtest/gtest.h>

#include "quen/cms.h"

namespace test {
namespace {

int32_t len(const Bytes &bytes) {
    return static_cast<int32_t>(bytes.size());
}

const uint8_t *data(const Bytes &bytes) {
    return bytes.empty() ? nullptr : bytes.data();
}

} // namespace

CmsPacked pack_cms(const CmsFields &f, int32_t capacity) {
    const size_t room = f.key.size() + f.aad.size() + f.tag.size() + f.iv.size() + f.content.size() + 200;
    Bytes out(room, 0xee);
    int32_t out_len = std::min(capacity, static_cast<int32_t>(room));
    const int32_t before = out_len;
    // An iv pointer is always there; an empty vector may have none.
    const uint8_t none = 0;
    const int32_t status =
        CMSEncrypted_Pack(f.cipheralg, f.padding, data(f.key), len(f.key), data(f.aad), len(f.aad), data(f.tag),
                          len(f.tag), f.iv.empty() ? &none : f.iv.data(), len(f.iv), data(f.content),
                          static_cast<uint32_t>(f.content.size()), out.data(), &out_len);
    if (status != 0) {
        EXPECT_EQ(out_len, before);
        EXPECT_EQ(out, Bytes(room, 0xee));
        return {status, {}};
    }
    out.resize(static_cast<size_t>(out_len));
    return {status, out};
}

CmsUnpacked unpack_cms(const Bytes &message) {
    const Bytes room(message.size() + 1);
    CmsFields f{-1, 99, room, room, room, room, room};
    int32_t key_len = -1;
    int32_t aad_len = -1;
    int32_t tag_len = -1;
    int32_t iv_len = -1;
    uint32_t content_len = 99;
    const int32_t status = CMSEncrypted_Unpack(message.data(), len(message), &f.cipheralg, &f.padding, f.key.data(),
                                               &key_len, f.aad.data(), &aad_len, f.tag.data(), &tag_len, f.iv.data(),
                                               &iv_len, f.content.data(), &content_len);
    if (status == 0) {
        f.key.resize(static_cast<size_t>(key_len));
        f.aad.resize(static_cast<size_t>(aad_len));
        f.tag.resize(static_cast<size_t>(tag_len));
        f.iv.resize(static_cast<size_t>(iv_len));
        f.content.resize(content_len);
    }
    return {status, f};
}

} // namespace test
