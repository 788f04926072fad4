/// \file profile.h
/// Profile files: sectioned text settings, "[section]" and "key=value".
///
/// Every file a process touches is held in memory for the life of the
/// process, in one cache keyed by the file's full path; a repeated read costs
/// two file-attribute queries and one hash look-up. Every operation first
/// refreshes: a file whose time stamp or size changed since it was last seen
/// is loaded again (changes in memory that never reached the disk are then
/// given up), and a write that failed earlier is tried again.
///
/// A write rewrites the whole file, keeping comments (lines whose first
/// non-blank character is ';') and the order in which settings were read or
/// added; a new section goes to the top of the file, a new key to the bottom
/// of its section; one empty line stands between sections and none anywhere
/// else; values are written without quotes. Text before the first section
/// header, blank lines and repeated keys (after the first) are dropped. The
/// new text goes to a temporary file beside the target which then replaces
/// it, so a process killed during a write leaves the old file whole; a file
/// reached through a symbolic link is replaced where the link points.
///
/// Processes share a file through the named system mutex
/// "kv_mutex_inifile_<hash of the full path>": a read of the file waits up
/// to 100 ms for it and otherwise keeps what it had, a write waits up to
/// 1000 ms. A writer holds the mutex from its refresh to the end of its
/// rewrite, and each rewrite leaves a time stamp later than the file's
/// previous one, so another process always notices the change at its next
/// call, and two processes writing different keys both keep theirs. Only
/// a time-out holds a read or write back: where no named mutex can be made
/// at all, files are read and written without one.
///
/// Sections and keys compare ignoring case; values compare exactly. The
/// functions serialise the threads of one process on one lock.
#ifndef KVSUPPORT_PROFILE_H
#define KVSUPPORT_PROFILE_H

#include <kvsupport/containers.h>
#include <kvsupport/export.h>
#include <kvsupport/ystring.h>

#ifndef KVSUPPORT_NAME_VALUE_PAIR_DEFINED
#define KVSUPPORT_NAME_VALUE_PAIR_DEFINED
/// A setting: a name and its value.
struct KVSUPPORT_API NameValuePair {
    YString name;  ///< the key
    YString value; ///< its value
    /// Empty name and value.
    NameValuePair() = default;
    /// \p n and \p v.
    NameValuePair(const YString &n, const YString &v) : name(n), value(v) {}
    /// Same name and value, exactly.
    bool operator==(const NameValuePair &other) const { return name == other.name && value == other.value; }
};
#endif

/// Reads \p key of \p section in \p file into \p value. True if found; false
/// with \p value empty otherwise (also for a file that doesn't exist, which
/// is not created). An empty key finds a comment of the section, whose value
/// is empty. Note the order of the arguments.
KVSUPPORT_API bool sp_GetPrivateProfileString(const char *section, const char *key, const char *file,
                                              YString *value);

/// Sets \p key of \p section in \p file to \p value, creating the section
/// and the file as needed; a null \p value deletes the key. Writing the
/// value that is already there (exactly) touches nothing on disk. Returns
/// whether the file exists afterwards (false for a null file, section or
/// key).
KVSUPPORT_API bool sp_WritePrivateProfileString(const char *file, const char *section, const char *key,
                                                const char *value);

/// Sets each name of \p values to its value in \p section of \p file, with
/// one refresh and one rewrite. Returns whether the file exists afterwards.
KVSUPPORT_API bool sp_WritePrivateProfileStrings(const YString &file, const YString &section,
                                                 const YList<NameValuePair> &values);

/// Adds the keys of \p section (not its comments) at the head of \p keys,
/// which isn't cleared, in the order of the memory table (not the file's).
/// False if the file doesn't exist or has no such section.
KVSUPPORT_API bool sp_GetProfileKeyNames(const YString &file, const YString &section, YList<YString> *keys);

/// Clears \p names and fills it with the section names in file order (a
/// section named twice in the file is listed twice). False if the file
/// doesn't exist.
KVSUPPORT_API bool sp_GetProfileSectionNames(const YString &file, YList<YString> *names);

/// Removes every entry of \p section, comments too, and the section itself.
/// Returns the number of entries removed; 0 (and the file unchanged) if
/// there is no such section.
KVSUPPORT_API int sp_DeletePrivateProfileSection(const YString &file, const YString &section);

/// The file's modification time (100 ns units since 1601, 0 if it doesn't
/// exist). A time or size that differs from what the cache last saw marks
/// the file for loading at the next call, without loading it now: this is
/// how a reader polls for changes made by other processes.
KVSUPPORT_API long long sp_GetProfileTimeStamp(const YString &file);

#endif
