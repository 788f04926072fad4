// File modification times on Linux: utimensat with nanoseconds.
#include "platform/file_stamp.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace kv {
namespace platform {

namespace {
// 100 ns units between 1 January 1601 and 1 January 1970.
const long long kEpochDelta100ns = 116444736000000000LL;
} // namespace

bool setFileModifiedTime(const char *path, long long time)
{
    if (path == nullptr || time < kEpochDelta100ns)
        return false;
    long long since1970 = time - kEpochDelta100ns;
    struct timespec times[2];
    times[0].tv_sec = 0;
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = static_cast<time_t>(since1970 / 10000000LL);
    times[1].tv_nsec = static_cast<long>((since1970 % 10000000LL) * 100);
    return utimensat(AT_FDCWD, path, times, 0) == 0;
}

} // namespace platform
} // namespace kv
