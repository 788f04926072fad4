// Setting a file's modification time. Implemented in posix/.
#ifndef KVSUPPORT_PLATFORM_FILE_STAMP_H
#define KVSUPPORT_PLATFORM_FILE_STAMP_H

namespace kv {
namespace platform {

/// Sets the modification time of the file \p path (UTF-8) to \p time, in
/// 100 ns units since 1 January 1601 (the unit of sp_GetFileModifiedTime);
/// the access time is left alone. False on failure.
bool setFileModifiedTime(const char *path, long long time);

} // namespace platform
} // namespace kv

#endif
