#!/usr/bin/env bash
# Sets up a fresh machine, builds the program and the example plug-ins, and runs the conformity
# suite over the bundled examples. With --windows it opens the program's windows instead (a
# display is needed); other arguments go to the program instead of the default job.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DQEL_BUILD_TESTS=OFF \
  -DQEL_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build build --parallel

if [[ "${1:-}" == "--windows" ]]; then
  if [[ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]]; then
    echo "run.sh: --windows needs a display (DISPLAY or WAYLAND_DISPLAY)" >&2
    exit 2
  fi
  exec build/bin/Qel3PluginTestHost
fi
if [[ $# -gt 0 ]]; then
  exec build/bin/Qel3PluginTestHost "$@"
fi
build/bin/Qel3PluginTestHost --list build/bin/QEL3
exec build/bin/Qel3PluginTestHost --test build/bin/QEL3 --log build/AutotestLog.txt
