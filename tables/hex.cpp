#include "tables/hex.h"

#include <stdio.h>
#include <string.h>

#include "quen/tables.h"

namespace wbkit {

void decode_hex(const char *hex, size_t pairs, uint8_t *out) {
    for (size_t i = 0; i < pairs; ++i) {
        // A text of its own, so that skipped white space never leads into the next pair.
        const char pair[] = {hex[2 * i], hex[2 * i + 1], '\0'};
        unsigned char byte = 0;
        // NOLINTNEXTLINE(cert-err34-c): two characters cannot overflow a byte
        if (sscanf(pair, "%2hhx", &byte) == 1) {
            out[i] = byte;
        }
    }
}

} // namespace wbkit

void get_byte_data(const char *hex, uint8_t *out) {
    wbkit::decode_hex(hex, strlen(hex) / 2, out);
}
