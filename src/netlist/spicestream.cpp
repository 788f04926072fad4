// SpiceStream: the character machine that turns netlist text into logical
// statements, the "*#" directives, and the brace substitution of gets().
//
// Speed: while no decryption hook is set the device is read in blocks, and
// gets() copies runs of plain statement bytes (printable ASCII other than
// the inline comment character and braces) in one step; every other byte
// goes through the machine one at a time. The machine's helpers are defined
// inline: inline members are hidden inside the library, so the compiler can
// fold them into get() and gets() instead of calling exported functions.
#include <kvsupport/spicestream.h>

#include <kvsupport/scan.h>

#include "core/text_util.h"

#include <cstdint>
#include <cstring>
#include <memory>

namespace {

const int kInputChunk = 32768;
const int kDirectiveBytes = 199;

// The bytes that may stand in a netlist: tab, line feed and 32 to 254.
struct ByteTables {
    bool accepted[256];
    bool plainSemicolon[256]; // plain statement bytes when ';' is the inline comment
    bool plainDollar[256];    // and when '$' is
    bool commentKept[256];    // comment bytes that go to the source text as they stand
    bool commentDropped[256]; // bytes of a dropped comment line that need no machine step
    ByteTables()
    {
        for (int c = 0; c < 256; ++c) {
            accepted[c] = c == '\t' || c == '\n' || (c >= 32 && c <= 254);
            commentKept[c] = accepted[c] && c != '\n' && c < 0x80;
            commentDropped[c] = c < 0x80 && c != '\n' && c != '\r';
            bool plain = accepted[c] && c != '\n' && c < 0x80 && c != '{' && c != '}';
            plainSemicolon[c] = plain && c != ';';
            plainDollar[c] = plain && c != '$';
        }
    }
};

const ByteTables byteTables;

inline const ByteTables &tables()
{
    return byteTables;
}

// Word-at-a-time tests of eight bytes (the classic bit tricks): the fast
// scans below skip whole words that surely hold only bytes of their run,
// and leave the rest to the byte tables, which have the last word.
const std::uint64_t kOnes = 0x0101010101010101ULL;
const std::uint64_t kHighs = 0x8080808080808080ULL;

inline std::uint64_t loadWord(const char *p)
{
    std::uint64_t w;
    std::memcpy(&w, p, sizeof w);
    return w;
}

inline bool hasByte(std::uint64_t w, unsigned char c)
{
    std::uint64_t x = w ^ (kOnes * c);
    return ((x - kOnes) & ~x & kHighs) != 0;
}

// Any byte below 0x20 or above 0x7E (tab and DEL included: the tables
// decide about those).
inline bool hasControlOrHigh(std::uint64_t w)
{
    return (((w - kOnes * 0x20) & ~w) | ((w + kOnes * 1) | w)) & kHighs;
}

// Skips the words of plain statement bytes.
inline const char *skipPlainWords(const char *p, const char *end, unsigned char inlineChar)
{
    while (end - p >= 8) {
        std::uint64_t w = loadWord(p);
        if (hasControlOrHigh(w) || hasByte(w, inlineChar) || hasByte(w, '{') || hasByte(w, '}'))
            break;
        p += 8;
    }
    return p;
}

// Skips the words of comment bytes: no byte above 127, no line feed and no
// carriage return; with \p kept, no control byte either.
inline const char *skipCommentWords(const char *p, const char *end, bool kept)
{
    while (end - p >= 8) {
        std::uint64_t w = loadWord(p);
        if (kept ? hasControlOrHigh(w) : ((w & kHighs) != 0 || hasByte(w, '\n') || hasByte(w, '\r')))
            break;
        p += 8;
    }
    return p;
}

// Counts wrap around past 2^31 bytes instead of overflowing.
inline void bump(int &count, int n)
{
    count = static_cast<int>(static_cast<unsigned>(count) + static_cast<unsigned>(n));
}

bool isBlank(int c)
{
    return c == ' ' || c == '\t';
}

bool sameWord(const YString &token, const char *word)
{
    return kv::detail::stricmp(token.tocs(), word) == 0;
}

} // namespace

int SpiceStream::dummyLineNum = 0;

SpiceStream::SpiceStream(kvstream &other)
    : kvstream(nullptr), language(KELVORAN), sourceText(80), statement(80),
      input(new char[kInputChunk])
{
    kvstream::transferBuffer(&other, this);
    hierarchy = false;
    init();
}

