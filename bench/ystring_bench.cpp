// YString against std::string and QString: copy, compare, concatenation
// chains and hashing.
#include "support/bench_ratio.h"

#include <kvsupport/ystring.h>

#include <QHash>
#include <QString>

#include <functional>
#include <string>

namespace {

const char kShort[] = "R12";
const char kLong[] = "XU1.XAMP2.Q_output_stage_transistor_with_a_long_hierarchical_name";

template <typename S> S make(const char *t);
template <> YString make<YString>(const char *t) { return YString(t); }
template <> std::string make<std::string>(const char *t) { return std::string(t); }
template <> QString make<QString>(const char *t) { return QString::fromUtf8(t); }

template <typename S> void copyString(benchmark::State &state)
{
    S source = make<S>(state.range(0) ? kLong : kShort);
    for (auto _ : state) {
        S copy(source);
        benchmark::DoNotOptimize(copy);
    }
}

int compareOf(const YString &a, const YString &b) { return a.compare(b); }
int compareOf(const std::string &a, const std::string &b) { return a.compare(b); }
int compareOf(const QString &a, const QString &b) { return QString::compare(a, b); }

template <typename S> void compareStrings(benchmark::State &state)
{
    S a = make<S>(kLong);
    S b = make<S>("XU1.XAMP2.Q_output_stage_transistor_with_a_long_hierarchical_nam_");
    for (auto _ : state)
        benchmark::DoNotOptimize(compareOf(a, b));
}

void concatYString(benchmark::State &state)
{
    YString a("X1"), b("XAMP"), c("Q3");
    for (auto _ : state) {
        YString s = a & "." & b & "." & c & ".collector";
        benchmark::DoNotOptimize(s);
    }
}

void concatStdString(benchmark::State &state)
{
    std::string a("X1"), b("XAMP"), c("Q3");
    for (auto _ : state) {
        std::string s = a + "." + b + "." + c + ".collector";
        benchmark::DoNotOptimize(s);
    }
}

void concatQString(benchmark::State &state)
{
    QString a("X1"), b("XAMP"), c("Q3");
    for (auto _ : state) {
        QString s = a + QLatin1String(".") + b + QLatin1String(".") + c + QLatin1String(".collector");
        benchmark::DoNotOptimize(s);
    }
}

void hashYString(benchmark::State &state)
{
    YString s(kLong);
    for (auto _ : state)
        benchmark::DoNotOptimize(s.hashValue());
}

void hashStdString(benchmark::State &state)
{
    std::string s(kLong);
    std::hash<std::string> h;
    for (auto _ : state)
        benchmark::DoNotOptimize(h(s));
}

void hashQString(benchmark::State &state)
{
    QString s(kLong);
    for (auto _ : state)
        benchmark::DoNotOptimize(qHash(s));
}

} // namespace

BENCHMARK_TEMPLATE(copyString, YString)->Name("copy/YString")->Arg(0)->Arg(1);
BENCHMARK_TEMPLATE(copyString, std::string)->Name("copy/std::string")->Arg(0)->Arg(1);
BENCHMARK_TEMPLATE(copyString, QString)->Name("copy/QString")->Arg(0)->Arg(1);
BENCHMARK_TEMPLATE(compareStrings, YString)->Name("compare/YString");
BENCHMARK_TEMPLATE(compareStrings, std::string)->Name("compare/std::string");
BENCHMARK_TEMPLATE(compareStrings, QString)->Name("compare/QString");
BENCHMARK(concatYString)->Name("concat/YString");
BENCHMARK(concatStdString)->Name("concat/std::string");
BENCHMARK(concatQString)->Name("concat/QString");
BENCHMARK(hashYString)->Name("hashValue/YString");
BENCHMARK(hashStdString)->Name("hashValue/std::string");
BENCHMARK(hashQString)->Name("hashValue/QString");

KVBENCH_MAIN("YString")
