// Tests of threads, locks, event loops and processor placement. Named locks
// are exercised across real processes (children re-run this binary).
#include <kvsupport/threads.h>

#include "platform/cpu_topology.h"
#include "platform/named_mutex.h"
#include "platform/processor_counts.h"
#include "platform/runtime_dir.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QObject>
#include <QProcess>
#include <QTimer>

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

namespace {

std::atomic<int> gCounter{0};

std::string uniqueName(const char *what)
{
    static int n = 0;
    return std::string("kvtest-") + what + "-" + std::to_string(getpid()) + "-" + std::to_string(n++);
}

bool shmExists(const std::string &name)
{
    struct stat st;
    return stat(("/dev/shm" + kv::platform::namedMutexObjectName(name.c_str())).c_str(), &st) == 0;
}

// Waits for a line from a child's standard output.
bool readLineFrom(QProcess *p, const char *expected, int timeoutMs = 10000)
{
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < timeoutMs) {
        if (p->canReadLine())
            return p->readLine().trimmed() == expected;
        p->waitForReadyRead(100);
    }
    return false;
}

void say(const char *line)
{
    std::printf("%s\n", line);
    std::fflush(stdout);
}

std::uint64_t currentAffinity()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    sched_getaffinity(0, sizeof set, &set);
    std::uint64_t mask = 0;
    for (int i = 0; i < 64; ++i)
        if (CPU_ISSET(i, &set))
            mask |= std::uint64_t(1) << i;
    return mask;
}

} // namespace

// ------------------------------------------------------------- child bodies

// Acquires the named mutex, says "held", then sleeps until killed.
KVTEST_CHILD(holdMutexForever)
{
    YSystemMutex m(args.value(0).toUtf8().constData());
    if (!m.wait(10000))
        return 2;
    say("held");
    for (;;)
        sp_Sleep(1000);
}

// Acquires through a handle, says "held", holds for args[1] ms, releases.
KVTEST_CHILD(holdMutexFor)
{
    int h = sp_CreateMutex(args.value(0).toUtf8().constData(), false);
    if (h == 0 || !sp_AcquireMutex(h, 10000))
        return 2;
    say("held");
    sp_Sleep(args.value(1).toUInt());
    sp_ReleaseMutex(h);
    sp_CloseMutex(h);
    return 0;
}

// Exits with the MutexWaitStatus of wait(args[1] ms) on mutex args[0].
KVTEST_CHILD(waitMutexStatus)
{
    YSystemMutex m(args.value(0).toUtf8().constData());
    MutexWaitStatus status = MutexFailed;
    m.wait(args.value(1).toInt(), &status);
    return 10 + status;
}

// Acquires, then closes the handle without releasing, and checks that the
// lock stays held: a fresh handle of another thread can't get it.
KVTEST_CHILD(closeWithoutRelease)
{
    int h = sp_CreateMutex(args.value(0).toUtf8().constData(), false);
    if (h == 0 || !sp_AcquireMutex(h, 1000))
        return 2;
    sp_CloseMutex(h);
    if (sp_AcquireMutex(h, 0))
        return 3; // a closed handle must not work
    int result = 0;
    std::thread other([&] {
        int h2 = sp_CreateMutex(args.value(0).toUtf8().constData(), false);
        result = (h2 != 0 && !sp_AcquireMutex(h2, 100)) ? 0 : 4;
        sp_CloseMutex(h2);
    });
    other.join();
    return result;
}

// Opens and closes the mutex args[0]: the first open of a process sweeps
// away the objects that nobody holds any more.
KVTEST_CHILD(openAndClose)
{
    int h = sp_CreateMutex(args.value(0).toUtf8().constData(), false);
    sp_CloseMutex(h);
    return h != 0 ? 0 : 1;
}

