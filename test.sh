#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test headless: first the
# normal build, then the AddressSanitizer + UndefinedBehaviorSanitizer build,
# then (when clang++ is there) a short run of every fuzz harness.
set -uo pipefail
cd "$(dirname "$0")"
./scripts/ensure-deps.sh || exit 1

jobs=${QM_JOBS:-2}
failed=0

run_suite() {   # build-folder, extra cmake arguments...
  local dir=$1; shift
  cmake -S . -B "$dir" "$@" >/dev/null || return 1
  cmake --build "$dir" -j"$jobs" || return 1
  # One virtual display for the whole run; the GUI tests open real windows on
  # it. -noreset keeps the server up between two tests (no reset, no refused
  # connection).
  xvfb-run -a -s "-screen 0 1280x1024x24 -noreset" \
    ctest --test-dir "$dir" --output-on-failure -j"$jobs"
}

echo "=== Build and test ==="
# Release: the optimiser at -O3 sees the most (and raises the most warnings);
# the sanitizer build below covers Debug.
run_suite build -DCMAKE_BUILD_TYPE=Release -DQM_WERROR=ON || failed=1

echo "=== Sanitizer build (AddressSanitizer + UndefinedBehaviorSanitizer) and test ==="
run_suite build-asan -DCMAKE_BUILD_TYPE=Debug -DQM_SANITIZE=ON -DQM_WERROR=ON || failed=1

if command -v clang++ >/dev/null; then
  echo "=== Fuzz harnesses (libFuzzer), a short run each ==="
  if cmake -S . -B build-fuzz -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang -DQM_FUZZ=ON \
       -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQM_WERROR=ON >/dev/null &&
     cmake --build build-fuzz -j"$jobs" --target fuzzers; then
    fuzz/run-short.sh build-fuzz || failed=1
  else
    failed=1
  fi
else
  echo "=== Fuzz harnesses skipped: no clang++ ==="
fi

exit $failed
