// Tokenizing a large netlist-like text with the scanner, against plain C
// loops over the same text (strtok_r for tokens, memchr for lines).
//
// Cases:
//   tokens/...  every token of every line, separators " \t\n=(),"; the peers
//               are strtok_r over a private copy, giving pointers only, and
//               strtok_r building a std::string per token (the scanner
//               builds a YString per token).
//   lines/...   every line, cut in place at '\n'; the peer is a memchr loop.
#include <kvsupport/scan.h>

#include "support/bench_ratio.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

const char *const kDelimiters = " \t\n=(),";

// About 1.5 MB of netlist lines.
const std::string &sampleText()
{
    static const std::string text = [] {
        static const char *const lines[] = {
            "R1 9 21 4.7K\n",
            "Q4 25 2 3 QP\n",
            ".model swswitch sw (vt=1 vh=0.1 ron=1k roff=1e12)\n",
            "XX4 N003 N004 VDD 0 inverter\n",
            "C1 p1 0    {2*cval}\n",
            "vgen 1 0 dc 0 ac 1 portnum 1\n",
            ".tran 0.1n 200n 0 0.1n uic\n",
            "+ is=1e-15 bf=120 vaf=80 cje=2p tf=0.3n\n",
        };
        std::string t;
        while (t.size() < 1500000)
            for (const char *l : lines)
                t += l;
        return t;
    }();
    return text;
}

void tokensScanner(benchmark::State &state)
{
    const std::string &text = sampleText();
    for (auto _ : state) {
        std::size_t tokens = 0, bytes = 0;
        const char *cursor = text.c_str();
        while (*cursor != 0) {
            YString token = sp_GetToken(&cursor, kDelimiters, nullptr, nullptr, false);
            bytes += static_cast<std::size_t>(token.length());
            ++tokens;
        }
        benchmark::DoNotOptimize(tokens);
        benchmark::DoNotOptimize(bytes);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}

template <bool BuildStrings> void tokensStrtok(benchmark::State &state)
{
    const std::string &text = sampleText();
    std::vector<char> copy(text.size() + 1);
    for (auto _ : state) {
        std::memcpy(copy.data(), text.c_str(), text.size() + 1);
        std::size_t tokens = 0, bytes = 0;
        char *save = nullptr;
        for (char *t = strtok_r(copy.data(), kDelimiters, &save); t != nullptr;
             t = strtok_r(nullptr, kDelimiters, &save)) {
            if (BuildStrings) {
                std::string token(t);
                bytes += token.size();
            } else {
                bytes += std::strlen(t);
            }
            ++tokens;
        }
        benchmark::DoNotOptimize(tokens);
        benchmark::DoNotOptimize(bytes);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}

void linesScanner(benchmark::State &state)
{
    const std::string &text = sampleText();
    std::vector<char> copy(text.size() + 1);
    for (auto _ : state) {
        std::memcpy(copy.data(), text.c_str(), text.size() + 1);
        std::size_t lines = 0;
        char *cursor = copy.data();
        while (char *line = sp_ScanLine(&cursor, '\n')) {
            benchmark::DoNotOptimize(line);
            ++lines;
        }
        benchmark::DoNotOptimize(lines);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}

void linesMemchr(benchmark::State &state)
{
    const std::string &text = sampleText();
    std::vector<char> copy(text.size() + 1);
    for (auto _ : state) {
        std::memcpy(copy.data(), text.c_str(), text.size() + 1);
        std::size_t lines = 0;
        char *p = copy.data();
        char *end = p + text.size();
        while (p < end) {
            char *nl = static_cast<char *>(std::memchr(p, '\n', static_cast<std::size_t>(end - p)));
            if (nl == nullptr)
                nl = end;
            *nl = 0;
            benchmark::DoNotOptimize(p);
            ++lines;
            p = nl + 1;
        }
        benchmark::DoNotOptimize(lines);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}

} // namespace

BENCHMARK(tokensScanner)->Name("tokens/kvsupport");
BENCHMARK(tokensStrtok<false>)->Name("tokens/strtok_r");
BENCHMARK(tokensStrtok<true>)->Name("tokens/strtok_r+string");
BENCHMARK(linesScanner)->Name("lines/kvsupport");
BENCHMARK(linesMemchr)->Name("lines/memchr");

KVBENCH_MAIN("kvsupport")
