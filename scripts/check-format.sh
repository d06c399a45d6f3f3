#!/usr/bin/env bash
# Compares the C and C++ sources with clang-format 14.
#
#   scripts/check-format.sh         fails if something is to be mended
#   scripts/check-format.sh --fix   formats C and C++
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

find_clang_format() {
  local name
  for name in clang-format-14 clang-format; do
    if command -v "$name" >/dev/null && "$name" --version | grep -q 'version 14\.'; then
      echo "$name"
      return
    fi
  done
  fail "clang-format 14 is missing; other versions format differently. scripts/bootstrap.sh test installs it."
}

mode=(--dry-run --Werror)
case ${1-} in
  '') ;;
  --fix) mode=(-i) ;;
  -h | --help) usage && exit ;;
  *) fail "unknown option: $1; see --help" ;;
esac
[ $# -le 1 ] || fail "one option at a time; see --help"

clang_format=$(find_clang_format)
cd -- "$root"
mapfile -d '' -t files < <(find . \( -path ./build -o -path ./.git \) -prune -o -type f \
  \( -name '*.h' -o -name '*.c' -o -name '*.cpp' \) -print0)
"$clang_format" "${mode[@]}" "${files[@]}"
# It leaves comments alone, however long.
awk 'length > 120 {print FILENAME ":" FNR ": longer than 120 columns"; long = 1} END {exit long}' "${files[@]}"
echo "${#files[@]} files are formatted as .clang-format says."
