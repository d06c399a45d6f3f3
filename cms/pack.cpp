// Packing and unpacking of CMSEncryptedData.

#include <string.h>

#include <initializer_list>

#include "cms/message.h"
#include "cms/pack.h"
#include "quen/cms.h"
#include "quen/status.h"
#include "support/scratch.h"

namespace wbkit {
namespace {

constexpr char kSchemaVersion[] = "irvo_cms_2020-02-27";

bool is_gcm(int32_t cipheralg) {
    return cipheralg >= CIPHER_ALG__AES_128_GCM && cipheralg <= CIPHER_ALG__AES_256_GCM;
}

// protobuf-c's type for bytes has no const; packing only reads.
ProtobufCBinaryData binary(const FieldBytes &bytes) {
    return {static_cast<size_t>(bytes.len), const_cast<uint8_t *>(bytes.data)};
}

int32_t serialise(const CMSEncryptedData &message, uint8_t *out, int32_t *out_len) {
    const size_t size = cmsencrypted_data__get_packed_size(&message);
    // Not into `out` at once, which may overlap the fields.
    ScratchBuffer packed(size);
    if (!packed) {
        return WBKIT_PACK_NO_MEMORY;
    }
    if (out == nullptr || *out_len < static_cast<int64_t>(size)) {
        return WBKIT_BUFFER_TOO_SMALL;
    }
    if (cmsencrypted_data__pack(&message, packed.data()) < 1) {
        return WBKIT_PACK_FAILED;
    }
    memcpy(out, packed.data(), size);
    *out_len = static_cast<int32_t>(size);
    return WBKIT_OK;
}

// Stores a field's length and copies its bytes; an absent field leaves the buffer untouched.
template <typename Length>
void copy_field(const ProtobufCBinaryData &field, uint8_t *out, Length *out_len) {
    *out_len = static_cast<Length>(field.len);
    if (field.data != nullptr && field.len != 0) {
        memcpy(out, field.data, field.len);
    }
}

} // namespace

int32_t pack_message(const MessageFields &fields, uint8_t *out, int32_t *out_len) {
    const bool gcm_fields =
        fields.tag.data != nullptr && fields.aad.data != nullptr && fields.content.data != nullptr && out != nullptr;
    if (fields.iv.data == nullptr || out_len == nullptr || (is_gcm(fields.cipheralg) && !gcm_fields)) {
        return WBKIT_BAD_ARGUMENTS;
    }
    int64_t field_bytes = 0;
    for (const FieldBytes *field : {&fields.key, &fields.aad, &fields.tag, &fields.iv, &fields.content}) {
        if (!field->valid()) {
            return WBKIT_BAD_ARGUMENTS;
        }
        field_bytes += field->len;
    }
    // No capacity can hold it, and on a 32-bit machine the packed size would wrap.
    if (field_bytes > INT32_MAX) {
        return WBKIT_BUFFER_TOO_SMALL;
    }
    CMSEncryptedData message = CMSENCRYPTED_DATA__INIT;
    message.version = binary({reinterpret_cast<const uint8_t *>(kSchemaVersion), sizeof kSchemaVersion - 1});
    message.ctype = CONTENT_TYPE__ENCRYPTEDDATA;
    set_number(message.cipheralg, fields.cipheralg);
    set_number(message.padding, fields.padding);
    message.key = binary(fields.key);
    message.aad = binary(fields.aad);
    message.tag = binary(fields.tag);
    message.iv = binary(fields.iv);
    message.encryptedcontent = binary(fields.content);
    return serialise(message, out, out_len);
}

} // namespace wbkit

int32_t CMSEncrypted_Pack(int32_t cipheralg, uint32_t padding, const uint8_t *key, int32_t key_len, const uint8_t *aad,
                          int32_t aad_len, const uint8_t *tag, int32_t tag_len, const uint8_t *iv, int32_t iv_len,
                          const uint8_t *content, uint32_t content_len, uint8_t *out, int32_t *out_len) {
    return wbkit::pack_message({cipheralg,
                                static_cast<int32_t>(padding),
                                {key, key_len},
                                {aad, aad_len},
                                {tag, tag_len},
                                {iv, iv_len},
                                {content, content_len}},
                               out, out_len);
}

int32_t CMSEncrypted_Unpack(const uint8_t *msg, int32_t msg_len, int32_t *cipheralg, uint32_t *padding, uint8_t *key,
                            int32_t *key_len, uint8_t *aad, int32_t *aad_len, uint8_t *tag, int32_t *tag_len,
                            uint8_t *iv, int32_t *iv_len, uint8_t *content, uint32_t *content_len) {
    const wbkit::UnpackedMessage message(msg, msg_len);
    if (!message) {
        return WBKIT_UNPACK_FAILED;
    }
    *cipheralg = wbkit::number_in(message->cipheralg);
    *padding = static_cast<uint32_t>(wbkit::number_in(message->padding));
    wbkit::copy_field(message->key, key, key_len);
    wbkit::copy_field(message->aad, aad, aad_len);
    wbkit::copy_field(message->tag, tag, tag_len);
    wbkit::copy_field(message->iv, iv, iv_len);
    wbkit::copy_field(message->encryptedcontent, content, content_len);
    return WBKIT_OK;
}
