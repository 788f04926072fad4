// Runs the registered benchmarks and prints, at the end, the ratio of the
// library's time to each peer's time for every case.
//
// Name benchmarks "<case>/<implementation>"; the implementation named in
// KVBENCH_MAIN is the library's own, every other one on the same case is a
// peer. A ratio below 1 means the library is faster.
#ifndef KVBENCH_BENCH_RATIO_H
#define KVBENCH_BENCH_RATIO_H

#include <benchmark/benchmark.h>

namespace kvbench {

/// Runs all benchmarks and prints the ratio table; returns the exit code.
int runAndReport(int argc, char **argv, const char *ours);

} // namespace kvbench

#define KVBENCH_MAIN(ours)                                                                         \
    int main(int argc, char **argv) { return ::kvbench::runAndReport(argc, argv, ours); }

#endif
