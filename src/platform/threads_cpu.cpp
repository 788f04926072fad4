// Processor counting, affinity and priorities of threads.
#include <kvsupport/threads.h>

#include "platform/cpu_topology.h"
#include "platform/processor_counts.h"
#include "platform/thread_sched.h"

#include <cstdint>
#include <mutex>

namespace {

using kv::platform::ProcessorCounts;

// Counts from the topology records; without a topology every processor
// counts as a core of one package.
ProcessorCounts countProcessors()
{
    kv::platform::ProcessorTopology topology;
    if (kv::platform::readProcessorTopology(&topology))
        return kv::platform::countFromTopology(topology);
    ProcessorCounts c;
    c.logical = c.cores = kv::platform::onlineProcessorCount();
    c.packages = 1;
    return c;
}

// The first 32 cores' processor masks, low 32 bits only; filled once.
struct CoreMaskTable {
    std::uint64_t masks[32] = {};
    std::once_flag filled;
};

CoreMaskTable &coreMasks()
{
    static CoreMaskTable table;
    std::call_once(table.filled, [] {
        kv::platform::ProcessorTopology topology;
        if (!kv::platform::readProcessorTopology(&topology))
            return;
        for (std::size_t i = 0; i < topology.cores.size() && i < 32; ++i)
            table.masks[i] = topology.cores[i].mask & 0xFFFFFFFFu;
    });
    return table;
}

// Nice value standing for each priority class, and back.
constexpr int kNiceRealtime = -20;
constexpr int kNiceIdle = 19;
constexpr int kNiceNormal = 0;

int clampNice(int n)
{
    return n < -20 ? -20 : (n > 19 ? 19 : n);
}

} // namespace

int sp_GetNumCores()
{
    try {
        return countProcessors().cores;
    } catch (...) {
        return kv::platform::onlineProcessorCount();
    }
}

int sp_GetNumLogicalProcessors()
{
    try {
        return countProcessors().logical;
    } catch (...) {
        return 1;
    }
}

int sp_GetNumPhysicalProcessors()
{
    try {
        return countProcessors().packages;
    } catch (...) {
        return 1;
    }
}

void sp_SetThreadAll()
{
    kv::platform::setThreadAffinityAll();
}

void sp_SetThreadCore(int core)
{
    try {
        CoreMaskTable &table = coreMasks();
        int cores;
        try {
            cores = countProcessors().cores;
        } catch (...) {
            cores = kv::platform::onlineProcessorCount();
        }
        if (core < 0 || core >= cores || core >= 32)
            return;
        std::uint32_t mask = static_cast<std::uint32_t>(table.masks[core]);
        if (mask != 0)
            kv::platform::setThreadAffinity(mask);
    } catch (...) {
    }
}

void sp_SetThreadPhysicalProcessor(int package)
{
    ProcessorCounts c;
    try {
        c = countProcessors();
    } catch (...) {
        c.logical = kv::platform::onlineProcessorCount();
        c.packages = 1;
    }
    if (package < 0 || package >= c.packages)
        return;
    std::uint32_t mask = kv::platform::packageAffinityMask(c.logical, c.packages, package);
    if (mask != 0)
        kv::platform::setThreadAffinity(mask);
}

ThreadPriority sp_GetThreadPriority()
{
    int nice = kv::platform::processNice();
    if (nice == kNiceNormal)
        return ThreadPriorityNormal;
    if (nice <= -8)
        return ThreadPriorityHigh;
    if (nice >= 10)
        return ThreadPriorityIdle;
    return ThreadPriorityOther;
}

void sp_SetThreadPriority(ThreadPriority priority)
{
    switch (priority) {
    case ThreadPriorityHigh:
        kv::platform::setProcessNice(kNiceRealtime);
        kv::platform::setThreadNice(clampNice(kv::platform::processNice() - 2));
        break;
    case ThreadPriorityIdle:
        kv::platform::setProcessNice(kNiceIdle);
        kv::platform::setThreadNice(kNiceIdle);
        break;
    case ThreadPriorityNormal:
        kv::platform::setThreadNice(kv::platform::processNice());
        kv::platform::setProcessNice(kNiceNormal);
        break;
    default:
        break;
    }
}
