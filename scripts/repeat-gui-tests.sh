#!/usr/bin/env bash
# Runs the window tests N times the way ./test.sh runs them (ctest -j2 on one
# virtual display) and counts the failures of each test, to find tests that
# depend on how fast the machine is.
#
#   scripts/repeat-gui-tests.sh N [REGEX] [--busy] [--build DIR] [--label L]
#
#   REGEX       only the tests whose names match (ctest -R)
#   --busy      keep one core busy the whole time (a second process spinning)
#   --build DIR the build folder (default: build, a Release build as
#               ./test.sh makes it; built first when needed)
#   --label L   another CTest label instead of gui (console, package, ...)
#
# Prints each failing test with its count and exits non-zero on any failure.
# The output of every run that failed is kept in DIR/repeat-logs/.
set -uo pipefail
cd "$(dirname "$0")/.."

usage() { sed -n '5,13p' "$0" | sed 's/^# \{0,1\}//'; exit 2; }

runs=""
regex=""
busy=0
build=build
label=gui
while (($#)); do
  case "$1" in
    --busy) busy=1 ;;
    --build) shift; build=${1:-}; [[ -n "$build" ]] || usage ;;
    --label) shift; label=${1:-}; [[ -n "$label" ]] || usage ;;
    -h|--help) usage ;;
    -*) echo "repeat-gui-tests: unknown option $1" >&2; usage ;;
    *) if [[ -z "$runs" ]]; then runs=$1; elif [[ -z "$regex" ]]; then regex=$1; else usage; fi ;;
  esac
  shift
done
[[ "$runs" =~ ^[1-9][0-9]*$ ]] || usage

./scripts/ensure-deps.sh || exit 1
if [[ ! -f "$build/CMakeCache.txt" ]]; then
  cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQM_WERROR=ON >/dev/null || exit 1
fi
cmake --build "$build" -j"${QM_JOBS:-2}" >/dev/null || { echo "repeat-gui-tests: the build failed" >&2; exit 1; }

busy_pid=""
stop_busy() { [[ -n "$busy_pid" ]] && kill "$busy_pid" 2>/dev/null; busy_pid=""; }
trap stop_busy EXIT
if ((busy)); then
  # One process that never sleeps: the scheduler gives it a whole core.
  bash -c 'while :; do :; done' &
  busy_pid=$!
fi

logs="$build/repeat-logs"
mkdir -p "$logs"
declare -A failures=()
failed_runs=0
ctest_args=(--test-dir "$build" -L "$label" -j2 --output-on-failure)
[[ -n "$regex" ]] && ctest_args+=(-R "$regex")

for ((run = 1; run <= runs; run++)); do
  log="$logs/run-$run.log"
  start=$(date +%s)
  xvfb-run -a -s "-screen 0 1280x1024x24 -noreset" ctest "${ctest_args[@]}" >"$log" 2>&1
  status=$?
  summary=$(grep -E 'tests passed|No tests were found' "$log" | tail -1)
  echo "run $run/$runs: ${summary:-no summary (exit $status)} ($(( $(date +%s) - start )) s)"
  if ((status != 0)); then
    failed_runs=$((failed_runs + 1))
    # ctest lists the failures after "The following tests FAILED:" as
    # "   123 - gui.Suite.Name (Failed)".
    while read -r name; do
      [[ -n "$name" ]] && failures[$name]=$(( ${failures[$name]:-0} + 1 ))
    done < <(sed -n '/The following tests FAILED:/,$p' "$log" | sed -n 's/^[[:space:]]*[0-9]* - \([^ ]*\) .*/\1/p')
    ((${#failures[@]})) || failures["(ctest itself, exit $status)"]=$(( ${failures["(ctest itself, exit $status)"]:-0} + 1 ))
  else
    rm -f "$log"
  fi
done

echo
echo "label $label${regex:+, tests matching $regex}, $runs runs$( ((busy)) && echo ', one core kept busy'): $failed_runs failed"
for name in "${!failures[@]}"; do
  echo "  ${failures[$name]} of $runs  $name"
done | sort -k4
((failed_runs == 0)) || { echo "logs of the failed runs: $logs/"; exit 1; }
exit 0
