#!/usr/bin/env bash
# scripts/check-elf.sh lets a good library pass and names each fault of a bad one.
#
# check_elf_test.sh CHECK-ELF FOLDER
set -euo pipefail
export LC_ALL=C
. "$(dirname -- "${BASH_SOURCE[0]}")/support/refuses_each.sh"
check=$1 folder=$2
library=$folder/libwb_tables_x_1.so

mkdir -p "$folder"
cat >"$folder/x.c" <<'END'
const char wbid[] = "x";
const int version = 1;
const char *const keys[] = {wbid};
#ifndef NOTHING_WRITABLE
__attribute__((used)) static int writable = 1;
#endif
#ifdef FAULT
FAULT
#endif
END
# Its segments follow each other without a gap.
cat >"$folder/dense.ld" <<'END'
PHDRS {
  text PT_LOAD FILEHDR PHDRS;
  data PT_LOAD;
  dynamic PT_DYNAMIC;
  again PT_DYNAMIC;
}
SECTIONS {
  . = SIZEOF_HEADERS;
  .rodata : { *(.rodata*) } :text
  .dynamic : { *(.dynamic) } :data :dynamic :again
}
END

# The message about a fault, and what makes it.
refuses_each "$check" "$library" "$folder/x.c" "-L$folder" -Wl,-soname,libwb_tables_x_1.so \
  -Wl,-z,max-page-size=16384,-z,common-page-size=16384,-z,noexecstack,-z,relro,--hash-style=both <<'END'
|
aligned to 4096 bytes|-Wl,-z,max-page-size=4096,-z,common-page-size=4096
inside a page of 16384 bytes|-Wl,-z,common-page-size=4096
behind the last page|-DNOTHING_WRITABLE
no RELRO segment|-Wl,-z,norelro
executable stack|-Wl,-z,execstack
thread-local variables|-DFAULT=static __thread int v = 1; static int *f(void) { return &v; } void *const aes_keyids = f;
SONAME is 'other.so'|-Wl,-soname,other.so
no DT_HASH|-Wl,--hash-style=gnu
text relocations|-DFAULT=__asm__(".text\n.dc.a wbid\n");|-Wl,-z,notext
packed relocations|-Wl,-Bsymbolic,--pack-dyn-relocs=relr
needs libc.so.6|-Wl,--no-as-needed,-lc
exports other|-DFAULT=const int other = 1;
does not export version|-Dversion=sk
has a relocation R_|-DFAULT=__asm__(".type f, %gnu_indirect_function\nf: nop\n.data\n.dc.a f\n");
begins in the page where another one ends|-Wl,-T,dense.ld
more than one header DYNAMIC|-Wl,-T,dense.ld
takes later from outside|-DFAULT=extern int later; int *const sk = &later;
END

# Bytes of headers, which no linker sets like this: the address in PT_PHDR, the first one, and the type of a section.
clang -shared -nostdlib -fuse-ld=lld -o "$folder/whole.so" "$folder/x.c"
sections=$(readelf -hW "$folder/whole.so" | sed -n 's/.*Start of section headers: *\([0-9]*\).*/\1/p')
address=80 # the first program header's
[[ $(readelf -hW "$folder/whole.so") == *ELF64* ]] || address=60
for each in "$address|header PHDR: its place in the file" "$((sections + 4))|section headers have the dynamic section else"; do
  cp "$folder/whole.so" "$library"
  printf '\006' | dd of="$library" bs=1 seek="${each%%|*}" conv=notrunc status=none
  [[ $("$check" "$library" 2>&1) == *"${each#*|}"* ]] || { echo "FAIL: ${each#*|}"; exit 1; }
done
[[ $("$check" "$folder/x.c" 2>&1) == *"not an ELF file" ]] || { echo "FAIL: a text passes for a library"; exit 1; }
echo "$count libraries, each as expected"
