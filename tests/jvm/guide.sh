#!/usr/bin/env bash
# Follows docs/guide.md from an empty folder: runs its blocks of "sh" with the files of its blocks of "java", compares
# what the last command printed with its blocks of "text", checks the table libraries that came out for Android, and
# compiles the Java and C of README.md. Follows the worked example of docs/table-library.md, too.
#
#   guide.sh SOURCES PREFIX FOLDER      PREFIX: where quen-wbkit is installed; FOLDER: is made anew
set -euo pipefail

sources=$1
export PREFIX=$2
rm -rf -- "$3"
mkdir -p -- "$3/blocks" "$3/empty" "$3/readme"
cd -- "$3"

# Every block of a page into a file of its own: NAME-NUMBER.LANGUAGE
split_blocks() {
  awk -v prefix="blocks/$2" '
    /^```[a-z]/ { file = sprintf("%s-%02d.%s", prefix, ++count, substr($0, 4)); next }
    /^```/ { file = ""; next }
    file { print > file }' "$1"
}
split_blocks "$sources/docs/guide.md" guide
split_blocks "$sources/README.md" readme
split_blocks "$sources/docs/table-library.md" format

cd empty
commands=0
for block in ../blocks/guide-*; do
  case $block in
    *.java) cp -- "$block" "$(sed -n 's/^public class \([A-Za-z]*\) .*/\1.java/p' "$block")" ;;
    *.sh)
      # shellcheck source=/dev/null
      . "$block" >../printed
      commands=$((commands + 1))
      ;;
    *.text) diff -u "$block" ../printed ;;
  esac
done
cd ..
[ "$commands" -ge 5 ] || { echo "The guide has only $commands blocks of commands." >&2 && exit 1; }

# Table libraries for Android: two versions for four ABIs.
table_libraries=(empty/app/src/main/jniLibs/*/libwb_tables_shop_[12].so)
[ "${#table_libraries[@]}" -eq 8 ] || { echo "The guide made ${table_libraries[*]} alone." >&2 && exit 1; }
"$sources/scripts/check-elf.sh" "${table_libraries[@]}"

# The README's Java stands in no method, and takes some variables as given.
{
  echo 'import com.vorlix.quen.wb.*; import java.security.*; import javax.crypto.*;'
  echo 'class Readme {'
  echo '  byte[] ak, wbid, wbidThenAppid, caller, iv, input, aad, keyid, text; WhiteboxKey key;'
  for block in blocks/readme-*.java; do
    printf 'void %s() throws Exception {\n%s\n}\n' "$(basename -- "$block" .java | tr - _)" "$(cat -- "$block")"
  done
  echo '}'
} >readme/Readme.java
javac -cp "$PREFIX/share/java/wbkit.jar" -d readme readme/Readme.java
cc -std=c99 -Wall -Werror -I "$PREFIX/include" -L "$PREFIX/lib" blocks/readme-*.c -lquen-wbkit -o readme/example

# The example's bytes, which lie in the file where they lie in memory.
PATH=$PREFIX/bin:$PATH
# shellcheck source=/dev/null
. blocks/format-01.sh >symbols
rows=0
# shellcheck disable=SC2016 # Markdown's quotes
while IFS='|' read -r _ where bytes _; do
  IFS='`' read -r _ symbol from <<<"$where"
  from=${from//[^0-9]/}
  at=$((16#$(awk -v symbol="$symbol" '$3 == symbol {print $1}' symbols) + ${from:-0}))
  expected=${bytes//[^0-9a-f]/}
  found=$(od -An -v -tx1 -j "$at" -N $((${#expected} / 2)) demo/libwb_tables_example_7.so | tr -d ' \n')
  [ "$found" = "$expected" ] || { echo "$where is $found, not $expected." >&2 && exit 1; }
  rows=$((rows + 1))
done < <(grep -E '^\| `[A-Za-z0-9_]+`(, from [0-9]+)? \| `[0-9a-f ]+` \|' "$sources/docs/table-library.md")
[ "$rows" -ge 8 ] || { echo "The example has only $rows rows of bytes." >&2 && exit 1; }
