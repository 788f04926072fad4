// Locked, atomically replaced data files on Linux: flock and rename.
#include "platform/store_file.h"
#include "platform/posix/fd_io.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

namespace kv {
namespace platform {

ExclusiveFileLock::ExclusiveFileLock(const std::string &path)
    : fd(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600))
{
    if (fd < 0)
        return;
    int r;
    do {
        r = flock(fd, LOCK_EX);
    } while (r != 0 && errno == EINTR);
    if (r != 0) {
        close(fd);
        fd = -1;
    }
}

ExclusiveFileLock::~ExclusiveFileLock()
{
    if (fd >= 0)
        close(fd);
}

bool readFileContents(const std::string &path, std::string *out, bool *exists)
{
    out->clear();
    *exists = false;
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno == ENOENT;
    *exists = true;
    char buffer[65536];
    for (;;) {
        ssize_t n = read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            close(fd);
            return false;
        }
        if (n == 0)
            break;
        out->append(buffer, static_cast<size_t>(n));
    }
    close(fd);
    return true;
}

namespace {

bool writeAll(int fd, const std::string &data)
{
    return kv::platform::writeFully(fd, data.data(), data.size());
}

} // namespace

bool replaceFileContents(const std::string &path, const std::string &data)
{
    std::string pattern = path + ".tmp-XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back(0);
    int fd = mkostemp(name.data(), O_CLOEXEC); // mode 0600
    if (fd < 0)
        return false;
    bool ok = writeAll(fd, data) && fsync(fd) == 0;
    ok = close(fd) == 0 && ok;
    if (!ok || rename(name.data(), path.c_str()) != 0) {
        unlink(name.data());
        return false;
    }
    std::string dir = path.substr(0, path.rfind('/') + 1);
    int dirFd = open(dir.empty() ? "." : dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd >= 0) {
        fsync(dirFd);
        close(dirFd);
    }
    return true;
}

} // namespace platform
} // namespace kv
