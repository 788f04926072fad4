// Small private data files that several processes update: an exclusive
// lock held around a read-modify-write, a whole-file read, and a replacement
// that readers never see half done. Implemented in posix/.
#ifndef KVSUPPORT_PLATFORM_STORE_FILE_H
#define KVSUPPORT_PLATFORM_STORE_FILE_H

#include <string>

namespace kv {
namespace platform {

/// An exclusive advisory lock on the file \p path (created, mode 0600, if
/// missing), held for the life of the object. The lock goes with the
/// process if it dies.
class ExclusiveFileLock {
public:
    /// Blocks until the lock is had, or fails.
    explicit ExclusiveFileLock(const std::string &path);
    ~ExclusiveFileLock();
    ExclusiveFileLock(const ExclusiveFileLock &) = delete;
    ExclusiveFileLock &operator=(const ExclusiveFileLock &) = delete;
    /// True if the lock is held.
    bool locked() const { return fd >= 0; }

private:
    int fd;
};

/// Reads the whole file. A missing file gives true, empty text and
/// \p exists false; any other failure gives false.
bool readFileContents(const std::string &path, std::string *out, bool *exists);

/// Replaces the file by \p data through a temporary file in the same
/// directory (mode 0600), flushed to disk and renamed over it. On failure the
/// old file is untouched.
bool replaceFileContents(const std::string &path, const std::string &data);

} // namespace platform
} // namespace kv

#endif
