#!/usr/bin/env bash
# Builds everything with AddressSanitizer, leaks included, and UndefinedBehaviorSanitizer, and runs all tests.
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

[ $# -eq 0 ] || fail "takes no arguments"

configure_and_build sanitizers
ctest --preset sanitizers
