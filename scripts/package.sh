#!/usr/bin/env bash
# Builds the Debian package in a Release build folder (build-release) and lists its files:
#   scripts/package.sh            build/qel3plugintesthost_VERSION_amd64.deb
#   scripts/package.sh --install  also installs it with apt-get, runs the installed program over
#                                 the installed examples (--list, --test) and removes it again
# The install check needs root (apt-get).
set -euo pipefail
cd "$(dirname "$0")/.."

build=build-release
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQEL_BUILD_TESTS=OFF \
  -DQEL_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build "$build" --target Qel3PluginTestHost -j"${JOBS:-2}"
(cd "$build" && cpack -G DEB >/dev/null)
package=$(ls "$build"/qel3plugintesthost_*.deb | head -n 1)
echo "package: $package"
dpkg-deb --field "$package" Package Version Architecture Depends Suggests
dpkg-deb -c "$package"

if [[ "${1:-}" == "--install" ]]; then
  DEBIAN_FRONTEND=noninteractive apt-get install -y "./$package"
  status=0
  /usr/bin/Qel3PluginTestHost --list || status=$?
  config=$(mktemp -d)
  /usr/bin/Qel3PluginTestHost --test /usr/lib/qel3 --config-dir "$config" || status=$?
  # Without a mode and with a display the installed program opens its main window from the
  # installed skins (after the splash's few seconds); the window's title proves it.
  if command -v xvfb-run >/dev/null && command -v xwininfo >/dev/null; then
    xvfb-run -a -s "-screen 0 1280x1024x24" bash -c '
      /usr/bin/Qel3PluginTestHost --config-dir "$1" & program=$!
      found=""
      for second in $(seq 1 30); do
        sleep 1
        if xwininfo -root -tree | grep -q "\"Qel3PluginTestHost Standalone\""; then
          found=yes
          break
        fi
      done
      kill "$program"; wait "$program" 2>/dev/null
      if [[ -n "$found" ]]; then echo "main window: open after ${second} s"; else
        echo "main window: did not open" >&2; exit 1; fi' _ "$config/desktop" || status=$?
  fi
  rm -rf "$config"
  DEBIAN_FRONTEND=noninteractive apt-get remove -y qel3plugintesthost
  exit $status
fi
