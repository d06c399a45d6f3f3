// Loads and stores with a name, for any alignment.
#pragma once

#include <stdint.h>
#include <string.h>

#include <bit>

namespace wbkit {

static_assert(std::endian::native == std::endian::little);

inline uint32_t load_be32(const uint8_t *bytes) {
    uint32_t value = 0;
    memcpy(&value, bytes, sizeof value);
    return __builtin_bswap32(value);
}

inline uint64_t load_be64(const uint8_t *bytes) {
    uint64_t value = 0;
    memcpy(&value, bytes, sizeof value);
    return __builtin_bswap64(value);
}

inline uint32_t load_le32(const uint8_t *bytes) {
    uint32_t value = 0;
    memcpy(&value, bytes, sizeof value);
    return value;
}

inline void store_be32(uint8_t *bytes, uint32_t value) {
    value = __builtin_bswap32(value);
    memcpy(bytes, &value, sizeof value);
}

inline void store_be64(uint8_t *bytes, uint64_t value) {
    value = __builtin_bswap64(value);
    memcpy(bytes, &value, sizeof value);
}

} // namespace wbkit
