// kvtool mutex: takes a named cross-process mutex, so that a person can see
// contention, time-outs and abandoned locks between shells.
#include "command.h"

#include <kvsupport/threads.h>

#include <charconv>
#include <cstdio>
#include <cstring>

namespace {

bool number(const char *text, int *out)
{
    const char *end = text + std::strlen(text);
    auto r = std::from_chars(text, end, *out);
    return r.ec == std::errc() && r.ptr == end;
}

} // namespace

KVTOOL_COMMAND(mutex, "mutex NAME WAIT_MS HOLD_MS",
               "wait up to WAIT_MS (negative: for ever) for the named mutex NAME, print what the\n"
               "wait found (acquired, abandoned, timed-out, failed), hold it HOLD_MS, release it")
(int argc, char **argv)
{
    int waitMs = 0, holdMs = 0;
    if (argc != 4 || !number(argv[2], &waitMs) || !number(argv[3], &holdMs) || holdMs < 0)
        return kvtool::fail(2, "usage: kvtool mutex NAME WAIT_MS HOLD_MS");
    static const char *names[] = {"acquired", "abandoned", "timed-out", "failed"};
    YSystemMutex mutex(argv[1]);
    MutexWaitStatus status = MutexFailed;
    bool ok = mutex.wait(waitMs, &status);
    std::printf("%s\n", names[status]);
    std::fflush(stdout);
    if (ok)
        sp_Sleep(static_cast<unsigned int>(holdMs));
    return ok ? 0 : 1; // the destructor releases the mutex
}
