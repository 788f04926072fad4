// The token readers and line splitters.
//
// Every token the readers return is a contiguous run of the source text (the
// quote characters are either part of that run or just outside it), so a
// token costs one YString construction, whatever its length: no character is
// copied one at a time into a growing buffer. The only place where fields are
// really assembled piecewise is the bracket form of sp_SplitLine, whose chunk
// carry-over is part of its documented behaviour.
#include <kvsupport/scan.h>

#include "core/text_util.h"

#include <charconv>
#include <cstring>

namespace {

// Longest unquoted token; the rest of a longer word is the next token.
constexpr int kMaxWord = 1023;

// True when the non-terminator character \p c is one of \p set (null: none).
inline bool inSet(const char *set, char c)
{
    if (set == nullptr || c == 0)
        return false;
    for (; *set != 0; ++set)
        if (*set == c)
            return true;
    return false;
}

inline const char *skipSet(const char *p, const char *set)
{
    while (inSet(set, *p))
        ++p;
    return p;
}

// Reads a word starting at \p p: up to a delimiter, a single or the end, and
// at most kMaxWord characters.
inline const char *wordEnd(const char *p, const char *delimiters, const char *singles)
{
    const char *limit = p + kMaxWord;
    while (p < limit && *p != 0 && !inSet(delimiters, *p) && !inSet(singles, *p))
        ++p;
    return p;
}

inline YString span(const char *from, const char *to)
{
    return from == to ? YString() : YString(from, static_cast<int>(to - from));
}

// The closer that pairs with the opener at \p index of the quotes; an opener
// past the end of a short closer list closes with itself.
inline char closerAt(const char *quotes, const char *closeQuotes, std::size_t index)
{
    return index < std::strlen(closeQuotes) ? closeQuotes[index] : quotes[index];
}

// The quoted token at \p p (on the opener) by the rules of a ScanSpec.
YString quotedBySpec(const char **cursor, const ScanSpec &spec)
{
    const char *p = *cursor;
    const char opener = *p;
    const char closer = closerAt(spec.quotes, spec.closeQuotes,
                                 static_cast<std::size_t>(std::strchr(spec.quotes, opener) - spec.quotes));
    const bool nesting = spec.nested && opener != closer;
    const char *start = spec.keepQuotes ? p : p + 1;
    ++p;
    int depth = 0;
    for (; *p != 0; ++p) {
        if (*p == closer && depth == 0)
            break;
        if (nesting) {
            if (*p == opener)
                ++depth;
            else if (*p == closer)
                --depth;
        }
    }
    const char *end = p;
    if (*p != 0 && *p == closer) {
        ++p;
        if (spec.keepQuotes)
            end = p;
    }
    *cursor = p;
    return span(start, end);
}

inline bool quotingOn(const char *quotes, const char *closeQuotes)
{
    return quotes != nullptr && closeQuotes != nullptr;
}

} // namespace

YString sp_GetToken(const char **cursor, const ScanSpec &spec, int *type)
{
    int dummy = 0;
    if (type == nullptr)
        type = &dummy;
    if (cursor == nullptr || *cursor == nullptr) {
        *type = -1;
        return YString();
    }
    const char *p = skipSet(*cursor, spec.delimiters);
    *cursor = p;
    if (*p == 0) {
        *type = -1;
        return YString();
    }
    if (quotingOn(spec.quotes, spec.closeQuotes) && inSet(spec.quotes, *p)) {
        *type = 0;
        return quotedBySpec(cursor, spec);
    }
    if (inSet(spec.singles, *p)) {
        *type = static_cast<signed char>(*p);
        *cursor = p + 1;
        return YString();
    }
    const char *end = wordEnd(p, spec.delimiters, spec.singles);
    *cursor = end;
    *type = 0;
    return span(p, end);
}

YString sp_GetToken(const char **cursor, const char *delimiters, const char *quotes,
                    const char *closeQuotes, bool keepQuotes)
{
    if (cursor == nullptr || *cursor == nullptr)
        return YString();
    const char *p = skipSet(*cursor, delimiters);
    if (*p == 0) {
        *cursor = p;
        return YString();
    }
    if (!quotingOn(quotes, closeQuotes) || !inSet(quotes, *p)) {
        const char *end = wordEnd(p, delimiters, nullptr);
        *cursor = end;
        return span(p, end);
    }
    const char closer = closerAt(quotes, closeQuotes,
                                 static_cast<std::size_t>(std::strchr(quotes, *p) - quotes));
    if (!keepQuotes)
        ++p;
    const char *start = p;
    // The first character inside is taken as it is, never as the closer.
    if (*p != 0)
        ++p;
    while (*p != 0 && *p != closer)
        ++p;
    const char *end = p;
    if (*p != 0) {
        ++p;
        if (keepQuotes)
            end = p;
    }
    *cursor = p;
    return span(start, end);
}