SpiceStream::SpiceStream(const char *file, SpiceLanguage lang)
    : kvstream(nullptr), language(lang), sourceText(80), statement(80), sourceFile(file),
      input(new char[kInputChunk])
{
    kvfstream opened(file, KvOpenIn | KvOpenBinary);
    kvstream::transferBuffer(&opened, this);
    hierarchy = false;
    init();
}

SpiceStream::~SpiceStream() = default;

void SpiceStream::init()
{
    state = LineStart;
    pushback = -1;
    lineCount = 0;
    charCount = 0;
    lastAcceptedLineCount = 0;
    lastAcceptedCharCount = 0;
    literalMode = false;
    suppressEmptyLines = true;
    separator = "$";
    kvstream::clearCount();
    inputPos = 0;
    inputEnd = 0;
    inputEnded = false;
    lastFedAscii = true;
}

void SpiceStream::clearCounts()
{
    lineCount = 0;
    charCount = 0;
    lastAcceptedCharCount = 0;
    kvstream::clearCount();
}

void SpiceStream::copyBuffer(const YString &text)
{
    sourceText.flush();
    sourceText.append(text.tocs(), text.length());
}

void SpiceStream::flushBuffer()
{
    sourceText.flush();
    utf8Detect.reset();
    lastFedAscii = true;
}

int SpiceStream::getCharCount() const
{
    return encryptionAllowed() ? kvstream::getCharCount() : charCount;
}

bool SpiceStream::evaluate(const char *, YString *)
{
    return false;
}

// ------------------------------------------------------------------ input

inline int SpiceStream::refill()
{
    inputPos = 0;
    inputEnd = 0;
    if (rdbuf() != nullptr)
        inputEnd = static_cast<int>(kvstream::read(input.get(), kInputChunk));
    if (inputEnd <= 0) {
        inputEnd = 0;
        inputEnded = true;
        return -1;
    }
    return static_cast<unsigned char>(input[inputPos++]);
}

// The next byte of the device (0 to 255), or -1 at its end.
inline int SpiceStream::readInput()
{
    if (inputPos < inputEnd)
        return static_cast<unsigned char>(input[inputPos++]);
    if (inputEnded)
        return -1;
    if (!encryptionAllowed())
        return refill();
    int c = rdbuf() != nullptr ? kvstream::get() : -1;
    if (c < 0) {
        inputEnded = true;
        return -1;
    }
    return c & 0xFF;
}

// The end for good: a byte 255 ends the input even with more bytes waiting
// in the read-ahead, which are dropped with it.
inline void SpiceStream::endInput()
{
    inputEnded = true;
    inputPos = 0;
    inputEnd = 0;
}

// Raw input for the machine: carriage returns skipped, refused bytes
// dropped, a byte 255 taken as the end for good.
inline int SpiceStream::readRaw()
{
    for (;;) {
        int c = readInput();
        if (c < 0 || c == 255) {
            endInput();
            return -1;
        }
        bump(charCount, 1);
        if (c < 0x80) {
            if (!lastFedAscii)
                utf8Detect.add(static_cast<unsigned>(c));
            lastFedAscii = true;
        } else {
            utf8Detect.add(static_cast<unsigned>(c));
            lastFedAscii = false;
        }
        while (c == '\r') {
            c = readInput();
            if (c < 0 || c == 255) {
                endInput();
                return -1;
            }
            bump(charCount, 1);
        }
        if (c == '\n')
            bump(lineCount, 1);
        if (tables().accepted[c])
            return c;
    }
}

// A byte of a directive line: carriage returns skipped and counted, no
// filter.
inline int SpiceStream::readDirectiveByte()
{
    int c = readInput();
    while (c == '\r') {
        bump(charCount, 1);
        c = readInput();
    }
    if (c < 0 || c == 255) {
        endInput();
        return -1;
    }
    bump(charCount, 1);
    if (c == '\n')
        bump(lineCount, 1);
    return c;
}

// --------------------------------------------------------------- machine

inline void SpiceStream::record()
{
    lastAcceptedLineCount = lineCount;
    lastAcceptedCharCount = encryptionAllowed() ? kvstream::getCharCount() : charCount;
}

inline void SpiceStream::newlineIntoSource()
{
    int n = sourceText.getLength();
    if (!suppressEmptyLines || n == 0 || sourceText.get()[n - 1] != '\n')
        sourceText.add('\n');
}

