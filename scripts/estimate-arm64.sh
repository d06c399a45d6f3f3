#!/usr/bin/env bash
# Estimates what the kernels for ARM64 cost, beside the literal algorithms: compiles them for that architecture, cuts
# out the loops that do the work and has llvm-mca tell how many cycles they would take. Nothing is run or measured.
#
#   scripts/estimate-arm64.sh           prints the table
#   scripts/estimate-arm64.sh --docs    also puts it into docs/performance.md
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

docs=no
case ${1-} in
  '') ;;
  --docs) docs=yes ;;
  -h | --help) usage && exit ;;
  *) fail "unknown option: $1; see --help" ;;
esac
[ $# -le 1 ] || fail "one option at a time; see --help"

target=aarch64-linux-gnu
compilers=("$target-g++" "clang++ --target=$target")
# LLVM has no model of Cortex-A76 and takes Cortex-A57's for it. Neoverse N1 is the same core made for servers, and LLVM
# 19 has a model of that.
models=("14 cortex-a76" "19 neoverse-n1")

four_registers='tbl.*[{] ?v[0-9]+[.]16b( -|,)'
indexed_byte='ldrb.*[[]x[0-9]+, [wx]'
# Headings: the work, and how many times faster than the first row below the last is asked to be. Rows: the name, the
# file, how many look-ups or the like its loop contains, loops in it being written out how often, how many units of the
# work that is, whether loads wait for the stores before them, and the look-up. They wait where a round begins with what
# the last one stored. In literal AES they would also wait within a round, where they need not: its figure is a floor.
rows="
# AES, a round of a block: 2.0
literal  bench/literal_aes    96 4  1 no  $indexed_byte
portable aes/block_portable  112 4  1 no  ldrb
neon     aes/block_neon       12 4  1 no  $four_registers
# SM4, a round of a block: 3.0
literal  bench/literal_sm4     4 4  1 yes ldrb
portable sm4/block_portable   64 4 16 no  ldrb
neon     sm4/block_neon       64 4 64 no  $four_registers
# SHA-256, a block of 64 bytes:
portable hash/sha256_portable 16 3  1 no  [[:space:]]rev[[:space:]]
sha2     hash/sha256_arm      16 3  1 no  sha256h[[:space:]]
# GHASH, a block of 16 bytes:
pmull    aes/ghash_pmull      26 7  8 no  pmull"

# compile COMPILER FILE ASSEMBLY: with the options of the library's own files.
compile() {
  local options
  options=$(ninja -C "$build" -t commands CMakeFiles/wbkit_objects.dir/aes/block_neon.cpp.o | tail -n 1)
  options=${options#* }
  eval "$1 ${options%% -MD *}" -S -o '"$3"' '"$root/$2.cpp"'
}

# cycles MODEL WAITS UNITS LOOP: the instructions and cycles of a unit of work, the busiest part of the core and the
# cycles that it is busy.
cycles() {
  local no_alias=true
  [ "$2" = no ] || no_alias=false
  "llvm-mca-${1% *}" -mtriple="$target" -mcpu="${1#* }" -mattr=+aes,+sha2 -noalias="$no_alias" -iterations=1000 \
    -instruction-info=false "$4" | awk -v units="$3" '
      /^Iterations:/ { iterations = $2 }
      /^Instructions:/ { instructions = $2 / iterations }
      /^Total Cycles:/ { cycles = $3 / iterations }
      /^\[[0-9.]+\] +- / { part[++parts] = $3 }
      /^Resource pressure per iteration:/ {
        getline
        getline
        busiest = 1
        for (i = 2; i <= parts; ++i) if ($i + 0 > $busiest + 0) busiest = i
        print instructions / units, cycles / units, part[busiest], $busiest / units
      }'
}

# A line for each row, compiler and model.
estimate() {
  local row file count trips units waits pattern compiler model name result
  while read -r row file count trips units waits pattern; do
    if [ "$row" = '#' ]; then
      echo "# $file $count $trips $units $waits $pattern"
      continue
    fi
    for compiler in "${compilers[@]}"; do
      name=$work/${file//\//-}.${compiler%% *}
      compile "$compiler" "$file" "$name.s"
      awk -v pattern="$pattern" -v wanted="$count" -v trips="$trips" -f "$root/scripts/unrolled-loop.awk" \
        "$name.s" >"$name.loop.s" || fail "$file: the loop that $compiler makes of it is not understood"
      for model in "${models[@]}"; do
        result=$(cycles "$model" "$waits" "$units" "$name.loop.s")
        echo "$row ${compiler%% *} $result"
      done
    done
  done <<<"${rows#?}"
}

# The table, from those lines. What misses its bar is bold.
tabulate() {
  awk -v models="${#models[@]}" -v model=0 '
    function name_of(part) {
      return part ~ /V.?$/ ? "vector pipes" : part ~ /L$/ ? "loads and stores" : part ~ /[SM]$/ ? "integer units" : part
    }
    function short(number) { return sprintf(number < 100 ? "%.3g" : "%.0f", number) }
    /^#/ {
      wanted = $NF + 0
      sub(/^# /, "")
      sub(/: *[0-9.]* *$/, "")
      printf "| **%s**%s | | | | | | | |\n", $0, wanted ? sprintf(" (asked: × %.1f)", wanted) : ""
      split("", first)
      next
    }
    {
      if (model == 0) printf "| %s | %s | %s |", $1, $2 ~ /^clang/ ? "clang" : "GCC", short($3)
      key = $2 " " model
      if (!(key in first)) first[key] = $4
      ratio = sprintf($4 == first[key] ? "1" : "%.2f", first[key] / $4)
      if ($1 == "neon" && ratio + 0 < wanted) ratio = "**" ratio "**"
      printf " %s | %s |", short($4), ratio
      model = (model + 1) % models
      if (model == 0) printf " %s: %s |\n", name_of($5), short($6)
    }'
}

trap took EXIT

step "Packages"
"$root/scripts/bootstrap.sh" estimate

step "Estimate"
build=$root/build/arm64
work=$build/estimate
mkdir -p -- "$work"
cd -- "$root"
logged build/arm64.log cmake --preset arm64
{
  echo "GCC $("$target-g++" -dumpfullversion), clang $(clang++ -dumpversion); llvm-mca with" \
    "\`-mcpu=${models[0]#* }\` (LLVM ${models[0]% *}) and \`-mcpu=${models[1]#* }\` (LLVM ${models[1]% *})."
  echo
  echo "| | compiler | instructions | cycles, ${models[0]#* } | × first row | cycles, ${models[1]#* } | × first row" \
    "| busiest part there, its cycles |"
  echo "|---|---|--:|--:|--:|--:|--:|---|"
  estimate | tabulate
} >build/estimate-arm64.md
cat build/estimate-arm64.md

if [ "$docs" = yes ]; then
  renew_docs "estimated by scripts/estimate-arm64.sh --docs" build/estimate-arm64.md
  echo "docs/performance.md is new."
fi
