// The tmalloc family, the aligned allocators and the reserved-address block.
#include <kvsupport/memory.h>

#include "platform/memory_pages.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <set>

void *tmalloc(unsigned int size)
{
    if (size == 0)
        return nullptr;
    return std::calloc(1, size);
}

void *trealloc(void *p, unsigned int size)
{
    if (size == 0) {
        std::free(p);
        return nullptr;
    }
    if (p == nullptr)
        return tmalloc(size);
    return std::realloc(p, size);
}

void txfree(void *p)
{
    std::free(p);
}

namespace {

// The caller's pointer lies k bytes into the heap block, 1 <= k <= alignment,
// and the signed 16-bit word just before it holds k.
void *alignedAlloc(int size, int alignment)
{
    if (size < 0 || alignment <= 0 || alignment >= 32768)
        return nullptr;
    char *raw = static_cast<char *>(std::malloc(static_cast<std::size_t>(size) + alignment));
    if (raw == nullptr)
        return nullptr;
    auto address = reinterpret_cast<std::uintptr_t>(raw);
    auto k = static_cast<std::int16_t>(alignment - static_cast<int>(address % alignment));
    char *p = raw + k;
    std::memcpy(p - sizeof k, &k, sizeof k);
    std::memset(p, 0, static_cast<std::size_t>(size));
    return p;
}

} // namespace

void *sp_Malloc16(int size)
{
    return alignedAlloc(size, 16);
}

void *sp_MallocAlign(int size, int alignment)
{
    return alignedAlloc(size, alignment < 8 ? 8 : alignment);
}

void sp_Free16(void *p)
{
    if (p == nullptr)
        return;
    std::int16_t k;
    std::memcpy(&k, static_cast<char *>(p) - sizeof k, sizeof k);
    std::free(static_cast<char *>(p) - k);
}

void sp_FreeAlign(void *p)
{
    sp_Free16(p);
}

// ---------------------------------------------------------------------------
// Reserved-address block
//
// The block sits at the base of its reservation: a header of two words (the
// signature, then the control record), padding to one cache line, then the
// user's bytes. The user's pointer is base + cache line size.

namespace {

const char vSignatureText[] = "kvsupport reserved block";
const int cacheLine = kv::platform::cacheLineSize();

struct VControl {
    char *base;
    char *lastBlock;
    std::size_t pageSize;
    std::size_t committedPages;
    std::size_t reservedBytes;
    std::size_t bytesInUse;
};

struct VHeader {
    const void *signature;
    VControl *control;
};

// Live user pointers of vMalloc. A pointer is only looked at behind its own
// address once it is known here, so that a foreign pointer is never read.
std::mutex &liveMutex()
{
    static std::mutex m;
    return m;
}

std::set<void *> &liveBlocks()
{
    static std::set<void *> s;
    return s;
}

VHeader *headerOf(void *p)
{
    if (p == nullptr)
        return nullptr;
    {
        std::lock_guard<std::mutex> lock(liveMutex());
        if (liveBlocks().count(p) == 0)
            return nullptr;
    }
    auto *h = reinterpret_cast<VHeader *>(static_cast<char *>(p) - cacheLine);
    return h->signature == vSignatureText ? h : nullptr;
}

// Growth in vRealloc: the count is raised whatever the commit answers, and a
// page past the reservation is never touched (it may belong to another
// mapping); such memory faults when it is used.
void commitForGrowth(VControl *c, std::size_t pages)
{
    std::size_t bytes = c->pageSize * pages;
    if (bytes > c->reservedBytes)
        bytes = c->reservedBytes;
    kv::platform::commitPages(c->base, bytes);
    c->committedPages = pages;
}

} // namespace

int sp_GetCacheLineSize()
{
    return cacheLine;
}

void *vMalloc(unsigned int size, unsigned int reserveMiB)
{
    auto *c = new VControl();
    c->pageSize = kv::platform::pageSize();
    c->reservedBytes = static_cast<std::size_t>(reserveMiB) << 20;
    c->base = static_cast<char *>(kv::platform::reserveAddressSpace(c->reservedBytes));
    if (c->base == nullptr) {
        delete c;
        kv::platform::fatalStop("vMalloc could not reserve the address space");
    }
    std::size_t need = static_cast<std::size_t>(cacheLine) + size;
    std::size_t pages = (need + c->bytesInUse) / c->pageSize + 1;
    if (pages > c->committedPages) {
        std::size_t bytes = c->pageSize * pages;
        if (bytes > c->reservedBytes || !kv::platform::commitPages(c->base, bytes))
            kv::platform::fatalStop("vMalloc could not commit the block");
        c->committedPages = pages;
    }
    char *block = c->base + c->bytesInUse;
    c->lastBlock = block;
    c->bytesInUse = need;
    auto *h = reinterpret_cast<VHeader *>(block);
    h->signature = vSignatureText;
    h->control = c;
    void *user = block + cacheLine;
    std::lock_guard<std::mutex> lock(liveMutex());
    liveBlocks().insert(user);
    return user;
}

void *vRealloc(void *p, unsigned int newSize)
{
    VHeader *h = headerOf(p);
    if (h == nullptr)
        return nullptr;
    VControl *c = h->control;
    if (c == nullptr || reinterpret_cast<char *>(h) != c->lastBlock)
        return p;
    std::size_t offset = static_cast<std::size_t>(reinterpret_cast<char *>(h) - c->base) + cacheLine;
    std::size_t pages = (offset + newSize) / c->pageSize + 1;
    if (pages > c->committedPages)
        commitForGrowth(c, pages);
    c->bytesInUse = offset + newSize;
    return p;
}

void vFree(void *p)
{
    VHeader *h = headerOf(p);
    if (h == nullptr)
        return;
    VControl *c = h->control;
    {
        std::lock_guard<std::mutex> lock(liveMutex());
        liveBlocks().erase(p);
    }
    if (c == nullptr)
        return;
    if (c->base != nullptr)
        kv::platform::releaseAddressSpace(c->base, c->reservedBytes);
    delete c;
}

unsigned int vCommittedPages(void *p)
{
    VHeader *h = headerOf(p);
    return h != nullptr && h->control != nullptr ? static_cast<unsigned int>(h->control->committedPages) : 0;
}
