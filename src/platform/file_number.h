// The descriptor under a C file. Implemented in posix/.
#ifndef KVSUPPORT_PLATFORM_FILE_NUMBER_H
#define KVSUPPORT_PLATFORM_FILE_NUMBER_H

#include <cstdio>

namespace kv {
namespace platform {

/// The descriptor of \p file; -1 for null.
int fileNumber(std::FILE *file);

} // namespace platform
} // namespace kv

#endif
