#!/usr/bin/env bash
# Runs every fuzz harness long (default 300 s each) on a copy of its seed
# corpus and prints the runs done per harness; inputs that grew coverage are
# left in BUILD_DIR/fuzz-long/<harness>/ for a look (not committed).
# Usage: fuzz/run-long.sh [SECONDS_PER_HARNESS] [BUILD_DIR]   (default: 300, build-fuzz)
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
seconds=${1:-300}
build=${2:-$(dirname "$here")/build-fuzz}
build=$(cd "$build" && pwd)
exec "$here/run-harnesses.sh" "$build" "$seconds" long
