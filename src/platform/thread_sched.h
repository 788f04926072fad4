// Thread identity, processor affinity and scheduling priority of the calling
// thread and process, as the platform offers them. Implemented in posix/.
#ifndef KVSUPPORT_PLATFORM_THREAD_SCHED_H
#define KVSUPPORT_PLATFORM_THREAD_SCHED_H

#include <cstdint>

namespace kv {
namespace platform {

/// The system's id of the calling thread.
int currentThreadId();

/// True if \p tid names a thread of the system that has not ended.
bool threadAlive(int tid);

/// Restricts the calling thread to the processors whose bits are set in
/// \p mask (bit i = processor i). False if the system refused.
bool setThreadAffinity(std::uint64_t mask);

/// Lets the calling thread run on every processor the system allows.
bool setThreadAffinityAll();

/// The calling thread's affinity as a mask of the first 64 processors.
std::uint64_t threadAffinity();

/// Nice value of the process (of its main thread); 0 if it can't be read.
int processNice();

/// Sets the nice value of every thread of the process. False if the system
/// refused for any of them.
bool setProcessNice(int nice);

/// Nice value of the calling thread.
int threadNice();

/// Sets the nice value of the calling thread.
bool setThreadNice(int nice);

/// Suspends the calling thread for \p ms milliseconds.
void sleepMs(unsigned int ms);

} // namespace platform
} // namespace kv

#endif
