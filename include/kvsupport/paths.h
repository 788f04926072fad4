/// \file paths.h
/// The path algebra and directory walking of the library: splitting and
/// joining names, relative paths, comparison of paths by file identity,
/// directory listing, tree copy and deletion with progress reports, and
/// temporary names.
///
/// Every function takes and returns UTF-8 text. A path may be given in local
/// form or in Unix form; results are in local form unless told otherwise. On
/// Linux the two forms are the same: "/" is the only separator, a backslash
/// is an ordinary character of a file name, and the drive part of a path is
/// always empty. So "C:\dir\file.txt" is one relative file name whose
/// extension is ".txt", and "\\server\share" is one relative name; neither is
/// rewritten. A path that begins with exactly two slashes ("//server/share")
/// keeps them where paths are cleaned, as POSIX allows, so that the rules for
/// server names hold for it.
///
/// No function here throws or reports a message: failure is an empty string,
/// false, or a CopyTreeErr value.
#ifndef KVSUPPORT_PATHS_H
#define KVSUPPORT_PATHS_H

#include <kvsupport/containers.h>
#include <kvsupport/export.h>
#include <kvsupport/ystring.h>

/// A path split into its four parts; joined in order they give the path.
struct KVSUPPORT_API PathName {
    YString drive; ///< Drive with its colon, or empty (always empty on Linux).
    YString dir;   ///< Directory part with its trailing separator, as spelled.
    YString name;  ///< File name without extension.
    YString ext;   ///< Extension with its leading dot, or empty.
};

/// Result of the tree operations.
enum CopyTreeErr {
    CopyTreeOk = 0,           ///< Done, no failure.
    CopyTreeFailed = 1,       ///< Failed and nothing was done (or the destination could not be made).
    CopyTreePartial = 2,      ///< Some items were done, others failed.
    CopyTreeDestNotEmpty = 3, ///< The copy's destination exists and is not empty.
    CopyTreeNoSource = 4,     ///< The source directory does not exist.
    CopyTreeAborted = 5,      ///< The progress object asked to stop.
    CopyTreeNothingToDo = 6   ///< sp_DeleteFilesFromDir only: the directory holds no files.
};

/// Kind of storage a path lives on, as sp_GetDriveType answers it.
enum KvDriveType {
    KvDriveUnknown = 0, ///< Anything else.
    KvDriveNoRoot = 1,  ///< No such directory.
    KvDriveLocal = 2,   ///< Local disk, fixed or removable.
    KvDriveRemote = 3,  ///< Network file system.
    KvDriveCdRom = 4,   ///< Optical disc file system.
    KvDriveRam = 5      ///< Memory-backed file system (tmpfs, ramfs).
};

/// Progress reports of the tree operations, implemented by the caller and
/// passed by pointer (null everywhere means no reports).
class KVSUPPORT_API ProgressObject {
public:
    /// Called with 1 after each file or directory has been dealt with.
    virtual void step(int count) = 0;
    /// Announces the number of steps to come.
    virtual void setTotal(int total) = 0;
    /// Called once, just before setTotal.
    virtual void start() = 0;
    /// A free text about the work under way; the tree operations never call
    /// it. Does nothing unless overridden.
    virtual void setText(const YString &text);
    /// True stops the operation.
    virtual bool isAborted() = 0;
    /// The name of the item that was just dealt with.
    virtual void setItem(const YString &name) = 0;
    /// Destroys the object.
    virtual ~ProgressObject();
};

/// Scope guard for the working directory: takes sp_GetCwd() at construction
/// and changes back to it at destruction (unless it was empty), ignoring a
/// failure. The working directory is process-wide: don't use from two
/// threads at once.
class KVSUPPORT_API SaveDirectory {
public:
    /// Remembers the current directory.
    SaveDirectory();
    /// Returns to the remembered directory.
    ~SaveDirectory();
    /// Not copyable: one guard, one return.
    SaveDirectory(const SaveDirectory &) = delete;
    /// Not assignable.
    SaveDirectory &operator=(const SaveDirectory &) = delete;

    /// The remembered directory.
    YString saved;
};

// ---- Splitting and joining ----

/// Splits \p path into drive, directory (up to and including the last
/// separator), name and extension (from the last dot of the leaf). All four
/// fields are overwritten. Limits in UTF-16 units: directory, name and
/// extension at most 256 each; a path of which a part does not fit gives four
/// empty fields. A null \p out does nothing.
KVSUPPORT_API void sp_SplitPath(YString path, PathName *out);

/// drive + dir + name + ext, in local form.
KVSUPPORT_API YString sp_MakePath(const PathName &parts);

