// Who may read a file.
#pragma once

#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

namespace wbtables {

// Why a file with secrets in it is refused; empty if only this user, or root, can read it and choose what it holds.
inline std::string_view exposure_of(const struct stat &status) {
    if (status.st_uid != ::geteuid() && status.st_uid != 0) {
        return "belongs to another user";
    }
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        return "is open to others than its owner; its mode must be 600";
    }
    return {};
}

} // namespace wbtables