// Runs the priority checks in a process of its own; exit code 0 on success.
KVTEST_CHILD(priorities)
{
    (void)args;
    bool privileged = geteuid() == 0;
    if (sp_GetThreadPriority() != ThreadPriorityNormal)
        return 2;
    sp_SetThreadPriority(ThreadPriorityOther);
    if (sp_GetThreadPriority() != ThreadPriorityNormal || getpriority(PRIO_PROCESS, 0) != 0)
        return 3;
    if (privileged) {
        sp_SetThreadPriority(ThreadPriorityHigh);
        if (sp_GetThreadPriority() != ThreadPriorityHigh)
            return 4;
        sp_SetThreadPriority(ThreadPriorityNormal);
        if (sp_GetThreadPriority() != ThreadPriorityNormal)
            return 5;
        setpriority(PRIO_PROCESS, 0, -5); // "above normal"
        if (sp_GetThreadPriority() != ThreadPriorityOther)
            return 6;
    }
    setpriority(PRIO_PROCESS, 0, 5); // "below normal"
    if (sp_GetThreadPriority() != ThreadPriorityOther)
        return 7;
    sp_SetThreadPriority(ThreadPriorityIdle);
    if (sp_GetThreadPriority() != ThreadPriorityIdle)
        return 8;
    return privileged ? 0 : 1;
}

// ------------------------------------------------------------- KvThread

namespace {

class CountingThread : public KvThread {
public:
    void run() override { gCounter.fetch_add(1); }
};

// Sleeps in small steps until told to stop, without touching its own
// members (it may outlive its derived part).
std::atomic<bool> gStopSleeper{false};
std::atomic<bool> gSleeperStarted{false};
class SleepingThread : public KvThread {
public:
    void run() override
    {
        gSleeperStarted = true;
        while (!gStopSleeper.load())
            sp_Sleep(10);
    }
};

} // namespace

TEST(KvThread, RunsItsBodyAndWaits)
{
    gCounter = 0;
    CountingThread t;
    EXPECT_TRUE(t.wait(0)); // never started: already "ended"
    t.start();
    EXPECT_TRUE(t.wait(-1));
    EXPECT_FALSE(t.running());
    EXPECT_EQ(gCounter.load(), 1);
}

TEST(KvThread, WaitTimesOutWhileRunning)
{
    gStopSleeper = false;
    SleepingThread t;
    t.start();
    EXPECT_TRUE(t.running());
    EXPECT_FALSE(t.wait(50));
    gStopSleeper = true;
    EXPECT_TRUE(t.wait(5000));
    EXPECT_FALSE(t.running());
}

TEST(KvThread, CopySharesTheThread)
{
    gStopSleeper = false;
    SleepingThread t;
    {
        SleepingThread copy(t);
        t.start();
        EXPECT_TRUE(copy.running());
        gStopSleeper = true;
        EXPECT_TRUE(copy.wait(5000));
    }
    EXPECT_FALSE(t.running());
}

TEST(KvThread, CopyOutlivingItsSourceRunsNothing)
{
    gCounter = 0;
    auto *source = new CountingThread;
    CountingThread copy(*source);
    delete source; // the thread's run() belonged to the source
    copy.start();
    EXPECT_TRUE(copy.wait(5000));
    EXPECT_EQ(gCounter.load(), 0);
}

TEST(KvThread, DestructorTerminatesAfterOneSecond)
{
    gStopSleeper = false;
    gSleeperStarted = false;
    QElapsedTimer timer;
    auto *t = new SleepingThread;
    t->start();
    // The body must be running before the derived part goes away.
    while (!gSleeperStarted.load())
        sp_Sleep(1);
    timer.start();
    delete t;
    qint64 ms = timer.elapsed();
    EXPECT_GE(ms, 950);
    EXPECT_LT(ms, 5000);
    gStopSleeper = true;
}

TEST(KvThread, RequestTerminateDoesNothingByDefault)
{
    gCounter = 0;
    CountingThread t;
    t.requestTerminate();
    EXPECT_FALSE(t.running());
    EXPECT_EQ(gCounter.load(), 0);
}

// ------------------------------------------------------------- in-process locks

TEST(KvMutex, IsNotReentrant)
{
    KvMutex m;
    m.lock();
    EXPECT_FALSE(m.tryLock()); // the holder can't take it again
    bool other = true;
    std::thread t([&] { other = m.tryLock(); });
    t.join();
    EXPECT_FALSE(other);
    m.unlock();
    EXPECT_TRUE(m.tryLock());
    m.unlock();
}

