// How long what GCM works on may be.
#pragma once

#include <stdint.h>

#include <algorithm>

#include "support/log.h"

namespace wbkit {

// No buffer holds a longer IV or additional data: 2^36 bytes, or what a machine can address.
constexpr uint64_t kLongestGcmPart = std::min<uint64_t>(uint64_t{1} << 36, PTRDIFF_MAX);

// A longer one is answered as an allocation that failed.
inline void log_gcm_too_long() {
    WBKIT_LOG_ERROR("[error]: malloc failed!");
}

} // namespace wbkit
