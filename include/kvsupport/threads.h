/// \file threads.h
/// Threads, locks, event loops and processor placement.
///
/// Three lock families live side by side and are not interchangeable:
///  - YMutex: in-process, re-entrant for its owning thread (spins a little
///    before it blocks);
///  - KvMutex: in-process, not re-entrant (its holder deadlocks if it locks
///    it again);
///  - the named cross-process locks: YSystemMutex as a class, and the integer
///    handles of sp_CreateMutex and its relatives. These are private to the
///    user, re-entrant for their holding thread, and tell an abandoned lock
///    (its holder died holding it) from a free one. The underlying object
///    lives while any process has the name open.
///
/// Two event loops live side by side as well: YEventLoop runs one step of the
/// thread's event dispatcher per exec(), KvEventLoop is a full QEventLoop.
#ifndef KVSUPPORT_THREADS_H
#define KVSUPPORT_THREADS_H

#include <kvsupport/export.h>
#include <kvsupport/ystring.h>

#include <QMutex>

#include <atomic>
#include <mutex>
#include <thread>

/// The QThread behind a KvThread; internal to the library.
class KvThreadImpl;
class QEventLoop;

/// A caller's worker thread: derive, implement run(), then start().
///
/// The destructor waits up to 1000 ms for a running thread, then terminates
/// it. Since the base destructor runs after the derived parts are gone, a
/// derived class must end its thread in its own destructor; the 1000 ms rule
/// is the last resort.
class KVSUPPORT_API KvThread {
public:
    /// Makes the (not yet started) thread.
    KvThread();
    /// Shares \p other's thread: both objects stand for the same thread. The
    /// thread is ended and freed when the last of them is destroyed; if the
    /// object whose run() the thread calls goes first, a later start() runs
    /// nothing.
    KvThread(const KvThread &other);
    KvThread &operator=(const KvThread &) = delete;
    /// See the class comment.
    virtual ~KvThread();

    /// The body of the thread.
    virtual void run() = 0;
    /// Asks run() to leave; does nothing unless overridden. The library
    /// never calls it.
    virtual void requestTerminate();

    /// Starts the thread at the priority of the calling thread.
    void start();
    /// True while the thread runs.
    bool running() const;
    /// Waits up to \p ms milliseconds (-1 or any negative: for ever) for the
    /// thread to end; true if it has ended (or never started).
    bool wait(int ms);

private:
    KvThreadImpl *impl;
};

/// In-process lock that is not re-entrant.
class KVSUPPORT_API KvMutex {
public:
    /// An unlocked mutex.
    KvMutex();
    /// Frees the mutex; it must not be locked.
    ~KvMutex();
    KvMutex(const KvMutex &) = delete;
    KvMutex &operator=(const KvMutex &) = delete;

    /// Locks, blocking while another thread holds it. (A non-recursive
    /// QMutex is a QBasicMutex, whose inline fast path this takes.)
    void lock() { static_cast<QBasicMutex *>(mutex)->lock(); }
    /// Unlocks.
    void unlock() { static_cast<QBasicMutex *>(mutex)->unlock(); }
    /// Locks if free at once; true if it was locked.
    bool tryLock() { return mutex->tryLock(0); }

private:
    QMutex *mutex;
};

namespace kv {
namespace detail {
/// The state of a YMutex: a plain lock, its owning thread and the depth of
/// that thread's hold. The owner is written only by the holder.
struct RecursiveSection {
    std::mutex mutex;                 ///< held while any thread owns the section
    std::atomic<std::thread::id> owner; ///< the holder, or no thread
    int depth = 0;                    ///< the holder's count of locks
};
} // namespace detail
} // namespace kv

/// In-process re-entrant lock: the holding thread may lock it again, and each
/// lock needs its unlock. A contended lock spins 1024 times before it blocks.
class KVSUPPORT_API YMutex {
public:
    /// An unlocked mutex.
    YMutex();
    /// Frees the mutex; it must not be locked.
    ~YMutex();
    YMutex(const YMutex &) = delete;
    YMutex &operator=(const YMutex &) = delete;

    /// Locks (again, if this thread holds it already).
    void lock()
    {
        std::thread::id self = std::this_thread::get_id();
        if (section->owner.load(std::memory_order_relaxed) == self) {
            ++section->depth;
            return;
        }
        if (!section->mutex.try_lock())
            spinThenLock();
        section->owner.store(self, std::memory_order_relaxed);
        section->depth = 1;
    }
    /// Gives up one level of this thread's hold.
    void unlock()
    {
        if (--section->depth == 0) {
            section->owner.store(std::thread::id(), std::memory_order_relaxed);
            section->mutex.unlock();
        }
    }

private:
    void spinThenLock();
    kv::detail::RecursiveSection *section;
};

/// Holds a YMutex for its own life.
class KVSUPPORT_API YMutexLocker {
public:
    /// Locks \p mutex (nothing for null).
    explicit YMutexLocker(YMutex *mutex) : mutex(mutex)
    {
        if (mutex != nullptr)
            mutex->lock();
    }
    /// Unlocks the mutex.
    ~YMutexLocker()
    {
        if (mutex != nullptr)
            mutex->unlock();
    }
    YMutexLocker(const YMutexLocker &) = delete;
    YMutexLocker &operator=(const YMutexLocker &) = delete;

private:
    YMutex *mutex;
};

/// What YSystemMutex::wait found.
enum MutexWaitStatus {
    MutexAcquired = 0,  ///< acquired
    MutexAbandoned = 1, ///< acquired; the previous holder died holding it
    MutexTimedOut = 2,  ///< timed out
    MutexFailed = 3     ///< failed, or the mutex has no handle
};

