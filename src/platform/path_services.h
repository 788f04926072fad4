// What the path and directory functions need from the file system beyond
// QDir and QFileInfo: attributes, file identity, canonical names, unique
// temporary files, file opening and removal, and the kind of file system a
// directory lives on. Implemented in posix/path_services.cpp.
#ifndef KVSUPPORT_PLATFORM_PATH_SERVICES_H
#define KVSUPPORT_PLATFORM_PATH_SERVICES_H

#include <cstdio>
#include <string>

namespace kv {
namespace platform {

/// What a name refers to, following symbolic links.
enum class PathKind { Missing, File, Directory };

/// The kind of \p path (UTF-8); an empty or null path is Missing.
PathKind pathKind(const char *path);

/// True if a directory entry of that name exists, whatever it is: a
/// symbolic link counts even when what it points to is missing.
bool entryExists(const char *path);

/// A text naming the file of \p path by device and inode (links followed);
/// empty when the path can't be examined.
std::string fileIdentity(const char *path);

/// The canonical absolute name of an existing \p path, links resolved; empty
/// on failure, when \p error receives the system's error number.
std::string canonicalName(const char *path, int *error);

/// Creates an empty file with a unique name "<prefix>XXXXXX<suffix>" in
/// \p dir, readable and writable by the owner only; returns its full name, or
/// empty on failure.
std::string createUniqueFile(const std::string &dir, const char *prefix, const char *suffix);

/// Opens \p path for reading in binary; a directory is refused. Null on
/// failure.
std::FILE *openForReading(const char *path);

/// Opens \p path with a C library \p mode ("w", "wb", ...). Null on failure.
std::FILE *openForWriting(const char *path, const char *mode);

/// Removes one name (a file or a symbolic link, never a directory).
bool removeFile(const char *path);

/// The kind of storage a directory lives on.
enum class StorageKind { Unknown, Local, Remote, Optical, Ram };

/// The storage kind of the file system that holds \p path.
StorageKind storageKind(const char *path);

} // namespace platform
} // namespace kv

#endif
