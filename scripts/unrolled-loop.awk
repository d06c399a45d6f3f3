# Cuts a loop out of AArch64 assembly: the shortest one that matches `pattern` `wanted` times when the loops in it are
# written out `trips` times. Prints its instructions, the inner loops written out. Fails if there is none: what a
# compiler made of a loop is then not what the caller takes it for.

function matches(from, to, printing,    line, trip, count) {
  for (line = from; line <= to; ++line) {
    if (line in loop_end && loop_end[line] <= to) {
      for (trip = 0; trip < trips; ++trip) count += matches(line + 1, loop_end[line], printing)
      line = loop_end[line]
    } else if (line in instruction) {
      if (printing) print instruction[line]
      count += instruction[line] ~ pattern
    }
  }
  return count
}

{ sub(/[ \t]*\/\/.*/, "") }
/^\.L[^:]*:/ { label_line[substr($1, 1, index($1, ":") - 1)] = NR }
/^[ \t]+[a-z]/ {
  instruction[NR] = $0
  # No instruction but a branch has a label of the function as its last operand, and only a loop's leads back.
  if ($NF in label_line) loop_end[label_line[$NF]] = NR
}

END {
  for (line in loop_end) {
    length_now = loop_end[line] - line
    if (matches(line + 1, loop_end[line]) == wanted && (!best || length_now < best_length)) {
      best = line
      best_length = length_now
    }
  }
  if (!best) exit 1
  matches(best + 1, loop_end[best], 1)
}
