#!/usr/bin/env bash
# Has shellcheck read all shell scripts.
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

no_arguments "$@"
command -v shellcheck >/dev/null || fail "shellcheck is missing; scripts/bootstrap.sh test installs it"

cd -- "$root"
mapfile -d '' -t files < <(find . \( -path ./build -o -path ./.git \) -prune -o -type f -name '*.sh' -print0)
shellcheck --external-sources --source-path=SCRIPTDIR .ci/run "${files[@]}"
echo "$((${#files[@]} + 1)) shell scripts are clean."
