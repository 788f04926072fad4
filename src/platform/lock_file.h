// Lock files: a companion file held open, with an exclusive advisory lock on
// the open file so that the lock ends with its holder, even when the holder
// dies. Used by FileLock; implemented in posix/.
#ifndef KVSUPPORT_PLATFORM_LOCK_FILE_H
#define KVSUPPORT_PLATFORM_LOCK_FILE_H

namespace kv {
namespace platform {

/// Outcome class of a failed acquisition, as FileLock reports it.
enum LockFileFailure {
    LockFileHeldElsewhere = 1, ///< another open file holds the lock
    LockFileDenied = 2,        ///< no right to create or open the file
    LockFileOther = 3          ///< anything else
};

/// Creates or opens \p path (owner read/write), takes an exclusive lock on it
/// without waiting, and empties it. Returns the open descriptor, or -1 with
/// the system's error code in \p *errorCode (0 on success).
int acquireLockFile(const char *path, unsigned *errorCode);

/// Classifies an error code from acquireLockFile.
LockFileFailure classifyLockError(unsigned errorCode);

/// Writes \p size bytes to the lock file; false if not all were written.
bool writeLockFile(int fd, const char *text, unsigned size);

/// Removes \p path if it is still the file open on \p fd, then closes \p fd.
void releaseLockFile(int fd, const char *path);

/// Removes \p path unless some open file holds its lock.
void removeLockFileIfFree(const char *path);

/// A second descriptor on the same open lock file; -1 for -1 or on failure.
int duplicateLockFile(int fd);

} // namespace platform
} // namespace kv

#endif
