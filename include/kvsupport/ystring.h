/// \file ystring.h
/// YString, the reference-counted text value of the whole interface, and its
/// companion TempString for building concatenations.
///
/// A YString is one pointer to a heap block holding a signed 32-bit reference
/// count followed by NUL-terminated 8-bit text (UTF-8 where it matters). The
/// block stores no length: every length query scans for the NUL. Copies share
/// the block. The counts are plain (not atomic): a YString and every copy that
/// shares its block belong to one thread at a time. To hand text to another
/// thread, build a new YString from the `const char *`.
///
/// The empty string is one static "null block" that is never freed. Its count
/// is deliberately not balanced and carries no meaning; the block is protected
/// by its address only.
#ifndef KVSUPPORT_YSTRING_H
#define KVSUPPORT_YSTRING_H

#include <kvsupport/export.h>

#include <cstdarg>

class TempString;
class kvstream;
template <typename T>
class YList;

/// Byte stream interface used by YString::save and YString::restore.
class KVSUPPORT_API YStringStream {
public:
    virtual ~YStringStream();
    /// Reads up to \p count bytes into \p buffer; returns the number read.
    virtual int read(void *buffer, int count) = 0;
    /// Writes \p count bytes; returns non-zero on success.
    virtual int write(const void *buffer, int count) = 0;
};

/// True where file names compare with regard to case (always, on Linux).
KVSUPPORT_API bool sp_CaseSensitiveFiles();

/// Reference-counted 8-bit text. See the file comment for the sharing rules.
class KVSUPPORT_API YString {
public:
    /// How comparisons treat letter case; any non-zero value acts as IgnoreCase.
    enum CaseMatch { ExactCase = 0, IgnoreCase = 1 };

    /// Target of an out-of-range operator[]; initially 0.
    static char ErrorChar;

    /// The empty string (shares the null block).
    YString();
    /// Shares \p other's block.
    YString(const YString &other);
    /// Takes over the block of \p temp and deletes the TempString object:
    /// \p temp is dead afterwards although it is declared const.
    YString(const TempString &temp);
    /// Copies \p text; null or empty gives the empty string.
    YString(const char *text);
    /// Copies at most \p n characters of \p text, stopping early at a NUL; the
    /// terminator is placed at index \p n in any case. Null text or n <= 0
    /// gives the empty string.
    YString(const char *text, int n);
    /// Decimal text by "%d".
    YString(int value);
    /// Same operation as YString(int): values of 2^31 and more print negative.
    YString(unsigned int value);
    /// Text by "%.12g" (always with a decimal point, whatever the locale).
    YString(double value);
    /// Text by the unsigned 64-bit form: a negative value prints as its
    /// unsigned 64-bit equivalent ("18446744073709551615" for -1).
    YString(long long value);
    /// Releases the block (frees it when the count reaches 0).
    ~YString();

    /// Shares \p other's block; safe for self-assignment.
    YString &operator=(const YString &other);
    /// Replaces the text; \p text may point into this string's own text.
    YString &operator=(const char *text);
    /// Appends \p other (which may be this string itself).
    YString &operator&=(const YString &other);
    /// Appends \p text.
    YString &operator&=(const char *text);

    /// Pointer to the text, valid until the string changes.
    const char *tocs() const { return block + 4; }
    /// Same as tocs().
    const char *operator*() const { return block + 4; }
    /// Makes the block private, then returns the character at \p i; i == length
    /// gives the terminator, i < 0 or i > length gives YString::ErrorChar.
    char &operator[](int i);
    /// Makes a private copy of a non-empty shared block.
    void unique();
    /// The block's reference count.
    int getRefCount() const;
    /// Length + 4: the size of the writeBlock form.
    int getBlockBytes() const;
    /// Length of the text in bytes (a scan for the terminator).
    int length() const;
    /// True for the empty text.
    bool isEmpty() const { return block[4] == 0; }
    /// A new heap copy of the text, released by the caller with free/txfree.
    char *copy() const;
    /// Gives up the text as a heap string owned by the caller (free/txfree)
    /// and leaves this string empty. A sole owner's block is reused in place.
    char *detach();

