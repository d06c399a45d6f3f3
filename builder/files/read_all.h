// Reads from an open file to its end.
#pragma once

#include <algorithm>
#include <cerrno>
#include <optional>
#include <system_error>

#include <unistd.h>

#include "builder/keys/secret_bytes.h"

namespace wbtables {

// Nothing if there are more than `longest` bytes. Throws std::system_error.
inline std::optional<SecretBytes> read_all(int fd, std::size_t longest) {
    constexpr std::size_t kFirst = 4096;
    SecretBytes bytes;
    std::size_t size = 0;
    while (size <= longest) {
        if (size == bytes.size()) {
            bytes.resize(std::min(longest + 1, std::max(kFirst, 2 * size)));
        }
        const ssize_t count = ::read(fd, &bytes[size], bytes.size() - size);
        if (count == 0) {
            bytes.resize(size);
            return bytes;
        }
        if (count > 0) {
            size += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category());
        }
    }
    return std::nullopt;
}

} // namespace wbtables