/// name + ext of \p path; empty if either exceeds 255 UTF-16 units.
KVSUPPORT_API YString sp_GetFileName(const YString &path);

/// The extension of \p path with its dot, or empty.
KVSUPPORT_API YString sp_GetFileExt(const YString &path);

/// The name of \p path alone: no directory, no extension.
KVSUPPORT_API YString sp_CrackSharedLibraryName(const YString &path);

/// drive + dir of \p path with any trailing separators removed, in local
/// form; so a file in the root directory gives the bare drive (empty on
/// Linux). Null gives an empty string.
KVSUPPORT_API YString sp_GetDirFromPath(const char *path);

/// \p path in Unix form (the same text on Linux).
KVSUPPORT_API YString sp_ConvertLocalToUnix(const YString &path);

/// \p path in local form (the same text on Linux).
KVSUPPORT_API YString sp_ConvertUnixToLocal(const YString &path);

/// QDir::cleanPath in local form: "." and ".." resolved textually, repeated
/// and trailing separators removed; a leading "//" (exactly two) is kept.
KVSUPPORT_API YString sp_CleanPath(const YString &path);

/// The absolute form of \p path against the current directory, "." and ".."
/// resolved, a trailing separator kept; the file need not exist. Empty for an
/// empty path or a result longer than 260 UTF-16 units.
KVSUPPORT_API YString sp_GetFullPath(const YString &path);

/// QFileInfo::isRelative: true unless \p path is absolute.
KVSUPPORT_API bool sp_IsRelativePath(const YString &path);

/// The current directory in local form.
KVSUPPORT_API YString sp_GetCwd();

// ---- Tests and simple actions ----

/// True if \p path exists and is not a directory (symbolic links followed).
KVSUPPORT_API bool sp_ExistFile(const char *path);

/// True if \p path is an existing directory (symbolic links followed). A
/// server name such as "//server" counts only if the file system has a
/// directory of that name: shares are not enumerated here.
KVSUPPORT_API bool sp_ExistDir(YString path);

/// Makes one directory level (QDir::mkdir).
KVSUPPORT_API bool sp_MakeDir(const YString &path);

/// Removes one empty directory (QDir::rmdir).
KVSUPPORT_API bool sp_RemoveDir(const YString &path);

/// Copies the file \p from to \p to. False at once if \p overwrite is false
/// and \p to exists, if \p from is a directory, or if both name the same
/// file. True if both files opened; read and write errors after that are not
/// looked at.
KVSUPPORT_API bool sp_CopyFile(const YString &from, const YString &to, bool overwrite);

/// Changes the current directory, leading blanks and tabs skipped. Returns 0
/// on success, 1 if the directory was not found on a drive that is there, 2
/// if the drive is not there (never on Linux). Null gives 1.
KVSUPPORT_API int sp_ChangeDir(const char *path);

/// Changes the current drive; false unless \p drive has at least two
/// characters with a colon second, and always false on Linux, which has no
/// drives.
KVSUPPORT_API bool sp_ChangeDrive(const YString &drive);

// ---- Temporary names ----

/// Creates an empty, uniquely named file "kv$XXXXXX.tmp" in the temporary
/// directory and returns its path; empty on failure.
KVSUPPORT_API YString sp_GetTempFile();

/// The same in \p dir.
KVSUPPORT_API YString sp_GetTempFile(const YString &dir);

/// The temporary directory (with a trailing separator) + name + ext of
/// \p name. Empty when name + ext is empty or the directory's name exceeds
/// 259 UTF-16 units. Creates nothing and does not make the name unique.
KVSUPPORT_API YString sp_GetTemporaryFileName(const YString &name);

/// \p name unchanged if it has an extension; else \p name + "." + the
/// extension: \p extension when not null and not empty, else the first
/// pattern of the dialogue filter \p filter (second token when cut at "(" and
/// ")", leading "." and "*" stepped over, cut at the first ";").
KVSUPPORT_API YString sp_ResolveFilename(YString filter, YString name, const char *extension);

// ---- Paths relative to each other and identity ----

/// \p path relative to the directory \p base: "." for the same directory,
/// "../" for each level of \p base not shared, then the rest of \p path.
/// Components compare as file names do on the platform (with regard to case
/// on Linux). Gives \p path itself (cleaned, local form) when \p base is
/// empty, when one begins with "//" and the other doesn't, or when two
/// "//server/share" paths differ in server or share.
KVSUPPORT_API YString sp_RelativePath(YString path, YString base);

/// True if \p a and \p b name the same file: textually equal as paths, or
/// both existing with the same device and inode.
KVSUPPORT_API bool sp_ComparePaths(const YString &a, const YString &b);

// ---- Trees ----

