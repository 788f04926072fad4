// How a device reaches a block of a shared heap for takeAndwriteSharedBlock.
// The shared block heap installs its source here when it is linked in; until
// then no block can be reached and the write gives 0.
#ifndef KVSUPPORT_STREAM_SHARED_BLOCK_SOURCE_H
#define KVSUPPORT_STREAM_SHARED_BLOCK_SOURCE_H

namespace kv {
namespace detail {

/// Access to the blocks of the shared heap named by a token.
struct SharedBlockSource {
    /// Takes block \p blockId of the heap named by \p token: sets \p *data,
    /// the heap's block size \p *blockSize and an opaque \p *heap for
    /// finish(). False if there is no heap or the block can't be taken.
    bool (*take)(int token, long long blockId, const char **data, long long *blockSize, void **heap);
    /// Releases and frees the block taken by take(), and drops \p heap.
    void (*finish)(void *heap, long long blockId);
};

/// Installs \p source (null removes it). Not thread-safe: call at start-up.
void setSharedBlockSource(const SharedBlockSource *source);

/// The installed source, or null.
const SharedBlockSource *sharedBlockSource();

} // namespace detail
} // namespace kv

#endif
