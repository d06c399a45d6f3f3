#!/usr/bin/env bash
# Checks that a library loads on every Android from API level 21 on: exports, needed libraries, alignment for pages of
# 16 KiB, relocations, undefined symbols. Reads libraries of any ABI, table libraries too, and those for other systems.
#
#   scripts/check-elf.sh [--stubs DIR] FILE...
#
#   --stubs DIR   compare undefined symbols with the libraries in this folder in place of cmake/android-api-21.txt:
#                 NDK/toolchains/llvm/prebuilt/HOST/sysroot/usr/lib/TRIPLE/21
#
# READELF in the environment names the program that reads; the default is readelf, and llvm-readelf does as well.
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

readelf=${READELF:-readelf}
page=$((16 * 1024))

fault() {
  printf '%s: %s\n' "$file" "$*"
  faults=$((faults + 1))
}

# The values of a tag of the dynamic section, what stands in brackets if something does.
dynamic() {
  sed -nE "s/^ *0x[0-9a-f]+ +\(?$1\)? +//p" <<<"$dynamic_section" | sed -E 's/^[^[]*\[(.*)\]$/\1/'
}

# "BIND NAME" of every dynamic symbol that the library defines ("defined") or asks others for ("undefined").
symbols() {
  "$readelf" -W --dyn-syms "$2" | awk -v want="$1" '
    $1 ~ /^[0-9]+:$/ && $8 != "" && $5 != "LOCAL" && ($7 == "UND") == (want == "undefined") {
      sub(/@.*/, "", $8); print $5, $8
    }' | sort -u
}

# "TYPE OFFSET ADDRESS SIZE FLAGS ALIGNMENT" of every program header, the size in memory.
program_headers() {
  "$readelf" -lW "$file" | awk '
    $2 ~ /^0x/ && $3 ~ /^0x/ {
      flags = "-"
      for (i = 7; i < NF; ++i) flags = flags $i
      print $1, $2, $3, $6, flags, $NF
    }'
}

check_segments() {
  local type offset address size flags align relro_end=0 mapped_end=0 last_page=-1 stack=missing
  while read -r type offset address size flags align; do
    case $type in
      LOAD)
        ((align >= page && align % page == 0)) || fault "a segment is aligned to $((align)) bytes"
        (((address - offset) % page == 0)) || fault "a segment lies in the file where it cannot be mapped from"
        ((address / page > last_page)) || fault "a segment begins in the page where another one ends"
        last_page=$(((address + size - 1) / page))
        mapped_end=$(((address + size + 4095) & ~4095)) # where pages are small
        [[ $flags != *W*E* ]] || fault "a segment is both writable and executable"
        ;;
      GNU_RELRO)
        relro_end=$((address + size))
        ((relro_end % page == 0)) || fault "RELRO ends at $relro_end, inside a page of $page bytes"
        ;;
      GNU_STACK) stack=$flags ;;
      TLS) fault "thread-local variables, which Android has since API level 29" ;;
    esac
  done < <(program_headers)
  ((relro_end > 0)) || fault "no RELRO segment"
  ((relro_end <= mapped_end)) || fault "RELRO ends at $relro_end, behind the last page, which loaders refuse"
  case $stack in
    missing) fault "no GNU_STACK segment: the stack would be executable" ;;
    *E*) fault "executable stack" ;;
  esac
  for type in $(program_headers | grep -oE '^(DYNAMIC|GNU_RELRO|GNU_STACK|PHDR) ' | sort | uniq -d); do
    fault "more than one header $type, and loaders differ in which one counts"
  done
}

# One loader reads at a header's address, another one at its place in the file, a third where section headers say.
check_places() {
  local type offset address load_offset load_address load_size mapped sections each
  sections=$("$readelf" -SW "$file" | sed -nE 's/^.* DYNAMIC +[0-9a-f]+ +([0-9a-f]+) .*/0x\1/p')
  while read -r type offset address _; do
    mapped=no
    while read -r _ load_offset load_address load_size _; do
      ((address < load_address || address >= load_address + load_size ||
        address - offset != load_address - load_offset)) || mapped=yes
    done < <(program_headers | grep '^LOAD ')
    [ "$mapped" = yes ] || fault "header $type: its place in the file is not mapped to its address"
    for each in $sections; do
      [ "$type" != DYNAMIC ] || ((each == offset)) || fault "the section headers have the dynamic section elsewhere"
    done
  done < <(program_headers | grep -E '^(DYNAMIC|PHDR) ')
}

