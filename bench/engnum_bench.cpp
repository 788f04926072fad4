// The engineering-number parser against the C library's strtod and
// std::from_chars. Each iteration reads a million values: the library reads
// the engineering texts ("4k7", "10meg", "1.5e-9", "22nF", "0.1"), and the
// peers read the same numbers written plainly ("4700", "10000000", ...),
// which is the most they can be asked to do. A second case gives all three
// the same plain texts.
#include "support/bench_ratio.h"

#include <kvsupport/engnum.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

const int kValues = 1000000;

// A million texts cycling through the samples, each its own string so that
// the reads touch memory as a netlist reader's would.
std::vector<std::string> makeTexts(const char *const *samples, int count)
{
    std::vector<std::string> texts;
    texts.reserve(kValues);
    for (int i = 0; i < kValues; ++i)
        texts.emplace_back(samples[i % count]);
    return texts;
}

const char *const kEngineering[] = {"4k7", "10meg", "1.5e-9", "22nF", "0.1"};
const char *const kPlain[] = {"4700", "10000000", "1.5e-9", "22e-9", "0.1"};

const std::vector<std::string> &engineeringTexts()
{
    static const std::vector<std::string> t = makeTexts(kEngineering, 5);
    return t;
}

const std::vector<std::string> &plainTexts()
{
    static const std::vector<std::string> t = makeTexts(kPlain, 5);
    return t;
}

void readEng(benchmark::State &state, const std::vector<std::string> &texts)
{
    for (auto _ : state) {
        double sum = 0;
        for (const std::string &t : texts)
            sum += sp_ConvertEngToReal(t.c_str(), nullptr);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kValues);
}

void readStrtod(benchmark::State &state, const std::vector<std::string> &texts)
{
    for (auto _ : state) {
        double sum = 0;
        for (const std::string &t : texts)
            sum += std::strtod(t.c_str(), nullptr);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kValues);
}

void readFromChars(benchmark::State &state, const std::vector<std::string> &texts)
{
    for (auto _ : state) {
        double sum = 0;
        for (const std::string &t : texts) {
            double v = 0;
            std::from_chars(t.data(), t.data() + t.size(), v);
            sum += v;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kValues);
}

void BM_MixedKv(benchmark::State &state) { readEng(state, engineeringTexts()); }
void BM_MixedStrtod(benchmark::State &state) { readStrtod(state, plainTexts()); }
void BM_MixedFromChars(benchmark::State &state) { readFromChars(state, plainTexts()); }
void BM_PlainKv(benchmark::State &state) { readEng(state, plainTexts()); }
void BM_PlainStrtod(benchmark::State &state) { readStrtod(state, plainTexts()); }
void BM_PlainFromChars(benchmark::State &state) { readFromChars(state, plainTexts()); }

} // namespace

BENCHMARK(BM_MixedKv)->Name("mixed_million/kvsupport")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MixedStrtod)->Name("mixed_million/strtod")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MixedFromChars)->Name("mixed_million/from_chars")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlainKv)->Name("plain_million/kvsupport")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlainStrtod)->Name("plain_million/strtod")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlainFromChars)->Name("plain_million/from_chars")->Unit(benchmark::kMillisecond);

KVBENCH_MAIN("kvsupport")
