#!/usr/bin/env bash
# Sets this machine up, builds everything, and runs its tests and checks. CONTRIBUTING.md has those
# for other machines.
#
#   scripts/test.sh            all of it
#   scripts/test.sh --quick    the tests of the release build alone
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

quick=no
case ${1-} in
  '') ;;
  --quick) quick=yes ;;
  -h | --help) usage && exit ;;
  *) fail "unknown argument: $1; see --help" ;;
esac
[ $# -le 1 ] || fail "one option at a time; see --help"

trap took EXIT

step "Packages"
"$root/scripts/bootstrap.sh" test

step "Build and tests"
configure_and_build release -DWBKIT_BUILD_TESTS=ON -DWBKIT_BUILD_BENCH=ON
ctest --preset release
passed="tests"

if [ "$quick" = no ]; then
  for check in check-format check-shell check-cppcheck check-tidy fuzz check-sanitizers check-threads; do
    step "Check: ${check#check-}"
    "$root/scripts/$check.sh"
    passed="$passed, ${check#check-}"
  done
fi

printf '\nPassed: %s.\n' "$passed"
