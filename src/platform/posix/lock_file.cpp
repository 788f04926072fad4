// Lock files on Linux: flock(LOCK_EX | LOCK_NB) on the open companion file.
// The kernel drops the lock when the last descriptor of the open file goes,
// so a holder that dies leaves at most a stale file, never a lock.
//
// A file is only removed by someone who holds its lock, and a new holder
// checks after locking that its descriptor is still the file named by the
// path; together that keeps two holders from locking two different files of
// the same name.
#include "platform/lock_file.h"
#include "platform/posix/fd_io.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kv {
namespace platform {

namespace {

// True if \p path names the file open on \p fd.
bool sameFile(int fd, const char *path)
{
    struct stat held;
    struct stat named;
    if (fstat(fd, &held) != 0 || stat(path, &named) != 0)
        return false;
    return held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

int openLocked(const char *path, unsigned *errorCode)
{
    for (int attempt = 0; attempt < 100; ++attempt) {
        int fd = open(path, O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (fd < 0) {
            *errorCode = static_cast<unsigned>(errno);
            return -1;
        }
        if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
            *errorCode = static_cast<unsigned>(errno);
            close(fd);
            return -1;
        }
        if (sameFile(fd, path))
            return fd;
        close(fd); // the holder removed it between our open and our lock
    }
    *errorCode = EAGAIN;
    return -1;
}

} // namespace

int acquireLockFile(const char *path, unsigned *errorCode)
{
    *errorCode = 0;
    if (path == nullptr || *path == 0) {
        *errorCode = ENOENT;
        return -1;
    }
    int fd = openLocked(path, errorCode);
    if (fd < 0)
        return -1;
    if (ftruncate(fd, 0) != 0) {
        *errorCode = static_cast<unsigned>(errno);
        close(fd);
        return -1;
    }
    return fd;
}

LockFileFailure classifyLockError(unsigned errorCode)
{
    int e = static_cast<int>(errorCode);
    if (e == EWOULDBLOCK || e == EAGAIN)
        return LockFileHeldElsewhere;
    if (e == EACCES || e == EPERM || e == EROFS)
        return LockFileDenied;
    return LockFileOther;
}

bool writeLockFile(int fd, const char *text, unsigned size)
{
    return writeFully(fd, text, size);
}

void releaseLockFile(int fd, const char *path)
{
    if (fd < 0)
        return;
    if (path != nullptr && *path != 0 && sameFile(fd, path))
        unlink(path);
    close(fd);
}

void removeLockFileIfFree(const char *path)
{
    if (path == nullptr || *path == 0)
        return;
    int fd = open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0)
        return;
    if (flock(fd, LOCK_EX | LOCK_NB) == 0 && sameFile(fd, path))
        unlink(path);
    close(fd);
}

int duplicateLockFile(int fd)
{
    if (fd < 0)
        return -1;
    return fcntl(fd, F_DUPFD_CLOEXEC, 0);
}

} // namespace platform
} // namespace kv