void SpiceStream::directiveCheck(int first)
{
    int c = readDirectiveByte();
    pushback = c;
    if (c != '#' || first != '*')
        return;
    pushback = -1;
    sourceText.add('#');
    char text[kDirectiveBytes + 1];
    int n = 0;
    for (int i = 0; i < kDirectiveBytes; ++i) {
        c = readDirectiveByte();
        if (c < 0 || c == '\n') {
            pushback = c;
            break;
        }
        text[n++] = static_cast<char>(c);
        if (i == kDirectiveBytes - 1)
            pushback = c; // the machine reads the rest of the line as comment
        else
            sourceText.add(static_cast<char>(c));
    }
    text[n] = 0;
    applyDirective(text);
}

void SpiceStream::applyDirective(const char *text)
{
    YArray<YString> tokens;
    sp_ScanLine(text, " =(),\t", &tokens, 0);
    int count = tokens.getCount();
    if (count == 0)
        return;
    if (state == LineStart) {
        if (sameWord(tokens[0], "KELVORAN")) {
            language = KELVORAN;
            for (int i = 1; count >= 3 && i + 1 < count; ++i) {
                if (!sameWord(tokens[i], "sep"))
                    continue;
                const YString &next = tokens[i + 1];
                if (next.length() == 1)
                    separator = next;
                else if (sameWord(next, "none"))
                    separator = "";
            }
        } else if (sameWord(tokens[0], "HSPICE")) {
            language = HSPICE;
            separator = "";
        } else if (sameWord(tokens[0], "PSPICE")) {
            language = PSPICE;
            separator = "";
        }
    }
    if (sameWord(tokens[0], "hierarchy"))
        hierarchy = true;
}

inline int SpiceStream::stepLineStart(int c)
{
    if (isBlank(c) || c == '\n')
        return -2;
    if (c == '*' || c == getInlineCommentChar()) {
        directiveCheck(c);
        state = CommentLine;
        return -2;
    }
    if (c < 0) {
        state = Finished;
        return -1;
    }
    sourceText.add(static_cast<char>(c));
    record();
    state = InStatement;
    return c;
}

inline int SpiceStream::stepInStatement(int c)
{
    if (c == getInlineCommentChar()) {
        sourceText.add(static_cast<char>(c));
        state = InlineComment;
        return -2;
    }
    if (c == '\n') {
        record();
        newlineIntoSource();
        state = AfterNewline;
        return -2;
    }
    if (c < 0) {
        record();
        state = EndPending;
        return '\n';
    }
    sourceText.add(static_cast<char>(c));
    record();
    return c;
}

inline int SpiceStream::stepAfterNewline(int c)
{
    if (c == '*' || c == getInlineCommentChar()) {
        sourceText.add(static_cast<char>(c));
        directiveCheck(c);
        state = InlineComment;
        return -2;
    }
    if (c == '\n') {
        newlineIntoSource();
        return -2;
    }
    if (c == '+') {
        sourceText.add('+');
        state = InStatement;
        return ' ';
    }
    if (c < 0) {
        state = EndPending;
        return '\n';
    }
    if (isBlank(c))
        return -2;
    pushback = c;
    state = InStatement;
    return '\n';
}

// Passes over the run of comment bytes waiting in the read-ahead, as the
// machine would one by one: an inline comment goes to the source text, a
// whole-line comment nowhere. Bytes above 127, carriage returns and line
// feeds are left to the machine.
inline void SpiceStream::skipCommentRun()
{
    const bool keep = state == InlineComment;
    const bool *table = keep ? tables().commentKept : tables().commentDropped;
    const char *start = input.get() + inputPos;
    const char *end = input.get() + inputEnd;
    const char *p = skipCommentWords(start, end, keep);
    while (p < end && table[static_cast<unsigned char>(*p)])
        ++p;
    int n = static_cast<int>(p - start);
    if (keep)
        sourceText.append(start, n);
    bump(charCount, n);
    inputPos += n;
}

