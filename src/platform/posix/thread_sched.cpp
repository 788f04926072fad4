// Thread identity, affinity and nice values on Linux. A nice value belongs to
// a thread here, so the process's value is set on each of its threads.
#include "platform/thread_sched.h"

#include <dirent.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace kv {
namespace platform {

int currentThreadId()
{
    return static_cast<int>(syscall(SYS_gettid));
}

bool threadAlive(int tid)
{
    if (tid <= 0)
        return false;
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%d/stat", tid);
    std::FILE *f = std::fopen(path, "r");
    if (f == nullptr)
        return false;
    char buffer[512];
    size_t n = std::fread(buffer, 1, sizeof buffer - 1, f);
    std::fclose(f);
    buffer[n] = 0;
    // The state letter follows the last ')' of the command name.
    const char *close = std::strrchr(buffer, ')');
    if (close == nullptr || close[1] != ' ')
        return false;
    char state = close[2];
    return state != 'Z' && state != 'X' && state != 'x' && state != 0;
}

bool setThreadAffinity(std::uint64_t mask)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    for (int i = 0; i < 64; ++i)
        if ((mask >> i) & 1)
            CPU_SET(i, &set);
    return sched_setaffinity(0, sizeof set, &set) == 0;
}

bool setThreadAffinityAll()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    for (int i = 0; i < CPU_SETSIZE; ++i)
        CPU_SET(i, &set);
    return sched_setaffinity(0, sizeof set, &set) == 0;
}

std::uint64_t threadAffinity()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) != 0)
        return 0;
    std::uint64_t mask = 0;
    for (int i = 0; i < 64; ++i)
        if (CPU_ISSET(i, &set))
            mask |= std::uint64_t(1) << i;
    return mask;
}

namespace {

int niceOf(int who)
{
    errno = 0;
    int v = getpriority(PRIO_PROCESS, static_cast<id_t>(who));
    return (v == -1 && errno != 0) ? 0 : v;
}

bool setNiceOf(int who, int nice)
{
    return setpriority(PRIO_PROCESS, static_cast<id_t>(who), nice) == 0;
}

} // namespace

int processNice()
{
    return niceOf(static_cast<int>(getpid()));
}

bool setProcessNice(int nice)
{
    DIR *dir = opendir("/proc/self/task");
    if (dir == nullptr)
        return setNiceOf(static_cast<int>(getpid()), nice);
    bool ok = true;
    while (dirent *entry = readdir(dir)) {
        int tid = std::atoi(entry->d_name);
        if (tid > 0 && !setNiceOf(tid, nice))
            ok = false;
    }
    closedir(dir);
    return ok;
}

int threadNice()
{
    return niceOf(currentThreadId());
}

bool setThreadNice(int nice)
{
    return setNiceOf(currentThreadId(), nice);
}

void sleepMs(unsigned int ms)
{
    timespec ts;
    ts.tv_sec = static_cast<time_t>(ms / 1000);
    ts.tv_nsec = static_cast<long>(ms % 1000) * 1000000L;
    while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
    }
}

} // namespace platform
} // namespace kv
