#!/usr/bin/env bash
# Regenerates the seed corpora in fuzz/corpus/<harness>/ with the project's own
# tools: tapes written by quillmarfe-cli mktap (leaders and pauses shortened so
# that each stays a few KB), the bundled quillmar's reports of them, the
# default user.ini, scanner list lines, the sample PRGs and command lines.
# Usage: fuzz/make-corpus.sh [BUILD_DIR]   (a normal build with quillmar,
# quillmarfe-cli and the samples target built; default: build)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$here")
build=$(cd "${1:-$root/build}" && pwd)
cli=$build/quillmarfe-cli
prgs=$build/samples/prg
for f in "$cli" "$build/quillmar" "$prgs/sys-boot.prg"; do
  [[ -e $f ]] || { echo "missing $f: build quillmar, quillmarfe-cli and samples first" >&2; exit 1; }
done
corpus=$here/corpus
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
rm -rf "$corpus"
mkdir -p "$corpus"

# Tapes: one program each, in the variants the decoders tell apart.
"$cli" mktap --name "SYS BOOT" "$prgs/sys-boot.prg" "$work/v1.tap" >/dev/null
"$cli" mktap --v0 --pause 1 --name "SYS BOOT" "$prgs/sys-boot.prg" "$work/v0.tap" >/dev/null
"$cli" mktap --vic20 --ntsc --name "VIC" "$prgs/sys-boot.prg" "$work/vic.tap" >/dev/null
"$cli" mktap --name "MCODE" "$prgs/mcode-demo.prg" "$work/mcode.tap" >/dev/null

# Shortens every run of one byte value to 64 (leaders), keeps the rest, and
# derives a damaged copy, a C16 tape and a ZORV dump; each file <= 16 KB.
python3 - "$work" <<'PY'
import struct, sys, os
work = sys.argv[1]
def shorten(data):
    out = bytearray(data[:20]); i = 20
    while i < len(data):
        j = i
        while j < len(data) and data[j] == data[i]: j += 1
        out += data[i:i + min(j - i, 64)]; i = j
    struct.pack_into('<I', out, 16, len(out) - 20)
    return bytes(out[:16384])
for name in ('v1', 'v0', 'vic', 'mcode'):
    with open(os.path.join(work, name + '.tap'), 'rb') as f: data = shorten(f.read())
    with open(os.path.join(work, 'short-' + name + '.tap'), 'wb') as f: f.write(data)
with open(os.path.join(work, 'short-v1.tap'), 'rb') as f: v1 = bytearray(f.read())
damaged = bytearray(v1)
for k in range(2000, min(2400, len(damaged)), 7): damaged[k] = 0x55
open(os.path.join(work, 'short-damaged.tap'), 'wb').write(damaged)
c16 = bytearray(v1); c16[0:12] = b'C16-TAPE-RAW'; c16[13] = 2
open(os.path.join(work, 'short-c16.tap'), 'wb').write(c16[:6000])
# ZORV: one 2 MHz sample per pulse (units * 8 cycles of a C64 PAL).
zorv = bytearray(b'ZORV-TAP-RAW' + bytes([1, 0, 0, 0]) + bytes(4))
i = 20
while i < len(v1) and len(zorv) < 12000:
    b = v1[i]
    if b == 0: zorv += struct.pack('<H', 0xFFFF); i += 4; continue
    zorv += struct.pack('<H', min(0xFFFE, round(b * 8 * 2000000 / 985248))); i += 1
struct.pack_into('<I', zorv, 16, len(zorv) - 20)
open(os.path.join(work, 'short-zorv.dmp'), 'wb').write(zorv)
PY

tapes=("$work"/short-*.tap "$work"/short-zorv.dmp)
put() {   # harness, source file [, name]
  mkdir -p "$corpus/$1"
  cp "$2" "$corpus/$1/${3:-$(basename "$2")}"
}
for h in tapimage tapescan cbmscan; do
  for t in "${tapes[@]}"; do put "$h" "$t"; done
