// Named mutexes on Linux: a process-shared, robust, recursive pthread mutex in
// a small POSIX shared-memory object per name, private to the user.
//
// Lifetime. Every process that has the name open holds a shared flock on a
// reference file in the per-user runtime directory. Opening and the last
// close in a process run under an exclusive flock on a directory-wide lock
// file, so they never interleave. An opener that finds nobody else holding
// the reference file (its exclusive try succeeds) initialises the object
// afresh; the last closer anywhere unlinks the object and the reference file.
// A process killed while it had the name open loses its flocks with its life,
// so nothing stays pinned by a dead process; the objects of names whose last
// holders all died are swept away at the first open in each process.
//
// Abandonment. A holder that dies leaves the robust mutex in the owner-died
// state; the next locker gets EOWNERDEAD, makes it consistent and owns it.
//
// Within one process, all handles of one name share one mapping. A mapping
// is never unmapped while a thread of this process holds the mutex, because
// the C library links held robust mutexes into a per-thread list.
#include "platform/named_mutex.h"

#include "platform/runtime_dir.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <map>
#include <mutex>

namespace kv {
namespace platform {

namespace {

constexpr std::uint32_t kMagic = 0x4B564D58; // "KVMX"

struct SharedBlock {
    std::atomic<std::uint32_t> magic;
    std::uint32_t reserved;
    pthread_mutex_t mutex;
};

struct Mapping {
    std::string key;      // the encoded name; empty for an unnamed mutex
    std::string dir;      // the runtime directory it was opened in
    SharedBlock *block = nullptr;
    int refFd = -1;
    int handles = 0;
};

std::mutex &tableLock()
{
    static std::mutex m;
    return m;
}

// Never destroyed: a mapping kept for a thread that still holds its mutex
// stays listed until the process ends.
std::map<std::string, Mapping *> &table()
{
    static auto *t = new std::map<std::string, Mapping *>;
    return *t;
}

std::uint64_t fnv1a(const std::string &s)
{
    std::uint64_t h = 1469598103934665603ULL;
    for (unsigned char c : s) {
        h ^= c;
        h *= 1099511628211ULL;
    }
    return h;
}

// The name as it may appear in a file name: '/', '%' and control characters
// become %XX; a long name is cut and completed by a hash of the whole.
std::string encodeName(const std::string &name)
{
    static const char hex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : name) {
        if (c == '/' || c == '%' || c < 0x20 || c == 0x7F) {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        } else {
            out += static_cast<char>(c);
        }
    }
    if (out.size() > 180) {
        std::uint64_t h = fnv1a(name);
        out.resize(120);
        out += "%#";
        for (int i = 15; i >= 0; --i)
            out += hex[(h >> (4 * i)) & 15];
    }
    return out;
}

std::string shmName(const std::string &key)
{
    return "/kvsupport-" + std::to_string(static_cast<unsigned long>(geteuid())) + "-mutex-" + key;
}

bool lockFile(int fd, int op)
{
    int r;
    do {
        r = flock(fd, op);
    } while (r != 0 && errno == EINTR);
    return r == 0;
}

bool initMutex(pthread_mutex_t *m, bool shared)
{
    pthread_mutexattr_t attr;
    if (pthread_mutexattr_init(&attr) != 0)
        return false;
    bool ok = pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE) == 0 &&
              pthread_mutexattr_setrobust(&attr, PTHREAD_MUTEX_ROBUST) == 0 &&
              (!shared || pthread_mutexattr_setpshared(&attr, PTHREAD_PROCESS_SHARED) == 0) &&
              pthread_mutex_init(m, &attr) == 0;
    pthread_mutexattr_destroy(&attr);
    return ok;
}

// Directory-wide exclusive lock held for the life of the object.
class DirLock {
public:
    explicit DirLock(const std::string &dir)
    {
        fd = open((dir + "/named-mutex.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (fd >= 0 && !lockFile(fd, LOCK_EX)) {
            close(fd);
            fd = -1;
        }
    }
    ~DirLock()
    {
        if (fd >= 0)
            close(fd);
    }
    bool ok() const { return fd >= 0; }

private:
    int fd;
};

// Maps the shared object; initialises it when \p fresh. Null on failure;
// \p ours tells whether the object belongs to this user.
SharedBlock *mapShared(const std::string &key, bool fresh, bool *ours)
{
    std::string name = shmName(key);
    int fd = shm_open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0)
        return nullptr;
    struct stat st;
    *ours = fstat(fd, &st) == 0 && st.st_uid == geteuid();
    bool usable = *ours && (st.st_mode & 077) == 0;
    if (usable && fresh)
        usable = ftruncate(fd, 0) == 0 && ftruncate(fd, sizeof(SharedBlock)) == 0;
    else if (usable)
        usable = st.st_size == static_cast<off_t>(sizeof(SharedBlock));
    void *p = usable ? mmap(nullptr, sizeof(SharedBlock), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0)
                     : MAP_FAILED;
    close(fd);
    if (p == MAP_FAILED)
        return nullptr;
    auto *block = static_cast<SharedBlock *>(p);
    if (fresh) {
        if (!initMutex(&block->mutex, true)) {
            munmap(p, sizeof(SharedBlock));
            return nullptr;
        }
        block->magic.store(kMagic, std::memory_order_release);
    } else if (block->magic.load(std::memory_order_acquire) != kMagic) {
        munmap(p, sizeof(SharedBlock));
        return nullptr;
    }
    return block;
}

// Removes the objects of names that nobody has open any more: those whose
// last holders died without closing. Runs under the directory lock.
void sweepAbandonedObjects(const std::string &dir)
{
    DIR *d = opendir(dir.c_str());
    if (d == nullptr)
        return;
    const std::string prefix = "mutex-", suffix = ".ref";
    while (dirent *entry = readdir(d)) {
        std::string file = entry->d_name;
        if (file.size() <= prefix.size() + suffix.size() || file.compare(0, prefix.size(), prefix) != 0 ||
            file.compare(file.size() - suffix.size(), suffix.size(), suffix) != 0)
            continue;
        std::string path = dir + "/" + file;
        int fd = open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
        if (fd < 0)
            continue;
        if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
            std::string key = file.substr(prefix.size(), file.size() - prefix.size() - suffix.size());
            shm_unlink(shmName(key).c_str());
            unlink(path.c_str());
        }
        close(fd);
    }
    closedir(d);
}

