#include "platform/posix/fd_io.h"

#include <unistd.h>

#include <cerrno>

namespace kv {
namespace platform {

bool writeFully(int fd, const void *data, std::size_t size)
{
    const char *p = static_cast<const char *>(data);
    while (size > 0) {
        ssize_t n = write(fd, p, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        p += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

} // namespace platform
} // namespace kv
