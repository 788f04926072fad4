/// \file sysinfo.h
/// Answers about the machine, the session and the running program, file
/// facts, and the registry: a store of string values under keys, with three
/// roots (current user, local machine, classes root).
///
/// On Linux the answers are mapped to what the system offers; where it has
/// no counterpart the type is kept and the nearest value given (each
/// function tells which). Failures show as false, an empty text or 0;
/// nothing here reports in words.
///
/// The registry is a file-backed store: one file per root, in
/// "$XDG_CONFIG_HOME/kvsupport/registry/" ("current-user.reg",
/// "local-machine.reg", "classes-root.reg"), readable by the owner only.
/// Key paths are separated by "\"; empty parts are ignored, so "A\\B\" is
/// "A\B". Keys and value names compare without regard to case (Unicode case
/// folding) and keep the spelling of their first writing; values are kept
/// byte for byte. Every change is a locked read-modify-write of the whole
/// file, replaced atomically, so two processes writing at once lose nothing
/// and a reader never sees half a file.
#ifndef KVSUPPORT_SYSINFO_H
#define KVSUPPORT_SYSINFO_H

#include <kvsupport/export.h>
#include <kvsupport/ystring.h>

#include <QList>
#include <QString>

#include <cstdio>

class QObject;
template <typename T>
class YList;

// ------------------------------------------------------------- processor, memory, time

/// The four memory figures of sp_GetSystemMemoryInfo, in bytes.
struct SystemMemoryInfo {
    long long totalVirtual;      ///< the process's address space (user part)
    long long availableVirtual;  ///< of it, not yet mapped
    long long totalPhysical;     ///< physical memory
    long long availablePhysical; ///< physical memory available without swapping
};

/// Total physical memory in bytes.
KVSUPPORT_API long long sp_GetSystemRamSize();
/// Fills \p info (nothing for null); figures the system doesn't tell are 0.
KVSUPPORT_API void sp_GetSystemMemoryInfo(SystemMemoryInfo *info);
/// Milliseconds since the system started (suspended time included),
/// wrapping at 32 bits.
KVSUPPORT_API unsigned int sp_GetTickCount();
/// Seconds of the high-resolution monotonic clock; 0 if there is none (found
/// out at the first call).
KVSUPPORT_API double sp_GetPerfTime();
/// Current UTC time in whole seconds since 1 January 1601.
KVSUPPORT_API long long sp_GetSystemTime();
/// Bytes of stack between the current position and the lowest address of
/// the calling thread's stack.
KVSUPPORT_API unsigned int sp_StackAvail();
/// "x64" for a 32-bit process on a 64-bit system, else "x86" (so a native
/// 64-bit process gives "x86").
KVSUPPORT_API YString sp_GetProcessorArchitecture();

// ------------------------------------------------------------- operating system

/// The platform's number: 2 on Linux (1 is the answer on Windows).
KVSUPPORT_API int sp_GetOs();
/// The system's class name: the kernel's name ("Linux").
KVSUPPORT_API YString sp_GetOSClassName();
/// The kernel release's first two numbers as major and minor; the service
/// pack is always 0. Null pointers are skipped.
KVSUPPORT_API void sp_GetOsVersion(int *major, int *minor, int *servicePack);
/// The distribution's name (PRETTY_NAME of os-release), or "Linux version "
/// followed by major.minor when there is none. Cached for the process.
KVSUPPORT_API YString sp_GetOsName();
/// True if the kernel is at least 3.2. Stores 0 through \p reason (may be
/// null).
KVSUPPORT_API bool sp_IsSupportedPlatform(int *reason);
/// One line for reports: OS name, class, architecture, cores, packages,
/// logical processors, physical memory in MB and user name, joined by "/".
/// Cached for the process.
KVSUPPORT_API YString sp_GetSystemSpecString();

// ------------------------------------------------------------- session and environment

