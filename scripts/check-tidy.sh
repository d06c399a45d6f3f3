#!/usr/bin/env bash
# Runs clang-tidy 14 over the library's and the builder's sources, as they are compiled in build/release.
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

no_arguments "$@"
command -v clang-tidy-14 >/dev/null || fail "clang-tidy-14 is missing; scripts/bootstrap.sh test installs it"

configure_and_build release

# Generated sources stand under build/; tests and benchmarks are held to the compilers' warnings alone.
files=()
while IFS= read -r file; do
  case $file in
    "$root"/build/* | "$root"/tests/* | "$root"/bench/*) ;;
    *) files+=("$file") ;;
  esac
done < <(sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' build/release/compile_commands.json | sort -u)
[ "${#files[@]}" -gt 0 ] || fail "build/release/compile_commands.json names no source"

# It counts the warnings that it does not show. The compiler that built may know a CPU feature that clang 14 does not.
printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P "$jobs" clang-tidy-14 --quiet -p build/release \
  --extra-arg=-UWBKIT_COMPILER_KNOWS_SHA \
  2> >(grep -v -E '^[0-9]+ warnings? generated' >&2)
echo "${#files[@]} sources are clean."
