#!/usr/bin/env bash
# Builds without optimisation, runs tests, and says which lines and branches of the library they reach, by gcov; the
# builder's beside it. Kernels for other processors are not compiled, and so not counted. Tests inside a JVM and most
# vectors are left out: they are slow without optimisation and reach little more.
#
#   scripts/coverage.sh           fails below 95 % of the library's lines or 85 % of its branches
#   scripts/coverage.sh --html    also writes build/coverage.html and pages beside it, with what is not reached
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

html=no
case ${1-} in
  '') ;;
  --html) html=yes ;;
  -h | --help) usage && exit ;;
  *) fail "unknown argument: $1; see --help" ;;
esac
[ $# -le 1 ] || fail "one option at a time; see --help"

trap took EXIT

step "Packages"
"$root/scripts/bootstrap.sh" coverage

step "Build and tests"
configure_and_build coverage
find build/coverage -name '*.gcda' -delete # counts of an earlier run
ctest --preset coverage

step "Coverage"
pages=()
[ "$html" = no ] || pages=(--html-details build/coverage.html)
# A branch that an exception takes is no decision of ours, and the library has none. What tests make of our headers is
# left out. gcov leaves files where it runs: in the build folder.
gcovr --root . --object-directory build/coverage --exclude-directories '.*/(tests|CompilerIdCX*)$' \
  --filter "($(IFS='|' && echo "${source_folders[*]}"))/" \
  --exclude-throw-branches --exclude-unreachable-branches -j "$jobs" --csv build/coverage.csv \
  ${pages+"${pages[@]}"} build/coverage 2>build/coverage.log || { cat build/coverage.log >&2 && fail "gcovr failed"; }

# Rows of the table: file, lines, reached, share, branches, reached, share.
awk -F, '
  NR == 1 { next }
  { part = $1 ~ /^builder\// ? "builder" : "library"
    files[part]++; lines[part] += $2; run[part] += $3; branches[part] += $5; taken[part] += $6 }
  part == "library" && ($2 != $3 || $5 != $6) {
    printf "%-28s %4d of %4d lines %5d of %5d branches\n", $1, $3, $2, $6, $5
  }
  function told(part) {
    if (!lines[part] || !branches[part]) { print part ": nothing was counted"; exit 1 }
    printf "%s: %.1f %% of %d lines, %.1f %% of %d branches, in %d files\n", part, 100 * run[part] / lines[part],
      lines[part], 100 * taken[part] / branches[part], branches[part], files[part]
  }
  END {
    print "other files of the library: all of both"
    told("builder")
    told("library")
    exit run["library"] < 0.95 * lines["library"] || taken["library"] < 0.85 * branches["library"]
  }' build/coverage.csv || fail "the library is to have 95 % of its lines reached, and 85 % of its branches"
