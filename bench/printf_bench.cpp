// sp_sprintf with one to four typed arguments against snprintf on the same
// formats and values.
#include "support/bench_ratio.h"

#include <kvsupport/printf.h>

#include <cstdio>

namespace {

void args1Typed(benchmark::State &state)
{
    char b[128];
    for (auto _ : state) {
        sp_sprintf(b, sizeof b, "R%d", PrintfArg(4700));
        benchmark::DoNotOptimize(b);
    }
}

void args1C(benchmark::State &state)
{
    char b[128];
    for (auto _ : state) {
        std::snprintf(b, sizeof b, "R%d", 4700);
        benchmark::DoNotOptimize(b);
    }
}

void args2Typed(benchmark::State &state)
{
    char b[128];
    for (auto _ : state) {
        sp_sprintf(b, sizeof b, "%s = %g", PrintfArg("vout"), PrintfArg(1.25e-3));
        benchmark::DoNotOptimize(b);
    }
}

void args2C(benchmark::State &state)
{
    char b[128];
    for (auto _ : state) {
        std::snprintf(b, sizeof b, "%s = %g", "vout", 1.25e-3);
        benchmark::DoNotOptimize(b);
    }
}

void args3Typed(benchmark::State &state)
{
    char b[128];
    for (auto _ : state) {
        sp_sprintf(b, sizeof b, "Error : %s at line %d: %s", PrintfArg("netlist.cir"), PrintfArg(42),
                   PrintfArg("unknown model"));
        benchmark::DoNotOptimize(b);
    }
}

void args3C(benchmark::State &state)
{
    char b[128];
    for (auto _ : state) {
        std::snprintf(b, sizeof b, "Error : %s at line %d: %s", "netlist.cir", 42, "unknown model");
        benchmark::DoNotOptimize(b);
    }
}

void args4Typed(benchmark::State &state)
{
    char b[128];
    for (auto _ : state) {
        sp_sprintf(b, sizeof b, ".tran %g %g %g %lld", PrintfArg(1e-9), PrintfArg(1e-6), PrintfArg(0.0),
                   PrintfArg(1000LL));
        benchmark::DoNotOptimize(b);
    }
}

void args4C(benchmark::State &state)
{
    char b[128];
    for (auto _ : state) {
        std::snprintf(b, sizeof b, ".tran %g %g %g %lld", 1e-9, 1e-6, 0.0, 1000LL);
        benchmark::DoNotOptimize(b);
    }
}

} // namespace

BENCHMARK(args1Typed)->Name("1arg/sp_sprintf");
BENCHMARK(args1C)->Name("1arg/snprintf");
BENCHMARK(args2Typed)->Name("2args/sp_sprintf");
BENCHMARK(args2C)->Name("2args/snprintf");
BENCHMARK(args3Typed)->Name("3args/sp_sprintf");
BENCHMARK(args3C)->Name("3args/snprintf");
BENCHMARK(args4Typed)->Name("4args/sp_sprintf");
BENCHMARK(args4C)->Name("4args/snprintf");

KVBENCH_MAIN("sp_sprintf")
