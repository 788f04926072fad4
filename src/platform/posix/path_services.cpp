// File-system services for the path functions on Linux: stat, realpath,
// mkstemps, fopen, unlink and statfs.
#include "platform/path_services.h"

#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/types.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace kv {
namespace platform {

PathKind pathKind(const char *path)
{
    struct stat st;
    if (path == nullptr || *path == 0 || ::stat(path, &st) != 0)
        return PathKind::Missing;
    return S_ISDIR(st.st_mode) ? PathKind::Directory : PathKind::File;
}

bool entryExists(const char *path)
{
    struct stat st;
    return path != nullptr && *path != 0 && ::lstat(path, &st) == 0;
}

std::string fileIdentity(const char *path)
{
    struct stat st;
    if (path == nullptr || *path == 0 || ::stat(path, &st) != 0)
        return std::string();
    return std::to_string(static_cast<unsigned long long>(st.st_dev)) + ":" +
           std::to_string(static_cast<unsigned long long>(st.st_ino));
}

std::string canonicalName(const char *path, int *error)
{
    if (path == nullptr || *path == 0) {
        if (error)
            *error = ENOENT;
        return std::string();
    }
    char *resolved = ::realpath(path, nullptr);
    if (resolved == nullptr) {
        if (error)
            *error = errno;
        return std::string();
    }
    std::string result(resolved);
    std::free(resolved);
    return result;
}

std::string createUniqueFile(const std::string &dir, const char *prefix, const char *suffix)
{
    std::string name = dir;
    if (name.empty())
        name = ".";
    if (name.back() != '/')
        name += '/';
    name += prefix;
    name += "XXXXXX";
    const int suffixLength = static_cast<int>(std::strlen(suffix));
    name += suffix;
    std::vector<char> buffer(name.begin(), name.end());
    buffer.push_back(0);
    int fd = ::mkostemps(buffer.data(), suffixLength, O_CLOEXEC);
    if (fd < 0)
        return std::string();
    ::close(fd);
    return std::string(buffer.data());
}

std::FILE *openForReading(const char *path)
{
    if (path == nullptr || *path == 0)
        return nullptr;
    std::FILE *f = std::fopen(path, "rb");
    if (f == nullptr)
        return nullptr;
    struct stat st;
    if (::fstat(::fileno(f), &st) != 0 || S_ISDIR(st.st_mode)) {
        std::fclose(f);
        return nullptr;
    }
    return f;
}

std::FILE *openForWriting(const char *path, const char *mode)
{
    if (path == nullptr || *path == 0 || mode == nullptr)
        return nullptr;
    return std::fopen(path, mode);
}

bool removeFile(const char *path)
{
    return path != nullptr && *path != 0 && ::unlink(path) == 0;
}

StorageKind storageKind(const char *path)
{
    struct statfs fs;
    if (path == nullptr || *path == 0 || ::statfs(path, &fs) != 0)
        return StorageKind::Unknown;
    switch (static_cast<unsigned long>(fs.f_type)) {
    case 0x6969UL:     // NFS
    case 0x517BUL:     // SMB
    case 0xFF534D42UL: // CIFS
    case 0xFE534D42UL: // SMB2
    case 0x73757245UL: // Coda
    case 0x5346414FUL: // AFS
    case 0x6B414653UL: // kAFS
        return StorageKind::Remote;
    case 0x9660UL:     // ISO 9660
    case 0x15013346UL: // UDF
        return StorageKind::Optical;
    case 0x01021994UL: // tmpfs
    case 0x858458F6UL: // ramfs
        return StorageKind::Ram;
    default:
        return StorageKind::Local;
    }
}

} // namespace platform
} // namespace kv
