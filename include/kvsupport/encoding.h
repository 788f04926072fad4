/// \file encoding.h
/// Text encodings: the crossing between UTF-8 text in YString and char *,
/// QString, wide text (UTF-32 here, where wchar_t is 4 bytes) and local 8-bit
/// encodings; the running test that tells UTF-8 from local text; and the C
/// file functions that take UTF-8 names.
///
/// Conversions never report a failure: an invalid sequence becomes the
/// decoder's replacement character (U+FFFD).
#ifndef KVSUPPORT_ENCODING_H
#define KVSUPPORT_ENCODING_H

#include <kvsupport/export.h>
#include <kvsupport/ystring.h>

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdio>

template <class T> class YVector;

/// Both forms of one text, made once: the UTF-8 form and the wide form.
/// Both are heap copies owned by the object.
class KVSUPPORT_API UTFString {
public:
    /// Two null forms.
    UTFString(std::nullptr_t) : wide(nullptr), narrow(nullptr) {}
    /// Keeps a copy of the UTF-8 \p text and decodes it to the wide form;
    /// null gives two null forms.
    UTFString(const char *text);
    /// Keeps a copy of the wide \p text and encodes it as UTF-8; null gives
    /// two null forms.
    UTFString(const wchar_t *text);
    /// A copy with forms of its own.
    UTFString(const UTFString &other);
    /// Replaces both forms by copies of \p other's (the old ones are freed).
    UTFString &operator=(const UTFString &other);
    /// Frees both forms.
    ~UTFString();

    /// The UTF-8 form (null for a null text).
    const char *get() const { return narrow; }
    /// The wide form (null for a null text).
    const wchar_t *getWide() const { return wide; }

private:
    wchar_t *wide;
    char *narrow;
};

/// The UTF-8 form of a QString for the length of one expression:
/// `sp_Something(Tocs(qtext))`.
class KVSUPPORT_API Tocs {
public:
    /// Holds the UTF-8 bytes of \p text.
    explicit Tocs(const QString &text);
    /// A copy with bytes of its own.
    Tocs(const Tocs &other);
    /// Replaces the bytes by \p other's.
    Tocs &operator=(const Tocs &other);
    /// Frees the bytes.
    ~Tocs();
    /// The UTF-8 text, valid while this object lives.
    operator const char *() const;

private:
    QByteArray *bytes;
};

/// The UTF-8 form of \p text as a pointer that stays valid until the process
/// ends: equal texts give the same pointer for ever. The texts are kept in a
/// table that never shrinks. Not thread-safe: one thread at a time.
KVSUPPORT_API const char *toCs(const QString &text);

/// QString from UTF-8 text.
KVSUPPORT_API QString toQs(const YString &text);

/// YString of the UTF-8 form of \p text (cut at an embedded NUL).
KVSUPPORT_API YString toYs(const QString &text);

/// Local 8-bit text (the locale codec) to UTF-8. Null gives "".
KVSUPPORT_API YString sp_ConvertFromLocal(const char *text);

/// UTF-8 text to the local 8-bit encoding: the name tells the source, and the
/// result is not UTF-8. Null gives "".
KVSUPPORT_API YString sp_ConvertFromUtf8(const char *text);

/// Returns \p text unchanged when it is valid UTF-8; otherwise takes it as
/// local 8-bit text (the locale codec) and returns its UTF-8 form. A sequence
/// cut off at the end of the text makes it invalid.
KVSUPPORT_API YString sp_AutoConvertToUtf8(const YString &text);

/// \copydoc sp_AutoConvertToUtf8(const YString &)
/// Null gives "".
KVSUPPORT_API YString sp_AutoConvertToUtf8(const char *text);

/// Sets the codec of local 8-bit text: "default" (any case) goes back to the
/// system's and returns true; another name is looked up among Qt's codecs and
/// set if found (true), else nothing changes (false). Meant for start-up.
KVSUPPORT_API bool sp_SetLocaleEncoding(const YString &name);

/// Decodes \p length bytes of the code page \p codePage and stores their
/// UTF-8 form in \p out, resized to the exact byte count (no terminator).
/// Code page 0 is the system's default (the locale codec); others are the
/// usual numbers (1252 windows-1252, 65001 UTF-8, 932 Shift_JIS, 28591
/// ISO-8859-1, ...). An unknown code page, null text or a negative length
/// gives an empty \p out; a null \p out does nothing.
KVSUPPORT_API void sp_ConvertMBCSBlock_to_UTF8(const char *text, int length, YVector<char> *out, int codePage = 0);

