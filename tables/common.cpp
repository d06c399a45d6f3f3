// The metadata of a table library as one record.

#include <string.h>

#include "quen/status.h"
#include "quen/tables.h"
#include "support/log.h"
#include "tables/metadata.h"
#include "tables/symbols.h"

namespace {

using wbkit::KeyLists;
using wbkit::kSlots;
using wbkit::TextSlots;

// Key ids joined in a zero-filled buffer, each followed by a comma, the last one too: intended.
template <size_t Size>
class JoinedIds {
  public:
    explicit JoinedIds(char (&buffer)[Size]) : buffer_(buffer) {}

    bool append(const TextSlots &list) {
        for (size_t slot = 0; slot < kSlots; ++slot) {
            if (list[slot] != nullptr && !append(list[slot])) {
                return false;
            }
        }
        return true;
    }

  private:
    bool append(const char *id) {
        const size_t length = strlen(id);
        const size_t room = Size - 1 - length_;
        if (length >= room) {
            return false;
        }
        memcpy(buffer_ + length_, id, length);
        length_ += length;
        buffer_[length_++] = ',';
        return true;
    }

    char (&buffer_)[Size];
    size_t length_ = 0;
};

bool join_key_ids(const KeyLists &lists, tb_common &common) {
    if (!lists.aes) {
        return false;
    }
    JoinedIds joined(common.keyids);
    if ((!lists.sm4 || joined.append(lists.sm4)) && joined.append(lists.aes)) {
        return true;
    }
    memset(common.keyids, 0, sizeof common.keyids);
    return false;
}

} // namespace

tb_common wbkit::key_ids_of(const CheckedLibrary &library) {
    tb_common common = {};
    common.status = library.status;
    if (library.status != WBKIT_OK) {
        return common;
    }
    const KeyLists &lists = library.lists;
    if (!join_key_ids(lists, common)) {
        WBKIT_LOG_ERROR("get_tb_common get keyids failed, sm4:%p aes:%p\n", lists.sm4.address(), lists.aes.address());
        common.status = WBKIT_NO_KEY_LIST;
    }
    return common;
}

tb_common get_tb_common(const char *dir, const char *wbid, int32_t version) {
    const wbkit::CheckedLibrary library = wbkit::open_checked_library(dir, wbid, version);
    tb_common common = wbkit::key_ids_of(library);
    if (library.status == WBKIT_OK) {
        wbkit::find_texts(library.handle, common);
    }
    return common;
}
