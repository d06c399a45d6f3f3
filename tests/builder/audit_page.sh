#!/usr/bin/env bash
# The page of an audit in a browser: what it shows, and that it asks the network for nothing.
#
# audit_page.sh [EMULATOR] WBTABLES
set -euo pipefail
wbtables=("$@")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

fail() {
  echo "FAIL: $*"
  exit 1
}
# What the browser makes of the page after loading it. A container's root has no sandbox to give.
browser() {
  local options=(--headless --disable-gpu --user-data-dir="$folder/profile" --hide-scrollbars)
  [ "$(id -u)" -ne 0 ] || options+=(--no-sandbox)
  "${CHROMIUM:-chromium}" "${options[@]}" "$@" "file://$folder/audit.html" 2>"$folder/browser.log"
}
count() {
  grep -o -- "$1" "$folder/dom.html" | wc -l
}

"${wbtables[@]}" keygen "$folder/keys" --wbid page --appid com.example.page --key aes:aes-128 --key sm:sm4
"${wbtables[@]}" build "$folder/keys/manifest.toml" -o "$folder"
"${wbtables[@]}" audit "$folder/libwb_tables_page_1.so" --traces 1000 --html "$folder/audit.html"
if grep -Eq 'src=|href=|url\(|@import' "$folder/audit.html"; then
  fail "the page asks for other files"
fi

browser --dump-dom >"$folder/dom.html"
grep -q '2 of 2 keys were recovered' "$folder/dom.html" || fail "no summary"
[ "$(count '<figure>')" = 16 ] || fail "not a figure for each byte"
[ "$(count '<svg ')" = 16 ] || fail "not a drawing for each byte"
[ "$(count 'h2v')" = 4096 ] || fail "not 256 bars for each byte"
[ "$(count 'class="right" d="M')" = 16 ] || fail "not one right guess for each byte"

# Set AUDIT_SCREENSHOT to a file to look at.
browser --window-size=1100,2600 --screenshot="${AUDIT_SCREENSHOT:-$folder/page.png}"
[ -s "${AUDIT_SCREENSHOT:-$folder/page.png}" ] || fail "no screenshot: $(cat "$folder/browser.log")"
echo "audit page: as expected"