    /// Exact comparison with unsigned bytes (-1, 0 or 1), or ignoring case.
    int compare(const YString &other, CaseMatch match = ExactCase) const;
    /// File-name comparison: exact where file names are case-sensitive.
    int comparePath(const YString &other) const;
    /// comparePath(other) == 0.
    bool pathEqual(const YString &other) const;
    /// Exact prefix test; true for an empty \p other.
    bool beginsWith(const YString &other) const;
    /// Suffix test ignoring case (unlike beginsWith).
    bool endsWith(const YString &other) const;
    /// True if the last character is a decimal digit.
    bool endsWithNumber() const;
    /// Length of \p prefix if the text starts with it (exactly), else 0.
    int hasPrefix(const char *prefix) const;
    /// Length of \p prefix if the text starts with it (exactly), else 0.
    int hasPrefix(const YString &prefix) const;
    /// Index of the first \p c, or the length when there is none.
    int first(char c) const;
    /// Last character as a signed value; 0 for the empty string.
    int lastChar() const;
    /// Case-blind search from \p start; returns the index just PAST the match,
    /// or -1. A null or empty \p s returns start if start <= length, else -1.
    int findIndex(const char *s, int start = 0) const;
    /// Case-blind search for the last match; returns its start index or -1.
    /// A null or empty \p s returns the length.
    int lastIndexOf(const char *s) const;

    /// Case-blind hash: h = h * 0x1003F + toupper(c), masked to 31 bits.
    unsigned int hashValue() const;
    /// Same function as hashValue().
    unsigned int HashValue() const { return hashValue(); }
    /// Hash that follows the file-name case rule of the platform.
    unsigned int pathHashValue() const;

    /// Characters \p start .. start+len-1, clipped to the text; indices below 0
    /// contribute nothing.
    YString substring(int start, int len) const;
    /// Lower-cases the text in place (ASCII) and returns it.
    YString tolower();
    /// Upper-cases the text in place (ASCII) and returns it.
    YString toupper();
    /// Replaces CR LF by LF in place, without making the block private first:
    /// strings sharing the block see the change.
    YString convertDosToUnix();
    /// Removes leading characters found in \p set.
    void stripLeading(const char *set);
    /// Removes trailing characters found in \p set.
    void stripTrailing(const char *set);
    /// Removes a quote pair: \p quotes is one character (open = close) or two
    /// (open, close). With \p both, only a complete pair is removed.
    void stripQuotes(const char *quotes, bool both = true);
    /// Appends \p c until the length is \p n.
    void pad(unsigned int n, char c = ' ');
    /// Takes the first \p n characters off and returns them; a short string's
    /// result is filled up to n with \p fill unless fill is 0.
    YString shiftLeft(int n, char fill = 0);
    /// A new heap TempString with this text followed by \p text. It must be
    /// consumed exactly once, by a YString constructor or TempString::Destroy.
    TempString &concat(const char *text) const;
    /// Replaces the first occurrence of \p oldText at or after \p start (exact
    /// case). Returns the index just past the replacement, or -1. The scan
    /// retreats a single step after a partial match, so a match beginning
    /// inside a failed candidate is not found ("aab" is not found in "aaab").
    int substitute(const char *oldText, const char *newText, int start = 0);
    /// Repeats substitute from the index past each replacement until none is
    /// made; replacement text is never rescanned.
    void substituteAll(const char *oldText, const char *newText);
    /// Cuts the first token (delimited by any of \p delims) off the text and
    /// returns it; the rest after the single ending delimiter stays.
    YString strtok(const char *delims);
    /// Appends to \p list the tokens of \p source between the characters
    /// \p delimiter. Empty tokens are dropped, so adjacent delimiters count as
    /// one and leading or trailing ones give nothing. Returns \p list (null
    /// when \p list is null; a null \p source appends nothing).
    static YList<YString> *tokenize(const YString *source, char delimiter, YList<YString> *list);
    /// Appends to \p list the tokens of \p source between occurrences of the
    /// text \p delimiter. Empty tokens are kept, but a source that ends in the
    /// delimiter gives no empty last token. After a partial match the failing
    /// character is not tried again as the delimiter's first one ("ab" is not
    /// seen in "aab"). An empty delimiter never matches. Returns \p list (null
    /// when \p list is null; a null \p source appends nothing).
    static YList<YString> *tokenize(const YString *source, YString delimiter, YList<YString> *list);
    /// Formats like the C library's printf (in the C locale; the size prefixes
    /// "I64", "I32" and "I" are accepted) and replaces the text.
    /// (No compiler format checking: the suite's "%I64d" would not pass it.)
    YString &sprintf(const char *format, ...);
    /// As sprintf(format, ...) with an argument list.
    YString &sprintf(const char *format, va_list args);

