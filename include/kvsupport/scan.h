/// \file scan.h
/// The text scanner: cutting lines into tokens and fields, reading lines and
/// value pairs from C files, and a few text helpers that go with them, plus
/// the two small command-line helpers ArgSwitch and WordArray.
///
/// The token readers work on a moving cursor (`const char **`): each call
/// advances the cursor over what it took and never changes the text. Bytes are
/// compared as signed `char`. Nothing here reports a problem: unterminated
/// quotes and brackets and over-long words show only in the tokens produced.
///
/// Limits that show in the results:
///  - a word (an unquoted token) stops after 1023 characters, and what follows
///    comes back as the next token; a quoted token has no limit;
///  - sp_SplitLine with brackets builds fields in chunks of 1023 characters and
///    keeps the text of a full chunk for the following fields of the line;
///  - sp_ReadValuePairs reads tokens of at most 512 characters.
#ifndef KVSUPPORT_SCAN_H
#define KVSUPPORT_SCAN_H

#include <kvsupport/containers.h>
#include <kvsupport/export.h>
#include <kvsupport/ystring.h>

#include <cstdio>

/// How sp_GetToken and sp_ScanLine cut a line. The caller owns the record and
/// keeps its strings alive while scanning.
struct ScanSpec {
    /// Characters that separate tokens; runs of them are skipped. Never null.
    const char *delimiters;
    /// Characters that open a quoted token; may be null.
    const char *quotes;
    /// The closer of each opener in `quotes`, at the same position; may be
    /// null. Quoting is on only when both strings are given. An opener with no
    /// closer at its position (a short string) closes with itself.
    const char *closeQuotes;
    /// Characters that are tokens by themselves. Never null; "" for none.
    const char *singles;
    /// The quote characters stay in a quoted token's text.
    bool keepQuotes;
    /// An opener that differs from its closer nests inside its own pair.
    bool nested;
};

/// A token with its type: 0 for a word or a quoted token, the (sign-extended)
/// character for a single-character token, whose text is then empty.
struct ScanToken {
    /// 0, or the character of a single-character token.
    int type = 0;
    /// The token's text (empty for a single-character token).
    YString text;
};

/// Result of sp_ReadValuePairs.
enum ReadValuePairsStatus {
    ValuePairsRising = 0,        ///< the abscissae rise throughout
    ValuePairsRepeatedX = 1,     ///< a pair repeats the previous abscissa with another ordinate
    ValuePairsDescendingX = 2    ///< some abscissa is lower than the one before it
};

/// Next token as cut by \p spec. \p type (may be null) receives 0 for a word
/// or quoted token, the character of a single, or -1 at the end of the text,
/// where the result is empty. An empty quoted pair gives an empty token of
/// type 0, which is not the end.
KVSUPPORT_API YString sp_GetToken(const char **cursor, const ScanSpec &spec, int *type);

/// Next token with no singles and no nesting; empty at the end of the text.
/// \p quotes is ignored when \p closeQuotes is null. The first character
/// inside a quote is never taken as the closer: without \p keepQuotes the
/// text `""` gives no empty token but runs on to the next quote.
KVSUPPORT_API YString sp_GetToken(const char **cursor, const char *delimiters, const char *quotes,
                                  const char *closeQuotes, bool keepQuotes);

/// As the five-argument sp_GetToken, with the cursor put back afterwards.
KVSUPPORT_API YString sp_PeekToken(const char **cursor, const char *delimiters, const char *quotes,
                                   const char *closeQuotes, bool keepQuotes);

/// Next token with plain double-quote handling and no length limit. A quoted
/// token ends at the next `"`, which is stepped over; a word ends at a
/// delimiter, on which the cursor is left. A `"` inside a word is ordinary.
KVSUPPORT_API YString sp_StrTok(const char **cursor, const char *delimiters);

/// Next field up to \p separator (possibly empty) into \p out (may be null),
/// stepping over the separator. False, with \p out untouched, only when the
/// cursor already stands at the end: so "a," gives "a" and then false.
KVSUPPORT_API bool sp_SplitToken(const char **cursor, char separator, YString *out);

