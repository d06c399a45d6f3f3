// Packing a CMSEncryptedData.
#pragma once

#include <stdint.h>

#include <algorithm>

namespace wbkit {

// A field's bytes. A negative length is refused; one that no message can have is cut to one that is still too long.
struct FieldBytes {
    const uint8_t *data;
    int64_t len;

    [[nodiscard]] bool valid() const { return len == 0 || (len > 0 && data != nullptr); }
    static FieldBytes of(const uint8_t *data, uint64_t len) {
        return {data, static_cast<int64_t>(std::min<uint64_t>(len, uint64_t{INT32_MAX} + 1))};
    }
};

struct MessageFields {
    int32_t cipheralg;
    int32_t padding;
    FieldBytes key;
    FieldBytes aad;
    FieldBytes tag;
    FieldBytes iv;
    FieldBytes content;
};

// CMSEncrypted_Pack of quen/cms.h.
int32_t pack_message(const MessageFields &fields, uint8_t *out, int32_t *out_len);

} // namespace wbkit
