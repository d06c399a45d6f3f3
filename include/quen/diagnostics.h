/* Aids for those who debug a program that uses the library. Nothing inside the library calls them. The conventions
 * stand in quen/wbkit.h. */
#ifndef QUEN_DIAGNOSTICS_H
#define QUEN_DIAGNOSTICS_H

#include <stdint.h>

#include "quen/export.h"

WBKIT_BEGIN_DECLS

/* hexdump writes `len` bytes to the log: a line with `title` and the length, then 16 bytes a line with their offset
 * and, where they are printable ASCII, their characters. The lines carry the escape sequences of a terminal's colours;
 * control characters in `title` are not escaped. A null `title` is shown as one, null `data` as no bytes.
 *
 * Whoever reads the log reads the bytes: no key and no secret text belongs here. */
WBKIT_API void hexdump(const char *title, const void *data, uint64_t len);

/* dump_aes_xor and dump_table do nothing: places to set a breakpoint at, or to put one's own code. */
WBKIT_API void dump_aes_xor(void);
WBKIT_API void dump_table(void);

WBKIT_END_DECLS

#endif
