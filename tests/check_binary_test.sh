#!/usr/bin/env bash
# scripts/check-binary.sh lets a hardened library pass and names each fault of one that is not.
#
# check_binary_test.sh CHECK-BINARY FOLDER
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/support/refuses_each.sh"
check_binary=$1 folder=$2
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
// No array, so that only a strong protector minds it; and a call that CFI checks.
static void add(int *to) { ++*to; }
void (*volatile const ak)(int *) = add;
int appid(void) {
    int own = 0;
    ak(&own);
    return own;
}
#ifdef FAULT
FAULT
#endif
END
case $(clang -dumpmachine) in
  aarch64*)
    marks=-mbranch-protection all_marks=standard other_marks=none mark=BTI
    forced=-Wl,-z,force-bti,-z,pac-plt
    ;;
  *)
    marks=-fcf-protection all_marks=full other_marks=return mark=IBT
    forced=-Wl,-z,force-ibt,-z,shstk
    ;;
esac
early='void early(void) { ++writable; }'
resolver='static int chosen(void) { return 1; } static int (*choose(void))(void) { return chosen; }'

check() {
  "$check_binary" --checks 2 "$@"
}
check_with_cfi() {
  check --cfi "$@"
}
# Lines as refuses_each takes them.
builds() {
  refuses_each "$1" "$library" "$folder/x.c" \
    -O2 -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 "$marks=$all_marks" \
    -Wl,-soname,libwb_tables_x_1.so,--hash-style=both \
    -Wl,-z,max-page-size=16384,-z,common-page-size=16384,-z,noexecstack,-z,relro,-z,now
}

# The message about a fault, and what makes it.
builds check <<END
|
no stack protector|-fno-stack-protector
1 functions check their frame, fewer than 2|-fstack-protector
copy calls strcpy, which writes without|-DFAULT=__attribute__((used, no_stack_protector)) static char copy(const char *from) { volatile char to[8]; return *__builtin_strcpy((char *)to, from); }
no _FORTIFY_SOURCE|-U_FORTIFY_SOURCE
no RELRO segment|-Wl,-z,norelro
bound late|-Wl,-z,lazy
not every object is built for $mark|$marks=$other_marks
2 exported functions begin without a mark|$marks=none|$forced
early runs when it is loaded|-DFAULT=__attribute__((constructor)) static $early
__cpu_indicator_init runs when it is loaded|-Dearly=__cpu_indicator_init|-DFAULT=__attribute__((constructor)) static $early
IRELATIVE|-DFAULT=$resolver __attribute__((ifunc("choose"), visibility("hidden"))) int picked(void); __attribute__((used)) static int pick(void) { return picked(); }
_init runs when it is loaded|-DFAULT=__attribute__((visibility("hidden"))) void _init(void) { ++writable; }
a function without a name runs|-DFAULT=__attribute__((constructor)) static $early|-Wl,-s
bytes in memory, more than|-DFAULT=static char large[1 << 18] __attribute__((used));
END
all=$count
builds check_with_cfi <<END
|-flto|-fsanitize=cfi-icall
0 traps for calls through pointers, fewer than 1|
END
echo "$((all + count)) libraries, each as expected"
