// Counting of processors from the topology records, and the affinity mask
// of a processor package: pure arithmetic, kept apart so that it can be
// checked on any topology.
#ifndef KVSUPPORT_PLATFORM_PROCESSOR_COUNTS_H
#define KVSUPPORT_PLATFORM_PROCESSOR_COUNTS_H

#include "platform/cpu_topology.h"

#include <cstdint>

namespace kv {
namespace platform {

/// Logical processors, cores and packages.
struct ProcessorCounts {
    int logical = 0;
    int cores = 0;
    int packages = 0;
};

/// One core per record; a core with more than one logical processor counts
/// two (never more); the packages as the topology tells them. No records:
/// all three are 0.
inline ProcessorCounts countFromTopology(const ProcessorTopology &topology)
{
    ProcessorCounts c;
    for (const ProcessorCore &core : topology.cores) {
        c.cores += 1;
        c.logical += core.logical > 1 ? 2 : 1;
    }
    c.packages = topology.cores.empty() ? 0 : topology.packages;
    return c;
}

/// The affinity mask of package \p index: logical/packages low bits, shifted
/// left \p index times by the total number of logical processors (a 32-bit
/// shift whose count is taken modulo 32). Not the per-package width: index 1
/// of two packages leaves the first package's width unused.
inline std::uint32_t packageAffinityMask(int logical, int packages, int index)
{
    if (packages <= 0 || logical <= 0 || index < 0)
        return 0;
    int perPackage = logical / packages;
    std::uint32_t mask = perPackage >= 32 ? 0xFFFFFFFFu : (std::uint32_t(1) << perPackage) - 1;
    unsigned shift = static_cast<unsigned>(logical) % 32;
    for (int i = 0; i < index; ++i)
        mask <<= shift;
    return mask;
}

} // namespace platform
} // namespace kv

#endif
