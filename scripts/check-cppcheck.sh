#!/usr/bin/env bash
# Runs cppcheck over the library's and the builder's sources, as they are compiled in build/release. What it must not
# report stands in .cppcheck, with reasons.
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

no_arguments "$@"
command -v cppcheck >/dev/null || fail "cppcheck is missing; scripts/bootstrap.sh test installs it"

build=$root/build/release
configure_and_build release

# Only what is listed in the build is compiled as it is checked; tests are held to the compilers' warnings alone.
filters=()
for folder in "${source_folders[@]}"; do
  filters+=("--file-filter=$root/$folder/*")
done
# The generated message header asks for a version of protobuf-c, whose headers are not read, like all of the system's.
cppcheck --project="$build/compile_commands.json" "${filters[@]}" -j "$jobs" --std=c++20 \
  --enable=warning,style,performance,portability,information --suppressions-list="$root/.cppcheck" \
  -DPROTOBUF_C_VERSION_NUMBER=1004001 --error-exitcode=1 >"$build/cppcheck.log" ||
  fail "found the above"
sources=$(sed -nE 's/^Checking ([^ ]+\.c(pp)?) .*/\1/p' "$build/cppcheck.log" | sort -u | wc -l)
[ "$sources" -gt 0 ] || fail "$build/compile_commands.json names no source of the project"
echo "$sources sources are clean, with $(grep -c '^[a-zA-Z]' "$root/.cppcheck") exceptions."
