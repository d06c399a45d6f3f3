#!/usr/bin/env bash
# The built library exports what the linker script names and nothing else, needs no C++ runtime, and runs no code of its
# own when it is loaded.
#
# exports.sh LIBRARY DIR-OF-HEADERS EXPECTED-NAMES
set -euo pipefail
library=$1 headers=$2 expected=$3

fail() {
  echo "FAIL: $1"
  exit 1
}

exported=$(nm -D --defined-only "$library" | awk '{print $3}' | sort)
names=$(grep -v '^#' "$expected" | grep -v '^$' | sort)
if ! diff <(echo "$names") <(echo "$exported"); then
  fail "exported names (right) differ from the expected ones (left)"
fi

# Every expected name of ours is declared in a public header, with its mark.
for name in $(grep -v '^#' "$expected" | grep -v '__' || true); do
  tr '\n' ' ' <"$(grep -lE "\\b$name(\\(|\\[)" "$headers"/*.h | head -1)" | grep -qE "WBKIT_API [^;]*\\b$name(\\(|\\[)" ||
    fail "$name is not declared with WBKIT_API"
done

needed=$(readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -vE '^lib(asan|ubsan|tsan)\.so' | sort | tr '\n' ' ')
[[ $needed == "libc.so.6 libprotobuf-c.so.1 libwbkit-log.so " ]] || fail "needed libraries: $needed"

# An empty element in it would mean the folder that a process happens to be in.
readelf -d "$library" | grep -qF 'Library runpath: [$ORIGIN]' || fail "another search path than the library's own folder"
readelf -d "$library" | grep -q SYMBOLIC || fail "not linked with -Bsymbolic"
readelf -d "$library" | grep -q TEXTREL && fail "text relocations"
if nm "$library" | grep -E ' (_GLOBAL__sub_I|_ZGV)'; then
  fail "static initialisers or guard variables"
fi
# Tables of rows and descriptors lie in .data.rel.ro, which is read-only once the loader has done its work.
mutable=$(objdump -t "$library" | awk '($4 == ".data" || $4 == ".bss") && $5 !~ /^0+$/ {print $NF}' |
  grep -vE '^(__dso_handle|__TMC_END__|completed\..*)$' || true)
if [[ -z ${WBKIT_SANITIZED:-} && -n $mutable ]]; then
  fail "mutable data: $mutable"
fi
echo "exports: $(echo "$exported" | wc -l) names as expected"
