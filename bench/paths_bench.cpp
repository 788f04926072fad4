// The path algebra against Qt's own: splitting a path into its parts
// (QFileInfo), cleaning it (QDir::cleanPath), and making one path relative to
// another (QDir::relativeFilePath).
#include "support/bench_ratio.h"

#include <kvsupport/paths.h>

#include <QDir>
#include <QFileInfo>
#include <QString>

namespace {

const char *const samplePath = "/home/designer/projects/amplifier stage/netlists/output_stage.v2.cir";
const char *const sampleBase = "/home/designer/projects/amplifier stage/models/transistors";

void split_kvsupport(benchmark::State &state)
{
    const YString path(samplePath);
    for (auto _ : state) {
        PathName parts;
        sp_SplitPath(path, &parts);
        benchmark::DoNotOptimize(parts.ext.tocs());
    }
}

void split_qfileinfo(benchmark::State &state)
{
    const QString path = QString::fromUtf8(samplePath);
    for (auto _ : state) {
        QFileInfo info(path);
        QString dir = info.path();
        QString name = info.completeBaseName();
        QString ext = info.suffix();
        benchmark::DoNotOptimize(dir.data());
        benchmark::DoNotOptimize(name.data());
        benchmark::DoNotOptimize(ext.data());
    }
}

void clean_kvsupport(benchmark::State &state)
{
    const YString path("/home/designer/./projects//amplifier stage/../amplifier stage/netlists/x.cir");
    for (auto _ : state)
        benchmark::DoNotOptimize(sp_CleanPath(path).tocs());
}

void clean_qdir(benchmark::State &state)
{
    const QString path = QStringLiteral("/home/designer/./projects//amplifier stage/../amplifier stage/netlists/x.cir");
    for (auto _ : state)
        benchmark::DoNotOptimize(QDir::cleanPath(path).data());
}

// A path that is clean already, the usual case.
void cleanTidy_kvsupport(benchmark::State &state)
{
    const YString path(samplePath);
    for (auto _ : state)
        benchmark::DoNotOptimize(sp_CleanPath(path).tocs());
}

void cleanTidy_qdir(benchmark::State &state)
{
    const QString path = QString::fromUtf8(samplePath);
    for (auto _ : state)
        benchmark::DoNotOptimize(QDir::cleanPath(path).data());
}

void relative_kvsupport(benchmark::State &state)
{
    const YString path(samplePath), base(sampleBase);
    for (auto _ : state)
        benchmark::DoNotOptimize(sp_RelativePath(path, base).tocs());
}

void relative_qdir(benchmark::State &state)
{
    const QDir base(QString::fromUtf8(sampleBase));
    const QString path = QString::fromUtf8(samplePath);
    for (auto _ : state)
        benchmark::DoNotOptimize(base.relativeFilePath(path).data());
}

} // namespace

BENCHMARK(split_kvsupport)->Name("split/kvsupport");
BENCHMARK(split_qfileinfo)->Name("split/qfileinfo");
BENCHMARK(clean_kvsupport)->Name("clean/kvsupport");
BENCHMARK(clean_qdir)->Name("clean/qdir");
BENCHMARK(cleanTidy_kvsupport)->Name("clean_tidy/kvsupport");
BENCHMARK(cleanTidy_qdir)->Name("clean_tidy/qdir");
BENCHMARK(relative_kvsupport)->Name("relative/kvsupport");
BENCHMARK(relative_qdir)->Name("relative/qdir");

KVBENCH_MAIN("kvsupport")
