// Where an operation gets its key from.
#pragma once

#include <stdint.h>

#include "quen/tables.h"
#include "tables/library.h"

namespace wbkit {

// A key by its coordinates, for one operation. Each step of the operation fetches the key when its turn comes: a
// failure is then logged as often as steps meet it, a success is not looked for again.
class KeySource {
  public:
    // Fetching opens the table library.
    KeySource(const char *dir, const char *wbid, const char *key_id, int32_t version)
        : dir_(dir), wbid_(wbid), key_id_(key_id), version_(version) {}

    // A key of a library that is open already; `wbid` and `version` are what was asked for.
    KeySource(const CheckedLibrary &library, const char *wbid, const char *key_id, int32_t version)
        : library_(&library), wbid_(wbid), key_id_(key_id), version_(version) {}

    // The key's record, without the texts of its library. Logs why, if its status is not 0.
    const tb_entry &fetch();

    // The table library, for what it holds besides the key's tables.
    [[nodiscard]] OpenedLibrary open() const;

    // As they were asked for, for messages.
    [[nodiscard]] const char *wbid() const { return wbid_; }
    [[nodiscard]] const char *key_id() const { return key_id_; }

  private:
    const CheckedLibrary *library_ = nullptr;
    const char *dir_ = nullptr;
    const char *wbid_;
    const char *key_id_;
    int32_t version_;
    tb_entry entry_ = {};
    bool found_ = false;
};

} // namespace wbkit