// Opens (or joins) the shared object of \p key. Null on failure.
Mapping *openShared(const std::string &key, bool *created)
{
    std::string dir = userRuntimeDir();
    if (dir.empty())
        return nullptr;
    DirLock guard(dir);
    if (!guard.ok())
        return nullptr;
    static std::once_flag swept;
    std::call_once(swept, [&] { sweepAbandonedObjects(dir); });
    std::string refPath = dir + "/mutex-" + key + ".ref";
    int refFd = open(refPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (refFd < 0)
        return nullptr;
    bool alone = flock(refFd, LOCK_EX | LOCK_NB) == 0;
    bool ours = false;
    SharedBlock *block = mapShared(key, alone, &ours);
    if (block == nullptr || !lockFile(refFd, LOCK_SH)) {
        if (block != nullptr)
            munmap(block, sizeof(SharedBlock));
        if (alone) {
            // Nobody uses the name: drop what can't be used, so that the
            // name works again, but never another user's object.
            if (ours)
                shm_unlink(shmName(key).c_str());
            unlink(refPath.c_str());
        }
        close(refFd);
        return nullptr;
    }
    auto *m = new Mapping;
    m->key = key;
    m->dir = dir;
    m->block = block;
    m->refFd = refFd;
    *created = alone;
    return m;
}

// Unmaps \p m and removes the object if no process has it open any more.
void closeShared(Mapping *m)
{
    const std::string dir = m->dir;
    DirLock guard(dir);
    munmap(m->block, sizeof(SharedBlock));
    if (guard.ok() && flock(m->refFd, LOCK_EX | LOCK_NB) == 0) {
        shm_unlink(shmName(m->key).c_str());
        unlink((dir + "/mutex-" + m->key + ".ref").c_str());
    }
    close(m->refFd);
    delete m;
}

Mapping *openUnnamed()
{
    auto *m = new Mapping;
    m->block = new SharedBlock;
    if (!initMutex(&m->block->mutex, false)) {
        delete m->block;
        delete m;
        return nullptr;
    }
    m->block->magic.store(kMagic);
    return m;
}

timespec deadlineAfter(int ms)
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    ts.tv_sec += ms / 1000;
    ts.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
    if (ts.tv_nsec >= 1000000000L) {
        ts.tv_sec += 1;
        ts.tv_nsec -= 1000000000L;
    }
    return ts;
}

