/* White-box SM4: the block function. The conventions stand in quen/wbkit.h. */
#ifndef QUEN_SM4_H
#define QUEN_SM4_H

#include <stdint.h>

#include "quen/export.h"
#include "quen/tables.h"

WBKIT_BEGIN_DECLS

/* wbsm4 encrypts one block from `in` to `out` with the SM4 key whose tables are `entry` (GB/T 32907-2016, 7.1). Only
 * the record's `table` is read; it is trusted: not null, 32,768 bytes. `out` may be `in`. */
WBKIT_API void wbsm4(const uint8_t in[16], uint8_t out[16], tb_entry entry);

WBKIT_END_DECLS

#endif
