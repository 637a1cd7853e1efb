#!/usr/bin/env bash
# Shared by run-short.sh and run-long.sh: runs each harness in BUILD_DIR/fuzz
# for SECONDS on a copy of fuzz/corpus/<harness>, prints "NAME: ok, N runs"
# or "NAME: FAILED ...", and ends with "N passed, M failed".
# Usage: fuzz/run-harnesses.sh BUILD_DIR SECONDS short|long [HARNESS...]
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$1 seconds=$2 mode=$3
shift 3
harnesses=("$@")
if ((${#harnesses[@]} == 0)); then
  harnesses=($(sed -n '/^set(QM_FUZZERS/,/)/p' "$here/CMakeLists.txt" | sed -e 's/set(QM_FUZZERS//' -e 's/)//'))
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The harnesses' own temporary folders go in here too, so that one left by a
# crash (no clean-up at exit) goes with it.
export TMPDIR=$work
# Leaks are not looked for: GLib keeps caches for the life of the process.
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=0:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

passed=0 failed=0
for h in "${harnesses[@]}"; do
  bin=$build/fuzz/fuzz_$h
  if [[ ! -x $bin ]]; then
    echo "$h: FAILED (no harness $bin)"
    failed=$((failed + 1))
    continue
  fi
  if [[ $mode == long ]]; then
    corpus=$build/fuzz-long/$h
    mkdir -p "$corpus"
  else
    corpus=$work/corpus-$h
    mkdir -p "$corpus"
  fi
  cp -n "$here/corpus/$h"/* "$corpus/" 2>/dev/null || true
  artifacts=$work/artifacts-$h/
  mkdir -p "$artifacts"
  log=$work/$h.log
  dict=()
  [[ -f $here/dict/$h.dict ]] && dict=(-dict="$here/dict/$h.dict")
  # Short runs start from a fixed seed, so that a run in CI repeats what a
  # developer's run of the same tree explored (as far as time allows).
  seed=()
  [[ $mode == short ]] && seed=(-seed=1)
  "$bin" -max_total_time="$seconds" -max_len=16384 -timeout=20 -rss_limit_mb=4096 -close_fd_mask=1 \
    -print_final_stats=1 -artifact_prefix="$artifacts" "${seed[@]}" "${dict[@]}" "$corpus" >"$log" 2>&1
  rc=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  cov=$(grep -o 'cov: [0-9]*' "$log" | tail -1)
  if ((rc == 0)); then
    echo "$h: ok, ${runs:-?} runs in ${seconds} s (${cov:-cov: ?})"
    passed=$((passed + 1))
  else
    kept=$build/fuzz-failures/$h
    mkdir -p "$kept"
    cp "$artifacts"* "$kept/" 2>/dev/null || true
    echo "$h: FAILED (exit $rc) after ${runs:-?} runs; input kept in $kept"
    grep -E 'invariant failed|ERROR: |runtime error|SUMMARY' "$log" | head -5 | sed 's/^/    /'
    failed=$((failed + 1))
  fi
done
echo "$passed passed, $failed failed"
((failed == 0))