// True if a thread of this process holds the mutex. The lock word of a
// robust mutex is the owner's thread id (the kernel's robust-futex protocol),
// so no bookkeeping on the lock path is needed to know it.
bool heldInThisProcess(const Mapping *m)
{
    unsigned int word = __atomic_load_n(
        reinterpret_cast<const unsigned int *>(&m->block->mutex.__data.__lock), __ATOMIC_RELAXED);
    unsigned int owner = word & FUTEX_TID_MASK;
    if (owner == 0)
        return false;
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%u", owner);
    return access(path, F_OK) == 0;
}

} // namespace

struct NamedMutexHandle {
    Mapping *mapping;
};

std::string namedMutexObjectName(const char *name)
{
    if (name == nullptr || name[0] == 0)
        return std::string();
    return shmName(encodeName(name));
}

NamedMutexHandle *openNamedMutex(const char *name, bool *created)
{
    bool made = false;
    Mapping *m = nullptr;
    if (name == nullptr || name[0] == 0) {
        m = openUnnamed();
        made = true;
    } else {
        std::string key = encodeName(name);
        std::lock_guard<std::mutex> lock(tableLock());
        auto it = table().find(key);
        if (it != table().end()) {
            m = it->second;
        } else if ((m = openShared(key, &made)) != nullptr) {
            table()[key] = m;
        }
        if (m != nullptr)
            ++m->handles;
    }
    if (created != nullptr)
        *created = made;
    return m == nullptr ? nullptr : new NamedMutexHandle{m};
}

NamedMutexWait waitNamedMutex(NamedMutexHandle *handle, int ms)
{
    if (handle == nullptr)
        return NamedMutexWait::Failed;
    pthread_mutex_t *mutex = &handle->mapping->block->mutex;
    int r;
    if (ms < 0) {
        r = pthread_mutex_lock(mutex);
    } else if (ms == 0) {
        r = pthread_mutex_trylock(mutex);
    } else {
        timespec deadline = deadlineAfter(ms);
        r = pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, &deadline);
    }
    NamedMutexWait result;
    if (r == 0) {
        result = NamedMutexWait::Acquired;
    } else if (r == EOWNERDEAD) {
        pthread_mutex_consistent(mutex);
        result = NamedMutexWait::Abandoned;
    } else if (r == EBUSY || r == ETIMEDOUT) {
        return NamedMutexWait::TimedOut;
    } else {
        return NamedMutexWait::Failed;
    }
    return result;
}

bool releaseNamedMutex(NamedMutexHandle *handle)
{
    return handle != nullptr && pthread_mutex_unlock(&handle->mapping->block->mutex) == 0;
}

void closeNamedMutex(NamedMutexHandle *handle)
{
    if (handle == nullptr)
        return;
    Mapping *m = handle->mapping;
    delete handle;
    if (m->key.empty()) {
        // An unnamed mutex has exactly one handle; keep it while it is held.
        if (!heldInThisProcess(m)) {
            pthread_mutex_destroy(&m->block->mutex);
            delete m->block;
            delete m;
        }
        return;
    }
    std::lock_guard<std::mutex> lock(tableLock());
    if (--m->handles > 0 || heldInThisProcess(m))
        return;
    table().erase(m->key);
    closeShared(m);
}

} // namespace platform
} // namespace kv
