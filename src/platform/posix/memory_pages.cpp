// Page reservation and commit on Linux: mmap(PROT_NONE) for the reservation,
// mprotect(PROT_READ|PROT_WRITE) for the committed prefix.
#include "platform/memory_pages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace kv {
namespace platform {

std::size_t pageSize()
{
    static const std::size_t size = [] {
        long v = sysconf(_SC_PAGESIZE);
        return v > 0 ? static_cast<std::size_t>(v) : std::size_t(4096);
    }();
    return size;
}

int cacheLineSize()
{
    long v = sysconf(_SC_LEVEL1_DCACHE_LINESIZE);
    return v > 0 ? static_cast<int>(v) : 64;
}

void *reserveAddressSpace(std::size_t bytes)
{
    if (bytes == 0)
        return nullptr;
    void *p = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return p == MAP_FAILED ? nullptr : p;
}

bool commitPages(void *base, std::size_t bytes)
{
    return base != nullptr && mprotect(base, bytes, PROT_READ | PROT_WRITE) == 0;
}

void releaseAddressSpace(void *base, std::size_t bytes)
{
    if (base != nullptr && bytes != 0)
        munmap(base, bytes);
}

void fatalStop(const char *why)
{
    std::fprintf(stderr, "kvsupport: fatal: %s\n", why);
    std::fflush(stderr);
    std::abort();
}

} // namespace platform
} // namespace kv
