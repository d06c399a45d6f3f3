#include "cms/message.h"

namespace wbkit {

UnpackedMessage::UnpackedMessage(const uint8_t *bytes, size_t size)
    : message_(cmsencrypted_data__unpack(nullptr, size, bytes)) {}

UnpackedMessage::~UnpackedMessage() {
    if (message_ != nullptr) {
        cmsencrypted_data__free_unpacked(message_, nullptr);
    }
}

} // namespace wbkit
