#!/usr/bin/env bash
# Builds everything with AddressSanitizer, leaks included, and UndefinedBehaviorSanitizer, and runs the tests
# but for those that a sanitizer disturbs or has nothing to do with: time, dead memory, the finished file, the guide.
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

no_arguments "$@"

configure_and_build sanitizers
ctest --preset sanitizers