/// Login name of the user (at most 256 characters); empty on failure.
KVSUPPORT_API YString sp_GetUserName();
/// The X display name ($DISPLAY), empty if there is none.
KVSUPPORT_API YString sp_GetDisplayName();
/// Value of the environment variable \p name (UTF-8); empty if unset.
KVSUPPORT_API YString sp_GetEnv(const char *name);
/// Sets \p name to \p value; a null value removes the variable. False for a
/// null, empty or malformed name.
KVSUPPORT_API bool sp_SetEnv(const char *name, const char *value);
/// The command line: the arguments joined by spaces, each with a space,
/// tab or quote in it put in double quotes (inner quotes doubled by "\").
KVSUPPORT_API YString sp_GetCommandLine();
/// Appends the arguments, the program first, to \p args; false for null.
KVSUPPORT_API bool sp_GetCommandLineArgs(YList<YString> *args);
/// The shell found on PATH as "sh", followed by " -c %command%"; empty if
/// there is none.
KVSUPPORT_API YString sp_GetCommandProcessor();
/// The terminal emulator found on PATH ("x-terminal-emulator", then
/// "xterm"), as its full path; empty if there is none.
KVSUPPORT_API YString sp_GetTerminalEmulator();
/// True for the superuser.
KVSUPPORT_API bool sp_IsAdmin();
/// True if a debugger (a tracer) is attached.
KVSUPPORT_API bool sp_IsDebuggerPresent();
/// True in a remote session (SSH_CONNECTION, SSH_CLIENT or SSH_TTY set).
KVSUPPORT_API bool sp_IsRemoteSession();
/// The calling thread's last system error number (errno).
KVSUPPORT_API int sp_GetLastError();
/// Sends \p text to the system log at debug level (null is skipped).
KVSUPPORT_API void sp_OutputDebugString(const char *text);
/// Writes \p text and a line end to the standard output (null is skipped).
KVSUPPORT_API void sp_WriteConsoleLine(const char *text);
/// Appends the base names of all running processes to \p names,
/// "<unknown>" for one that can't be read. False if they can't be listed.
KVSUPPORT_API bool sp_GetProcessNames(YList<YString> *names);
/// A colour as 0x00BBGGRR: for 0 the window colour, for 1 the window-text
/// colour, else the desktop colour. Linux has no system colours: the
/// defaults white, black and black.
KVSUPPORT_API unsigned int sp_GetSysColour(int which);

/// State of the primary mouse button and the modifier keys, 1 if down.
struct MouseButtonState {
    unsigned char button;  ///< the primary button
    unsigned char shift;   ///< a shift key
    unsigned char control; ///< a control key
};

/// Fills \p state. A library without a window system can't read the input
/// devices: all three are 0.
KVSUPPORT_API void sp_MouseButtonDown(MouseButtonState *state);
/// True if the locale's measurement system is not metric.
KVSUPPORT_API bool sp_UseImperialUnits();
/// True if the system has a program to open web pages ("xdg-open" on PATH).
KVSUPPORT_API bool sp_HaveOpenWebPage();
/// Opens \p url with that program, detached; a plain path gets "file://"
/// in front. False if it could not be started.
KVSUPPORT_API bool sp_OpenWebPage(const char *url);
/// Tells the desktop that file associations have changed: runs
/// "update-desktop-database" on the user's applications folder if it is on
/// PATH. False if there was nothing to run.
KVSUPPORT_API bool sp_NotifyFileAssociation();
/// Path of the loaded module (executable or shared library) that holds
/// \p address; empty if none.
KVSUPPORT_API YString sp_GetRunningDllPath(const void *address);
/// The file filter of shared libraries: "*.so".
KVSUPPORT_API YString sp_GetSharedLibraryFilter();

// ------------------------------------------------------------- file information

/// Modification time of file \p name as 100 ns units since 1 January 1601;
/// 0 on failure.
KVSUPPORT_API long long sp_GetFileModifiedTime(const char *name);
/// Modification time of the open \p file, as above; 0 on failure.
KVSUPPORT_API long long sp_GetFileModifiedTime(std::FILE *file);
/// Size of file \p name in bytes; 0 on failure.
KVSUPPORT_API long long sp_GetFileSize64(const char *name);
/// Size of the open \p file (its buffer flushed first); 0 on failure.
KVSUPPORT_API long long sp_GetFileSize64(std::FILE *file);
/// Bytes the user may still write on the file system of \p path; 0 on failure.
KVSUPPORT_API long long sp_GetFreeDiskSpace(const char *path);
/// True if \p name is a symbolic link.
KVSUPPORT_API bool sp_IsLink(const char *name);
/// Moves \p from to \p to; fails if \p to exists. A file moves across file
/// systems by copy and delete; a directory does not.
KVSUPPORT_API bool sp_MoveFile(const char *from, const char *to);
/// 64-bit fseek; its result (-1 for a null file).
KVSUPPORT_API int sp_SeekFilePos(std::FILE *file, long long position, int whence);
/// 64-bit position of \p file; -1 on failure.
KVSUPPORT_API long long sp_TellFilePos(std::FILE *file);

// ------------------------------------------------------------- version resources

