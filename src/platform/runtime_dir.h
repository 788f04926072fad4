// The per-user runtime directory: where the library keeps the small files and
// sockets that only the current user may reach (named-mutex reference files,
// channel sockets, lock files). Implemented in posix/.
#ifndef KVSUPPORT_PLATFORM_RUNTIME_DIR_H
#define KVSUPPORT_PLATFORM_RUNTIME_DIR_H

#include <string>

namespace kv {
namespace platform {

/// Path of the per-user runtime directory, created on first use:
/// "$XDG_RUNTIME_DIR/kvsupport" when XDG_RUNTIME_DIR names a usable directory,
/// else "/tmp/kvsupport-<uid>". The directory is mode 0700; one that is owned
/// by another user, is not a directory or is a symbolic link is refused.
/// Returns an empty string when no usable directory can be had. The answer is
/// computed at each call, so a change of XDG_RUNTIME_DIR is seen.
std::string userRuntimeDir();

/// Makes sure \p path is a directory owned by the current user with mode
/// 0700, creating it (one level) if needed. False if it cannot be made so.
bool ensurePrivateDir(const std::string &path);

} // namespace platform
} // namespace kv

#endif
