#!/usr/bin/env bash
# No file of the library includes upward.
#
# layers.sh SOURCE-DIR
set -euo pipefail
cd "$1"

# Each folder, and those whose headers it may include besides its own.
declare -A below=(
  [support]=""
  [padding]="support"
  [cms]="support"
  [hash]="support"
  [tables]="support cms"
  [modes]="support padding tables"
  [aes]="support tables modes"
  [sm4]="support tables modes"
  [jni]="support padding cms hash tables modes aes sm4"
)

# The folder that a header belongs to; the two headers of the C surface that have none are for everybody.
room_of() {
  case $1 in
    quen/status.h | quen/export.h) echo support ;;
    quen/natives.h) echo jni ;;
    quen/cms.pb-c.h) echo cms ;;
    quen/*.h) basename "$1" .h ;;
    *) dirname "$1" ;;
  esac
}

count=0
wrong=0
for folder in "${!below[@]}"; do
  for file in "$folder"/*.h "$folder"/*.cpp; do
    [[ -e $file ]] || continue
    for header in $(sed -n 's/^#include "\(.*\)"$/\1/p' "$file"); do
      room=$(room_of "$header")
      count=$((count + 1))
      if [[ " $folder ${below[$folder]} " != *" $room "* ]]; then
        echo "FAIL: $file includes $header"
        wrong=$((wrong + 1))
      fi
    done
  done
done
# Fewer would mean that the includes were not found.
((count > 100)) || { echo "FAIL: only $count includes seen"; exit 1; }
((wrong == 0)) || exit 1
echo "layers: $count includes, none upward"