TEST(KvMutex, SerialisesThreads)
{
    KvMutex m;
    int total = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int k = 0; k < 20000; ++k) {
                m.lock();
                ++total;
                m.unlock();
            }
        });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(total, 80000);
}

TEST(YMutex, IsReentrantAndNeedsEveryUnlock)
{
    YMutex m;
    std::atomic<bool> got{false};
    m.lock();
    m.lock();
    std::thread t([&] {
        YMutexLocker lock(&m);
        got = true;
    });
    sp_Sleep(100);
    EXPECT_FALSE(got.load());
    m.unlock();
    sp_Sleep(100);
    EXPECT_FALSE(got.load()); // still held once
    m.unlock();
    t.join();
    EXPECT_TRUE(got.load());
}

TEST(YMutex, LockerSerialisesThreads)
{
    YMutex m;
    int total = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int k = 0; k < 20000; ++k) {
                YMutexLocker outer(&m);
                YMutexLocker inner(&m);
                ++total;
            }
        });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(total, 80000);
}

// ------------------------------------------------------------- named locks

TEST(NamedMutex, ReentrantForItsHolderAndRemovedAfterLastClose)
{
    std::string name = uniqueName("reent");
    {
        YSystemMutex m(name.c_str());
        ASSERT_TRUE(m.isValid());
        EXPECT_TRUE(shmExists(name));
        MutexWaitStatus st = MutexFailed;
        EXPECT_TRUE(m.wait(0, &st));
        EXPECT_EQ(st, MutexAcquired);
        EXPECT_TRUE(m.wait(0, &st)); // same thread again
        EXPECT_EQ(st, MutexAcquired);
        EXPECT_EQ(kvtest::runChild("waitMutexStatus", {QString::fromStdString(name), "0"}),
                  10 + MutexTimedOut);
        int h = sp_CreateMutex(name.c_str(), false);
        ASSERT_NE(h, 0);
        sp_ReleaseMutex(h);
        sp_ReleaseMutex(h);
        sp_CloseMutex(h);
        EXPECT_EQ(kvtest::runChild("waitMutexStatus", {QString::fromStdString(name), "0"}),
                  10 + MutexAcquired);
    }
    EXPECT_FALSE(shmExists(name));
}

TEST(NamedMutex, TwoProcessesContend)
{
    std::string name = uniqueName("contend");
    int h = sp_CreateMutex(name.c_str(), true); // created here: owned at once
    ASSERT_GT(h, 0);
    EXPECT_EQ(kvtest::runChild("waitMutexStatus", {QString::fromStdString(name), "0"}),
              10 + MutexTimedOut);
    auto child = kvtest::startChild("waitMutexStatus", {QString::fromStdString(name), "10000"});
    sp_Sleep(300);
    EXPECT_EQ(child->state(), QProcess::Running); // still waiting for us
    sp_ReleaseMutex(h);
    ASSERT_TRUE(child->waitForFinished(10000));
    EXPECT_EQ(child->exitCode(), 10 + MutexAcquired);
    // The child released it on its way out: free again.
    MutexWaitStatus st = MutexFailed;
    YSystemMutex m(name.c_str());
    EXPECT_TRUE(m.wait(1000, &st));
    EXPECT_EQ(st, MutexAcquired);
    sp_CloseMutex(h);
}

TEST(NamedMutex, InitialOwnerOnlyWhenCreated)
{
    std::string name = uniqueName("initial");
    YSystemMutex existing(name.c_str());
    int h = sp_CreateMutex(name.c_str(), true); // exists already: not owned
    ASSERT_GT(h, 0);
    EXPECT_EQ(kvtest::runChild("waitMutexStatus", {QString::fromStdString(name), "0"}),
              10 + MutexAcquired); // free: nobody owned it
    sp_CloseMutex(h);
}

