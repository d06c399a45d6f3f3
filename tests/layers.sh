#!/usr/bin/env bash
# No file of the library includes upward.
#
# layers.sh SOURCE-DIR
set -euo pipefail
cd "$1"

# Each layer, and those whose headers it may include besides its own. A layer is a folder, but for the operations in
# cms/ and hash/ that stand on the ciphers, while the rest of those folders stands below.
declare -A below=(
  [support]=""
  [padding]="support"
  [cms]="support"
  [hash]="support"
  [diagnostics]="support"
  [tables]="support cms"
  [modes]="support padding tables"
  [aes]="support tables modes"
  [sm4]="support tables modes aes"
  [envelope]="support cms tables modes aes sm4"
  [signature]="support hash tables modes aes"
  [jni]="support padding cms hash tables modes aes sm4 envelope signature"
)

# The layer of a file.
layer_of() {
  case $1 in
    cms/envelope*) echo envelope ;;
    hash/signature*) echo signature ;;
    *) dirname "$1" ;;
  esac
}

# The layer that a header belongs to; the two headers of the C surface that have none are for everybody.
layer_of_header() {
  case $1 in
    quen/status.h | quen/export.h) echo support ;;
    quen/natives.h) echo jni ;;
    quen/cms.pb-c.h) echo cms ;;
    quen/*.h) basename "$1" .h ;;
    *) layer_of "$1" ;;
  esac
}

count=0
wrong=0
for folder in support padding cms hash diagnostics tables modes aes sm4 jni; do
  for file in "$folder"/*.h "$folder"/*.cpp; do
    [[ -e $file ]] || continue
    layer=$(layer_of "$file")
    while read -r header; do
      count=$((count + 1))
      if [[ " $layer ${below[$layer]} " != *" $(layer_of_header "$header") "* ]]; then
        echo "FAIL: $file includes $header"
        wrong=$((wrong + 1))
      fi
    done < <(sed -n 's/^#include "\(.*\)"$/\1/p' "$file")
  done
done
# Fewer would mean that the includes were not found.
((count > 100)) || { echo "FAIL: only $count includes seen"; exit 1; }
((wrong == 0)) || exit 1
echo "layers: $count includes, none upward"