/// The version of \p file as "a.b.c.d". Linux files carry no version block;
/// the nearest is the version in a shared library's file name, after
/// symbolic links are followed ("libx.so.1.2.3" gives "1.2.3.0"). False if
/// the name has none.
KVSUPPORT_API bool sp_GetFileVersion(const YString &file, YString *version);
/// The same version as four numbers (null pointers are skipped).
KVSUPPORT_API bool sp_GetFileVersion(const YString &file, int *major, int *minor, int *build,
                                     int *revision);
/// The product version; the same as the file version here.
KVSUPPORT_API bool sp_GetProductVersion(const YString &file, YString *version);
/// The file's description text. Linux files have none: always false.
KVSUPPORT_API bool sp_GetFileVersionDescription(const YString &file, YString *description);

// ------------------------------------------------------------- registry

/// Reads the string value \p name of \p key under the current user's root.
/// False if the key or the value isn't there.
KVSUPPORT_API bool sp_ReadCurrentUserValue(const YString &key, const YString &name, YString *value);
/// As sp_ReadCurrentUserValue, under the local machine's root.
KVSUPPORT_API bool sp_ReadLocalMachineValue(const YString &key, const YString &name, YString *value);
/// As sp_ReadCurrentUserValue, under the classes root.
KVSUPPORT_API bool sp_ReadClassesRootValue(const YString &key, const YString &name, YString *value);

/// Creates \p key (and its parents) if needed and writes the value.
KVSUPPORT_API bool sp_WriteCurrentUserValue(const YString &key, const YString &name, const YString &value);
/// As above; \p created (may be null) tells whether this call made the key.
KVSUPPORT_API bool sp_WriteCurrentUserValue(const YString &key, const YString &name, const YString &value,
                                            bool *created);
/// As sp_WriteCurrentUserValue, under the local machine's root.
KVSUPPORT_API bool sp_WriteLocalMachineValue(const YString &key, const YString &name, const YString &value);
/// As above; \p created (may be null) tells whether this call made the key.
KVSUPPORT_API bool sp_WriteLocalMachineValue(const YString &key, const YString &name, const YString &value,
                                             bool *created);
/// As sp_WriteCurrentUserValue, under the classes root.
KVSUPPORT_API bool sp_WriteClassesRootValue(const YString &key, const YString &name, const YString &value);

/// Deletes one value. False if the key or the value isn't there.
KVSUPPORT_API bool sp_DeleteCurrentUserValue(const YString &key, const YString &name);
/// As sp_DeleteCurrentUserValue, under the local machine's root.
KVSUPPORT_API bool sp_DeleteLocalMachineValue(const YString &key, const YString &name);
/// Deletes a key with no sub-keys, with its values. False if it isn't
/// there, has sub-keys, or is the root.
KVSUPPORT_API bool sp_DeleteCurrentUserKey(const YString &key);
/// Deletes a key and everything below it; for the root, everything in it.
/// False if the key isn't there.
KVSUPPORT_API bool sp_DeleteCurrentUserTree(const YString &key);
/// Appends the names of the sub-keys of \p key to \p names. False if the
/// key isn't there or \p names is null.
KVSUPPORT_API bool sp_GetCurrentUserSubKeyNames(const YString &key, YList<YString> *names);
/// As sp_GetCurrentUserSubKeyNames, under the classes root.
KVSUPPORT_API bool sp_GetClassesRootSubKeyNames(const YString &key, YList<YString> *names);
/// Appends the value names of \p key (each cut to 32767 characters) to
/// \p names; true if at least one was found.
KVSUPPORT_API bool sp_GetCurrentUserValueNames(const YString &key, YList<YString> *names);

// ------------------------------------------------------------- Qt helpers

/// True if \p a and \p b are equal with regard to case.
KVSUPPORT_API bool equals(const QString &a, const QString &b);
/// !equals(a, b).
KVSUPPORT_API bool notEquals(const QString &a, const QString &b);
/// equals under a second name.
KVSUPPORT_API bool pathEquals(const QString &a, const QString &b);
/// The children of \p parent whose class is or inherits \p className (null
/// or empty: any) and whose object name is exactly \p objectName (null or
/// empty: any), in the order of the children; with \p recursive each
/// child's children follow it. The class name "QWidget" is tested by the
/// object's widget flag. With \p firstOnly the walk stops at the first
/// match. A null parent gives an empty list.
KVSUPPORT_API QList<QObject *> qtsp_QueryList(const QObject *parent, const char *className,
                                              const char *objectName, bool recursive, bool firstOnly);
/// The first child that qtsp_QueryList would list, or null.
KVSUPPORT_API QObject *qtsp_SearchChild(const QObject *parent, const char *className,
                                        const char *objectName, bool recursive);
/// A new universally unique id as text ("{xxxxxxxx-...}").
KVSUPPORT_API YString sp_GetGUID();

#endif
