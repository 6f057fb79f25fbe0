#!/usr/bin/env bash
# Installs the Debian packages the build needs, when any is missing. Quiet when all are there.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  libexpat1-dev zlib1g-dev libboost-dev
  libjack-jackd2-dev libasound2-dev
  # The windows: Qt 6 widgets and the loader of Designer files (which needs the OpenGL widgets).
  qt6-base-dev qt6-tools-dev libqt6opengl6-dev libgl-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  python3 libxml2-utils
  # Independent tools that make and check test files, and the references of the benchmarks.
  sox sndfile-programs libsndfile1-dev libsamplerate0-dev python3-mido midicsv
  # A real JACK server for the tests of the driver layer, a real X server for widget tests.
  jackd2 xvfb xauth
)

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$package")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

echo "Installing: ${missing[*]}" >&2
sudo=()
if [[ $(id -u) -ne 0 ]]; then
  command -v sudo >/dev/null || { echo "Run as root or install sudo to add: ${missing[*]}" >&2; exit 1; }
  sudo=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq </dev/null
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null >/dev/null
