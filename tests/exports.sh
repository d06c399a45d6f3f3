#!/usr/bin/env bash
# The built library exports what its headers declare for export and nothing else, has no search path but its own
# folder, and no data that changes.
#
# exports.sh LIBRARY DIR-OF-HEADERS GENERATED-HEADER
set -euo pipefail
library=$1 headers=$2 generated=$3

fail() {
  echo "FAIL: $1"
  exit 1
}

# The name is what stands before the first bracket of a declaration with our mark.
declared_names() {
  cat "$headers"/*.h | grep -v '^#' | tr '\n' ' ' | sed -E 's:/\*([^*]|\*+[^*/])*\*+/::g' |
    grep -oE 'WBKIT_API [^;]*;' | sed -E 's/ *[[(].*//; s/.*[ *]//'
}
generated_names() {
  grep -oE '\b[a-z_]+__(init|get_packed_size|pack|pack_to_buffer|unpack|free_unpacked|descriptor)\b' "$generated"
}

exported=$(nm -D --defined-only "$library" | awk '{print $3}' | sort)
names=$( (declared_names && generated_names) | sort -u)
if ! diff <(echo "$names") <(echo "$exported"); then
  fail "exported names (right) differ from the declared ones (left)"
fi
# Fewer would mean that the declarations were not found.
[[ $(wc -l <<<"$names") -gt 80 ]] || fail "only $(wc -l <<<"$names") names seen"

# An empty element in it would mean the folder that a process happens to be in.
readelf -d "$library" | grep -qF "Library runpath: [\$ORIGIN]" ||
  fail "another search path than the library's own folder"
readelf -d "$library" | grep -q SYMBOLIC || fail "not linked with -Bsymbolic"
if nm "$library" | grep -E ' (_GLOBAL__sub_I|_ZGV)'; then
  fail "static initialisers or guard variables"
fi
# Tables of rows and descriptors lie in .data.rel.ro, which is read-only once the loader has done its work. __cpu_* are
# the compiler runtime's: its constructor writes there what the CPU has, once. protobuf-c, where it was compiled in,
# keeps its three allocation functions in a variable that nothing changes.
mutable=$(objdump -t "$library" | awk '($4 == ".data" || $4 == ".bss") && $5 !~ /^0+$/ {print $NF}' |
  grep -vE '^(__cpu_model|__cpu_features2|protobuf_c__allocator|__dso_handle|__TMC_END__|completed\..*)$' || true)
if [[ -z ${WBKIT_SANITIZED:-} && -n $mutable ]]; then
  fail "mutable data: $mutable"
fi
echo "exports: $(echo "$exported" | wc -l) names, as declared"