TEST(NamedMutex, TimedWaitTimesOut)
{
    std::string name = uniqueName("timed");
    YSystemMutex m(name.c_str());
    auto child = kvtest::startChild("holdMutexForever", {QString::fromStdString(name)});
    ASSERT_TRUE(readLineFrom(child.get(), "held"));
    QElapsedTimer timer;
    timer.start();
    MutexWaitStatus st = MutexFailed;
    EXPECT_FALSE(m.wait(300, &st));
    EXPECT_EQ(st, MutexTimedOut);
    EXPECT_GE(timer.elapsed(), 290);
    EXPECT_FALSE(m.wait(0, &st));
    EXPECT_EQ(st, MutexTimedOut);
    child->kill();
    child->waitForFinished(5000);
}

TEST(NamedMutex, HolderKilledLeavesAnAbandonedLock)
{
    std::string name = uniqueName("killed");
    int h = sp_CreateMutex(name.c_str(), false);
    ASSERT_GT(h, 0);
    YSystemMutex m(name.c_str());
    auto child = kvtest::startChild("holdMutexForever", {QString::fromStdString(name)});
    ASSERT_TRUE(readLineFrom(child.get(), "held"));
    EXPECT_FALSE(sp_AcquireMutex(h, 0));
    ::kill(static_cast<pid_t>(child->processId()), SIGKILL);
    ASSERT_TRUE(child->waitForFinished(5000));
    MutexWaitStatus st = MutexFailed;
    EXPECT_TRUE(m.wait(2000, &st));
    EXPECT_EQ(st, MutexAbandoned);
    // We own it now: another process can't have it...
    EXPECT_EQ(kvtest::runChild("waitMutexStatus", {QString::fromStdString(name), "0"}),
              10 + MutexTimedOut);
    // ...until we let it go; then it is an ordinary free lock again.
    sp_ReleaseMutex(h);
    EXPECT_EQ(kvtest::runChild("waitMutexStatus", {QString::fromStdString(name), "0"}),
              10 + MutexAcquired);
    sp_CloseMutex(h);
}

TEST(NamedMutex, AcquireOfAKilledHoldersLockReturnsTrue)
{
    std::string name = uniqueName("killed2");
    int h = sp_CreateMutex(name.c_str(), false);
    ASSERT_GT(h, 0);
    auto child = kvtest::startChild("holdMutexForever", {QString::fromStdString(name)});
    ASSERT_TRUE(readLineFrom(child.get(), "held"));
    ::kill(static_cast<pid_t>(child->processId()), SIGKILL);
    ASSERT_TRUE(child->waitForFinished(5000));
    EXPECT_TRUE(sp_AcquireMutex(h, 2000));
    sp_ReleaseMutex(h);
    sp_CloseMutex(h);
    EXPECT_FALSE(shmExists(name));
}

TEST(NamedMutex, ThreadEndingWhileHoldingLeavesItAbandoned)
{
    std::string name = uniqueName("thread");
    int h = sp_CreateMutex(name.c_str(), false);
    ASSERT_GT(h, 0);
    bool took = false;
    std::thread t([&] { took = sp_AcquireMutex(h, 1000); }); // ends without releasing
    t.join();
    ASSERT_TRUE(took);
    YSystemMutex m(name.c_str());
    MutexWaitStatus st = MutexFailed;
    EXPECT_TRUE(m.wait(1000, &st));
    EXPECT_EQ(st, MutexAbandoned);
    sp_CloseMutex(h);
}

TEST(NamedMutex, AnyNegativeTimeWaitsForEver)
{
    std::string name = uniqueName("forever");
    int h = sp_CreateMutex(name.c_str(), false);
    ASSERT_GT(h, 0);
    auto child = kvtest::startChild("holdMutexFor", {QString::fromStdString(name), "400"});
    ASSERT_TRUE(readLineFrom(child.get(), "held"));
    QElapsedTimer timer;
    timer.start();
    EXPECT_TRUE(sp_AcquireMutex(h, -5));
    EXPECT_GE(timer.elapsed(), 250);
    sp_ReleaseMutex(h);
    child->waitForFinished(5000);
    EXPECT_EQ(child->exitCode(), 0);
    sp_CloseMutex(h);
}

