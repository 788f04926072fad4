// Whole writes on a file descriptor, shared by the POSIX services.
#ifndef KVSUPPORT_PLATFORM_POSIX_FD_IO_H
#define KVSUPPORT_PLATFORM_POSIX_FD_IO_H

#include <cstddef>

namespace kv {
namespace platform {

/// Writes all \p size bytes of \p data to \p fd, retrying after signals and
/// short writes. False if the descriptor refuses any of it.
bool writeFully(int fd, const void *data, std::size_t size);

} // namespace platform
} // namespace kv

#endif