done
for h in pulsemap console_report console_batch; do
  for t in "$work"/short-v1.tap "$work"/short-v0.tap "$work"/short-c16.tap "$work"/short-zorv.dmp; do
    put "$h" "$t"
  done
done

# Reports of the short tapes by the bundled console program (beside a copy of it).
cp "$build/quillmar" "$work/quillmar"
flags=2
for t in "$work"/short-v1.tap "$work"/short-damaged.tap "$work"/short-mcode.tap; do
  name=$(basename "$t" .tap)
  flags=$((flags + 3))
  (cd "$work" && ./quillmar -t "$t" >/dev/null) || true
  cp "$work/qmreport.txt" "$work/$name.report"
  put reportfile "$work/$name.report"
  put summary "$work/$name.report"
  # Tools: 16-bit tape length, a flags byte, the tape, then its report.
  python3 - "$t" "$work/$name.report" "$flags" "$work/$name-$flags.tool" <<'PY'
import struct, sys
tape = open(sys.argv[1], 'rb').read(); report = open(sys.argv[2], 'rb').read()
open(sys.argv[4], 'wb').write(struct.pack('<HB', len(tape), int(sys.argv[3])) + tape + report)
PY
  for h in tapeedit tapesplit cbmrepair; do put "$h" "$work/$name-$flags.tool"; done
done

# The default user.ini, taken from the program's own text, and a changed one.
python3 - "$root/src/core/optionsfile.cpp" "$work" <<'PY'
import ast, re, sys, os
src = open(sys.argv[1]).read()
body = re.search(r'options_default_text\[\] =\s*(.*?);', src, re.S).group(1)
text = ''.join(ast.literal_eval(s) for s in re.findall(r'"(?:[^"\\]|\\.)*"', body))
open(os.path.join(sys.argv[2], 'default-user.ini'), 'w').write(text)
changed = text.replace('tolerance=10', 'tolerance=7').replace('automove=false', 'automove=true')
open(os.path.join(sys.argv[2], 'changed-user.ini'), 'w').write(changed.replace('courier 11', 'monospace 9') + '\n')
PY
put optionsfile "$work/default-user.ini"
put optionsfile "$work/changed-user.ini"
# Fonts that need the key file's escapes to come back from a saved file.
printf '[frontend_preferences]\nfont=a\\nb\n' > "$corpus/optionsfile/font-line-break.ini"
printf '[frontend_preferences]\nfont=\\s lead\n' > "$corpus/optionsfile/font-leading-blank.ini"
printf '[frontend_preferences]\nfont=x\\\\y\n' > "$corpus/optionsfile/font-backslash.ini"

# Scanner lists: the shipped file and rows as the Scanners page saves them.
put scannerlist "$root/data/scanners.txt" shipped-scanners.txt
printf '10:c64:CBM ROM loader\n5:turbo:Turbo Tape 250\n0:novaload:Novaload: special\nx:odd:not a number\n' \
  > "$work/saved-scanners.txt"
put scannerlist "$work/saved-scanners.txt"

# PRGs for the viewers.
for h in hexlisting basiclisting dasm dasmcomment; do
  for p in "$prgs"/*.prg; do put "$h" "$p"; done
done

# Command lines, one argument per NUL-separated piece.
mkdir -p "$corpus/console_options"
printf '%s\0' -t /tapes/game.tap > "$corpus/console_options/test"
printf '%s\0' -tol 7 -doprg -prgunite -o /tapes/game.tap -noc64eof > "$corpus/console_options/clean"
printf '%s\0' -b /tapes -incsubdirs -sortbycrc -doturbo -nopav -noid > "$corpus/console_options/batch"
printf '%s\0' -wav /tapes/game.tap -sine -doc64 -dofoo > "$corpus/console_options/record"

du -sh "$corpus"
