#!/usr/bin/env bash
# The desktop integration files, checked with the tools the desktop itself
# uses. Usage: test_desktop_files.sh CHECK SOURCE-DIR BUILD-DIR [MIMEGUESS]
set -euo pipefail
check=$1 src=$2 build=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

case $check in
entry)
  out=$(desktop-file-validate "$src/desktop/org.example.quillmarfe.desktop" 2>&1) || fail "$out"
  [[ -z $out ]] || fail "desktop-file-validate: $out"
  grep -qx 'Exec=quillmarfe %f' "$src/desktop/org.example.quillmarfe.desktop" \
    || fail "the entry must hand the opened file to quillmarfe"
  # Every type the entry claims is defined by the project's MIME file.
  types=$(sed -n 's/^MimeType=//p' "$src/desktop/org.example.quillmarfe.desktop" | tr ';' ' ')
  for t in $types; do
    grep -q "mime-type type=\"$t\"" "$src/desktop/quillmarfe-mime.xml" || fail "$t is not defined"
  done
  echo "desktop-file-validate: no remarks; MIME types: $types"
  ;;
metainfo)
  out=$(appstreamcli validate --no-net --pedantic "$src/desktop/org.example.quillmarfe.metainfo.xml" 2>&1) \
    || fail "$out"
  echo "$out"
  grep -q "Validation was successful" <<<"$out" || fail "appstreamcli did not pass the file"
  # The screenshots it names are the committed tour pictures.
  for shot in $(grep -o 'screenshots/[a-z-]*\.png' "$src/desktop/org.example.quillmarfe.metainfo.xml"); do
    [[ -f $src/docs/$shot ]] || fail "no docs/$shot for the metainfo screenshot"
  done
  ;;
mime)
  guess=$4
  mkdir -p "$work/data/mime/packages" "$work/home"
  cp "$src/desktop/quillmarfe-mime.xml" "$work/data/mime/packages/quillmarfe.xml"
  cp -r /usr/share/mime/packages/freedesktop.org.xml "$work/data/mime/packages/"
  update-mime-database "$work/data/mime"
  export XDG_DATA_DIRS="$work/data" XDG_DATA_HOME="$work/home"
  header() { printf '%s' "$1"; printf '\001\000\000\000\000\000\000\000'; head -c 64 /dev/zero; }
  header C64-TAPE-RAW >"$work/Side A.tap"
  header C16-TAPE-RAW >"$work/plus4.TAP"
  header C64-TAPE-RAW >"$work/no extension"
  header ZORV-TAP-RAW >"$work/dump.dmp"
  # A network capture of the same extension stays a capture.
  printf '\xd4\xc3\xb2\xa1\002\000\004\000' >"$work/capture.dmp"; head -c 64 /dev/zero >>"$work/capture.dmp"
  expect=(application/x-commodore-tape application/x-commodore-tape application/x-commodore-tape
          application/x-zorv-tape-dump application/vnd.tcpdump.pcap)
  mapfile -t got < <("$guess" "$work/Side A.tap" "$work/plus4.TAP" "$work/no extension" \
                              "$work/dump.dmp" "$work/capture.dmp")
  for i in "${!expect[@]}"; do
    [[ ${got[$i]:-} == "${expect[$i]}" ]] || fail "file $i: expected ${expect[$i]}, got ${got[$i]:-nothing}"
  done
  for f in "$build"/samples/*.tap; do
    t=$("$guess" "$f"); [[ $t == application/x-commodore-tape ]] || fail "$f is $t"
  done
  echo "content types: ${got[*]}"
  ;;
man)
  for page in quillmarfe quillmarfe-cli quillmar; do
    warnings=$(MANWIDTH=80 man --warnings -E UTF-8 -l "$src/man/$page.1" 2>&1 >/dev/null)
    [[ -z $warnings ]] || fail "$page.1: $warnings"
    gzip -t "$build/man/$page.1.gz" || fail "$page.1.gz is not built"
    MANWIDTH=200 man -E UTF-8 -l "$src/man/$page.1" 2>/dev/null >"$work/$page.txt"
  done
  # Each page documents what its program offers: the companion's subcommands,
  # the console program's operations and switches, the window's options.
  for sub in $("$build/quillmarfe-cli" --help | sed -n 's/^  \([a-z]\+\) .*/\1/p'); do
    grep -Eq "^ +$sub( |$)" "$work/quillmarfe-cli.txt" || fail "quillmarfe-cli.1 lacks $sub"
  done
  for sw in $("$build/quillmar" --help 2>&1 | grep -oE '(^| )-[a-z0-9]+' | sort -u); do
    grep -q -- "$sw" "$work/quillmar.txt" || fail "quillmar.1 lacks $sw"
  done
  for opt in $("$build/quillmarfe" --help | grep -oE -- '(^| )--?[a-z]+' | sort -u); do
    grep -q -- "$opt" "$work/quillmarfe.txt" || fail "quillmarfe.1 lacks $opt"
  done
  echo "man: three pages render without warnings and cover every command"
  ;;
icons)
  python3 "$src/desktop/make_icons.py" "$work/icons"
  diff -r "$work/icons" "$src/desktop/icons" || fail "the committed icons differ from what make_icons.py draws"
  for dir in "$src"/desktop/icons/*x*/; do
    size=$(basename "$dir"); n=${size%x*}
    info=$(file "$dir/apps/quillmarfe.png")
    [[ $info == *"PNG image data, $n x $n, 8-bit/color RGBA"* ]] || fail "$info"
  done
  xmllint --noout "$src/desktop/icons/scalable/apps/quillmarfe.svg"
  echo "icons: $(ls "$src/desktop/icons" | tr '\n' ' ')"
  ;;
*) fail "unknown check $check" ;;
esac