/// A lock named across the processes of the user. There is no release
/// operation: the holder gives the lock up by destroying the object.
class KVSUPPORT_API YSystemMutex {
public:
    /// Creates or opens the mutex \p name (UTF-8); the caller does not own it.
    /// On failure the object has no handle and every wait fails.
    explicit YSystemMutex(const YString &name);
    /// Releases the mutex whether or not this thread holds it (a failure is
    /// ignored), then closes the handle.
    ~YSystemMutex();
    YSystemMutex(const YSystemMutex &) = delete;
    YSystemMutex &operator=(const YSystemMutex &) = delete;

    /// Waits up to \p ms milliseconds (negative: for ever). Stores the status
    /// in \p status when it is not null. True for MutexAcquired and
    /// MutexAbandoned alike; a mutex without a handle gives MutexFailed.
    bool wait(int ms, MutexWaitStatus *status = nullptr);
    /// True if the mutex was created or opened.
    bool isValid() const { return handle != nullptr; }

private:
    void *handle;
};

/// One step of the calling thread's event dispatcher.
///
/// exec() waits until the thread has events, dispatches the ones that are
/// pending, and returns; a wake-up of the dispatcher without events (its
/// interrupt(), as QThread::quit and QEventLoop::exit use) makes it return
/// with nothing dispatched. It does not loop and does not look at the exit
/// flag: exit() only sets the flag. On a thread without an event dispatcher
/// exec() returns at once. As everywhere in Qt, events are delivered only in a
/// process that has a QCoreApplication.
class KVSUPPORT_API YEventLoop {
public:
    /// The exit flag is cleared.
    YEventLoop() : exitFlag(false) {}
    /// Clears the exit flag and runs one step (see the class comment).
    void exec();
    /// Sets the exit flag.
    void exit() { exitFlag = true; }

private:
    bool exitFlag;
};

/// A full event loop (a QEventLoop with no parent) that runs until exit().
class KVSUPPORT_API KvEventLoop {
public:
    /// Makes the loop.
    KvEventLoop();
    /// Frees the loop.
    ~KvEventLoop();
    KvEventLoop(const KvEventLoop &) = delete;
    KvEventLoop &operator=(const KvEventLoop &) = delete;

    /// Runs the loop over all event kinds until exit(); returns its code.
    int exec();
    /// Makes exec() return 0.
    void exit();

private:
    QEventLoop *loop;
};

/// Priority states of sp_SetThreadPriority and sp_GetThreadPriority.
enum ThreadPriority {
    ThreadPriorityHigh = 0,   ///< high
    ThreadPriorityIdle = 1,   ///< idle
    ThreadPriorityNormal = 2, ///< normal
    ThreadPriorityOther = 3   ///< any other state; returned only
};

/// Creates or opens the named mutex \p name (null or empty: an unnamed one).
/// With \p initialOwner, the calling thread owns a mutex that this call
/// created. Returns its handle (positive), 0 on failure.
KVSUPPORT_API int sp_CreateMutex(const char *name, bool initialOwner);
/// Waits for the mutex up to \p ms milliseconds (any negative: for ever).
/// True when it was acquired, also when its holder had died holding it.
KVSUPPORT_API bool sp_AcquireMutex(int handle, int ms);
/// Releases one level of the calling thread's hold; a failure is ignored.
KVSUPPORT_API void sp_ReleaseMutex(int handle);
/// Closes the handle without releasing the mutex.
KVSUPPORT_API void sp_CloseMutex(int handle);

/// The system's id of the calling thread.
KVSUPPORT_API int sp_GetThreadId();
/// True if \p threadId names a thread that has not ended.
KVSUPPORT_API bool sp_IsThreadRunning(int threadId);
/// The process's priority state: normal gives ThreadPriorityNormal, high
/// gives ThreadPriorityHigh, idle gives ThreadPriorityIdle, any other level
/// ThreadPriorityOther. On Linux the level is the nice value of the process:
/// -20..-8 high, -7..-1 above normal, 0 normal, 1..9 below normal, 10..19 idle.
KVSUPPORT_API ThreadPriority sp_GetThreadPriority();
/// Sets the process's level and the calling thread's: high (nice -20, the
/// thread 2 higher within that), idle (nice 19), normal (the thread to the
/// process's level, then the process to 0). ThreadPriorityOther does nothing.
/// Raising a priority needs the privilege to do so; a refusal is ignored.
KVSUPPORT_API void sp_SetThreadPriority(ThreadPriority priority);
/// Lets the calling thread run on every processor.
KVSUPPORT_API void sp_SetThreadAll();
/// Pins the calling thread to the logical processors of core \p core (in the
/// order the system lists the cores; the first 32 cores and the first 32
/// logical processors only). An index outside the cores does nothing.
KVSUPPORT_API void sp_SetThreadCore(int core);
/// Pins the calling thread to package \p package: a mask of
/// logical/packages low bits, shifted left \p package times by the total
/// number of logical processors modulo 32. An index outside the packages
/// does nothing.
KVSUPPORT_API void sp_SetThreadPhysicalProcessor(int package);
/// Number of processor cores.
KVSUPPORT_API int sp_GetNumCores();
/// Number of logical processors, counting at most two per core.
KVSUPPORT_API int sp_GetNumLogicalProcessors();
/// Number of processor packages.
KVSUPPORT_API int sp_GetNumPhysicalProcessors();
/// Suspends the calling thread for \p ms milliseconds.
KVSUPPORT_API void sp_Sleep(unsigned int ms);
/// The processor's spin-wait hint, for spin loops.
KVSUPPORT_API void sp_Pause();

#endif
