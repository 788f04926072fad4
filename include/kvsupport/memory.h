/// \file memory.h
/// The allocators every part of the library uses.
///
/// Three families:
///  - the `tmalloc` family: plain heap blocks that start zero-filled;
///  - the aligned family (`sp_Malloc16`, `sp_MallocAlign`): blocks aligned to a
///    power of two, released by `sp_Free16` / `sp_FreeAlign`;
///  - the reserved-address family (`vMalloc`, `vRealloc`, `vFree`): one block
///    that can grow in place inside a reserved address range, so its address
///    never changes.
/// None of them reports to the user; out of memory is a null result (or, for
/// `vMalloc`, a hard stop) and only the sequences turn it into MemoryException.
#ifndef KVSUPPORT_MEMORY_H
#define KVSUPPORT_MEMORY_H

#include <kvsupport/export.h>

/// Allocates \p size bytes from the heap, all zero. Size 0 returns null
/// without touching the heap; null is also returned if the heap fails.
KVSUPPORT_API void *tmalloc(unsigned int size);

/// Resizes a heap block. Size 0 frees \p p (if not null) and returns null. A
/// null \p p with a non-zero size behaves as tmalloc (zero-filled). Otherwise a
/// plain reallocation: bytes added by growing are not cleared. On failure null
/// is returned and the old block stays valid.
KVSUPPORT_API void *trealloc(void *p, unsigned int size);

/// Frees a block from tmalloc/trealloc (or malloc). Null is ignored.
KVSUPPORT_API void txfree(void *p);

/// Allocates a block aligned to 16 bytes, zero-filled over \p size bytes.
/// Release it with sp_Free16 or sp_FreeAlign.
KVSUPPORT_API void *sp_Malloc16(int size);

/// Allocates a block aligned to \p alignment (raised to 8 when smaller; must be
/// below 32768), zero-filled over \p size bytes. Release it with sp_FreeAlign
/// or sp_Free16. Returns null for a negative size or an impossible alignment.
KVSUPPORT_API void *sp_MallocAlign(int size, int alignment);

/// Frees a block of sp_Malloc16 or sp_MallocAlign. Null is ignored.
KVSUPPORT_API void sp_Free16(void *p);

/// Same operation as sp_Free16.
KVSUPPORT_API void sp_FreeAlign(void *p);

/// Creates a growable block of \p size bytes inside a fresh reservation of
/// \p reserveMiB mebibytes of address space. The block starts one cache line
/// into the reservation and can later grow with vRealloc without moving.
/// One page more than strictly needed is committed when the block ends on a
/// page boundary. A failure to reserve or commit is a hard stop (the process
/// aborts), never a null result.
KVSUPPORT_API void *vMalloc(unsigned int size, unsigned int reserveMiB);

/// Resizes a block of vMalloc in place and returns the same pointer. Null, or
/// a pointer that vMalloc did not return, gives null. Shrinking keeps the
/// committed pages. Growing past the reservation is not checked here.
KVSUPPORT_API void *vRealloc(void *p, unsigned int newSize);

/// Releases a block of vMalloc with its whole reservation. Null, and pointers
/// not from vMalloc, are ignored.
KVSUPPORT_API void vFree(void *p);

/// Number of pages committed for a block of vMalloc; 0 for any other
/// pointer. A diagnostic for callers that watch the commit rule.
KVSUPPORT_API unsigned int vCommittedPages(void *p);

/// Line size in bytes of the first level-1 data cache; 64 when the system
/// does not say.
KVSUPPORT_API int sp_GetCacheLineSize();

#endif