TEST(NamedMutex, DestroyingAnUnacquiredMutexLeavesTheHolderAlone)
{
    std::string name = uniqueName("unacq");
    YSystemMutex holder(name.c_str());
    ASSERT_TRUE(holder.wait(0));
    std::thread other([&] {
        YSystemMutex idle(name.c_str()); // never acquired; its release fails
    });
    other.join();
    EXPECT_EQ(kvtest::runChild("waitMutexStatus", {QString::fromStdString(name), "0"}),
              10 + MutexTimedOut);
    EXPECT_TRUE(shmExists(name));
}

TEST(NamedMutex, CloseWithoutReleaseKeepsTheLockHeld)
{
    std::string name = uniqueName("close");
    EXPECT_EQ(kvtest::runChild("closeWithoutRelease", {QString::fromStdString(name)}), 0);
    // The child died holding it; the name is reclaimed by the next user.
    YSystemMutex m(name.c_str());
    EXPECT_TRUE(m.wait(0));
}

TEST(NamedMutex, ObjectsOfDeadHoldersAreSwept)
{
    std::string name = uniqueName("swept");
    EXPECT_EQ(kvtest::runChild("closeWithoutRelease", {QString::fromStdString(name)}), 0);
    EXPECT_TRUE(shmExists(name)); // its last holder died holding it
    EXPECT_EQ(kvtest::runChild("openAndClose", {QString::fromStdString(uniqueName("other"))}), 0);
    EXPECT_FALSE(shmExists(name));
}

TEST(NamedMutex, BadHandlesAndFailedMutexes)
{
    EXPECT_FALSE(sp_AcquireMutex(0, 0));
    EXPECT_FALSE(sp_AcquireMutex(-7, -1));
    sp_ReleaseMutex(12345678);
    sp_CloseMutex(12345678);
    // An object of the right name that others could read is refused; as
    // nobody uses the name, the useless object is removed.
    std::string name = uniqueName("bad");
    std::string object = kv::platform::namedMutexObjectName(name.c_str());
    auto plantReadableObject = [&] {
        int fd = shm_open(object.c_str(), O_RDWR | O_CREAT, 0600);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(fchmod(fd, 0644), 0);
        close(fd);
    };
    plantReadableObject();
    {
        YSystemMutex m(name.c_str());
        EXPECT_FALSE(m.isValid());
        EXPECT_FALSE(m.wait(0, nullptr));
        MutexWaitStatus st = MutexAcquired;
        EXPECT_FALSE(m.wait(-1, &st));
        EXPECT_EQ(st, MutexFailed);
    }
    EXPECT_FALSE(shmExists(name));
    plantReadableObject();
    EXPECT_EQ(sp_CreateMutex(name.c_str(), true), 0);
    EXPECT_FALSE(shmExists(name));
    YSystemMutex again(name.c_str());
    EXPECT_TRUE(again.isValid());
}

TEST(NamedMutex, UnnamedMutexIsLocalToTheProcess)
{
    int h = sp_CreateMutex(nullptr, true);
    ASSERT_GT(h, 0);
    bool other = true;
    std::thread t([&] { other = sp_AcquireMutex(h, 50); });
    t.join();
    EXPECT_FALSE(other);
    sp_ReleaseMutex(h);
    std::thread t2([&] {
        other = sp_AcquireMutex(h, 50);
        sp_ReleaseMutex(h);
    });
    t2.join();
    EXPECT_TRUE(other);
    sp_CloseMutex(h);
}

TEST(NamedMutex, NamesAreExactAndMayHoldAnyCharacter)
{
    std::string a = uniqueName("Case/%x");
    std::string b = a;
    for (char &c : b)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    std::string longName(400, 'n');
    longName += uniqueName("long");
    YSystemMutex ma(a.c_str());
    YSystemMutex mb(b.c_str());
    YSystemMutex ml(longName.c_str());
    ASSERT_TRUE(ma.isValid() && mb.isValid() && ml.isValid());
    EXPECT_TRUE(ma.wait(0));
    EXPECT_EQ(kvtest::runChild("waitMutexStatus", {QString::fromStdString(b), "0"}), 10 + MutexAcquired);
    EXPECT_EQ(kvtest::runChild("waitMutexStatus", {QString::fromStdString(a), "0"}), 10 + MutexTimedOut);
    EXPECT_TRUE(ml.wait(0));
    EXPECT_EQ(kvtest::runChild("waitMutexStatus", {QString::fromStdString(longName), "0"}),
              10 + MutexTimedOut);
}