YString sp_PeekToken(const char **cursor, const char *delimiters, const char *quotes,
                     const char *closeQuotes, bool keepQuotes)
{
    if (cursor == nullptr)
        return YString();
    const char *saved = *cursor;
    YString token = sp_GetToken(cursor, delimiters, quotes, closeQuotes, keepQuotes);
    *cursor = saved;
    return token;
}

YString sp_StrTok(const char **cursor, const char *delimiters)
{
    if (cursor == nullptr || *cursor == nullptr)
        return YString();
    const char *p = skipSet(*cursor, delimiters);
    if (*p == '"') {
        const char *start = ++p;
        while (*p != 0 && *p != '"')
            ++p;
        const char *end = p;
        if (*p == '"')
            ++p;
        *cursor = p;
        return span(start, end);
    }
    const char *start = p;
    while (*p != 0 && !inSet(delimiters, *p))
        ++p;
    *cursor = p;
    return span(start, p);
}

bool sp_SplitToken(const char **cursor, char separator, YString *out)
{
    if (cursor == nullptr || *cursor == nullptr || **cursor == 0)
        return false;
    const char *start = *cursor;
    const char *p = start;
    while (*p != 0 && *p != separator)
        ++p;
    if (out != nullptr)
        *out = span(start, p);
    *cursor = *p != 0 ? p + 1 : p;
    return true;
}

int sp_GetNonWS(const char **cursor)
{
    if (cursor == nullptr || *cursor == nullptr)
        return 0;
    const char *p = *cursor;
    while (*p == ' ' || *p == '\t')
        ++p;
    const int c = static_cast<signed char>(*p);
    *cursor = p + 1;
    return c;
}

char *sp_ScanLine(char **cursor, char separator)
{
    if (cursor == nullptr || *cursor == nullptr || **cursor == 0)
        return nullptr;
    char *field = *cursor;
    char *p = field;
    while (*p != 0 && *p != separator)
        ++p;
    if (*p != 0) {
        *p = 0;
        ++p;
    }
    *cursor = p;
    return field;
}

namespace {

inline bool limitReached(int taken, int maxTokens)
{
    return maxTokens > 0 && taken >= maxTokens;
}

inline void padTo(YArray<YString> *out, int minFields)
{
    while (out->getCount() < minFields)
        out->add(YString());
}

// Builds the fields of the bracket form of sp_SplitLine. Characters gather in
// a chunk of kMaxWord; a full chunk is moved into the carried text, which is
// never cleared, so once one field has overflowed a chunk its first part
// heads every later field of the line.
class ChunkedField {
public:
    void add(char c)
    {
        if (used == kMaxWord) {
            carried &= YString(chunk, used);
            used = 0;
        }
        chunk[used++] = c;
    }
    YString take()
    {
        YString field = carried;
        if (used > 0)
            field &= YString(chunk, used);
        used = 0;
        return field;
    }

private:
    YString carried;
    char chunk[kMaxWord];
    int used = 0;
};

enum class BracketState { Start, InBrackets, Plain, After };

} // namespace

void sp_ScanLine(const char *line, const char *delimiters, YArray<YString> *out, int maxTokens)
{
    if (line == nullptr || out == nullptr)
        return;
    const char *p = line;
    for (int taken = 0; !limitReached(taken, maxTokens); ++taken) {
        YString token = sp_GetToken(&p, delimiters, nullptr, nullptr, false);
        if (token.isEmpty())
            break;
        out->add(token);
    }
}

void sp_ScanLine(const char *line, const ScanSpec &spec, YArray<ScanToken> *out, int maxTokens)
{
    if (line == nullptr || out == nullptr)
        return;
    const char *p = line;
    for (int taken = 0; !limitReached(taken, maxTokens); ++taken) {
        ScanToken token;
        token.text = sp_GetToken(&p, spec, &token.type);
        if (token.type == -1)
            break;
        out->add(token);
    }
}

void sp_ScanLine(const char *line, const ScanSpec &spec, YArray<YString> *out, int maxTokens)
{
    if (line == nullptr || out == nullptr)
        return;
    const char *p = line;
    for (int taken = 0; !limitReached(taken, maxTokens); ++taken) {
        int type = 0;
        YString token = sp_GetToken(&p, spec, &type);
        if (type == -1)
            break;
        out->add(token);
    }
}

void sp_SplitLine(const char *line, char separator, YArray<YString> *out, int minFields)
{
    if (out == nullptr)
        return;
    const char *p = line != nullptr ? line : "";
    const char *start = p;
    for (; *p != 0; ++p) {
        if (*p == separator) {
            out->add(span(start, p));
            start = p + 1;
        } else if (p[1] == 0) {
            out->add(span(start, p + 1));
        }
    }
    padTo(out, minFields);
}

