#!/usr/bin/env bash
# Writes one picture per window of the program over the example plug-ins into
# build/screenshots/, under a virtual X server, so that a person can look at each window.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DQEL_BUILD_TESTS=OFF \
  -DQEL_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build build --target qel_screenshots Qel3PluginTestHost >/dev/null
rm -rf build/screenshots
# The program's skins are found beside the screenshot tool's program folder.
xvfb-run -a -s "-screen 0 1600x1000x24" env QT_QPA_PLATFORM=xcb \
  build/bin/qel_screenshots build/screenshots build/bin/QEL3
