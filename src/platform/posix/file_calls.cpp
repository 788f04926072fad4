// The C file functions by name on POSIX, and the deny-write open through an
// advisory flock on the descriptor.
#include "platform/file_calls.h"

#include <kvsupport/encoding.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kv {
namespace platform {

std::FILE *openFile(const char *name, const char *mode)
{
    return std::fopen(name, mode);
}

namespace {

// The access of the descriptor follows the first letter of the mode. A '+'
// widens it to reading and writing: fdopen here refuses a mode that asks for
// more than the descriptor allows, so "r+" on a read-only descriptor would
// fail outright instead of failing at the first write.
int openFlags(const char *mode)
{
    const bool both = std::strchr(mode, '+') != nullptr;
    switch (mode[0]) {
    case 'a': return (both ? O_RDWR : O_WRONLY) | O_APPEND | O_CREAT;
    case 'w': return (both ? O_RDWR : O_WRONLY) | O_CREAT;
    default: return both ? O_RDWR : O_RDONLY;
    }
}

// Closes \p fd keeping the errno of the failure that led here.
std::FILE *failAndClose(int fd)
{
    const int saved = errno;
    ::close(fd);
    errno = saved;
    return nullptr;
}

} // namespace

std::FILE *openFileDenyWrite(const char *name, const char *mode)
{
    const int flags = openFlags(mode);
    const int fd = ::open(name, flags | O_CLOEXEC, 0666);
    if (fd < 0)
        return nullptr;
    const bool readOnly = (flags & O_ACCMODE) == O_RDONLY;
    if (::flock(fd, (readOnly ? LOCK_SH : LOCK_EX) | LOCK_NB) != 0)
        return failAndClose(fd);
    // Truncate only under the lock, so a file that another process holds is
    // never emptied.
    if (mode[0] == 'w' && ::ftruncate(fd, 0) != 0)
        return failAndClose(fd);
    std::FILE *file = ::fdopen(fd, mode);
    if (file == nullptr)
        return failAndClose(fd);
    return file;
}

int renameFile(const char *from, const char *to)
{
    return std::rename(from, to) == 0 ? 0 : -1;
}

int unlinkFile(const char *name)
{
    return ::unlink(name) == 0 ? 0 : -1;
}

int statFile(const char *name, Stat64 *status)
{
    struct stat st;
    if (::stat(name, &st) != 0)
        return -1;
    status->dev = static_cast<std::uint64_t>(st.st_dev);
    status->ino = static_cast<std::uint64_t>(st.st_ino);
    status->mode = static_cast<std::uint32_t>(st.st_mode);
    status->nlink = static_cast<std::uint64_t>(st.st_nlink);
    status->uid = static_cast<std::uint32_t>(st.st_uid);
    status->gid = static_cast<std::uint32_t>(st.st_gid);
    status->rdev = static_cast<std::uint64_t>(st.st_rdev);
    status->size = static_cast<std::int64_t>(st.st_size);
    status->atime = static_cast<std::int64_t>(st.st_atime);
    status->mtime = static_cast<std::int64_t>(st.st_mtime);
    status->ctime = static_cast<std::int64_t>(st.st_ctime);
    return 0;
}

} // namespace platform
} // namespace kv