void sp_SplitLine(const char *line, char separator, const char *brackets, YArray<YString> *out,
                  int minFields)
{
    if (out == nullptr || brackets == nullptr || brackets[0] == 0 || brackets[1] == 0 ||
        brackets[0] == brackets[1])
        return;
    const char opener = brackets[0];
    const char closer = brackets[1];
    ChunkedField field;
    BracketState state = BracketState::Start;
    int depth = 0;
    const char *p = line != nullptr ? line : "";
    for (;; ++p) {
        const char c = *p;
        const bool ends = c == separator || c == 0;
        switch (state) {
        case BracketState::Start:
            if (c == opener) {
                depth = 1;
                state = BracketState::InBrackets;
            } else if (ends) {
                out->add(field.take());
            } else {
                field.add(c);
                state = BracketState::Plain;
            }
            break;
        case BracketState::InBrackets:
            if (c == 0)
                break;
            if (c == opener) {
                ++depth;
                field.add(c);
            } else if (c == closer && depth > 1) {
                --depth;
                field.add(c);
            } else if (c == closer) {
                depth = 0;
                state = BracketState::After;
            } else {
                field.add(c);
            }
            break;
        case BracketState::Plain:
        case BracketState::After:
            if (ends) {
                out->add(field.take());
                state = BracketState::Start;
            } else if (state == BracketState::Plain) {
                field.add(c);
            }
            break;
        }
        if (c == 0)
            break;
    }
    padTo(out, minFields);
}

int sp_CompareStrings(const char *a, const char *b)
{
    if (a == nullptr)
        a = "";
    if (b == nullptr)
        b = "";
    auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    int tie = 0;
    while (*a != 0 || *b != 0) {
        if (isDigit(*a) && isDigit(*b)) {
            int lenA = 0, lenB = 0, zerosA = 0, zerosB = 0;
            while (isDigit(a[lenA]))
                ++lenA;
            while (isDigit(b[lenB]))
                ++lenB;
            while (zerosA < lenA && a[zerosA] == '0')
                ++zerosA;
            while (zerosB < lenB && b[zerosB] == '0')
                ++zerosB;
            const int sigA = lenA - zerosA, sigB = lenB - zerosB;
            if (sigA != sigB)
                return sigA > sigB ? 1 : -1;
            if (lenA != lenB && tie == 0)
                tie = lenA > lenB ? 1 : -1;
            a += zerosA;
            b += zerosB;
            for (int i = 0; i < sigA; ++i, ++a, ++b)
                if (*a != *b)
                    return *a > *b ? 1 : -1;
            continue;
        }
        const int ca = kv::detail::asciiLower(static_cast<signed char>(*a));
        const int cb = kv::detail::asciiLower(static_cast<signed char>(*b));
        if (ca != cb)
            return ca > cb ? 1 : -1;
        ++a;
        ++b;
    }
    return tie;
}

YString sp_ConvertDosToUnix(YString text)
{
    const char *s = text.tocs();
    const char *pair = std::strstr(s, "\r\n");
    if (pair == nullptr)
        return text;
    const int length = text.length();
    char *buffer = new char[static_cast<std::size_t>(length) + 1];
    char *d = buffer;
    for (const char *p = s; *p != 0; ++p)
        if (!(p[0] == '\r' && p[1] == '\n'))
            *d++ = *p;
    YString result(buffer, static_cast<int>(d - buffer));
    delete[] buffer;
    return result;
}

YString sp_ConvertUnixToDos(const YString &text)
{
    const char *s = text.tocs();
    int bare = 0;
    for (const char *p = s; *p != 0; ++p)
        if (*p == '\n' && (p == s || p[-1] != '\r'))
            ++bare;
    if (bare == 0)
        return text;
    const int length = text.length();
    char *buffer = new char[static_cast<std::size_t>(length) + static_cast<std::size_t>(bare) + 1];
    char *d = buffer;
    for (const char *p = s; *p != 0; ++p) {
        if (*p == '\n' && (p == s || p[-1] != '\r'))
            *d++ = '\r';
        *d++ = *p;
    }
    YString result(buffer, static_cast<int>(d - buffer));
    delete[] buffer;
    return result;
}

void sp_FillString(char **dest, const YList<YString> *list)
{
    if (dest == nullptr || list == nullptr)
        return;
    int slot = 0;
    for (auto it = list->begin(); it != list->end(); ++it)
        dest[slot++] = (*it).copy();
}

unsigned int sp_HashValue(const char *text)
{
    if (text == nullptr)
        return 0;
    unsigned int h = 0;
    for (const char *p = text; *p != 0; ++p) {
        const int c = kv::detail::asciiUpper(static_cast<signed char>(*p));
        h = ((static_cast<unsigned int>(c) ^ h) & 0xFFFFu) * 2u;
    }
    return h;
}

YString sp_itoa64(long long value)
{
    char buffer[24];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return YString(buffer, static_cast<int>(result.ptr - buffer));
}
