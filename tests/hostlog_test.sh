#!/usr/bin/env bash
# The host's log library writes Android's brief form to standard error, by the level in the environment.
#
# hostlog_test.sh [EMULATOR] PROGRAM, a program that logs one line of each priority and one text of two lines
set -euo pipefail
program=("$@")

lines() {
  "$@" 2>&1 >/dev/null | sed -E 's/\( *[0-9]+\)/(PID)/'
}
expect() {
  local expected=$1
  shift
  diff <(printf '%b' "$expected") <(lines "$@") || { echo "FAIL: $*"; exit 1; }
}

all=
for line in V:verbose D:debug I:info W:warning E:two E:lines F:fatal; do
  all+="${line%:*}/wbkit-log(PID): ${line#*:}\\n"
done
expect "$all" env -u WBKIT_LOG_LEVEL "${program[@]}"
expect "$all" env WBKIT_LOG_LEVEL=nonsense "${program[@]}"
expect "${all#*debug\\n}" env WBKIT_LOG_LEVEL=I "${program[@]}"
expect 'F/wbkit-log(PID): fatal\n' env WBKIT_LOG_LEVEL=F "${program[@]}"
expect '' env WBKIT_LOG_LEVEL=S "${program[@]}"
echo "host log: as expected"
