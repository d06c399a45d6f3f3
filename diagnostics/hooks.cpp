// Empty on purpose: somebody who debugs sets a breakpoint here or puts code of their own.

#include "quen/diagnostics.h"

void dump_aes_xor(void) {}

void dump_table(void) {}
