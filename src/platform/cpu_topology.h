// The processor topology as the system reports it: one record per core, in
// the order of their first logical processor, and the number of packages.
// Implemented in posix/.
#ifndef KVSUPPORT_PLATFORM_CPU_TOPOLOGY_H
#define KVSUPPORT_PLATFORM_CPU_TOPOLOGY_H

#include <cstdint>
#include <string>
#include <vector>

namespace kv {
namespace platform {

/// One processor core.
struct ProcessorCore {
    std::uint64_t mask = 0; ///< its logical processors among the first 64
    int logical = 0;        ///< how many logical processors it has
};

/// The cores and the number of packages.
struct ProcessorTopology {
    std::vector<ProcessorCore> cores;
    int packages = 0;
};

/// Reads the topology of the online processors. False if the system does not
/// tell it.
bool readProcessorTopology(ProcessorTopology *out);

/// Number of online logical processors (at least 1).
int onlineProcessorCount();

/// Parses a processor list such as "0-3,8,10-11" into numbers; false if the
/// text is malformed. Exposed for the tests.
bool parseProcessorList(const std::string &text, std::vector<int> *out);

} // namespace platform
} // namespace kv

#endif
