// Address-space reservation and page commit, as the platform offers them.
// Used by the reserved-address allocator; implemented in posix/.
#ifndef KVSUPPORT_PLATFORM_MEMORY_PAGES_H
#define KVSUPPORT_PLATFORM_MEMORY_PAGES_H

#include <cstddef>

namespace kv {
namespace platform {

/// Size of a memory page in bytes.
std::size_t pageSize();

/// Line size of the first level-1 data cache, 64 when the system gives none.
int cacheLineSize();

/// Reserves \p bytes of address space with no access; null on failure.
void *reserveAddressSpace(std::size_t bytes);

/// Makes the first \p bytes of a reservation readable and writable; the new
/// pages read as zero. False on failure.
bool commitPages(void *base, std::size_t bytes);

/// Returns a whole reservation to the system.
void releaseAddressSpace(void *base, std::size_t bytes);

/// Ends the process at once after writing \p why to the standard error.
[[noreturn]] void fatalStop(const char *why);

} // namespace platform
} // namespace kv

#endif
