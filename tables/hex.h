// Hex text, two characters a byte.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace wbkit {

// Decodes `pairs` pairs of characters. Each pair is scanned by itself with "%2hhx", as the C library reads that: up to
// two digits of either case, white space in front is skipped, a sign counts. A pair that does not scan leaves its byte
// of `out` untouched.
void decode_hex(const char *hex, size_t pairs, uint8_t *out);

} // namespace wbkit
