#!/usr/bin/env bash
# Builds kvtool and runs it on the bundled samples.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
ninja -C build kvtool
kvtool=build/tools/kvtool/kvtool
run() { printf '\n$ kvtool %s\n' "$*"; "$kvtool" "$@" || true; }

"$kvtool" --version
run --help
run printf "%s: %d nodes, %.3g s" "ring oscillator" 42 1.5e-9
run printf "%d is read as an integer by atoi" "42abc"
run printf "%d %d" 1
run printf "%p and %y" 1 2
run printf "%I64d fits, %d is clamped" 5000000000 5000000000