/// Skips blanks and tabs and returns the next character, leaving the cursor
/// one past it, even past the terminator: stop on a 0 result.
KVSUPPORT_API int sp_GetNonWS(const char **cursor);

/// The destructive reader: returns the field at the cursor and writes a
/// terminator over the first \p separator, leaving the cursor behind it; a
/// last field leaves the cursor on the terminator. Null at the end.
KVSUPPORT_API char *sp_ScanLine(char **cursor, char separator);

/// Appends the tokens of \p line cut at \p delimiters (no quoting) to \p out,
/// stopping after \p maxTokens tokens (0 or less: no limit) or at the first
/// empty token.
KVSUPPORT_API void sp_ScanLine(const char *line, const char *delimiters, YArray<YString> *out,
                               int maxTokens);

/// Appends the typed tokens of \p line to \p out, stopping after \p maxTokens
/// tokens (0 or less: no limit) or at the end of the line.
KVSUPPORT_API void sp_ScanLine(const char *line, const ScanSpec &spec, YArray<ScanToken> *out,
                               int maxTokens);

/// As the typed form, appending the texts only: a single-character token
/// appears as an empty element.
KVSUPPORT_API void sp_ScanLine(const char *line, const ScanSpec &spec, YArray<YString> *out,
                               int maxTokens);

/// Appends the fields of \p line separated by \p separator, empty ones kept; a
/// trailing separator adds no field and an empty line gives none. Then pads
/// \p out (counting what it held before) with empty strings up to
/// \p minFields elements.
KVSUPPORT_API void sp_SplitLine(const char *line, char separator, YArray<YString> *out, int minFields);

/// Appends fields that may hold \p separator inside a bracket pair;
/// \p brackets is the opener then the closer. A field that opens with the
/// opener is the text up to the matching closer, and anything between that
/// closer and the next separator is dropped; an unclosed bracket drops its
/// field. An empty line gives one empty field, and "a," gives "a" and "".
/// Fields are built in chunks of 1023 characters and the text of a full chunk
/// is not cleared between fields: after a field of more than 1023
/// characters, that text also heads every later field of the line. Nothing is
/// appended or padded when \p brackets has fewer than two characters or two
/// equal ones. Pads to \p minFields like the other form.
KVSUPPORT_API void sp_SplitLine(const char *line, char separator, const char *brackets,
                                YArray<YString> *out, int minFields);

/// Reads one line into \p out (emptied first), dropping every carriage
/// return. True if a line feed ended the line; a last line without one is
/// still delivered, with false. False and empty for a null stream.
KVSUPPORT_API bool sp_ReadNextLine(FILE *stream, YString *out);

/// Reads the next line that holds more than blanks and tabs, as it stands.
/// \p lineCount (may be null) rises by one for every line feed read and is
/// not reset. True if a non-blank line was read, whether a line feed or the
/// end of the file ended it; false at the end of the file, with \p out
/// holding any blanks read last.
KVSUPPORT_API bool sp_ReadNextNonBlankLine(FILE *stream, YString *out, int *lineCount);

/// Reads a flat stream of numbers (separated by blanks, tabs, line ends or
/// commas; a lone "+" skipped; a token that is not a number skipped; a
/// numeric start converted, so "1k" is 1) into x, y pairs. \p values gets a
/// malloc array of x and y alternating, which the caller frees; \p count the
/// number of doubles. An exact repeat of the previous pair is dropped.
/// \p status tells whether the abscissae rise (see ReadValuePairsStatus).
/// If the first allocation fails, \p values is null and \p count 0.
KVSUPPORT_API void sp_ReadValuePairs(FILE *stream, double **values, int *count,
                                     ReadValuePairsStatus *status);

/// Natural case-blind order for net and part names: digit runs compare by
/// value ("a9" before "a10"); when all else is equal, the longer run of
/// leading zeros sorts later ("a1" before "a01"). Returns -1, 0 or 1. Null
/// counts as empty.
KVSUPPORT_API int sp_CompareStrings(const char *a, const char *b);

