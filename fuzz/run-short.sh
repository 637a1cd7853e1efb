#!/usr/bin/env bash
# Runs every fuzz harness of BUILD_DIR (configured with -DQM_FUZZ=ON, target
# "fuzzers" built) for a short fixed time on a copy of its seed corpus, so
# the committed corpus never changes. One line per harness with the runs
# done; a harness that stops on a crash or a failed invariant fails, and its
# input is kept in BUILD_DIR/fuzz-failures/<harness>/.
# Usage: fuzz/run-short.sh BUILD_DIR [SECONDS_PER_HARNESS]   (default 8)
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=${1:?usage: fuzz/run-short.sh BUILD_DIR [SECONDS]}
build=$(cd "$build" && pwd)
seconds=${2:-8}
exec "$here/run-harnesses.sh" "$build" "$seconds" short
