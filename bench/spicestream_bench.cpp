// SpiceStream over a generated netlist against a plain fgets line loop over
// the same file: the price of logical statements (continuations joined,
// comments stripped, the source text kept) over reading raw lines.
//
// The netlist has one million statements; with KVBENCH_QUICK=1 in the
// environment it has 20000. KVBENCH_NETLIST_STATEMENTS sets another count.
#include <kvsupport/spicestream.h>

#include "support/bench_ratio.h"

#include <QDir>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

long long statementCount()
{
    static const long long count = [] {
        const char *n = std::getenv("KVBENCH_NETLIST_STATEMENTS");
        if (n != nullptr && std::atoll(n) > 0)
            return std::atoll(n);
        const char *quick = std::getenv("KVBENCH_QUICK");
        return quick != nullptr && *quick != 0 && *quick != '0' ? 20000LL : 1000000LL;
    }();
    return count;
}

QTemporaryDir &workDir()
{
    static QTemporaryDir dir(QDir::tempPath() + "/kvbench-netlist-XXXXXX");
    return dir;
}

// Writes one statement of the generated netlist, sometimes with a comment
// line before it, an inline comment, or continuation lines.
void writeStatement(FILE *f, long long i)
{
    if (i % 10 == 0)
        std::fprintf(f, "* block %lld of the generated circuit\n", i / 10);
    switch (i % 4) {
    case 0:
        std::fprintf(f, "R%lld n%lld n%lld %lldk ; load resistor\n", i, i % 997, (i * 7) % 1009, i % 100 + 1);
        break;
    case 1:
        std::fprintf(f, "C%lld n%lld 0 %lldp\n", i, i % 991, i % 47 + 1);
        break;
    case 2:
        std::fprintf(f, "M%lld d%lld g%lld s%lld b nch\n+ w=%lldu l=0.18u\n+ ad=1p as=1p pd=4u ps=4u\n", i,
                     i % 983, i % 977, i % 971, i % 9 + 1);
        break;
    default:
        std::fprintf(f, "X%lld in%lld out%lld amp gain=%lld\n", i, i % 499, i % 503, i % 20 + 1);
        break;
    }
}

const std::string &netlistFile()
{
    static const std::string path = [] {
        std::string p = workDir().filePath("generated.net").toStdString();
        FILE *f = std::fopen(p.c_str(), "wb");
        std::fprintf(f, "Generated benchmark netlist\n*#KELVORAN sep=:\n");
        for (long long i = 0; i < statementCount(); ++i)
            writeStatement(f, i);
        std::fprintf(f, ".end\n");
        std::fclose(f);
        return p;
    }();
    return path;
}

void Netlist_SpiceStream(benchmark::State &state)
{
    const std::string &path = netlistFile();
    long long statements = 0;
    for (auto _ : state) {
        SpiceStream in(path.c_str(), KELVORAN);
        in.readTitle();
        YString line;
        int number = 0;
        bool encrypted = false;
        bool nonAscii = false;
        statements = 0;
        while (in.gets(&line, &number, &encrypted, &nonAscii)) {
            ++statements;
            in.flushBuffer(); // a reader keeps the source text per statement
        }
        benchmark::DoNotOptimize(statements);
    }
    if (statements != statementCount() + 1)
        state.SkipWithError("wrong statement count");
    state.counters["statements/s"] =
        benchmark::Counter(static_cast<double>(statements), benchmark::Counter::kIsIterationInvariantRate);
}

void Netlist_fgets(benchmark::State &state)
{
    const std::string &path = netlistFile();
    long long lines = 0;
    for (auto _ : state) {
        FILE *f = std::fopen(path.c_str(), "rb");
        char line[4096];
        lines = 0;
        while (std::fgets(line, sizeof line, f) != nullptr)
            ++lines;
        std::fclose(f);
        benchmark::DoNotOptimize(lines);
    }
    // The same rate unit as the reader's: statements of the file per second.
    state.counters["statements/s"] = benchmark::Counter(static_cast<double>(statementCount() + 1),
                                                        benchmark::Counter::kIsIterationInvariantRate);
    state.counters["lines"] = static_cast<double>(lines);
}

} // namespace

BENCHMARK(Netlist_SpiceStream)->Name("Netlist/SpiceStream")->Unit(benchmark::kMillisecond);
BENCHMARK(Netlist_fgets)->Name("Netlist/fgets")->Unit(benchmark::kMillisecond);

KVBENCH_MAIN("SpiceStream")
