#!/usr/bin/env bash
# Checks that a built libquen-wbkit.so is hardened: all that check-elf.sh checks, and stack protector, _FORTIFY_SOURCE,
# full RELRO, control flow with CET or with BTI and PAC, no code that runs when it is loaded, size. The library is built
# with optimisation and not stripped: without symbols, nothing tells what runs.
#
#   scripts/check-binary.sh [--stubs DIR] [--checks N] [--cfi] FILE
#
#   --stubs DIR   what it is for check-elf.sh
#   --checks N    at least so many functions have to check their frame: 120 of libquen-wbkit.so by its SONAME, else 1
#   --cfi         it was built with WBKIT_CFI: calls through pointers have to be checked, which takes the place of IBT
#
# READELF is what it is for check-elf.sh; OBJDUMP names a disassembler for the library's machine. Where it knows no
# answer, objdump and llvm-objdump are asked.
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

readelf=${READELF:-readelf}
# What a process maps. The largest library is the one for x86-64, whose kernels are the most of it: some 200,000 bytes.
largest=$((256 * 1024))
# Of libquen-wbkit.so. Compilers make 136 to 154 functions check their frame, and fewer than 60 with -fstack-protector
# in place of -fstack-protector-strong. With WBKIT_CFI it has 27 traps.
usual_checks=120
usual_traps=20
# They write as much as they are given.
unbounded='(str(cpy|cat)|stpcpy|wcs(cpy|cat)|wcpcpy|v?sprintf|gets)'

elf_options=()
least_checks=
cfi=no
while [ $# -gt 0 ]; do
  case $1 in
    -h | --help) usage && exit ;;
    --stubs)
      [ $# -ge 2 ] || fail "--stubs needs a folder; see --help"
      elf_options=(--stubs "$2")
      shift
      ;;
    --checks)
      [[ ${2-} =~ ^[1-9][0-9]*$ ]] || fail "--checks needs a number; see --help"
      least_checks=$2
      shift
      ;;
    --cfi) cfi=yes ;;
    *) break ;;
  esac
  shift
