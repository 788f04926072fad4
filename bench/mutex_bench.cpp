// Uncontended lock/unlock of the library's locks against std::mutex and a raw
// process-shared robust pthread mutex (the kind behind the named lock).
//
// Cases: "ymutex" (YMutex, re-entrant), "kvmutex" (KvMutex) and "named" (a
// named cross-process mutex through sp_AcquireMutex/sp_ReleaseMutex). Each
// case runs the two peers as well, so that every ratio is printed.
#include "support/bench_ratio.h"

#include <kvsupport/threads.h>

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <mutex>
#include <string>
#include <thread>

namespace {

// The C library takes a short cut without atomic operations for process-
// private locks while a process has a single thread. The programs that use
// these locks have several threads, so one idle thread is kept alive for
// the whole run to measure every lock as it really runs.
struct SecondThread {
    SecondThread()
    {
        std::thread([] {
            for (;;)
                std::this_thread::sleep_for(std::chrono::hours(1));
        }).detach();
    }
} secondThread;

void stdMutex(benchmark::State &state)
{
    std::mutex m;
    for (auto _ : state) {
        m.lock();
        benchmark::DoNotOptimize(&m);
        m.unlock();
    }
}

// A robust process-shared mutex in shared anonymous memory.
void pthreadShared(benchmark::State &state)
{
    void *memory = mmap(nullptr, sizeof(pthread_mutex_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                        -1, 0);
    if (memory == MAP_FAILED) {
        state.SkipWithError("mmap failed");
        return;
    }
    auto *m = static_cast<pthread_mutex_t *>(memory);
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_setpshared(&attr, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attr, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(m, &attr);
    pthread_mutexattr_destroy(&attr);
    for (auto _ : state) {
        pthread_mutex_lock(m);
        benchmark::DoNotOptimize(m);
        pthread_mutex_unlock(m);
    }
    pthread_mutex_destroy(m);
    munmap(memory, sizeof(pthread_mutex_t));
}

void yMutex(benchmark::State &state)
{
    YMutex m;
    for (auto _ : state) {
        m.lock();
        benchmark::DoNotOptimize(&m);
        m.unlock();
    }
}

void kvMutex(benchmark::State &state)
{
    KvMutex m;
    for (auto _ : state) {
        m.lock();
        benchmark::DoNotOptimize(&m);
        m.unlock();
    }
}

void namedMutex(benchmark::State &state)
{
    std::string name = "kvbench-mutex-" + std::to_string(getpid());
    int handle = sp_CreateMutex(name.c_str(), false);
    if (handle == 0) {
        state.SkipWithError("sp_CreateMutex failed");
        return;
    }
    for (auto _ : state) {
        sp_AcquireMutex(handle, -1);
        benchmark::DoNotOptimize(handle);
        sp_ReleaseMutex(handle);
    }
    sp_CloseMutex(handle); // the last close removes the shared object
}

} // namespace

BENCHMARK(yMutex)->Name("ymutex/kvsupport");
BENCHMARK(stdMutex)->Name("ymutex/std_mutex");
BENCHMARK(pthreadShared)->Name("ymutex/pthread_pshared");
BENCHMARK(kvMutex)->Name("kvmutex/kvsupport");
BENCHMARK(stdMutex)->Name("kvmutex/std_mutex");
BENCHMARK(pthreadShared)->Name("kvmutex/pthread_pshared");
BENCHMARK(namedMutex)->Name("named/kvsupport");
BENCHMARK(stdMutex)->Name("named/std_mutex");
BENCHMARK(pthreadShared)->Name("named/pthread_pshared");

KVBENCH_MAIN("kvsupport")
