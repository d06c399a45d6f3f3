#include "tables/library.h"

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "quen/status.h"
#include "quen/tables.h"
#include "support/log.h"

namespace wbkit {
namespace {

constexpr size_t kPathSize = 200;

bool format_path(char (&path)[kPathSize], const char *dir, const char *wbid, int32_t version) {
    const int length = dir == nullptr ? snprintf(path, kPathSize, "libwb_tables_%s_%d.so", wbid, version)
                                      : snprintf(path, kPathSize, "%s/libwb_tables_%s_%d.so", dir, wbid, version);
    return length >= 0 && static_cast<size_t>(length) < kPathSize;
}

OpenedLibrary refused(const char *error) {
    return {nullptr, error};
}

CheckedLibrary failed(int32_t status) {
    return {nullptr, nullptr, {}, status};
}

} // namespace

OpenedLibrary open_library(const char *dir, const char *wbid, int32_t version) {
    if (wbid == nullptr) {
        return refused("no wbid");
    }
    // A wbid names a library, never a place; the loader makes places of "$ORIGIN" and the like.
    if (strpbrk(wbid, "/$") != nullptr) {
        return refused("wbid with a slash or a dollar sign");
    }
    char path[kPathSize] = {};
    if (!format_path(path, dir, wbid, version)) {
        return refused("path too long");
    }
    void *handle = dlopen(path, RTLD_LAZY);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the loader keeps a text for each thread
    return {handle, handle == nullptr ? text_or_null(dlerror()) : nullptr};
}

CheckedLibrary open_checked_library(const char *dir, const char *wbid, int32_t version) {
    const OpenedLibrary library = open_library(dir, wbid, version);
    if (library.handle == nullptr) {
        WBKIT_LOG_ERROR("open error:%s\n", library.error);
        return failed(WBKIT_NO_TABLES);
    }
    const auto *own_wbid = static_cast<const char *>(dlsym(library.handle, "wbid"));
    const void *version_symbol = dlsym(library.handle, "version");
    int32_t own_version = 0;
    if (version_symbol != nullptr) {
        memcpy(&own_version, version_symbol, sizeof own_version);
    }
    const bool matches =
        own_wbid != nullptr && version_symbol != nullptr && own_version == version && strcmp(wbid, own_wbid) == 0;
    if (!matches) {
        WBKIT_LOG_ERROR("FAIL: param not match so. wbid:%s, version:%d", text_or_null(own_wbid), own_version);
        return failed(WBKIT_WRONG_LIBRARY);
    }
    return {library.handle, own_wbid, find_key_lists(library.handle), WBKIT_OK};
}

} // namespace wbkit

void *get_so_handle(const char *dir, const char *wbid, int32_t version) {
    return wbkit::open_library(dir, wbid, version).handle;
}
