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
dpkg-deb --info "$package" | sed -n '/Package:/,/Description:/p'
dpkg-deb -c "$package"

if [[ "${1:-}" == "--install" ]]; then
  DEBIAN_FRONTEND=noninteractive apt-get install -y "./$package"
  status=0
  /usr/bin/Qel3PluginTestHost --list || status=$?
  config=$(mktemp -d)
  /usr/bin/Qel3PluginTestHost --test /usr/lib/qel3 --config-dir "$config" || status=$?
  rm -rf "$config"
  DEBIAN_FRONTEND=noninteractive apt-get remove -y qel3plugintesthost
  exit $status
fi
