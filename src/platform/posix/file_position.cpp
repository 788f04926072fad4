// 64-bit file positions on Linux: fseeko/ftello with a 64-bit off_t, and
// fstat for the size.
#include "platform/file_position.h"

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace kv {
namespace platform {

static_assert(sizeof(off_t) == 8, "file positions must be 64-bit");

int seekFile(std::FILE *file, long long offset, int whence)
{
    if (file == nullptr)
        return -1;
    int how = whence == 0 ? SEEK_SET : whence == 1 ? SEEK_CUR : SEEK_END;
    return fseeko(file, static_cast<off_t>(offset), how) == 0 ? 0 : -1;
}

long long tellFile(std::FILE *file)
{
    if (file == nullptr)
        return -1;
    return static_cast<long long>(ftello(file));
}

int fileNumber(std::FILE *file)
{
    return file != nullptr ? fileno(file) : -1;
}

long long fileSize(std::FILE *file)
{
    int fd = fileNumber(file);
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0)
        return 0;
    return static_cast<long long>(st.st_size);
}

} // namespace platform
} // namespace kv
