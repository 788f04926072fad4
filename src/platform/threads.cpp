// Threads, in-process locks, named locks and event loops.
#include <kvsupport/threads.h>

#include "platform/named_mutex.h"
#include "platform/thread_sched.h"

#include <QAbstractEventDispatcher>
#include <QEventLoop>
#include <QMutex>
#include <QThread>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

// ---------------------------------------------------------------- KvThread

/// The QThread behind a KvThread: its run() calls the owner's run().
class KvThreadImpl : public QThread {
public:
    explicit KvThreadImpl(KvThread *owner) : owner(owner) {}

    KvThread *owner;          ///< whose run() the thread calls; null once gone
    std::atomic<int> users{1}; ///< KvThread objects sharing this thread

protected:
    void run() override
    {
        if (KvThread *o = owner)
            o->run();
    }
};

KvThread::KvThread() : impl(new KvThreadImpl(this)) {}

KvThread::KvThread(const KvThread &other) : impl(other.impl)
{
    impl->users.fetch_add(1);
}

KvThread::~KvThread()
{
    if (impl->isRunning() && !impl->wait(1000)) {
        impl->terminate();
        // A thread that never reaches a cancellation point can't be ended;
        // rather than hang, give up on it and leave its object alive.
        if (!impl->wait(10000))
            return;
    }
    if (impl->users.fetch_sub(1) == 1) {
        delete impl;
    } else if (impl->owner == this) {
        impl->owner = nullptr;
    }
}

void KvThread::requestTerminate() {}

void KvThread::start()
{
    impl->start(QThread::InheritPriority);
}

bool KvThread::running() const
{
    return impl->isRunning();
}

bool KvThread::wait(int ms)
{
    return ms < 0 ? impl->wait() : impl->wait(static_cast<unsigned long>(ms));
}

// ---------------------------------------------------------------- KvMutex

KvMutex::KvMutex() : mutex(new QMutex(QMutex::NonRecursive)) {}

KvMutex::~KvMutex()
{
    delete mutex;
}

// ---------------------------------------------------------------- YMutex

YMutex::YMutex() : section(new kv::detail::RecursiveSection) {}

YMutex::~YMutex()
{
    delete section;
}

void YMutex::spinThenLock()
{
    for (int spin = 0; spin < 1024; ++spin) {
        sp_Pause();
        if (section->mutex.try_lock())
            return;
    }
    section->mutex.lock();
}

// ---------------------------------------------------------------- YSystemMutex

namespace {

using kv::platform::NamedMutexHandle;
using kv::platform::NamedMutexWait;

NamedMutexHandle *asNamed(void *handle)
{
    return static_cast<NamedMutexHandle *>(handle);
}

} // namespace

YSystemMutex::YSystemMutex(const YString &name)
    : handle(kv::platform::openNamedMutex(name.tocs(), nullptr))
{
}

YSystemMutex::~YSystemMutex()
{
    if (handle == nullptr)
        return;
    kv::platform::releaseNamedMutex(asNamed(handle));
    kv::platform::closeNamedMutex(asNamed(handle));
}

bool YSystemMutex::wait(int ms, MutexWaitStatus *status)
{
    NamedMutexWait w = handle == nullptr ? NamedMutexWait::Failed
                                         : kv::platform::waitNamedMutex(asNamed(handle), ms);
    if (status != nullptr)
        *status = static_cast<MutexWaitStatus>(static_cast<int>(w));
    return w == NamedMutexWait::Acquired || w == NamedMutexWait::Abandoned;
}

// ---------------------------------------------------------------- handles

