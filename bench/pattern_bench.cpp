// Wildcard matching over a long list of file names, the job sp_FilterString
// is meant for, against the C library's fnmatch and a precompiled QRegExp in
// wildcard mode; and sp_GlobMatch, looping over texts with one pattern,
// against the precompiled QRegExp search that its rewriting produces.
#include "support/bench_ratio.h"

#include <kvsupport/pattern.h>

#include <QRegExp>
#include <QString>

#include <fnmatch.h>

#include <string>
#include <vector>

namespace {

const std::vector<std::string> &names()
{
    static const std::vector<std::string> list = [] {
        std::vector<std::string> v;
        const char *exts[] = {".cir", ".lib", ".net", ".CIR", ".sp", ".raw"};
        for (int i = 0; i < 1000; ++i)
            v.push_back("design_block_" + std::to_string(i * 7919 % 10007) + "_rev" + std::to_string(i % 13) +
                        exts[i % 6]);
        return v;
    }();
    return list;
}

const char *const listPattern = "design_*_rev1?.cir";

void filterList_kvsupport(benchmark::State &state)
{
    const YString pattern(listPattern);
    for (auto _ : state) {
        int hits = 0;
        for (const std::string &n : names())
            hits += sp_FilterString(n.c_str(), pattern, false);
        benchmark::DoNotOptimize(hits);
    }
}

void filterList_fnmatch(benchmark::State &state)
{
    for (auto _ : state) {
        int hits = 0;
        for (const std::string &n : names())
            hits += fnmatch(listPattern, n.c_str(), FNM_CASEFOLD) == 0;
        benchmark::DoNotOptimize(hits);
    }
}

void filterList_qregexp(benchmark::State &state)
{
    QRegExp rx(QString::fromLatin1(listPattern), Qt::CaseInsensitive, QRegExp::Wildcard);
    for (auto _ : state) {
        int hits = 0;
        for (const std::string &n : names())
            hits += rx.exactMatch(QString::fromUtf8(n.c_str()));
        benchmark::DoNotOptimize(hits);
    }
}

// Many stars against a text they almost match: a naive backtracking matcher
// takes exponential time here.
const std::string &hardText()
{
    static const std::string text(64, 'a');
    return text;
}
const char *const hardPattern = "*a*a*a*a*a*a*a*b";

void manyStars_kvsupport(benchmark::State &state)
{
    const YString pattern(hardPattern);
    for (auto _ : state)
        benchmark::DoNotOptimize(sp_FilterString(hardText().c_str(), pattern, true));
}

void manyStars_fnmatch(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(fnmatch(hardPattern, hardText().c_str(), 0));
}

void globSearch_kvsupport(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(sp_GlobMatch("block_*_rev1?.cir", "design_block_4711_rev12.cir"));
}

void globSearch_qregexp(benchmark::State &state)
{
    QRegExp rx(QStringLiteral("block_(.){1,}_rev1.[.]cir"));
    for (auto _ : state)
        benchmark::DoNotOptimize(rx.indexIn(QStringLiteral("design_block_4711_rev12.cir")));
}

} // namespace

BENCHMARK(filterList_kvsupport)->Name("filter_list/kvsupport");
BENCHMARK(filterList_fnmatch)->Name("filter_list/fnmatch");
BENCHMARK(filterList_qregexp)->Name("filter_list/qregexp");
BENCHMARK(manyStars_kvsupport)->Name("many_stars/kvsupport");
BENCHMARK(manyStars_fnmatch)->Name("many_stars/fnmatch");
BENCHMARK(globSearch_kvsupport)->Name("glob_search/kvsupport");
BENCHMARK(globSearch_qregexp)->Name("glob_search/qregexp");

KVBENCH_MAIN("kvsupport")
