// The symbols of a table library that hold its metadata.
#pragma once

#include <stddef.h>

namespace wbkit {

constexpr size_t kSlots = 10;

// An array of exactly ten pointers to texts, some of them null: `sm4_keyids`, `aes_keyids` or `keys`.
class TextSlots {
  public:
    TextSlots() = default; // none
    TextSlots(void *handle, const char *symbol);

    explicit operator bool() const { return address_ != nullptr; }
    [[nodiscard]] const void *address() const { return address_; }
    const char *operator[](size_t slot) const;

  private:
    const void *address_ = nullptr;
};

struct KeyLists {
    TextSlots sm4;
    TextSlots aes;
};

// A null handle counts as a library without lists.
KeyLists find_key_lists(void *handle);

// Null if the library has no such text.
const char *find_text(void *handle, const char *symbol);

// Fills the four texts that both records carry.
template <typename Record>
void find_texts(void *handle, Record &record) {
    record.sk = find_text(handle, "sk");
    record.ak = find_text(handle, "ak");
    record.appid = find_text(handle, "appid");
    record.whitelist = find_text(handle, "whitelist");
}

} // namespace wbkit
