/* Padding of 16-byte blocks. The conventions stand in quen/wbkit.h.
 *
 * The modes choose by number: 0 NoPadding, 1 PKCS5Padding, 2 ISO10126Padding. PKCS #7 is PKCS #5 under its other name.
 * Buffers may overlap only if they are equal. */
#ifndef QUEN_PADDING_H
#define QUEN_PADDING_H

#include <stdint.h>

#include "quen/export.h"

WBKIT_BEGIN_DECLS

/* NoPadding copies `len` bytes to `out` and returns `in`. */
WBKIT_API const uint8_t *NoPadding(const uint8_t *in, uint64_t len, uint8_t *out);

/* PKCS5Padding and PKCS7Padding copy `in_len` bytes to `out` and fill it up to `out_len` with the byte
 * (out_len - in_len) mod 256 (RFC 8018, 6.1.1; RFC 5652, 6.3). `out` has room for the larger of the two lengths. Return
 * `in`. */
WBKIT_API const uint8_t *PKCS5Padding(const uint8_t *in, uint64_t in_len, uint8_t *out, uint64_t out_len);
WBKIT_API const uint8_t *PKCS7Padding(const uint8_t *in, uint64_t in_len, uint8_t *out, uint64_t out_len);

/* ISO10126Padding does the same with filler bytes from the C library's rand(), which nobody seeds here, and the count
 * in the last byte, out[out_len - 1], whatever `in_len` is. With `out_len` 0 it writes nothing at all. */
WBKIT_API const uint8_t *ISO10126Padding(const uint8_t *in, uint64_t in_len, uint8_t *out, uint64_t out_len);

/* PKCS5unPadding, PKCS7unPadding and ISO10126unPadding, three names of one check, copy the first `out_len` of `in_len`
 * bytes to `out`. `out_len` is what the caller computed from the count in the last byte: in_len - in[in_len - 1].
 *
 * Only the count is checked, never the filler; a count of 0 passes and removes nothing.
 *
 * Return 0; -98 if `out_len` is 0, negative or above `in_len`, or the last byte is above 16. */
WBKIT_API int32_t PKCS5unPadding(const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t out_len);
WBKIT_API int32_t PKCS7unPadding(const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t out_len);
WBKIT_API int32_t ISO10126unPadding(const uint8_t *in, uint64_t in_len, uint8_t *out, int64_t out_len);

WBKIT_END_DECLS

#endif