/// Each CR LF becomes LF; a lone CR stays.
KVSUPPORT_API YString sp_ConvertDosToUnix(YString text);

/// Each LF not preceded by CR becomes CR LF; CR LF pairs and lone CRs stay.
KVSUPPORT_API YString sp_ConvertUnixToDos(const YString &text);

/// Stores a heap copy (released with free/txfree by the caller) of each
/// element of \p list, in list order, in consecutive slots of \p dest, which
/// the caller sized. No terminating slot is written.
KVSUPPORT_API void sp_FillString(char **dest, const YList<YString> *list);

/// Case-blind 17-bit hash: h = ((toupper(c) ^ h) & 0xFFFF) * 2 over the
/// characters; 0 for an empty or null text.
KVSUPPORT_API unsigned int sp_HashValue(const char *text);

/// Decimal text of a signed 64-bit value.
KVSUPPORT_API YString sp_itoa64(long long value);

/// Takes one named switch (switch character + name, compared ignoring case)
/// and up to a number of following arguments out of an argument vector,
/// setting the entries it takes to null.
class KVSUPPORT_API ArgSwitch {
public:
    /// Searches argv[1] onward for the switch \p name; if found, takes it and
    /// up to \p maxArgs following entries, stopping early at a null entry or,
    /// with \p stopAtSwitch, at an entry that starts with the switch
    /// character. \p reserved has no effect.
    ArgSwitch(int argc, char **argv, const char *name, int maxArgs, bool stopAtSwitch,
              bool reserved = false);
    /// Frees the collected arguments once the last object sharing them goes.
    ~ArgSwitch();
    /// Copies the three fields: both objects then share the same arguments.
    ArgSwitch &operator=(const ArgSwitch &other);
    ArgSwitch(const ArgSwitch &) = delete;

    /// True if the switch was found.
    explicit operator bool() const { return found; }
    /// Copy of the collected argument \p i; empty out of range.
    YString operator[](int i) const;
    /// Number of arguments collected.
    int size() const { return count; }
    /// atoi of argument \p i (0 out of range).
    int toInt(int i);
    /// The arguments collected (null until the first one).
    const YArray<YString> *getArgs() const { return args; }

    /// Sets the switch character (default '/'); meant for start-up.
    static void setSwitchChar(char c);
    /// The switch character.
    static char getSwitchChar();
    /// Accepted for compatibility; does nothing.
    static void setCurrentCommand(const YString &command);

private:
    void release();

    bool found;
    int count;
    YArray<YString> *args;
    int *shareCount; // objects sharing args; lives with args
    static char switchChar;
};

/// The words of an argument vector that no ArgSwitch took: the non-null
/// entries from argv[1] onward, borrowed (not copied). Build the ArgSwitch
/// objects first and the WordArray last. The vectors behind the words are
/// pooled across objects; make and destroy WordArray objects on one thread at
/// a time.
class KVSUPPORT_API WordArray {
public:
    /// Collects the non-null entries of argv[1..argc-1].
    WordArray(int argc, char **argv);
    /// Returns the vector to the pool.
    ~WordArray();
    WordArray(const WordArray &) = delete;
    WordArray &operator=(const WordArray &) = delete;

    /// Copy of word \p i; empty out of range.
    YString operator[](int i) const;
    /// Number of words.
    int getCount() const { return count; }
    /// Number of words.
    int numElems() const { return count; }
    /// Number of words.
    int size() const { return count; }
    /// atoi of word \p index, or \p defaultValue out of range.
    int integer(int index, int defaultValue) const;
    /// Engineering value of word \p index, or \p defaultValue out of range.
    double real(int index, double defaultValue) const;
    /// Word \p index, or "" out of range (\p defaultValue is ignored).
    const char *string(int index, const char *defaultValue) const;
    /// True when some index of \p indices is in range and its word is empty.
    bool argsAreEmpty(const YList<int> &indices);
    /// The words joined by single blanks, without quoting.
    YString getFlattenedLine();

    /// Number of spare vectors in the pool (a diagnostic).
    static int pooledVectors();

private:
    const char *word(int i) const;

    YVector<char *> *words;
    int count;
};

#endif