// ------------------------------------------------------------- threads and processors

TEST(Threads, StatusAndPriorityValuesAreFixed)
{
    EXPECT_EQ(static_cast<int>(MutexAcquired), 0);
    EXPECT_EQ(static_cast<int>(MutexAbandoned), 1);
    EXPECT_EQ(static_cast<int>(MutexTimedOut), 2);
    EXPECT_EQ(static_cast<int>(MutexFailed), 3);
    EXPECT_EQ(static_cast<int>(ThreadPriorityHigh), 0);
    EXPECT_EQ(static_cast<int>(ThreadPriorityIdle), 1);
    EXPECT_EQ(static_cast<int>(ThreadPriorityNormal), 2);
    EXPECT_EQ(static_cast<int>(ThreadPriorityOther), 3);
}

TEST(Threads, ThreadIdsAndLiveness)
{
    int self = sp_GetThreadId();
    EXPECT_GT(self, 0);
    EXPECT_EQ(self, static_cast<int>(getpid())); // the test body runs on the main thread
    EXPECT_TRUE(sp_IsThreadRunning(self));
    int otherId = 0;
    std::thread t([&] { otherId = sp_GetThreadId(); });
    t.join();
    EXPECT_NE(otherId, self);
    EXPECT_FALSE(sp_IsThreadRunning(otherId));
    EXPECT_FALSE(sp_IsThreadRunning(0));
    EXPECT_FALSE(sp_IsThreadRunning(-1));
    EXPECT_FALSE(sp_IsThreadRunning(0x7FFFFFFF));
}

TEST(Threads, ProcessorCounts)
{
    int cores = sp_GetNumCores();
    int logical = sp_GetNumLogicalProcessors();
    int packages = sp_GetNumPhysicalProcessors();
    kv::platform::ProcessorTopology topology;
    ASSERT_TRUE(kv::platform::readProcessorTopology(&topology));
    EXPECT_EQ(cores, static_cast<int>(topology.cores.size()));
    EXPECT_EQ(packages, topology.packages);
    EXPECT_GE(cores, 1);
    EXPECT_GE(logical, cores);
    EXPECT_LE(logical, 2 * cores); // never more than two per core
    EXPECT_LE(logical, kv::platform::onlineProcessorCount());
    EXPECT_GE(packages, 1);
}

TEST(Threads, ProcessorListParsing)
{
    std::vector<int> v;
    ASSERT_TRUE(kv::platform::parseProcessorList("0-3,8,10-11", &v));
    EXPECT_EQ(v, (std::vector<int>{0, 1, 2, 3, 8, 10, 11}));
    EXPECT_FALSE(kv::platform::parseProcessorList("", &v));
    EXPECT_FALSE(kv::platform::parseProcessorList("3-1", &v));
    EXPECT_FALSE(kv::platform::parseProcessorList("1,a", &v));
    EXPECT_FALSE(kv::platform::parseProcessorList("-1", &v));
}

TEST(Threads, CountingFromTopologyRecords)
{
    using kv::platform::ProcessorCore;
    kv::platform::ProcessorTopology t;
    kv::platform::ProcessorCounts c = kv::platform::countFromTopology(t);
    EXPECT_EQ(c.logical + c.cores + c.packages, 0); // no records: all zero
    t.packages = 2;
    t.cores = {ProcessorCore{0x3, 2}, ProcessorCore{0x3C, 4}, ProcessorCore{0x40, 1}};
    c = kv::platform::countFromTopology(t);
    EXPECT_EQ(c.cores, 3);
    EXPECT_EQ(c.logical, 2 + 2 + 1); // never more than two per core
    EXPECT_EQ(c.packages, 2);
}

