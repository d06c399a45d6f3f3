#include "cms/message.h"

namespace wbkit {

UnpackedMessage::UnpackedMessage(const uint8_t *bytes, int64_t size)
    : message_(bytes == nullptr || size < 0 ? nullptr
                                            : cmsencrypted_data__unpack(nullptr, static_cast<size_t>(size), bytes)) {}

UnpackedMessage::~UnpackedMessage() {
    if (message_ != nullptr) {
        cmsencrypted_data__free_unpacked(message_, nullptr);
    }
}

} // namespace wbkit
