#!/usr/bin/env bash
# Installs what is missing, builds, and opens the front end.
#   ./run.sh           on the current display
#   ./run.sh --xvfb    on a virtual display (no window to see; for checks)
set -euo pipefail
cd "$(dirname "$0")"
./scripts/ensure-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DQM_WERROR=ON >/dev/null
cmake --build build -j"${QM_JOBS:-2}"

# The front end runs with the build folder as its working folder, which is
# also where it looks for the console program at start-up.
export TAPHOME=${TAPHOME:-$PWD/build/samples}
cd build
if [[ "${1:-}" == "--xvfb" ]]; then
  exec xvfb-run -a -s "-screen 0 1280x1024x24" ./quillmarfe
fi
if [[ -z "${DISPLAY:-}" ]]; then
  echo "run.sh: no display available (DISPLAY is not set)." >&2
  echo "Start it from a graphical session, or use './run.sh --xvfb' to run it on a virtual display." >&2
  exit 1
fi
exec ./quillmarfe
