#!/usr/bin/env bash
# Builds the fuzz targets with clang's libFuzzer, AddressSanitizer and UndefinedBehaviorSanitizer
# into build-fuzz/ and runs one target, or every target in turn, from its seed corpus.
#
#   scripts/fuzz.sh --list                      the targets and their seed corpora
#   scripts/fuzz.sh [TARGET] [--runs N | --seconds S] [--jobs J]
#
# Default: every target, 1000000 inputs each. Per target it prints the inputs run, the seconds,
# the coverage (edges) and the crashes found. Inputs that crash are kept in
# build-fuzz/findings/TARGET/; copy each into the target's fuzz/reproducers/TARGET/ folder with
# its fix, and the ordinary test suite replays it from then on. The corpus grown by a run stays
# in build-fuzz/corpus/TARGET/ for the next run.
set -euo pipefail
cd "$(dirname "$0")/.."

list=0
target=""
runs=1000000
seconds=""
while [[ $# -gt 0 ]]; do
  case "$1" in
    --list) list=1 ;;
    --runs) runs="$2"; seconds=""; shift ;;
    --seconds) seconds="$2"; shift ;;
    --help|-h) sed -n '2,13p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    -*) echo "fuzz.sh: unknown option: $1" >&2; exit 2 ;;
    *) target="$1" ;;
  esac
  shift
done

need=()
command -v clang++ >/dev/null || need+=(clang)
[[ -n $(ls /usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a 2>/dev/null) ]] ||
  need+=(libclang-rt-14-dev)
if [[ ${#need[@]} -gt 0 ]]; then
  echo "Installing: ${need[*]}" >&2
  sudo=(); [[ $(id -u) -ne 0 ]] && sudo=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${sudo[@]}" apt-get update -qq </dev/null
  "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${need[@]}" </dev/null >/dev/null
fi
scripts/install-deps.sh

CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DQEL_FUZZ=ON -DQEL_BUILD_TESTS=OFF -DQEL_BUILD_BENCHMARKS=OFF >/dev/null
mapfile -t rows < build-fuzz/fuzz_targets.txt
if [[ $list -eq 1 ]]; then
  for row in "${rows[@]}"; do IFS=$'\t' read -r name corpus _ <<<"$row"; echo -e "$name\t$corpus"; done
  exit 0
fi

selected=()
for row in "${rows[@]}"; do
  IFS=$'\t' read -r name _ _ <<<"$row"
  [[ -z "$target" || "$target" == "$name" ]] && selected+=("$row")
done
if [[ ${#selected[@]} -eq 0 ]]; then
  echo "fuzz.sh: no target named $target (see --list)" >&2
  exit 2
fi
names=()
for row in "${selected[@]}"; do IFS=$'\t' read -r name _ _ <<<"$row"; names+=("$name"); done
cmake --build build-fuzz --target "${names[@]}" qel_all_modules >/dev/null

printf '%-28s %12s %9s %9s %8s\n' target inputs seconds coverage crashes
status=0
for row in "${selected[@]}"; do
  IFS=$'\t' read -r name corpus reproducers <<<"$row"
  work=build-fuzz/corpus/$name
  findings=build-fuzz/findings/$name
  mkdir -p "$work" "$findings"
  [[ -d "$corpus" ]] && cp -n "$corpus"/* "$work"/ 2>/dev/null || true
  [[ -d "$reproducers" ]] && cp -n "$reproducers"/* "$work"/ 2>/dev/null || true
  limit=(-runs="$runs")
  [[ -n "$seconds" ]] && limit=(-max_total_time="$seconds")
  log=build-fuzz/$name.log
  start=$(date +%s.%N)
  # Leaks are the sanitizer build's job; a fuzz run goes on after a crash to find more.
  ASAN_OPTIONS=detect_leaks=0:abort_on_error=0 \
    "build-fuzz/fuzz/$name" "${limit[@]}" -print_final_stats=1 -close_fd_mask=3 \
    -artifact_prefix="$findings/" -timeout=10 -rss_limit_mb=4096 "$work" >"$log" 2>&1 || true
  end=$(date +%s.%N)
  executed=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' | tail -1)
  coverage=$(grep -o 'cov: [0-9]*' "$log" | tail -1 | grep -o '[0-9]*')
  crashes=$(find "$findings" -type f | wc -l)
  printf '%-28s %12s %9.1f %9s %8s\n' "$name" "${executed:-?}" "$(awk -v a="$start" -v b="$end" 'BEGIN { print b - a }')" \
    "${coverage:-?}" "$crashes"
  [[ $crashes -gt 0 ]] && status=1
done
exit $status
