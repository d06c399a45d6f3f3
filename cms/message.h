// CMSEncryptedData as protobuf-c unpacks it, owned, and its open enumerations.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "quen/cms.pb-c.h"

namespace wbkit {

// An unpacked message; empty if the bytes are not one, null or of a negative length. Freed when its scope ends.
class UnpackedMessage {
  public:
    UnpackedMessage(const uint8_t *bytes, int64_t size);
    ~UnpackedMessage();
    UnpackedMessage(const UnpackedMessage &) = delete;
    UnpackedMessage &operator=(const UnpackedMessage &) = delete;
    UnpackedMessage(UnpackedMessage &&) = delete;
    UnpackedMessage &operator=(UnpackedMessage &&) = delete;

    explicit operator bool() const { return message_ != nullptr; }
    const CMSEncryptedData &operator*() const { return *message_; }
    const CMSEncryptedData *operator->() const { return message_; }

  private:
    CMSEncryptedData *message_;
};

// The enumerations are open: messages carry numbers that they do not name. In C++ such a number must not pass through
// the enumeration's type, so it is moved as bytes.
template <typename Enumeration>
int32_t number_in(const Enumeration &field) {
    static_assert(sizeof field == sizeof(int32_t));
    int32_t number = 0;
    memcpy(&number, &field, sizeof number);
    return number;
}

template <typename Enumeration>
void set_number(Enumeration &field, int32_t number) {
    static_assert(sizeof field == sizeof number);
    memcpy(&field, &number, sizeof field);
}

} // namespace wbkit
