#include "tables/key_source.h"

#include "quen/status.h"
#include "tables/entry.h"

namespace wbkit {

const tb_entry &KeySource::fetch() {
    if (!found_) {
        entry_ = library_ != nullptr ? find_key(*library_, wbid_, key_id_, version_)
                                     : find_key(open_checked_library(dir_, wbid_, version_), wbid_, key_id_, version_);
        found_ = entry_.status == WBKIT_OK;
    }
    return entry_;
}

OpenedLibrary KeySource::open() const {
    return library_ != nullptr ? OpenedLibrary{library_->handle, "not open"} : open_library(dir_, wbid_, version_);
}

} // namespace wbkit
