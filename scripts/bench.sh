#!/usr/bin/env bash
# Measures every operation with every kernel, beside the literal algorithms and OpenSSL: prints the tables, and writes
# build/bench.json (every repetition) and build/bench.svg.
#
#   scripts/bench.sh [OPTION...]    options of Google Benchmark, for instance --benchmark_filter=SM4
#   scripts/bench.sh --docs         also puts tables and chart into docs/
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

usage() {
  sed -n '2,/^set /{s/^# \{0,1\}//p}' "${BASH_SOURCE[0]}"
}

docs=no
case ${1-} in
  --docs)
    docs=yes && shift
    [ $# -eq 0 ] || fail "--docs tells everything: no options beside it"
    ;;
  -h | --help) usage && exit ;;
esac

trap took EXIT

step "Packages"
"$root/scripts/bootstrap.sh" bench

step "Build"
cd -- "$root"
mkdir -p build
# A build folder of its own, for options of its own.
logged build/bench.log cmake --preset release -B build/bench \
  -DWBKIT_BUILD_TESTS=OFF -DWBKIT_BUILD_JAVA=OFF -DWBKIT_BUILD_BENCH=ON
logged build/bench.log cmake --build build/bench -j "$jobs" --target wbkit_bench

# One core for all of it, the last that this process may use.
core=$(taskset -cp $$ | sed 's/.*[ ,-]//')
step "Run, on core $core"
taskset -c "$core" build/bench/wbkit_bench --tables=build/bench.md --chart=build/bench.svg \
  --benchmark_out=build/bench.json --benchmark_out_format=json \
  --benchmark_enable_random_interleaving=true --benchmark_repetitions=30 "$@"

if [ "$docs" = yes ]; then
  awk -v tables=build/bench.md '
    /^<!-- end of what was measured -->$/ { inside = 0 }
    !inside
    /^<!-- measured by scripts\/bench.sh --docs -->$/ {
      inside = 1
      print ""
      while ((getline line <tables) > 0) print line
      print ""
    }' docs/performance.md >build/performance.md
  cp -- build/performance.md docs/performance.md
  cp -- build/bench.svg docs/performance.svg
  echo "docs/performance.md and docs/performance.svg are new."
fi
