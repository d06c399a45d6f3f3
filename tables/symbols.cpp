#include "tables/symbols.h"

#include <dlfcn.h>
#include <string.h>

namespace wbkit {

TextSlots::TextSlots(void *handle, const char *symbol)
    // To the loader a null handle means the whole process.
    : address_(handle == nullptr ? nullptr : dlsym(handle, symbol)) {}

const char *TextSlots::operator[](size_t slot) const {
    const char *text = nullptr;
    memcpy(&text, static_cast<const char *>(address_) + slot * sizeof text, sizeof text);
    return text;
}

KeyLists find_key_lists(void *handle) {
    return {TextSlots(handle, "sm4_keyids"), TextSlots(handle, "aes_keyids")};
}

const char *find_text(void *handle, const char *symbol) {
    return static_cast<const char *>(dlsym(handle, symbol));
}

} // namespace wbkit
