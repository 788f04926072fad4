// Streams against the C and C++ libraries: reading a text file line by line
// (kvfstream::getline against std::getline on an ifstream and an fgets loop)
// and writing in 64 KiB pieces (kvfstream::write against fwrite).
//
// The file size is 100 MB; set KVBENCH_STREAM_MB to another number of
// megabytes, or KVBENCH_QUICK=1 for a short run of 5 MB. The files live in a temporary directory
// that is removed at the end.
#include <kvsupport/kvstream.h>

#include "support/bench_ratio.h"

#include <QDir>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

long long fileBytes()
{
    static const long long bytes = [] {
        const char *mb = std::getenv("KVBENCH_STREAM_MB");
        const char *quick = std::getenv("KVBENCH_QUICK");
        long long fallback = quick != nullptr && std::atoi(quick) != 0 ? 5 : 100;
        long long n = mb != nullptr ? std::atoll(mb) : fallback;
        return (n > 0 ? n : fallback) * 1000 * 1000;
    }();
    return bytes;
}

QTemporaryDir &workDir()
{
    static QTemporaryDir dir(QDir::tempPath() + "/kvbench-stream-XXXXXX");
    return dir;
}

std::string pathOf(const char *name)
{
    return workDir().filePath(name).toStdString();
}

// A netlist-like text file of fileBytes() bytes, made once.
const std::string &textFile()
{
    static const std::string path = [] {
        std::string p = pathOf("lines.cir");
        FILE *f = std::fopen(p.c_str(), "wb");
        long long written = 0;
        char line[256];
        for (long long i = 0; written < fileBytes(); ++i) {
            int n = std::snprintf(line, sizeof line, "R%lld n%lld n%lld %lldk tc1=0.00%lld ; resistor %s\n", i,
                                  i % 997, (i * 7) % 1009, i % 100 + 1, i % 9,
                                  i % 5 == 0 ? "with a longer comment that runs on for a while" : "");
            std::fwrite(line, 1, static_cast<std::size_t>(n), f);
            written += n;
        }
        std::fclose(f);
        return p;
    }();
    return path;
}

void ReadLines_kvfstream(benchmark::State &state)
{
    const std::string &path = textFile();
    for (auto _ : state) {
        kvfstream in(path.c_str(), KvOpenIn | KvOpenBinary);
        YString line;
        long long lines = 0, bytes = 0;
        while (in.getline(&line)) {
            ++lines;
            bytes += line.length();
        }
        benchmark::DoNotOptimize(lines);
        benchmark::DoNotOptimize(bytes);
    }
    state.SetBytesProcessed(state.iterations() * fileBytes());
}

void ReadLines_std_getline(benchmark::State &state)
{
    const std::string &path = textFile();
    for (auto _ : state) {
        std::ifstream in(path, std::ios::binary);
        std::string line;
        long long lines = 0, bytes = 0;
        while (std::getline(in, line)) {
            ++lines;
            bytes += static_cast<long long>(line.size());
        }
        benchmark::DoNotOptimize(lines);
        benchmark::DoNotOptimize(bytes);
    }
    state.SetBytesProcessed(state.iterations() * fileBytes());
}

void ReadLines_fgets(benchmark::State &state)
{
    const std::string &path = textFile();
    for (auto _ : state) {
        FILE *f = std::fopen(path.c_str(), "rb");
        char line[4096];
        long long lines = 0;
        while (std::fgets(line, sizeof line, f) != nullptr)
            ++lines;
        std::fclose(f);
        benchmark::DoNotOptimize(lines);
    }
    state.SetBytesProcessed(state.iterations() * fileBytes());
}

const std::vector<char> &block()
{
    static const std::vector<char> b(65536, 'x');
    return b;
}

void Write64K_kvfstream(benchmark::State &state)
{
    std::string path = pathOf("out-kv.dat");
    for (auto _ : state) {
        kvfstream out(path.c_str(), KvOpenOut | KvOpenBinary);
        for (long long done = 0; done < fileBytes(); done += 65536)
            out.write(block().data(), 65536);
        out.close();
        if (out.writeFailed())
            state.SkipWithError("write failed");
    }
    state.SetBytesProcessed(state.iterations() * fileBytes());
    std::remove(path.c_str());
}

void Write64K_fwrite(benchmark::State &state)
{
    std::string path = pathOf("out-c.dat");
    for (auto _ : state) {
        FILE *f = std::fopen(path.c_str(), "wb");
        for (long long done = 0; done < fileBytes(); done += 65536)
            std::fwrite(block().data(), 1, 65536, f);
        if (std::fclose(f) != 0)
            state.SkipWithError("write failed");
    }
    state.SetBytesProcessed(state.iterations() * fileBytes());
    std::remove(path.c_str());
}

} // namespace

BENCHMARK(ReadLines_kvfstream)->Name("ReadLines/kvfstream")->Unit(benchmark::kMillisecond);
BENCHMARK(ReadLines_std_getline)->Name("ReadLines/std_getline")->Unit(benchmark::kMillisecond);
BENCHMARK(ReadLines_fgets)->Name("ReadLines/fgets")->Unit(benchmark::kMillisecond);
BENCHMARK(Write64K_kvfstream)->Name("Write64K/kvfstream")->Unit(benchmark::kMillisecond);
BENCHMARK(Write64K_fwrite)->Name("Write64K/fwrite")->Unit(benchmark::kMillisecond);

KVBENCH_MAIN("kvfstream")