done
[[ $# -eq 1 && $1 != -* ]] || fail "takes one file; see --help"
file=$1

faults=0
fault() {
  printf '%s: %s\n' "$file" "$*"
  faults=$((faults + 1))
}
proved() {
  proofs+="  $*"$'\n'
}
proofs=

imported() {
  "$readelf" -W --dyn-syms "$file" | awk '$7 == "UND" {sub(/@.*/, "", $8); print $8}'
}

# Of a disassembly: "starts ADDRESS INSTRUCTION" for every function, "calls FUNCTION CALLEE" for what it calls from
# outside, "traps" for each call through a pointer that goes astray, by what Clang makes of -fsanitize=cfi-icall.
digest() {
  awk -v plt="$plt" '
    BEGIN {
      for (i = split(plt, slot); i > 0; --i) { split(slot[i], each, "="); named[each[1]] = each[2] }
    }
    /^[0-9a-f]+ <[^$].*>:$/ {
      start = $1
      sub(/^0+/, "", start)
      function_name = substr($2, 2, length($2) - 3)
      sub(/\.cold.*/, "", function_name)
      next
    }
    start != "" && /^ *[0-9a-f]+:/ { print "starts", start, $2 $3; start = "" }
    /[ \t](ud1l?[ \t]+(0x)?2\(%eax\)|brk[ \t]+#0x5502)/ { print "traps" }
    $2 ~ /^(call|blx?|b|jmp)[a-z.]*$/ && function_name !~ /@plt$/ {
      callee = $NF
      sub(/^0x/, "", $3)
      if ($3 in named) callee = named[$3]
      else if (callee !~ /^<[^+]*>$/) next
      gsub(/^<|(@plt|_local)?>$/, "", callee)
      print "calls", function_name, callee
    }' | sort
}

# "ADDRESS=NAME" of what is called through the PLT of an ARM library, which disassemblers leave to the reader: lld makes
# an entry of 16 bytes for each relocation, after a first one of 32.
arm_plt() {
  local start
  start=$("$readelf" -SW "$file" | sed -nE 's/.* \.plt +PROGBITS +([0-9a-f]+) .*/\1/p')
  "$readelf" -rW "$file" | awk '/_JUMP_SLOT/ {print $5}' | {
    local at=$((16#${start:-0} + 32)) name
    while read -r name; do
      printf '%x=%s\n' "$at" "$name"
      at=$((at + 16))
    done
  }
}

# Not every disassembler knows the machine, nor names what is called through the PLT.
disassemble() {
  local each plt=
  [[ $header != *'Machine: '*' ARM'* ]] || plt=$(arm_plt)
  for each in ${OBJDUMP:+"$OBJDUMP"} objdump llvm-objdump; do
    code=$({ "$each" -d --no-show-raw-insn "$file" 2>/dev/null || true; } | digest)
    ! grep -q '__stack_chk_fail$' <<<"$code" || return 0
  done
}

check_stack_protector() {
  local checking name
  checking=$(sed -n '/^calls .* __stack_chk_fail$/p' <<<"$code" | sort -u | wc -l)
  if ((checking == 0)); then
    fault "no stack protector, or no disassembler that knows its calls"
  elif ((checking < least_checks)); then
    fault "$checking functions check their frame, fewer than $least_checks"
  fi
  while read -r name; do
    fault "$name, which writes without a limit, and does not check its frame"
  done < <(awk -v unbounded="^$unbounded\$" '
    $1 == "calls" && $3 == "__stack_chk_fail" { checks[$2] }
    $1 == "calls" && $3 ~ unbounded { writes[$2 " calls " $3] = $2 }
    END { for (each in writes) if (!(writes[each] in checks)) print each }' <<<"$code")
  proved "stack protector: $checking functions check their frame, of at least $least_checks"
}

check_fortify() {
  local names
  names=$(imported | grep -E '^__[a-z]+_chk$' | sort | paste -sd ' ' || true)
  [ -n "$names" ] || fault "no _FORTIFY_SOURCE: it calls no function that checks"
  proved "_FORTIFY_SOURCE: $names"
}

check_relro() {
  [[ $dynamic_section =~ BIND_NOW|Flags:' '.*NOW ]] ||
    fault "symbols are bound late: what binds them stays writable"
  proved "full RELRO: bound when it is loaded, and read-only from then on"
}

# A linker marks what it links if every object that went in is marked, or if it is told to: so the code counts too.
check_control_flow() {
  # Disassemblers show paciasp, pacibsp, bti c and bti jc as hints if they are not told which processor it is.
  local marks wanted first='^(paci[ab]sp|btij?c|hint#(25|27|34|38))$' unmarked
  case $header in
    *X86-64*) wanted='IBT SHSTK' first='^endbr64' ;;
    *AArch64*) wanted='BTI PAC' ;;
    *) proved "control flow: none is marked on this machine" && return ;;
  esac
  case $cfi-$header in
    # The jump tables of Clang 14 have no marks for IBT.
    yes-*X86-64*) wanted=SHSTK first= ;;
  esac
  marks=$("$readelf" -nW "$file" | sed -nE 's/.*(x86|AArch64) feature: *//p')
  for mark in $wanted; do
    grep -qw "$mark" <<<"$marks" || fault "not every object is built for $mark"
  done
  unmarked=$({ echo "$code" && "$readelf" -W --dyn-syms "$file"; } | awk -v mark="$first" '
    $1 == "starts" { first[$2] = $3 }
    $4 == "FUNC" && $7 != "UND" { sub(/^0+/, "", $2); if (first[$2] !~ mark) print $8 }')
  [ -z "$unmarked" ] ||
    fault "$(wc -l <<<"$unmarked") exported functions begin without a mark, ${unmarked%%$'\n'*} for one"
  proved "control flow: every object is built for $wanted${first:+, and every exported function begins with a mark}"
}

check_indirect_calls() {
  local traps least=1
  [ "$cfi" = yes ] || return 0
  [ "$soname" != libquen-wbkit.so ] || least=$usual_traps
  traps=$(grep -cx traps <<<"$code" || true)
  ((traps >= least)) || fault "$traps traps for calls through pointers, fewer than $least"
  proved "CFI: $traps traps for calls through pointers, of at least $least"
}

# The functions in .init_array, by their relocations and symbols. Some of readelf's lists have leading zeros.
initialisers() {
  local start size bytes=8 at target
  [[ ! $dynamic_section =~ 0x0*c' ' ]] || echo "the start files' _init"
  [[ $header == *ELF64* ]] || bytes=4
  read -r start size < <("$readelf" -SW "$file" |
    sed -nE 's/.* INIT_ARRAY +([0-9a-f]+) [0-9a-f]+ ([0-9a-f]+) .*/\1 \2/p') || return 0
  for ((at = 16#$start; at < 16#$start + 16#$size; at += bytes)); do
    target=$("$readelf" -rW "$file" |
      awk -v at="^0*$(printf %x "$at")\$" '$1 ~ at && $3 ~ /RELATIVE/ {sub(/^0x/, "", $4); print $4}')
    "$readelf" -sW "$file" | awk -v at="^0*${target:-none}\$" '
      $4 == "FUNC" && $2 ~ at {name = $8}
      END {print name == "" ? "a function without a name" : name}'
  done
}

# The compiler's runtime finds out what an x86 CPU has: one function, beside what it fills.
is_of_the_runtime() {
  [ "$1" = __cpu_indicator_init ] && "$readelf" -sW "$file" | grep -E ' OBJECT .* __cpu_model$' >/dev/null
}

check_initialisers() {
  local all each
  all=$(initialisers)
  if ! is_of_the_runtime "$all"; then
    while read -r each; do
      fault "$each runs when it is loaded"
    done < <(grep . <<<"$all")
  fi
  proved "static initialisers: none of its own${all:+; the compiler runtime has $all}"
}

check_size() {
  local mapped
  mapped=$("$readelf" -lW "$file" | awk '$1 == "LOAD" {printf "%s + ", $6}')
  mapped=$((${mapped}0))
  ((mapped <= largest)) || fault "$mapped bytes in memory, more than $largest"
  proved "size: $mapped bytes in memory, of at most $largest"
}

"$root/scripts/check-elf.sh" ${elf_options+"${elf_options[@]}"} "$file"
header=$("$readelf" -hW "$file")
dynamic_section=$("$readelf" -dW "$file")
soname=$(sed -nE 's/.*\(SONAME\).*\[(.*)\]$/\1/p' <<<"$dynamic_section")
[ "$soname" != libquen-wbkit.so ] || least_checks=${least_checks:-$usual_checks}
least_checks=${least_checks:-1}
code=
disassemble
check_stack_protector
check_fortify
check_relro
check_control_flow
check_indirect_calls
check_initialisers
check_size
[ "$faults" -eq 0 ] || fail "$faults faults"
printf '%s: hardened\n%s' "$file" "$proofs"
