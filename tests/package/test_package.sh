#!/usr/bin/env bash
# The Debian package, built from this build and installed into a staging
# root, works as an installed program: its control data and file list are
# right, quillmarfe-cli and quillmar run, and the window, started from another
# folder with a sample tape as its argument, tests the tape through the
# installed console program in the user's own console folder.
#
# Usage: test_package.sh BUILD-FOLDER AUTOPILOT-MODULE
set -uo pipefail
build=$1
autopilot=$2

work=$(mktemp -d /tmp/qm-package-XXXXXX)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

echo "--- building the package"
cpack --config "$build/CPackConfig.cmake" -B "$work/pkg" >"$work/cpack.log" 2>&1 ||
  { cat "$work/cpack.log"; fail "cpack"; }
deb=$(ls "$work"/pkg/quillmarfe_*.deb 2>/dev/null | head -1)
[[ -f "$deb" ]] || fail "no quillmarfe_*.deb made"
echo "$(basename "$deb")"

echo "--- control data"
[[ $(dpkg-deb -f "$deb" Package) == quillmarfe ]] || fail "package name"
[[ $(dpkg-deb -f "$deb" Version) == 0.40 ]] || fail "version"
depends=$(dpkg-deb -f "$deb" Depends)
echo "Depends: $depends"
for lib in libgtk2.0-0 libglib2.0-0 zlib1g libc6 libstdc++6; do
  [[ "$depends" == *"$lib"* ]] || fail "Depends lacks $lib"
done

echo "--- file list"
dpkg-deb -c "$deb" | awk '{print $6}' | sed 's|^\./|/|' | grep -v '/$' | sort >"$work/files"
cat "$work/files"
expected=(
  /usr/bin/quillmarfe /usr/bin/quillmarfe-cli /usr/bin/quillmar
  /usr/share/quillmarfe/scanners.txt /usr/share/quillmarfe/samples/two-programs.tap
  /usr/share/doc/quillmarfe/copyright
  /usr/share/applications/org.example.quillmarfe.desktop
  /usr/share/mime/packages/quillmarfe.xml
  /usr/share/metainfo/org.example.quillmarfe.metainfo.xml
  /usr/share/icons/hicolor/16x16/apps/quillmarfe.png
  /usr/share/icons/hicolor/48x48/apps/quillmarfe.png
  /usr/share/icons/hicolor/256x256/apps/quillmarfe.png
  /usr/share/icons/hicolor/scalable/apps/quillmarfe.svg
  /usr/share/man/man1/quillmarfe.1.gz /usr/share/man/man1/quillmarfe-cli.1.gz
  /usr/share/man/man1/quillmar.1.gz
  /usr/share/locale/de/LC_MESSAGES/quillmarfe.mo
)
for f in "${expected[@]}" ${QM_PACKAGE_EXTRA_FILES:-}; do
  grep -qx -- "$f" "$work/files" || fail "the package lacks $f"
done
if grep -E '(tests|bench|qmsampletool|fuzz)' "$work/files"; then fail "test or build tools in the package"; fi

echo "--- installing into a staging root"
root="$work/staging root"
dpkg-deb -x "$deb" "$root" || fail "dpkg-deb -x"
usr="$root/usr"

echo "--- quillmarfe-cli --version"
version=$("$usr/bin/quillmarfe-cli" --version) || fail "quillmarfe-cli --version exited non-zero"
echo "$version"
[[ "$version" == *0.40* ]] || fail "quillmarfe-cli --version does not name 0.40"

echo "--- quillmar -t on a sample"
tapes="$work/tapes 'ü'"
mkdir -p "$tapes"
cp "$usr/share/quillmarfe/samples/two-programs.tap" "$tapes/"
tape="$tapes/two-programs.tap"
before=$(sha256sum <"$tape")
(cd "$work" && "$usr/bin/quillmar" -t "$tape") || fail "quillmar -t exited non-zero"
grep -q "Checksum test     : PASS - 8 of 8" "$usr/bin/qmreport.txt" || fail "the console's report"
[[ $(sha256sum <"$tape") == "$before" ]] || fail "the tape changed"
rm -f "$usr/bin/qmreport.txt"

echo "--- the window, started from another folder"
home="$work/home"
elsewhere="$work/somewhere else"
# A desktop user's home: its configuration folder is there.
mkdir -p "$home/.config" "$elsewhere"
out="$work/window.txt"
(cd "$elsewhere" && timeout 300 env -u XDG_DATA_HOME -u XDG_CONFIG_HOME -u TAPHOME -u LC_ALL HOME="$home" LANG=C.UTF-8 LANGUAGE= \
   GTK_MODULES="$autopilot" QM_AUTOPILOT_OUT="$out" "$usr/bin/quillmarfe" "$tape" \
   >"$work/window.log" 2>&1)
status=$?
cat "$out" 2>/dev/null | head -20
[[ $status -eq 0 ]] || { cat "$work/window.log"; fail "the window ended with $status"; }
grep -q "^prg files: 2$" "$out" || fail "the PRG files list"
grep -q "two-programs.tap" "$out" || fail "the report on show names the tape"
console="$home/.local/share/quillmarfe/console"
[[ -L "$console/quillmar" ]] || fail "no link to the console in $console"
[[ $(readlink "$console/quillmar") == "$usr/bin/quillmar" ]] || fail "the link points to $(readlink "$console/quillmar")"
[[ $(readlink "$console/scanners.txt") == "$usr/share/quillmarfe/scanners.txt" ]] || fail "the scanner list link"
grep -q "Checksum test     : PASS - 8 of 8" "$console/qmreport.txt" || fail "no report in the console folder"
[[ $(ls "$console/prg" | wc -l) -eq 2 ]] || fail "the PRG files are not in the console folder"
[[ ! -e "$usr/bin/qmreport.txt" ]] || fail "the report was written beside the installed program"
[[ -f "$home/.config/quillmarfe/user.ini" ]] || fail "the options file is not in the configuration folder"
[[ -z $(ls -A "$elsewhere") ]] || fail "the working folder got files: $(ls -A "$elsewhere")"
[[ $(sha256sum <"$tape") == "$before" ]] || fail "the tape changed"
grep -q "^test button: Test$" "$out" || fail "the English window"

echo "--- the window in German: the installed catalogue is found beside the program"
(cd "$elsewhere" && timeout 300 env -u XDG_DATA_HOME -u XDG_CONFIG_HOME -u TAPHOME -u LC_ALL -u LC_MESSAGES \
   HOME="$home" LANG=C.UTF-8 LANGUAGE=de \
   GTK_MODULES="$autopilot" QM_AUTOPILOT_OUT="$out" "$usr/bin/quillmarfe" "$tape" \
   >"$work/window.log" 2>&1) || { cat "$work/window.log"; fail "the German window"; }
grep "^test button" "$out"
grep -q "^test button: Testen$" "$out" || fail "the installed window is not in German"
echo "PASS"
