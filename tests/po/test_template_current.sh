#!/usr/bin/env bash
# Fails when the committed template differs from what the sources hold now:
# a text added or changed without `cmake --build build --target pot` would
# reach no translator. Usage: SOURCE-DIR XGETTEXT-COMMAND... -- SOURCES...
set -euo pipefail
src=$1; shift
cmd=()
while [[ $1 != -- ]]; do cmd+=("$1"); shift; done
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$src"
"${cmd[@]}" -o "$work/fresh.pot" "$@"
# Compare the texts only: line numbers and the creation date may differ.
normal() { msgcat --no-location --no-wrap --sort-output "$1" | grep -v '^"POT-Creation-Date:'; }
normal "$work/fresh.pot" >"$work/fresh"
normal po/quillmarfe.pot >"$work/committed"
if ! diff -u "$work/committed" "$work/fresh"; then
  echo "po/quillmarfe.pot is out of date: run cmake --build build --target pot (then update-po)"
  exit 1
fi
echo "po/quillmarfe.pot holds all $(grep -c '^msgid ' "$work/fresh") texts of the sources"
