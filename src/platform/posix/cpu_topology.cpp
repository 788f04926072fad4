// Processor topology on Linux, from /sys/devices/system/cpu.
#include "platform/cpu_topology.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <utility>

namespace kv {
namespace platform {

namespace {

// First line of a small text file, without its line end; false if unreadable.
bool readLine(const std::string &path, std::string *out)
{
    std::FILE *f = std::fopen(path.c_str(), "r");
    if (f == nullptr)
        return false;
    char buffer[4096];
    bool ok = std::fgets(buffer, sizeof buffer, f) != nullptr;
    std::fclose(f);
    if (!ok)
        return false;
    *out = buffer;
    while (!out->empty() && (out->back() == '\n' || out->back() == '\r' || out->back() == ' '))
        out->pop_back();
    return true;
}

bool readInt(const std::string &path, int *out)
{
    std::string text;
    if (!readLine(path, &text) || text.empty())
        return false;
    char *end = nullptr;
    long v = std::strtol(text.c_str(), &end, 10);
    if (*end != 0)
        return false;
    *out = static_cast<int>(v);
    return true;
}

// Reads one decimal number at \p p; false if there is none.
bool takeNumber(const char *&p, int *out)
{
    if (*p < '0' || *p > '9')
        return false;
    long v = 0;
    while (*p >= '0' && *p <= '9' && v < 1000000)
        v = v * 10 + (*p++ - '0');
    *out = static_cast<int>(v);
    return v < 1000000;
}

} // namespace

bool parseProcessorList(const std::string &text, std::vector<int> *out)
{
    out->clear();
    const char *p = text.c_str();
    while (*p != 0) {
        int first = 0;
        int last = 0;
        if (!takeNumber(p, &first))
            return false;
        last = first;
        if (*p == '-') {
            ++p;
            if (!takeNumber(p, &last) || last < first)
                return false;
        }
        for (int i = first; i <= last; ++i)
            out->push_back(i);
        if (*p == ',')
            ++p;
        else if (*p != 0)
            return false;
    }
    return !out->empty();
}

bool readProcessorTopology(ProcessorTopology *out)
{
    const std::string base = "/sys/devices/system/cpu/";
    std::string online;
    std::vector<int> cpus;
    if (!readLine(base + "online", &online) || !parseProcessorList(online, &cpus))
        return false;
    std::map<std::pair<int, int>, std::size_t> coreIndex;
    std::set<int> packages;
    out->cores.clear();
    for (int cpu : cpus) {
        std::string dir = base + "cpu" + std::to_string(cpu) + "/topology/";
        int package = 0;
        int core = cpu;
        if (!readInt(dir + "physical_package_id", &package) || !readInt(dir + "core_id", &core))
            return false;
        packages.insert(package);
        auto key = std::make_pair(package, core);
        auto it = coreIndex.find(key);
        if (it == coreIndex.end()) {
            it = coreIndex.emplace(key, out->cores.size()).first;
            out->cores.emplace_back();
        }
        ProcessorCore &record = out->cores[it->second];
        record.logical += 1;
        if (cpu < 64)
            record.mask |= std::uint64_t(1) << cpu;
    }
    out->packages = static_cast<int>(packages.size());
    return true;
}

int onlineProcessorCount()
{
    long n = sysconf(_SC_NPROCESSORS_ONLN);
    return n > 0 ? static_cast<int>(n) : 1;
}

} // namespace platform
} // namespace kv
