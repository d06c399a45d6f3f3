#!/usr/bin/env bash
# Fuzzes the library and the tool with libFuzzer, AddressSanitizer (leaks included) and UndefinedBehaviorSanitizer.
#
#   scripts/fuzz.sh [TARGET [SECONDS]]   10 seconds without a number; without a target each of them, two at a time
#   scripts/fuzz.sh --runs N [TARGET]    N inputs instead
#
# A target is a file fuzz/TARGET.cpp; "all" stands for each of them. Seeds are in fuzz/corpus. What is learnt stays in
# build/fuzz/corpus; an input that crashes, leaks, hangs or eats memory stays in build/fuzz/findings, and fails this
# script. To see it again: build/fuzz/targets/TARGET FILE. A target that runs fewer inputs than it has seeds fails too.
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

runs=
seconds=10
case ${1-} in
  -h | --help) usage && exit ;;
  --runs)
    [ $# -ge 2 ] || fail "--runs takes a number; see --help"
    runs=$2
    shift 2
    ;;
  *) seconds=${2-10} ;;
esac
limit=${runs:+-runs=$runs}
limit=${limit:--max_total_time=$seconds}
[[ ${limit#*=} =~ ^[1-9][0-9]*$ && $# -le 2 && (-z $runs || $# -le 1) ]] ||
  fail "takes a target and a number of seconds, or --runs, a number and a target; see --help"

cd -- "$root"
targets=()
for file in fuzz/*.cpp; do
  target=$(basename "$file" .cpp)
  case ${1-all} in
    all | "$target") targets+=("$target") ;;
  esac
done
[ "${#targets[@]}" -gt 0 ] || fail "there is no fuzz/$1.cpp"

trap took EXIT

step "Packages"
"$root/scripts/bootstrap.sh" test

step "Build"
configure_and_build fuzz
mkdir -p build/fuzz/logs

# What an input may have where libFuzzer's 4,096 bytes are too few: for two batches of blocks, and for what is nested so
# deeply that a stack is too small.
longest() {
  case $1 in
    manifest) echo 100000 ;;
    message) echo 20000 ;;
    *) echo 4096 ;;
  esac
}

# Nothing that a target writes lies outside of build/. The clock that finds a target hanging goes on while others have
# the processor, hence its long time.
fuzz() {
  local target=$1 folder
  rm -rf -- "build/fuzz/tmp/$target" # of one that was stopped
  for folder in corpus findings tmp; do
    mkdir -p "build/fuzz/$folder/$target"
  done
  TMPDIR=$root/build/fuzz/tmp/$target UBSAN_OPTIONS=print_stacktrace=1 "build/fuzz/targets/$target" "$limit" \
    -max_len="$(longest "$target")" -timeout=120 -report_slow_units=120 -print_final_stats=1 -close_fd_mask=1 \
    -artifact_prefix="build/fuzz/findings/$target/" \
    "build/fuzz/corpus/$target" "fuzz/corpus/$target" </dev/null >"build/fuzz/logs/$target" 2>&1 &&
    touch "build/fuzz/logs/$target.passed"
}

step "Fuzz"
started=0
for target in "${targets[@]}"; do
  if [ $((started++)) -ge 2 ]; then
    wait -n || true
  fi
  rm -f "build/fuzz/logs/$target.passed"
  fuzz "$target" &
done
wait

total=0
findings=0
for target in "${targets[@]}"; do
  count=$(awk '/^stat::number_of_executed_units:/ {print $2}' "build/fuzz/logs/$target")
  seeds=("fuzz/corpus/$target"/*)
  total=$((total + ${count:-0}))
  if [ ! -e "build/fuzz/logs/$target.passed" ]; then
    findings=$((findings + 1))
    tail -n 50 "build/fuzz/logs/$target" >&2
    printf '%-15s %10d runs, 1 finding: see build/fuzz/logs/%s\n' "$target" "${count:-0}" "$target"
  elif ((${count:-0} < ${#seeds[@]})); then
    findings=$((findings + 1))
    printf '%-15s %10d runs, too few for its %d seeds\n' "$target" "${count:-0}" "${#seeds[@]}"
  else
    printf '%-15s %10d runs, 0 findings\n' "$target" "$count"
  fi
done
echo "${#targets[@]} targets: $total runs, $findings findings"
[ "$findings" -eq 0 ]
