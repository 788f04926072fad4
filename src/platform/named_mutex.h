// Locks named across the processes of one user, which tell an abandoned lock
// (its holder died holding it) from a free one. Implemented in posix/.
#ifndef KVSUPPORT_PLATFORM_NAMED_MUTEX_H
#define KVSUPPORT_PLATFORM_NAMED_MUTEX_H

#include <string>

namespace kv {
namespace platform {

/// Result of a wait on a named mutex; the values match MutexWaitStatus.
enum class NamedMutexWait { Acquired = 0, Abandoned = 1, TimedOut = 2, Failed = 3 };

/// One open handle on a named mutex. Opaque.
struct NamedMutexHandle;

/// Opens the mutex \p name, creating it if no process of this user has it
/// open. A null or empty name makes an unnamed mutex of this process.
/// \p created (may be null) tells whether the mutex was made by this call.
/// The mutex is re-entrant for the thread that holds it. Null on failure.
NamedMutexHandle *openNamedMutex(const char *name, bool *created);

/// Waits up to \p ms milliseconds (negative: for ever, 0: a single try).
NamedMutexWait waitNamedMutex(NamedMutexHandle *handle, int ms);

/// Releases one level of the calling thread's hold. False if the thread
/// does not hold it.
bool releaseNamedMutex(NamedMutexHandle *handle);

/// Closes \p handle without releasing. The shared object is removed from the
/// system when the last handle of all processes is closed.
void closeNamedMutex(NamedMutexHandle *handle);

/// Name of the shared-memory object behind \p name (with its leading "/"),
/// empty for an unnamed mutex.
std::string namedMutexObjectName(const char *name);

} // namespace platform
} // namespace kv

#endif