/// UTF-8 \p text in the code page \p codePage (numbers as for
/// sp_ConvertMBCSBlock_to_UTF8; 0 is the locale codec). An unknown code page
/// or null text gives "". Characters the code page lacks become its
/// replacement character ('?'). The result ends at its first NUL byte, so
/// the 16- and 32-bit code pages (1200, 1201, 12000, 12001) don't fit here.
KVSUPPORT_API YString sp_ConvertUTF8_to_MBCS(const char *text, int codePage);

/// The members of a 64-bit file status.
struct KVSUPPORT_API Stat64 {
    std::uint64_t dev = 0;   ///< device
    std::uint64_t ino = 0;   ///< inode
    std::uint32_t mode = 0;  ///< type and permission bits
    std::uint64_t nlink = 0; ///< link count
    std::uint32_t uid = 0;   ///< owner
    std::uint32_t gid = 0;   ///< group
    std::uint64_t rdev = 0;  ///< device of a special file
    std::int64_t size = 0;   ///< size in bytes
    std::int64_t atime = 0;  ///< last access, seconds since 1970
    std::int64_t mtime = 0;  ///< last modification, seconds since 1970
    std::int64_t ctime = 0;  ///< last status change, seconds since 1970
};

/// fopen with a UTF-8 name; null on failure or for a null name or mode.
KVSUPPORT_API FILE *fopen_utf8(const char *name, const char *mode);

/// With \p denyWrite false, as fopen_utf8(name, mode). With it true, the file
/// is opened so that other processes may read it but not write it: by the
/// mode's first letter 'a' opens write-only to append (creating), 'w'
/// write-only (creating, truncating), anything else read-only; a '+' in the
/// mode asks for reading and writing. New files get read and write
/// permission. The deny-write rule is an advisory lock (flock): shared for a
/// read-only open, exclusive otherwise, so two deny-write readers agree and
/// a deny-write writer excludes every other deny-write open; a 'w' open
/// truncates only once it holds the lock. Null on failure (including a
/// conflicting lock).
KVSUPPORT_API FILE *fopen_utf8(const char *name, const char *mode, bool denyWrite);

/// The checked fopen: stores the file (or null) in *file and returns 0 or the
/// errno code of the failure (EINVAL for a null argument).
KVSUPPORT_API int fopen_s_utf8(FILE **file, const char *name, const char *mode);

/// rename on UTF-8 names: 0 on success, -1 on failure (or a null name).
KVSUPPORT_API int rename_utf8(const char *from, const char *to);

/// unlink on a UTF-8 name: 0 on success, -1 on failure (or a null name).
KVSUPPORT_API int unlink_utf8(const char *name);

/// stat on a UTF-8 name into \p status: 0 on success, -1 on failure (or a
/// null argument).
KVSUPPORT_API int stat_utf8(const char *name, Stat64 *status);

/// What UTF8Detect has seen so far.
enum UTF8DetectEncoding {
    Utf8DetectAscii = 0,         ///< only bytes below 0x80
    Utf8DetectUtf8 = 1,          ///< valid UTF-8 with 2-, 3- or 4-byte sequences
    Utf8DetectUtf8Extended = 2,  ///< valid by the old rule, with 5- or 6-byte sequences
    Utf8DetectNotUtf8 = 3        ///< not UTF-8 (final)
};

/// A running detector of UTF-8, fed one byte at a time. It checks only the
/// lead and continuation pattern of each sequence: overlong forms and
/// surrogates are not detected, and a sequence cut off at the end of the
/// data does not change the result.
class KVSUPPORT_API UTF8Detect {
public:
    /// Nothing seen: Utf8DetectAscii.
    UTF8Detect() = default;
    /// Feeds one byte (only the low 8 bits of \p byte count).
    void add(unsigned byte);
    /// The encoding by the bytes so far.
    UTF8DetectEncoding getEncoding() const { return encoding; }
    /// Back to the state at construction.
    void reset()
    {
        encoding = Utf8DetectAscii;
        state = 1;
    }

private:
    UTF8DetectEncoding encoding = Utf8DetectAscii;
    int state = 1; // 1: at a character start; 99: finished as not UTF-8
};

#endif
