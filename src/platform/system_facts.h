// Facts about the machine, the session and the running process, and the file
// facts that the system-information functions report. Implemented in posix/.
#ifndef KVSUPPORT_PLATFORM_SYSTEM_FACTS_H
#define KVSUPPORT_PLATFORM_SYSTEM_FACTS_H

#include <cstdio>
#include <string>
#include <vector>

namespace kv {
namespace platform {

/// Memory figures in bytes; 0 where the system does not tell.
struct MemoryFacts {
    long long totalVirtual = 0;     ///< the process's address space
    long long availableVirtual = 0; ///< of it, not yet mapped
    long long totalPhysical = 0;
    long long availablePhysical = 0;
};

/// Reads the memory figures.
MemoryFacts memoryFacts();

/// Milliseconds since the system started, counting time spent suspended.
unsigned long long millisecondsSinceBoot();
/// Seconds of a monotonic high-resolution clock; false if there is none.
bool monotonicSeconds(double *seconds);
/// Whole seconds since 1 January 1970, UTC.
long long secondsSinceEpoch();
/// Bytes between the current stack position and the stack's lowest address.
unsigned long stackBytesBelow();
/// True for a 32-bit process on a 64-bit kernel.
bool narrowProcessOnWideSystem();

/// The kernel's name and release ("Linux", "6.1.0-18-amd64").
void kernelRelease(std::string *name, std::string *release);
/// Text of the operating system's release file (/etc/os-release), empty if
/// there is none.
std::string osReleaseText();

/// The login name of the effective user, empty if unknown.
std::string userName();
/// True for the administrator (the superuser).
bool isPrivilegedUser();
/// True if a debugger (a tracer) is attached to the process.
bool debuggerAttached();
/// The calling thread's last system error number.
int lastErrorNumber();
/// Sends \p text to the system log at debug level.
void debugOutput(const char *text);
/// Writes \p text and a line end to the standard output, unbuffered.
bool writeConsoleLine(const char *text);
/// Base names of all processes, "<unknown>" for one that can't be read.
bool processNames(std::vector<std::string> *out);
/// Path of the loaded module that holds \p address, empty if none.
std::string modulePathOf(const void *address);
/// The process's arguments, the program first.
std::vector<std::string> commandLineArgs();
/// Value of an environment variable; false if it isn't set.
bool getEnvironment(const char *name, std::string *value);
/// Sets (\p value not null) or removes an environment variable.
bool setEnvironment(const char *name, const char *value);
/// First executable named \p program on PATH, empty if none.
std::string findOnPath(const char *program);

/// Modification time as 100 ns units since 1 January 1601; false on failure.
bool fileModifiedTime(const char *path, long long *time);
/// Modification time of an open file, as fileModifiedTime.
bool fileModifiedTime(std::FILE *file, long long *time);
/// Size of a file by name; false on failure.
bool fileSize(const char *path, long long *size);
/// Size of an open file; false on failure.
bool fileSize(std::FILE *file, long long *size);
/// Bytes the user may still write on the file system holding \p path.
bool freeDiskSpace(const char *path, long long *bytes);
/// True if \p path is a symbolic link.
bool isSymbolicLink(const char *path);
/// Renames \p from to \p to, never replacing an existing \p to. Sets
/// \p crossDevice when the two are on different file systems.
bool renameNoReplace(const char *from, const char *to, bool *crossDevice);
/// 64-bit fseek; its result.
int seekFileRaw(std::FILE *file, long long position, int whence);
/// 64-bit ftell; -1 on failure.
long long tellFileRaw(std::FILE *file);

} // namespace platform
} // namespace kv

#endif
