#!/usr/bin/env bash
# Builds everything with AddressSanitizer (leaks included), then with UndefinedBehaviorSanitizer, and runs all tests.
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

[ $# -eq 0 ] || fail "takes no arguments"

for preset in asan ubsan; do
  configure_and_build "$preset"
  ctest --preset "$preset"
done