# Pointers need no others; for some of the others a loader runs code.
check_relocations() {
  local each good='NONE|RELATIVE|64|32|ABS64|ABS32|GLOB_DAT|JUMP_SLOT'
  [ "$kind" = table ] || good='[^I].*'
  for each in $("$readelf" -rW "$file" | grep -oE '\bR_[A-Z0-9_]+' | sort -u |
    grep -vxE "R_(X86_64|386|AARCH64|ARM)_($good)"); do
    fault "has a relocation $each"
  done
}

check_dynamic() {
  [ "$(dynamic SONAME)" = "${file##*/}" ] || fault "SONAME is '$(dynamic SONAME)', not the name of the file"
  [ -n "$(dynamic HASH)" ] || fault "no DT_HASH, the only hash table that Android knows before API level 23"
  [[ $dynamic_section != *TEXTREL* ]] || fault "text relocations"
  # DT_RELR, DT_ANDROID_REL and DT_ANDROID_RELA
  ! grep -qE '^ *0x0*(23|24|25|6000000f|60000010|60000011|60000012|6fffe000) ' <<<"$dynamic_section" ||
    fault "packed relocations, which API level 21 does not know"
}

needed_by() {
  case $1 in
    table) ;;
    android) echo 'lib(c|dl|log|m)\.so' ;;
    *) echo '(lib(c|dl|m)\.so\.6|libdl\.so\.2|ld-linux.*|libwbkit-log\.so|libprotobuf-c\.so\.1)' ;;
  esac
}

check_needed() {
  local library
  for library in $(dynamic NEEDED); do
    grep -qxE "$(needed_by "$kind")" <<<"$library" || fault "needs $library"
  done
}

# Regular expressions, one a line.
allowed_exports() {
  if [ "$kind" = table ]; then
    printf '%s\n' wbid version sk ak appid whitelist keys aes_keyids sm4_keyids wbtables_encoding \
      'Nr_.*' 'Xor_.*' 'Tyboxes(128|192|256)_.*' 'TboxesLast_.*' 'table_.*'
  else
    sed -n '/global:/,/local:/s/^ *\([A-Za-z0-9_]*\*\{0,1\}\);$/\1/p' "$root/cmake/exports.map" | sed 's/\*$/.*/'
  fi
}

check_exports() {
  local exports name
  exports=$(symbols defined "$file" | cut -d' ' -f2)
  while read -r name; do
    fault "exports $name"
  done < <(grep . <<<"$exports" | grep -vxEf <(allowed_exports))
  for name in $(if [ "$kind" = table ]; then printf '%s\n' wbid version; else allowed_exports | grep -v '\*'; fi); do
    grep -qxF -- "$name" <<<"$exports" || fault "does not export $name"
  done
}

# Names that are there at API level 21; on another system the C library may have others for the same thing.
provided() {
  local library
  if [ -n "$stubs" ]; then
    for library in $(dynamic NEEDED); do
      symbols defined "$stubs/$library" | cut -d' ' -f2
    done
  else
    awk -v host="$kind" '/^lib/ {for (i = 2; i <= (host == "host" ? NF : 2); ++i) print $i}' \
      "$root/cmake/android-api-21.txt"
    # of the library that the check of needed ones lets pass
    [[ $(dynamic NEEDED) != *libprotobuf-c.so* ]] || symbols undefined "$file" | grep -oE 'protobuf_c_[a-z_]+'
  fi
}

# A weak symbol may be missing.
check_undefined() {
  local name
  for name in $(symbols undefined "$file" | sed -n 's/^GLOBAL //p' | grep -vxFf <(provided)); do
    fault "takes $name from outside, which is not known to exist at API level 21"
  done
}

check() {
  local abi dynamic_section kind
  file=$1
  [ -r "$file" ] || fail "$file: cannot be read"
  abi=$("$readelf" -hW "$file" 2>/dev/null | sed -n 's/^ *Machine: *//p') || true
  [ -n "$abi" ] || fail "$file: not an ELF file"
  dynamic_section=$("$readelf" -dW "$file")
  case "${file##*/} $(dynamic NEEDED)" in
    libwb_tables_*) kind=table ;;
    *libc.so.6*) kind=host ;;
    *) kind=android ;;
  esac
  check_segments
  check_places
  check_relocations
  check_dynamic
  check_needed
  check_exports
  check_undefined
  echo "$file: checked, $abi, $(wc -c <"$file") bytes"
}

stubs=
if [ "${1-}" = --stubs ]; then
  [ $# -ge 2 ] || fail "--stubs needs a folder; see --help"
  stubs=$2
  [ -r "$stubs/libc.so" ] || fail "$stubs: no libc.so there"
  shift 2
fi
case ${1-} in
  -h | --help) usage && exit ;;
  '' | -*) fail "takes files; see --help" ;;
esac

faults=0
for each in "$@"; do
  check "$each"
done
[ "$faults" -eq 0 ] || fail "$faults faults"
