#!/usr/bin/env bash
# Renews the pictures under docs/screenshots/ (the README's tour and the
# software-centre listing) from the GUI tests that take them: the real window
# testing a sample tape with the real console program, on a virtual display.
# Run after ./test.sh (or any build in build/); commit the changed pictures.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
[[ -x "$build/tests/gui_tests" ]] || { echo "no $build/tests/gui_tests: build first (./test.sh)"; exit 1; }
mkdir -p docs/screenshots
QM_SCREENSHOT_DIR="$PWD/docs/screenshots" xvfb-run -a -s "-screen 0 1280x1024x24" \
  "$build/tests/gui_tests" --gtest_filter='DocScreenshots.*'
ls -l docs/screenshots