namespace {

// An open handle; closed when the table and every waiter have let it go.
struct HandleEntry {
    explicit HandleEntry(NamedMutexHandle *h) : named(h) {}
    ~HandleEntry() { kv::platform::closeNamedMutex(named); }
    NamedMutexHandle *named;
};

// Guards the handle table. Held only for a look-up and a non-blocking try,
// so a spin lock (one exchange to take, one store to give back) costs less
// than a blocking mutex on this hot path.
class TableLock {
public:
    void lock()
    {
        for (int spin = 0; taken.exchange(true, std::memory_order_acquire); ++spin) {
            if (spin < 64)
                sp_Pause();
            else
                std::this_thread::yield();
        }
    }
    void unlock() { taken.store(false, std::memory_order_release); }

private:
    std::atomic<bool> taken{false};
};

struct HandleTable {
    TableLock lock;
    std::map<int, std::shared_ptr<HandleEntry>> entries;
    int next = 1;
};

HandleTable &handles()
{
    static HandleTable *table = new HandleTable; // lives until the process ends
    return *table;
}

} // namespace

int sp_CreateMutex(const char *name, bool initialOwner)
{
    bool created = false;
    NamedMutexHandle *named = kv::platform::openNamedMutex(name, &created);
    if (named == nullptr)
        return 0;
    if (initialOwner && created)
        kv::platform::waitNamedMutex(named, -1);
    HandleTable &t = handles();
    std::lock_guard<TableLock> guard(t.lock);
    while (t.next <= 0 || t.entries.count(t.next) != 0)
        t.next = t.next <= 0 ? 1 : t.next + 1;
    int handle = t.next++;
    t.entries[handle] = std::make_shared<HandleEntry>(named);
    return handle;
}

bool sp_AcquireMutex(int handle, int ms)
{
    std::shared_ptr<HandleEntry> entry;
    {
        // A try never blocks, so it runs under the table's lock; only a real
        // wait pins the entry, so that a close meanwhile can't free it.
        HandleTable &t = handles();
        std::lock_guard<TableLock> guard(t.lock);
        auto it = t.entries.find(handle);
        if (it == t.entries.end())
            return false;
        NamedMutexWait w = kv::platform::waitNamedMutex(it->second->named, 0);
        if (w == NamedMutexWait::Acquired || w == NamedMutexWait::Abandoned)
            return true;
        if (ms == 0 || w != NamedMutexWait::TimedOut)
            return false;
        entry = it->second;
    }
    NamedMutexWait w = kv::platform::waitNamedMutex(entry->named, ms < 0 ? -1 : ms);
    return w == NamedMutexWait::Acquired || w == NamedMutexWait::Abandoned;
}

void sp_ReleaseMutex(int handle)
{
    HandleTable &t = handles();
    std::lock_guard<TableLock> guard(t.lock);
    auto it = t.entries.find(handle);
    if (it != t.entries.end())
        kv::platform::releaseNamedMutex(it->second->named);
}

void sp_CloseMutex(int handle)
{
    std::shared_ptr<HandleEntry> entry;
    HandleTable &t = handles();
    std::lock_guard<TableLock> guard(t.lock);
    auto it = t.entries.find(handle);
    if (it == t.entries.end())
        return;
    entry = std::move(it->second);
    t.entries.erase(it);
}

// ---------------------------------------------------------------- event loops

void YEventLoop::exec()
{
    exitFlag = false;
    QAbstractEventDispatcher *dispatcher = QAbstractEventDispatcher::instance();
    if (dispatcher != nullptr)
        dispatcher->processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
}

KvEventLoop::KvEventLoop() : loop(new QEventLoop(nullptr)) {}

KvEventLoop::~KvEventLoop()
{
    delete loop;
}

int KvEventLoop::exec()
{
    return loop->exec(QEventLoop::AllEvents);
}

void KvEventLoop::exit()
{
    loop->exit(0);
}

// ---------------------------------------------------------------- misc

int sp_GetThreadId()
{
    return kv::platform::currentThreadId();
}

bool sp_IsThreadRunning(int threadId)
{
    return kv::platform::threadAlive(threadId);
}

void sp_Sleep(unsigned int ms)
{
    kv::platform::sleepMs(ms);
}

void sp_Pause()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__arm__)
    __asm__ __volatile__("yield");
#endif
}
