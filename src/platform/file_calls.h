// The C file functions by name, as the platform offers them. Names are
// passed as they are: on this platform file names are bytes, and UTF-8 names
// reach the file system unchanged. Implemented in posix/.
#ifndef KVSUPPORT_PLATFORM_FILE_CALLS_H
#define KVSUPPORT_PLATFORM_FILE_CALLS_H

#include <cstdio>

struct Stat64;

namespace kv {
namespace platform {

/// fopen; null on failure, with errno set.
std::FILE *openFile(const char *name, const char *mode);

/// Opens \p name so that other deny-write opens cannot write it: an advisory
/// lock, shared for a read-only open and exclusive otherwise, taken without
/// waiting. \p mode's first letter picks the access ('a' append, 'w'
/// truncate, else read; '+' adds the other direction). Null on failure or a
/// conflicting lock, with errno set.
std::FILE *openFileDenyWrite(const char *name, const char *mode);

/// rename: 0 or -1.
int renameFile(const char *from, const char *to);

/// unlink: 0 or -1.
int unlinkFile(const char *name);

/// stat into \p status: 0 or -1.
int statFile(const char *name, Stat64 *status);

} // namespace platform
} // namespace kv

#endif
