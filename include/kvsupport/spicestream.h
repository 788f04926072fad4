/// \file spicestream.h
/// SpiceStream: a netlist read as a stream of logical statements.
///
/// The reader joins "+" continuation lines, strips whole-line comments ("*"
/// or the dialect's inline comment character at the start of a line) and
/// inline comments, drops bytes that have no place in a netlist, follows the
/// in-band "*#" directives that settle the dialect and the name separator,
/// substitutes brace expressions through evaluate(), and keeps beside the
/// cooked statements a copy of the source text it read.
///
/// Dialects: KELVORAN (inline comment ";", the default), PSPICE (";") and
/// HSPICE ("$"). A directive line "*#KELVORAN", "*#PSPICE" or "*#HSPICE" at
/// statement level switches the dialect from there on; "*#KELVORAN sep=:"
/// also sets the hierarchical name separator (one character, or "none" for
/// no separator); "*#hierarchy" marks the statement being assembled.
///
/// The machine always looks one line ahead: a statement ends only when a
/// line that is neither blank, nor a comment, nor a "+" continuation begins.
/// Comment lines between a statement and its continuation go to the source
/// text and do not end the statement; a whole-line comment between
/// statements goes nowhere (only the text of a "*#" directive after its "*"
/// is kept).
///
/// Input is read from the device in blocks while no decryption hook is set,
/// so the device's position runs ahead of the statements delivered; after a
/// seek, call init() before reading on.
#ifndef KVSUPPORT_SPICESTREAM_H
#define KVSUPPORT_SPICESTREAM_H

#include <kvsupport/containers.h>
#include <kvsupport/encoding.h>
#include <kvsupport/export.h>
#include <kvsupport/kvstream.h>
#include <kvsupport/ystring.h>

#include <memory>

/// The netlist dialect.
enum SpiceLanguage {
    KELVORAN = 0, ///< the suite's own dialect; inline comment ";"
    PSPICE = 1,   ///< inline comment ";", no name separator
    HSPICE = 2    ///< inline comment "$", no name separator
};

/// A netlist read as logical statements; see the file comment.
class KVSUPPORT_API SpiceStream : public kvstream {
public:
    /// States of the character machine.
    enum State {
        LineStart,     ///< at the start of a line between statements
        CommentLine,   ///< in a whole-line comment between statements
        InStatement,   ///< in the text of a statement
        InlineComment, ///< in a comment that may still be followed by a continuation
        AfterNewline,  ///< after a statement's line: a continuation may follow
        EndPending,    ///< the input ended; the last line feed was delivered
        Finished       ///< nothing more until init()
    };

    /// For callers that have no use for a line number.
    static int dummyLineNum;

    /// Takes over \p other's device (kvstream::transferBuffer); KELVORAN, no
    /// source file.
    explicit SpiceStream(kvstream &other);
    /// Opens \p file for binary reading in \p language; a file that can't be
    /// opened reads as an empty stream (ask operator bool).
    SpiceStream(const char *file, SpiceLanguage language);
    ~SpiceStream() override;
    SpiceStream(const SpiceStream &) = delete;
    SpiceStream &operator=(const SpiceStream &) = delete;

    /// The next statement, without its line end, in \p line; \p lineNumber
    /// gets the line of its first character, \p encrypted whether any of its
    /// bytes came from a decrypted line, \p nonAscii whether any byte is
    /// above 127. False at the end, when no text is left. Null pointers are
    /// allowed for all four.
    virtual bool gets(YString *line, int *lineNumber, bool *encrypted, bool *nonAscii);
    /// Evaluates the text between braces; true with the value in \p result.
    /// This class evaluates nothing and returns false, so brace expressions
    /// stay in the statement as written.
    virtual bool evaluate(const char *expression, YString *result);

    /// The next character of the logical stream, -1 at the end. With
    /// \p literal, bytes come as they stand (no comments, no continuations)
    /// and each goes to the source text.
    int get(bool literal);
    /// Reads the first line raw as a title into the source text; it passes by
    /// the machine, the byte filter and the encoding detector.
    void readTitle();
    /// Back to the start state: no look-ahead, counts 0, literal mode off,
    /// empty lines suppressed, separator "$". The dialect, the hierarchy
    /// flag, the source text and the device's position stay.
    void init();
    /// Sets the line and character counts (and the stream's own count) to 0.
    void clearCounts();
    /// Statements come raw: comment lines are statements, "+" lines are not
    /// joined; braces are still substituted.
    void setLiteralMode(bool literal) { literalMode = literal; }
    /// Lets the source text hold empty lines.
    void dontSuppressEmptyLines() { suppressEmptyLines = false; }

    /// The source text read so far.
    const Buf *getBuffer() const { return &sourceText; }
    /// Replaces the source text by \p text.
    void copyBuffer(const YString &text);
    /// Empties the source text and restarts the encoding detector.
    void flushBuffer();

    /// Line feeds read so far.
    int getLineCount() const { return lineCount; }
    /// Bytes read so far (carriage returns included); with a decryption hook
    /// set, the stream's own count of characters.
    int getCharCount() const;
    /// The line count at the last character delivered.
    int getLastAcceptedLineCount() const { return lastAcceptedLineCount; }
    /// The character count at the last character delivered.
    int getLastAcceptedCharCount() const { return lastAcceptedCharCount; }

    /// The dialect.
    SpiceLanguage getLanguage() { return language; }
    /// True in HSPICE.
    bool isHspiceMode() const { return language == HSPICE; }
    /// '$' in HSPICE, ';' otherwise.
    char getInlineCommentChar() const { return language == HSPICE ? '$' : ';'; }
    /// The hierarchical name separator ("" for none).
    const char *getSeparator() const { return separator.tocs(); }
    /// The netlist's path; empty when built on a stream.
    YString getSourceFile() const { return sourceFile; }
    /// True when a "*#hierarchy" directive was read since gets() began.
    bool isHierarchy() const { return hierarchy; }
    /// The encoding of the source text so far.
    UTF8DetectEncoding getUtf8Encoding() { return utf8Detect.getEncoding(); }
    /// Non-zero once the machine has finished.
    int eof() { return state == Finished ? 1 : 0; }

private:
    int readInput();
    int refill();
    void endInput();
    int readRaw();
    int readDirectiveByte();
    void record();
    void newlineIntoSource();
    void directiveCheck(int first);
    void applyDirective(const char *text);
    int step(bool literal);
    int stepLineStart(int c);
    int stepInStatement(int c);
    int stepAfterNewline(int c);
    int scanPlainRun(Buf *target);
    void skipCommentRun();
    void closeBrace(Buf *gathered);

    State state;
    int pushback;
    int lineCount;
    int charCount;
    int lastAcceptedLineCount;
    int lastAcceptedCharCount;
    bool literalMode;
    bool suppressEmptyLines;
    bool hierarchy;
    SpiceLanguage language;
    UTF8Detect utf8Detect;
    Buf sourceText;
    Buf statement;
    YString separator;
    YString sourceFile;

    // Read-ahead of the device, used while no decryption hook is set.
    std::unique_ptr<char[]> input;
    int inputPos;
    int inputEnd;
    bool inputEnded;   // the device gave its end, or a byte 255 was read
    bool lastFedAscii; // the encoding detector's last byte was below 128
};

#endif