    /// Writes the 32-bit length and the bytes at *p and advances *p.
    void writeBlock(void **p) const;
    /// Reads the 32-bit length and the bytes at *p and advances *p.
    void readBlock(void **p);
    /// Writes the 32-bit length then the bytes; true if both writes succeed.
    bool save(YStringStream &stream) const;
    /// Reads the 32-bit length then the bytes; false on a short read.
    bool restore(YStringStream &stream);
    /// Writes a signed 16-bit little-endian length, then the text, straight
    /// to the stream's device; the text is cut silently at 32767 bytes.
    /// Writes nothing without a device. True if both writes were whole.
    bool save(kvstream &stream) const;
    /// Reads the form of save(kvstream &). 1 on success; 0, with the string
    /// unchanged, without a device, if the device fails after the length,
    /// if it is at its end (unless decoded characters still wait in the
    /// stream), if \p maxLength is not 0 and the length exceeds it, or if
    /// the text is cut short. A length at or below 0 gives the empty string.
    int restore(kvstream &stream, int maxLength = 0);
    /// As save(kvstream &) with a 32-bit length and no cut.
    bool saveLong(kvstream &stream) const;
    /// As restore(kvstream &, int) with a 32-bit length and no limit.
    int restoreLong(kvstream &stream);

    /// Exact equality.
    bool operator==(const YString &other) const { return compare(other) == 0; }
    /// Exact inequality.
    bool operator!=(const YString &other) const { return compare(other) != 0; }
    /// Exact ordering by unsigned bytes.
    bool operator<(const YString &other) const { return compare(other) < 0; }

private:
    friend class TempString;
    bool nullBlock() const;
    void setData() {}
    void release();
    void makeRoom(int length);
    void makePrivate();
    void setOwned(char *newBlock);

    char *block;
};

/// Heap object that owns a growing block during a chain of concatenations.
/// It is consumed exactly once, by YString(const TempString &) or Destroy().
/// Its destructor does nothing and its assignment does nothing.
class KVSUPPORT_API TempString {
public:
    /// Block holding \p a then \p b (null counts as empty), sized to the next
    /// multiple of 16 strictly above lenA + lenB + 5; count 1.
    TempString(const char *a, const char *b);
    ~TempString() {}
    TempString &operator=(const TempString &) { return *this; }

    /// Appends \p text in place (realloc to old + added + 6 bytes).
    TempString &concat(const char *text);
    /// Length of the text.
    int len() const;
    /// Pointer to the text.
    const char *theString() const { return block + 4; }
    /// Length + 4.
    int blocksize() const { return len() + 4; }
    /// The block's count.
    int refcount() const;
    /// Increments the count.
    void incref();
    /// Decrements the count.
    void decref();
    /// Sets the count to 1.
    void initref();
    /// Decrements, frees the block at zero (unless it is the null block) and
    /// deletes this object.
    void Destroy();

private:
    friend class YString;
    void SetString(const char *text);
    char *block;
};

/// `a & b` builds a concatenation chain: `YString s = a & b & c;` copies once.
KVSUPPORT_API TempString &operator&(const YString &a, const char *b);
/// `a & b` for two YString values.
KVSUPPORT_API TempString &operator&(const YString &a, const YString &b);
/// Continues a concatenation chain.
inline TempString &operator&(TempString &a, const char *b) { return a.concat(b); }
/// Continues a concatenation chain with a YString.
inline TempString &operator&(TempString &a, const YString &b) { return a.concat(b.tocs()); }

#endif
