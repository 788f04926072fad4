#!/usr/bin/env bash
# Builds kvtool and runs it on the bundled samples, one capability after the
# other.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
ninja -C build kvtool
kvtool=build/tools/kvtool/kvtool
run() { printf '\n$ kvtool %s\n' "$*"; "$kvtool" "$@" || echo "(exit code $?)"; }
section() { printf '\n\n##### %s\n' "$*"; }

"$kvtool" --version
run --help

section "Typed printf: every argument knows its type; wrong ones give placeholders"
run printf "%s: %d nodes, %.3g s" "ring oscillator" 42 1.5e-9
run printf "%d is read as an integer by atoi" "42abc"
run printf "%d %d" 1
run printf "%p and %y" 1 2
run printf "%I64d fits, %d is clamped" 5000000000 5000000000

section "Engineering numbers"
run eng 4k7 10meg 1.5e-9 22nF 0.1 2.2u 100MEG abc
run eng --format 0.0000047 --width 8

section "Tokens of a netlist line"
run tokens "R1 in out 4k7 ; load resistor"
run tokens --flat "V1 1 0 PULSE(0 5 1n 1n 1n 10u 20u)"

section "Paths and patterns"
run path split /home/user/designs/amp.cir
run path relative /home/user/lib/models.lib /home/user/designs
run path match "*.cir" amp.cir amp.net ring.CIR
run path clean "/home/user/./designs/../lib//models.lib"

section "Netlists in the three dialects, read as logical statements"
run netlist samples/netlists/opamp_kelvoran.net
run netlist samples/netlists/pspice_rc.cir
run netlist samples/netlists/hspice_param.sp
run netlist --summary samples/netlists/various_transformers1.cir
run netlist /nonexistent/missing.cir

section "Text encodings of the bundled samples"
for f in samples/netlists/*; do
  [ -f "$f" ] && run utf8 "$f"
done

section "Streams: lines of a sample file through kvfstream"
first=$(ls samples/netlists/* 2>/dev/null | head -n 1 || true)
[ -n "$first" ] && run stream lines "$first" | head -n 12

section "File locks and open-failure diagnosis"
run openfail /nonexistent/dir/file.txt read
[ -n "$first" ] && run openfail "$first" read
run openfail /nonexistent/dir/new.cir new

section "System information"
run sysinfo
