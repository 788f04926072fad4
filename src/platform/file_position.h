// 64-bit positions and sizes of open C files, as the platform offers them.
// Implemented in posix/.
#ifndef KVSUPPORT_PLATFORM_FILE_POSITION_H
#define KVSUPPORT_PLATFORM_FILE_POSITION_H

#include <cstdio>

namespace kv {
namespace platform {

/// 64-bit fseek: \p whence 0 from the start, 1 from the current position,
/// any other value from the end. 0 on success, -1 on failure.
int seekFile(std::FILE *file, long long offset, int whence);

/// The 64-bit position of \p file; -1 on failure.
long long tellFile(std::FILE *file);

/// The descriptor of \p file; -1 for null.
int fileNumber(std::FILE *file);

/// The size of the file open on \p file; 0 for null or on failure.
long long fileSize(std::FILE *file);

} // namespace platform
} // namespace kv

#endif