TEST(Threads, PackageMaskArithmetic)
{
    using kv::platform::packageAffinityMask;
    EXPECT_EQ(packageAffinityMask(8, 1, 0), 0xFFu); // one package: no shift
    EXPECT_EQ(packageAffinityMask(8, 2, 0), 0x0Fu);
    EXPECT_EQ(packageAffinityMask(8, 2, 1), 0xF00u); // shifted by all 8, not by 4
    EXPECT_EQ(packageAffinityMask(12, 3, 2), 0xFu << 24);
    EXPECT_EQ(packageAffinityMask(32, 2, 1), 0xFFFFu); // a shift of 32 is a shift of 0
    EXPECT_EQ(packageAffinityMask(64, 1, 0), 0xFFFFFFFFu);
    EXPECT_EQ(packageAffinityMask(24, 2, 2), 0xFFFu << 16 << 16); // bits shifted out
    EXPECT_EQ(packageAffinityMask(8, 0, 0), 0u);
    EXPECT_EQ(packageAffinityMask(8, 2, -1), 0u);
}

TEST(Threads, PrivateRuntimeDirectory)
{
    std::string dir = kv::platform::userRuntimeDir();
    EXPECT_EQ(dir, std::string(std::getenv("XDG_RUNTIME_DIR")) + "/kvsupport");
    struct stat st;
    ASSERT_EQ(stat(dir.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    std::string base = kvtest::makeTempDir("rtdir");
    std::string wide = base + "/wide";
    ASSERT_EQ(mkdir(wide.c_str(), 0755), 0);
    EXPECT_TRUE(kv::platform::ensurePrivateDir(wide)); // ours: narrowed
    ASSERT_EQ(stat(wide.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    std::string file = base + "/file";
    std::FILE *f = std::fopen(file.c_str(), "w");
    ASSERT_NE(f, nullptr);
    std::fclose(f);
    EXPECT_FALSE(kv::platform::ensurePrivateDir(file));
    std::string link = base + "/link";
    ASSERT_EQ(symlink(wide.c_str(), link.c_str()), 0);
    EXPECT_FALSE(kv::platform::ensurePrivateDir(link));
    EXPECT_FALSE(kv::platform::ensurePrivateDir(""));
    EXPECT_FALSE(kv::platform::ensurePrivateDir(base + "/missing/deeper"));
    if (geteuid() == 0) {
        std::string foreign = base + "/foreign";
        ASSERT_EQ(mkdir(foreign.c_str(), 0700), 0);
        ASSERT_EQ(chown(foreign.c_str(), 65534, 65534), 0);
        EXPECT_FALSE(kv::platform::ensurePrivateDir(foreign)); // another user's
    }
}

TEST(Threads, CoreAffinity)
{
    std::thread t([] {
        sp_SetThreadAll();
        std::uint64_t all = currentAffinity();
        ASSERT_NE(all, 0u);
        sp_SetThreadCore(-1);
        EXPECT_EQ(currentAffinity(), all);
        sp_SetThreadCore(sp_GetNumCores());
        EXPECT_EQ(currentAffinity(), all);
        kv::platform::ProcessorTopology topology;
        ASSERT_TRUE(kv::platform::readProcessorTopology(&topology));
        sp_SetThreadCore(0);
        EXPECT_EQ(currentAffinity(), topology.cores[0].mask & all & 0xFFFFFFFFu);
        if (topology.cores.size() > 1) {
            sp_SetThreadCore(1);
            EXPECT_EQ(currentAffinity(), topology.cores[1].mask & all & 0xFFFFFFFFu);
        }
        sp_SetThreadAll();
        EXPECT_EQ(currentAffinity(), all);
    });
    t.join();
}

TEST(Threads, PackageAffinity)
{
    std::thread t([] {
        sp_SetThreadAll();
        std::uint64_t all = currentAffinity();
        int logical = sp_GetNumLogicalProcessors();
        int packages = sp_GetNumPhysicalProcessors();
        sp_SetThreadPhysicalProcessor(-1);
        EXPECT_EQ(currentAffinity(), all);
        sp_SetThreadPhysicalProcessor(packages);
        EXPECT_EQ(currentAffinity(), all);
        if (packages == 1 && logical < 32) {
            sp_SetThreadPhysicalProcessor(0); // no shift: every logical processor
            EXPECT_EQ(currentAffinity(), ((std::uint64_t(1) << logical) - 1) & all);
        }
        sp_SetThreadAll();
    });
    t.join();
}

TEST(Threads, Priorities)
{
    int code = kvtest::runChild("priorities");
    if (code == 1)
        GTEST_SKIP() << "raising a priority needs privileges; the unprivileged checks passed";
    EXPECT_EQ(code, 0);
}

TEST(Threads, SleepSuspends)
{
    auto start = std::chrono::steady_clock::now();
    sp_Sleep(60);
    sp_Pause();
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    EXPECT_GE(ms.count(), 60);
}

// ------------------------------------------------------------- event loops

namespace {

class EventCounter : public QObject {
public:
    bool event(QEvent *e) override
    {
        if (e->type() == QEvent::User) {
            ++count;
            return true;
        }
        return QObject::event(e);
    }
    int count = 0;
};

// Events are delivered only in a process with a QCoreApplication.
void ensureApplication()
{
    static int argc = 1;
    static char name[] = "kvsupport_tests";
    static char *argv[] = {name, nullptr};
    if (QCoreApplication::instance() == nullptr)
        new QCoreApplication(argc, argv); // kept for the rest of the run
}

struct LoopThread : public KvThread {
    std::function<void()> body;
    void run() override { body(); }
    ~LoopThread() override { wait(-1); }
};

} // namespace

TEST(YEventLoop, ExecDispatchesPendingEventsAndReturns)
{
    ensureApplication();
    LoopThread t;
    int dispatched = -1;
    t.body = [&] {
        EventCounter receiver;
        QCoreApplication::postEvent(&receiver, new QEvent(QEvent::User));
        YEventLoop loop;
        loop.exit();
        loop.exec(); // one step, even with the flag set beforehand
        dispatched = receiver.count;
    };
    t.start();
    ASSERT_TRUE(t.wait(10000));
    EXPECT_EQ(dispatched, 1);
}

TEST(YEventLoop, ExecReturnsOnAWakeUpWithNothingDispatched)
{
    ensureApplication();
    LoopThread t;
    std::atomic<QAbstractEventDispatcher *> dispatcher{nullptr};
    int dispatched = -1;
    t.body = [&] {
        EventCounter receiver;
        YEventLoop loop;
        // A first step takes whatever the new thread has pending.
        QCoreApplication::postEvent(&receiver, new QEvent(QEvent::User));
        loop.exec();
        int before = receiver.count;
        dispatcher = QAbstractEventDispatcher::instance();
        loop.exec();
        dispatched = receiver.count - before;
    };
    t.start();
    while (dispatcher.load() == nullptr)
        sp_Sleep(5);
    sp_Sleep(100);
    EXPECT_TRUE(t.running()); // blocked: nothing to do
    dispatcher.load()->interrupt();
    ASSERT_TRUE(t.wait(10000));
    EXPECT_EQ(dispatched, 0);
}

TEST(YEventLoop, ThreadWithoutDispatcherReturnsAtOnce)
{
    bool hadDispatcher = true;
    qint64 ms = -1;
    std::thread t([&] {
        hadDispatcher = QAbstractEventDispatcher::instance() != nullptr;
        QElapsedTimer timer;
        timer.start();
        YEventLoop loop;
        loop.exec();
        ms = timer.elapsed();
    });
    t.join();
    EXPECT_FALSE(hadDispatcher);
    EXPECT_GE(ms, 0);
    EXPECT_LT(ms, 1000);
}

TEST(KvEventLoop, RunsUntilExit)
{
    ensureApplication();
    LoopThread t;
    int code = -1;
    int fired = 0;
    t.body = [&] {
        KvEventLoop loop;
        QTimer::singleShot(20, [&] { ++fired; });
        QTimer::singleShot(80, [&] { loop.exit(); });
        code = loop.exec();
    };
    t.start();
    ASSERT_TRUE(t.wait(10000));
    EXPECT_EQ(code, 0);
    EXPECT_EQ(fired, 1);
}
