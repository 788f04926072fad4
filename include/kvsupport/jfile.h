/// \file jfile.h
/// Three small file classes over the C library's streams:
///  - JFile owns a C stream and remembers the file's full path;
///  - JFileBuffered makes saving safe: everything is written to a temporary
///    file beside the target, and only a good close() puts it in place, so a
///    failed or interrupted save leaves the old file as it was;
///  - JFileBuf brings a whole file, or a script built into the application
///    ("INTERNAL:name"), into memory in one call.
///
/// Failure shows as a null stream (JFile), null data (JFileBuf) or a status
/// (JFileBuffered); nothing is reported in words.
///
/// Copying a JFile or a JFileBuffered (or attaching one JFile to another)
/// makes both objects share one stream: a copy is for handing on. The first
/// of them to close or detach the stream takes it from all of them, so a
/// shared stream is closed once, whichever object goes last.
#ifndef KVSUPPORT_JFILE_H
#define KVSUPPORT_JFILE_H

#include <kvsupport/export.h>
#include <kvsupport/ystring.h>

#include <cstdio>

class kvstream;

/// The stream that copies of a JFile or JFileBuffered share. Internal.
struct JFileShared;

/// An owned C stream and the full path of its file.
class KVSUPPORT_API JFile {
public:
    /// No stream.
    JFile();
    /// As open(\p name, \p mode).
    JFile(const char *name, const char *mode);
    /// Takes the open \p stream; the name is kept as it stands.
    JFile(const char *name, FILE *stream);
    /// Shares \p other's stream and copies its name.
    JFile(const JFile &other);
    /// Leaves the present stream (closing it if no other object shares it),
    /// then shares \p other's stream and copies its name.
    JFile &operator=(const JFile &other);
    /// Closes the stream if there is one and no other object shares it.
    ~JFile();

    /// Opens \p name (UTF-8) in \p mode. On success the name becomes the
    /// file's full path; a failure leaves the name as it was. A stream held
    /// before is not closed. Returns the new stream, or null.
    FILE *open(const char *name, const char *mode);
    /// Opens the remembered name again in \p mode; null if there is none.
    FILE *reopen(const char *mode);
    /// Closes the stream if there is one (for every object sharing it).
    void close();
    /// False if a stream is held; otherwise takes \p other's stream and
    /// name (\p other keeps them too: they share the stream) and returns
    /// true.
    bool attach(const JFile &other);
    /// Gives up the stream without closing it (for every object sharing
    /// it) and returns it.
    FILE *detach();
    /// The stream, or null.
    FILE *get() const;
    /// The stream, or null.
    operator FILE *() const { return get(); }
    /// The file's name (the full path after open()).
    YString getFilename() const { return filename; }

private:
    JFileShared *stream;
    YString filename;
};

/// What JFileBuffered's construction and close() found.
enum JFileBufferedStatus {
    JFileBufferedOk = 0,           ///< everything worked
    JFileBufferedNotOpen = 1,      ///< close() with no open file
    JFileBufferedRenameFailed = 2, ///< the target couldn't be replaced; the old file is untouched
    JFileBufferedOpenFailed = 3,   ///< the temporary file couldn't be opened
    JFileBufferedLeftBackup = 4,   ///< old file moved aside, but the new one couldn't be moved in
    JFileBufferedWriteFailed = 5   ///< the stream reported an error; nothing was changed
};

/// A safe save: writes go to a temporary file ("kv$XXXXXX.tmp") in the
/// target's directory, and close() replaces the target by it.
///
/// close() flushes and checks the stream; on an error the temporary file is
/// deleted and the target stays. A target that exists is first renamed to
/// "<name>-original<ext>" (or "<name>-original-<n><ext>" while that name is
/// taken, n from 1 to 1000), then the new file takes the target's name and
/// the backup is deleted. At no moment is the old content only in memory.
/// A target that is a symbolic link keeps its link: the file it names is
/// the one replaced (and the temporary file is made beside that file).
/// Leaving scope commits: a caller who wants out calls failed().
class KVSUPPORT_API JFileBuffered {
public:
    /// Opens a temporary file beside \p name ("wb" if \p binary, else "w").
    /// The status says whether that worked.
    JFileBuffered(const char *name, bool binary);
    /// Shares \p other's stream and copies its names and status.
    JFileBuffered(const JFileBuffered &other);
    /// close() if a stream is held.
    ~JFileBuffered();
    JFileBuffered &operator=(const JFileBuffered &) = delete;

    /// Puts the written file in place of the target; see the class comment.
    JFileBufferedStatus close();
    /// Gives up: closes the stream, deletes the temporary file, forgets the
    /// stream. The target stays as it was.
    void failed();
    /// The stream to write through (null if the open failed or after close).
    operator FILE *() const;
    /// The status set by the constructor.
    JFileBufferedStatus getStatus() const { return status; }
    /// The name asked for.
    YString getTarget() const { return target; }
    /// The temporary file's path (empty if it couldn't be made).
    YString getTemporary() const { return temporary; }

private:
    JFileBufferedStatus replaceTarget();
    YString backupName(const YString &destination) const;

    JFileShared *stream;
    YString target;
    YString temporary;
    JFileBufferedStatus status;
};

/// Type of the dynamic function "findBuiltInScript" that an application
/// holding built-in scripts registers (RegisterDynFuncDef): given the
/// script's name and an empty string, it returns a new stream that the
/// caller owns and deletes, or null.
typedef kvstream *(*FindBuiltInScriptFunction)(const char *name, const char *extra);

/// A whole file in memory: the bytes as read, with no terminator added.
class KVSUPPORT_API JFileBuf {
public:
    /// Empty.
    JFileBuf();
    /// As open(\p name, \p text).
    JFileBuf(const char *name, bool text);
    /// Frees the data.
    ~JFileBuf();
    JFileBuf(const JFileBuf &) = delete;
    JFileBuf &operator=(const JFileBuf &) = delete;

    /// Reads the file \p name (deny-write while reading) into memory and
    /// returns the data, or null if it couldn't be read or holds 2147483647
    /// bytes or more. A name beginning with "INTERNAL:" (any case) reads the
    /// built-in script of that name part through "findBuiltInScript"
    /// instead, without looking at any file; if there is no such script the
    /// object stays as it was. \p text reads in text mode, which on this
    /// platform is the same as binary.
    const char *open(const char *name, bool text);
    /// Frees the data; null data, size 0.
    void close();
    /// The data, or null.
    const char *get() const { return data; }
    /// The data, or null.
    operator const char *() const { return data; }
    /// The number of bytes held.
    unsigned int getSize() const { return size; }

private:
    bool openInternal(const char *name);

    char *data;
    unsigned int size;
};

#endif
