#!/usr/bin/env bash
# Measures every operation with every kernel, beside the literal algorithms and OpenSSL, and the Java above the natives
# beside the natives: prints the tables, and writes build/bench.json (every repetition of a kernel) and build/bench.svg.
#
#   scripts/bench.sh [OPTION...]      kernels alone, with options of Google Benchmark: --benchmark_filter=SM4, say
#   scripts/bench.sh --java           Java alone
#   scripts/bench.sh [--java] --docs  also puts tables and chart into docs/
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

heap_mib=7 # the streams are asked to do with less than 8 MB

kernels=yes java=yes docs=no options=()
for argument in "$@"; do
  case $argument in
    --docs) docs=yes ;;
    --java) kernels=no ;;
    -h | --help) usage && exit ;;
    *) java=no options+=("$argument") ;;
  esac
done
[ ${#options[@]} -eq 0 ] || [ "$docs$kernels" = noyes ] || fail "options of Google Benchmark stand alone; see --help"

work=$(mktemp -d)
trap 'rm -rf -- "$work"; took' EXIT

step "Packages"
"$root/scripts/bootstrap.sh" bench

step "Build"
cd -- "$root"
mkdir -p build
# A build folder of its own, for options of its own.
logged build/bench.log cmake --preset release -B build/bench -DWBKIT_BUILD_TESTS=OFF -DWBKIT_BUILD_JAVA=ON \
  -DWBKIT_BUILD_BENCH=ON
targets=()
[ "$kernels" = no ] || targets+=(wbkit_bench)
[ "$java" = no ] || targets+=(quen-wbkit wbtables wbkit-jar)
logged build/bench.log cmake --build build/bench -j "$jobs" --target "${targets[@]}"

bench_kernels() {
  # One core for all of it, the last that this process may use.
  local core
  core=$(taskset -cp $$ | sed 's/.*[ ,-]//')
  step "Run, on core $core"
  taskset -c "$core" build/bench/wbkit_bench --tables=build/bench.md --chart=build/bench.svg \
    --benchmark_out=build/bench.json --benchmark_out_format=json \
    --benchmark_enable_random_interleaving=true --benchmark_repetitions=30 "$@"
}

# layer_costs JAVA_ARGUMENT...: with the token on standard input.
layer_costs() {
  build/bench/wbtables token --wbid bench --appid com.example.bench --sk "file:$work/keys/secrets/sk" |
    WBKIT_LOG_LEVEL=S java "-Djava.library.path=build/bench:$work" -cp "build/bench/wbkit.jar:$work" -XX:+UseSerialGC \
      "$@"
}

bench_java() {
  build/bench/wbtables keygen "$work/keys" --wbid bench --version 1 --appid com.example.bench \
    --whitelist com.example.bench --key key:aes-256
  build/bench/wbtables build "$work/keys/manifest.toml" -o "$work"
  javac -cp build/bench/wbkit.jar -d "$work" bench/java/LayerCosts.java
  step "Run in a Java virtual machine"
  layer_costs -Xmx256m LayerCosts >build/bench-java.md
  layer_costs "-Xmx${heap_mib}m" LayerCosts streams
  printf '\nWith a heap of %d MiB, too, both streams took their 100 MiB.\n' "$heap_mib" >>build/bench-java.md
  cat build/bench-java.md
}

if [ "$kernels" = yes ]; then
  bench_kernels ${options[@]+"${options[@]}"}
  if [ "$docs" = yes ]; then
    renew_docs "measured by scripts/bench.sh --docs" build/bench.md
    cp -- build/bench.svg docs/performance.svg
  fi
fi
if [ "$java" = yes ]; then
  bench_java
  [ "$docs" = no ] || renew_docs "measured by scripts/bench.sh --java --docs" build/bench-java.md
fi
[ "$docs" = no ] || echo "What docs/ has of it is new."
