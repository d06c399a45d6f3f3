#!/usr/bin/env bash
# scripts/check-binary.sh lets a hardened library pass and names each fault of one that is not.
#
# check_binary_test.sh CHECK-BINARY FOLDER
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/support/refuses_each.sh"
check=$1 folder=$2
library=$folder/libwb_tables_x_1.so # of a table library, the fewest names are asked

mkdir -p "$folder"
cat >"$folder/x.c" <<'END'
#include <string.h>
const char wbid[] = "x";
const int version = 1;
__attribute__((used)) static volatile int writable = 1;
void *sk(void *to, const void *from, size_t size) {
    volatile char frame[64];
    memcpy((char *)frame, from, size);
    return memcpy(to, (const char *)frame, 64);
}
#ifdef FAULT
FAULT
#endif
END
case $(uname -m) in
  aarch64) marks=-mbranch-protection all_marks=standard other_marks=none mark=BTI ;;
  *) marks=-fcf-protection all_marks=full other_marks=return mark=IBT ;;
esac

# The message about a fault, and what makes it.
refuses_each "$check" "$library" "$folder/x.c" \
  -O2 -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 "$marks=$all_marks" \
  -Wl,-soname,libwb_tables_x_1.so,--hash-style=both \
  -Wl,-z,max-page-size=16384,-z,common-page-size=16384,-z,noexecstack,-z,relro,-z,now <<END
|
no stack protector|-fno-stack-protector
no _FORTIFY_SOURCE|-U_FORTIFY_SOURCE
no RELRO segment|-Wl,-z,norelro
bound late|-Wl,-z,lazy
not every object is built for $mark|$marks=$other_marks
early runs when it is loaded|-DFAULT=__attribute__((constructor)) static void early(void) { ++writable; }
_init runs when it is loaded|-DFAULT=__attribute__((visibility("hidden"))) void _init(void) { ++writable; }
a function without a name runs|-DFAULT=__attribute__((constructor)) static void early(void) { ++writable; }|-Wl,-s
bytes in memory, more than|-DFAULT=static char large[1 << 18] __attribute__((used));
END
echo "$count libraries, each as expected"