// One delivered character, or -1; -2 inside means "nothing yet, go on".
inline int SpiceStream::step(bool literal)
{
    for (;;) {
        if ((state == CommentLine || state == InlineComment) && pushback < 0 && !literal && lastFedAscii &&
            inputPos < inputEnd)
            skipCommentRun();
        int c;
        if (pushback >= 0) {
            c = pushback;
            pushback = -1;
        } else if (state == EndPending || state == Finished) {
            state = Finished;
            return -1;
        } else {
            c = readRaw();
        }
        if (literal) {
            if (c < 0) {
                state = Finished;
                return -1;
            }
            state = LineStart;
            sourceText.add(static_cast<char>(c));
            record();
            return c;
        }
        int out = -2;
        switch (state) {
        case LineStart:
            out = stepLineStart(c);
            break;
        case CommentLine:
            if (c == '\n') {
                state = LineStart;
            } else if (c < 0) {
                state = Finished;
                out = -1;
            }
            break;
        case InStatement:
            out = stepInStatement(c);
            break;
        case InlineComment:
            if (c == '\n') {
                newlineIntoSource();
                state = AfterNewline;
            } else if (c < 0) {
                state = EndPending;
                out = '\n';
            } else {
                sourceText.add(static_cast<char>(c));
            }
            break;
        case AfterNewline:
            out = stepAfterNewline(c);
            break;
        case EndPending:
        case Finished:
            state = Finished;
            out = -1;
            break;
        }
        if (out != -2)
            return out;
    }
}

int SpiceStream::get(bool literal)
{
    return step(literal);
}

void SpiceStream::readTitle()
{
    for (;;) {
        int c = pushback;
        pushback = -1;
        if (c < 0)
            c = readInput();
        if (c < 0)
            return;
        if (c == '\n') {
            bump(lineCount, 1);
            return;
        }
        bump(charCount, 1);
        if (c != '\r')
            sourceText.add(static_cast<char>(c));
    }
}

// ------------------------------------------------------------- statements

// Copies the run of plain statement bytes waiting in the read-ahead, as the
// machine would one by one in InStatement. Returns the count.
inline int SpiceStream::scanPlainRun(Buf *target)
{
    const bool *plain = language == HSPICE ? tables().plainDollar : tables().plainSemicolon;
    const char *start = input.get() + inputPos;
    const char *end = input.get() + inputEnd;
    const char *p = skipPlainWords(start, end, static_cast<unsigned char>(getInlineCommentChar()));
    while (p < end && plain[static_cast<unsigned char>(*p)])
        ++p;
    int n = static_cast<int>(p - start);
    if (n == 0)
        return 0;
    sourceText.append(start, n);
    target->append(start, n);
    bump(charCount, n);
    inputPos += n;
    record();
    return n;
}

void SpiceStream::closeBrace(Buf *gathered)
{
    YString result;
    if (evaluate(gathered->get(), &result)) {
        statement.append(result.tocs(), result.length());
    } else {
        statement.add('{');
        statement.append(gathered->get(), gathered->getLength());
        statement.add('}');
    }
    gathered->flush();
}

bool SpiceStream::gets(YString *line, int *lineNumber, bool *encrypted, bool *nonAscii)
{
    int numberStore = 0;
    bool encryptedStore = false;
    bool nonAsciiStore = false;
    int *number = lineNumber != nullptr ? lineNumber : &numberStore;
    bool *enc = encrypted != nullptr ? encrypted : &encryptedStore;
    bool *wide = nonAscii != nullptr ? nonAscii : &nonAsciiStore;
    statement.flush();
    hierarchy = false;
    *enc = false;
    *wide = false;
    std::unique_ptr<Buf> gathered; // made at the first brace
    int depth = 0;
    bool started = false;
    bool ended = false;
    for (;;) {
        if (started && state == InStatement && pushback < 0 && !literalMode && lastFedAscii &&
            inputPos < inputEnd && !encryptionAllowed())
            scanPlainRun(depth > 0 ? gathered.get() : &statement);
        int c = step(literalMode);
        if (c == -1)
            break;
        if (!started) {
            *number = lineCount + 1;
            started = true;
        }
        if (lineIsEncrypted())
            *enc = true;
        if (c > 127 || c < 0)
            *wide = true;
        if (c == '\n') {
            ended = true;
            break;
        }
        if (c == '{') {
            if (!gathered)
                gathered.reset(new Buf(80));
            if (depth++ > 0)
                gathered->add('(');
        } else if (c == '}' && depth > 0) {
            if (--depth == 0)
                closeBrace(gathered.get());
            else
                gathered->add(')');
        } else if (depth > 0) {
            gathered->add(static_cast<char>(c));
        } else {
            statement.add(static_cast<char>(c));
        }
    }
    // Assigning the text lets a caller's own string keep its block.
    if (line != nullptr)
        *line = statement.get();
    return ended || statement.getLength() > 0;
}