/// Appends to \p out, at its head, the plain files matching \p filePattern
/// ("dir/pattern"), so \p out reads in the reverse of the directory's
/// unsorted order. With \p useNameFilter the pattern is a QDir name filter
/// (which ignores case); without, every file is tested with sp_FilterString
/// ignoring case. Names
/// are full paths when \p fullPath is true, else bare names. Names beginning
/// with a dot are files like any other.
KVSUPPORT_API void sp_ListDirectory(const YString &filePattern, YList<YString> *out, bool fullPath, bool useNameFilter);

/// Puts at the head of \p out every readable directory below \p root (not
/// \p root itself), walked without recursion. Symbolic links to directories
/// are not entered (a link can lead out of the tree or round in a circle).
KVSUPPORT_API void sp_DescendDirectories(const YString &root, YList<YString> *out);

/// Finds \p file on the search list \p dirs; an absolute \p file is returned
/// at once (made absolute, not tested). A relative directory part of \p file
/// is looked for under each entry. The first hit wins; none gives empty.
KVSUPPORT_API YString sp_SearchDirectories(YString file, const YList<YString> &dirs);

/// Makes \p path and every missing parent; a "//server" level is never
/// attempted. False at the first directory that can't be made (those made
/// before stay).
KVSUPPORT_API bool sp_MakeTree(YString path);

/// Copies the directory tree \p from into \p to, which must be missing or
/// empty (else CopyTreeDestNotEmpty; a missing \p from gives
/// CopyTreeNoSource). Each directory is made and its files copied, going on
/// after failures; a directory in which any file failed counts as failed.
/// CopyTreeOk without failure, CopyTreePartial with failures when some
/// directory was copied completely, else CopyTreeFailed. Symbolic links to
/// directories are not followed.
KVSUPPORT_API CopyTreeErr sp_CopyTree(const YString &from, const YString &to);

/// Deletes the files (not the subdirectories) of \p dir: every entry that is
/// not a directory of its own, symbolic links and special files included.
/// With \p progress: step(1), then isAborted() (true stops at once with
/// CopyTreeAborted), then setItem(name) for each. CopyTreeNothingToDo if
/// there is no file (CopyTreeAborted if the progress object says so).
KVSUPPORT_API CopyTreeErr sp_DeleteFilesFromDir(const YString &dir, ProgressObject *progress);

/// Deletes \p root with everything under it: first the files of every
/// directory (deepest first, \p root last), then the directories. With
/// \p progress: start(), setTotal(files + directories), and a step with the
/// item's name for each file and each directory. Symbolic links inside the
/// tree are removed as links; what they point to is left alone. The root of
/// the file system is refused with CopyTreeFailed. CopyTreeOk if all went
/// well, CopyTreeFailed if nothing could be done, else CopyTreePartial.
KVSUPPORT_API CopyTreeErr sp_DeleteTree(const YString &root, ProgressObject *progress);

/// True if a probe file can be created (and is then removed) in \p dir.
KVSUPPORT_API bool sp_DirectoryIsWriteable(const YString &dir);

// ---- Platform name services ----

/// The short form of \p path: Linux has no short names, so \p path itself.
KVSUPPORT_API YString sp_GetShortPathName(const YString &path);

/// The long form of \p path: \p path itself on Linux.
KVSUPPORT_API YString sp_GetLongPathName(const YString &path);

/// The universal (network) name of \p path in local form. A path that begins
/// with two separators is returned as it is with *isUNC true; Linux has no
/// other universal names, so anything else is returned with *isUNC false.
/// \p isUNC may be null.
KVSUPPORT_API YString sp_GetUNCPath(const YString &path, bool *isUNC);

/// The volume name of a mount point: Linux has no volume names, so empty.
KVSUPPORT_API YString sp_GetVolumeName(const YString &path);

/// The kind of storage that holds the directory \p path: KvDriveNoRoot if it
/// is not a directory, else by the type of its file system.
KVSUPPORT_API KvDriveType sp_GetDriveType(const YString &path);

/// The canonical name of an existing \p path (absolute, links resolved,
/// no "." or ".."), or empty.
KVSUPPORT_API YString sp_ResolvePath(const char *path);

/// A path in printable ASCII without blanks: the long form if it qualifies,
/// else each component that fails is replaced by its short form (on Linux,
/// which has no short names, the component stays). A leading "/" or "//" and
/// a trailing separator are kept.
KVSUPPORT_API YString sp_GetCompatiblePathName(const YString &path);

/// A path without blanks or tabs, by the same walk as
/// sp_GetCompatiblePathName but keeping neither a leading nor a trailing
/// separator when a component had to be replaced.
KVSUPPORT_API YString sp_GetPathWithNoSpaces(const YString &path);

#endif
