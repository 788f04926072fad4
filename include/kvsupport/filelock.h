/// \file filelock.h
/// Document locks through a companion ".lck" file, and the diagnosis of why
/// a file could not be opened.
///
/// A FileLock marks a document as in use by creating "<name>.lck" and keeping
/// it open. The lock is the open file, not the file's existence: the holder
/// keeps an exclusive lock on the open companion file, which the system drops
/// when the holder closes it or dies. A ".lck" file left behind by a process
/// that died is therefore no lock, and the next lock() simply takes it over.
/// While one holder (in this process or another) has it, every other attempt
/// fails with FileLockInUse.
///
/// The lock file holds one line for a person who finds it: the user name,
/// "@", the machine's name and "\r\n". Nothing reads it back.
#ifndef KVSUPPORT_FILELOCK_H
#define KVSUPPORT_FILELOCK_H

#include <kvsupport/export.h>
#include <kvsupport/ystring.h>

/// Why the latest FileLock attempt failed.
enum FileLockError {
    FileLockNoError = 0,      ///< the latest attempt worked
    FileLockInUse = 1,        ///< someone else holds the lock
    FileLockAccessDenied = 2, ///< no right to create or open the lock file
    FileLockOtherError = 3    ///< any other failure
};

/// A lock on a document through its ".lck" companion file.
///
/// Copying gives a second object on the same open lock file. As with the
/// original, the first of the two to unlock or go ends the lock for everyone
/// else (its lock file is removed), and nothing counts owners; the later one
/// then releases only what it holds itself and never removes a lock file that
/// has meanwhile been made by someone else.
class KVSUPPORT_API FileLock {
public:
    /// Not locked, no name, no error.
    FileLock();
    /// Shares the state of \p other as it stands (see the class comment).
    FileLock(const FileLock &other);
    /// Gives up this object's own lock, then shares the state of \p other.
    FileLock &operator=(const FileLock &other);
    /// As unlock() if locked; otherwise removes the lock file of the stored
    /// name (unless it is empty) when nobody holds it.
    ~FileLock();

    /// Locks \p file: the lock file is \p file + ".lck". If that name differs
    /// (ignoring case) from the present one, unlock() runs first. Stores the
    /// name and calls relock(); the result is relock()'s.
    bool lock(const YString &file);
    /// Takes the lock of the stored name afresh: a lock held is released and
    /// its file deleted first; then the lock file is created empty, locked
    /// and given its text. True if the lock is held on return; on failure
    /// getError() says why.
    bool relock();
    /// If locked: releases the lock and deletes the lock file (a failure to
    /// delete is ignored). The name stays, so relock() can take it again.
    /// Does nothing when not locked.
    void unlock();
    /// Whether this object holds the lock.
    bool locked() const { return handle >= 0; }
    /// The outcome of the latest attempt.
    FileLockError getError() const;
    /// The full name of the lock file; empty before the first lock().
    const YString &lockFileName() const { return lockFile; }

private:
    int handle;
    YString lockFile;
    unsigned error;
};

/// The kind of open that sp_CheckFileOpen and sp_FileOpenForensic test. The
/// values 1 and 2 count as reading in sp_CheckFileOpen and as a fault in
/// sp_FileOpenForensic.
enum GfnOpenMode {
    GfnOpenRead = 0,   ///< open an existing file for reading
    GfnOpenNew = 3,    ///< make a new file; an existing one is a failure
    GfnOpenAppend = 4, ///< write without harm to the contents (sp_CheckFileOpen)
    GfnOpenWrite = 5   ///< open for writing (sp_FileOpenForensic)
};

/// Why an open failed, as sp_FileOpenForensic finds it.
enum FileOpenForensic {
    FileOpenNameTaken = 0,         ///< another file of the same name exists
    FileOpenMissing = 1,           ///< the file does not exist
    FileOpenReadDenied = 2,        ///< no right to read
    FileOpenReadInUse = 3,         ///< readable, so probably held by another process
    FileOpenNoDirectory = 4,       ///< the directory does not exist
    FileOpenDirectoryDenied = 5,   ///< probably no right to create in the directory
    FileOpenWriteDenied = 6,       ///< no right to write
    FileOpenWriteInUse = 7,        ///< writable, so probably held by another process
    FileOpenInternalError = 8      ///< the mode can't be diagnosed
};

/// Tests whether \p file can be opened in \p mode by opening and closing it.
/// An empty name gives false and touches nothing. GfnOpenNew on an existing
/// file gives false at once. GfnOpenNew and GfnOpenAppend open for appending,
/// which never truncates, and remove a file that the test itself made; any
/// other mode opens for reading.
KVSUPPORT_API bool sp_CheckFileOpen(const YString &file, GfnOpenMode mode);

/// Finds, after an open of \p file in \p mode failed, the likely reason and
/// stores it in \p *out (nothing is stored for a null \p out). Always true.
KVSUPPORT_API bool sp_FileOpenForensic(const YString &file, GfnOpenMode mode, FileOpenForensic *out);

/// Runs sp_FileOpenForensic (starting from diagnosis 0) and sets \p *message
/// to "The file " + name + the reason's text, or "Internal error" for
/// FileOpenInternalError. The result is sp_FileOpenForensic's.
KVSUPPORT_API bool sp_FileOpenForensicMsg(const YString &file, GfnOpenMode mode, YString *message);

#endif
