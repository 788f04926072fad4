#!/usr/bin/env bash
# Builds kvsupport and runs every check:
#   1. g++ build with warnings as errors, all unit tests (ctest);
#   2. clang build with warnings as errors, the unit tests again under
#      AddressSanitizer + UndefinedBehaviorSanitizer;
#   3. clang build of the libFuzzer targets, each run briefly on a copy of its
#      seed corpus;
#   4. install into a prefix and build a consumer through find_package and
#      through pkg-config, then run it;
#   5. a short run of every benchmark (it prints the ratios to the peers).
# Set KVSUPPORT_SKIP_BENCH=1 to leave out step 5, KVSUPPORT_FUZZ_SECONDS to
# change the fuzzing time per target (default 20).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
jobs=${KVSUPPORT_JOBS:-$(nproc)}
bash scripts/setup.sh

step() { printf '\n=== %s ===\n' "$*"; }

step "g++ build (warnings are errors) and unit tests"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKVSUPPORT_WERROR=ON >/dev/null
ninja -C build -j "$jobs"
(cd build && ctest --output-on-failure -j "$jobs")

step "clang build (warnings are errors), unit tests under AddressSanitizer and UndefinedBehaviorSanitizer"
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKVSUPPORT_WERROR=ON -DKVSUPPORT_SANITIZE=ON \
      -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DKVSUPPORT_BUILD_BENCH=OFF >/dev/null
ninja -C build-asan -j "$jobs"
(cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure -j "$jobs")

step "fuzzing"
cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKVSUPPORT_WERROR=ON \
      -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DKVSUPPORT_BUILD_FUZZ=ON \
      -DKVSUPPORT_BUILD_TESTS=OFF -DKVSUPPORT_BUILD_BENCH=OFF -DKVSUPPORT_BUILD_TOOLS=OFF >/dev/null
ninja -C build-fuzz -j "$jobs"
for target in build-fuzz/fuzz/*_fuzz; do
  name=$(basename "$target")
  work=$(mktemp -d)
  cp -r "fuzz/corpus/$name/." "$work/" 2>/dev/null || true
  echo "fuzzing $name for ${KVSUPPORT_FUZZ_SECONDS:-20} s"
  "$target" -max_total_time="${KVSUPPORT_FUZZ_SECONDS:-20}" -print_final_stats=0 "$work" 2>&1 | tail -n 2
  rm -rf "$work"
done

step "install, then build a consumer with CMake and with pkg-config"
prefix="$root/build/install-check"
rm -rf "$prefix"
cmake --install build --prefix "$prefix" >/dev/null
cmake -S tests/install_consumer -B build/consumer -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
ninja -C build/consumer
LD_LIBRARY_PATH="$prefix/lib" build/consumer/kvsupport_consumer
PKG_CONFIG_PATH="$prefix/lib/pkgconfig" \
  c++ -std=c++17 tests/install_consumer/main.cpp -o build/consumer/kvsupport_consumer_pc \
  $(PKG_CONFIG_PATH="$prefix/lib/pkgconfig" pkg-config --cflags --libs kvsupport)
LD_LIBRARY_PATH="$prefix/lib" build/consumer/kvsupport_consumer_pc

if [ "${KVSUPPORT_SKIP_BENCH:-0}" != 1 ]; then
  step "benchmarks (short run)"
  # Benchmarks make files, named mutexes and settings like any program: keep
  # them away from the real user's home and runtime directory.
  benchhome=$(mktemp -d)
  export HOME="$benchhome/home" XDG_CONFIG_HOME="$benchhome/config" XDG_RUNTIME_DIR="$benchhome/run" \
         TMPDIR="$benchhome/tmp"
  mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$XDG_RUNTIME_DIR" "$TMPDIR" && chmod 700 "$XDG_RUNTIME_DIR"
  for bench in build/bench/*_bench; do
    echo "--- $(basename "$bench")"
    KVBENCH_QUICK=1 "$bench" --benchmark_min_time=0.02 2>&1 | grep -v '^\*\*\*WARNING' | tail -n 25
  done
  rm -rf "$benchhome"
fi

step "all checks passed"
