// Wildcard matchers, regular-expression searches, dialogue filters, escapes
// and wire-name templates.
#include <kvsupport/pattern.h>

#include "core/field_split.h"
#include "core/text_util.h"
#include "netlist/glob_match.h"
#include "netlist/utf8_map.h"

#include <QRegExp>

#include <cstring>
#include <string>

namespace kv {
namespace detail {

MappedText mapUtf8(const char *utf8)
{
    MappedText m;
    const unsigned char *p = reinterpret_cast<const unsigned char *>(utf8);
    int offset = 0;
    while (p[offset]) {
        unsigned int cp = 0;
        int n = decodeUtf8One(p + offset, &cp);
        if (n == 0) {
            m.text.append(QChar(0xFFFD));
            m.offsets.push_back(offset);
            ++offset;
            continue;
        }
        if (cp >= 0x10000) {
            m.text.append(QChar(QChar::highSurrogate(cp)));
            m.offsets.push_back(offset);
            m.text.append(QChar(QChar::lowSurrogate(cp)));
            m.offsets.push_back(offset);
        } else {
            m.text.append(QChar(static_cast<ushort>(cp)));
            m.offsets.push_back(offset);
        }
        offset += n;
    }
    m.offsets.push_back(offset);
    return m;
}

} // namespace detail
} // namespace kv

namespace {

// One non-star pattern element at \p p against the text byte \p c; *step
// receives the element's length in the pattern.
bool elementMatches(const char *p, char c, bool caseSensitive, int *step)
{
    char wanted = *p;
    *step = 1;
    if (wanted == '\\') {
        wanted = p[1];
        *step = wanted ? 2 : 1;
    } else if (wanted == '?') {
        return true;
    }
    if (caseSensitive)
        return wanted == c;
    using kv::detail::asciiLower;
    return asciiLower(static_cast<unsigned char>(wanted)) == asciiLower(static_cast<unsigned char>(c));
}

// Quick rejection: the plain characters that end the pattern (behind its
// last `*`, `?` or `\`) each match exactly one character at the end of the
// text, so the text must end with them. Most names of a long list fail here.
bool literalTailMatches(const char *text, const char *pattern, bool caseSensitive)
{
    const std::size_t patternLength = std::strlen(pattern);
    std::size_t run = 0;
    while (run < patternLength) {
        const char c = pattern[patternLength - 1 - run];
        if (c == '*' || c == '?' || c == '\\')
            break;
        ++run;
    }
    if (run == 0)
        return true;
    const std::size_t textLength = std::strlen(text);
    if (textLength < run)
        return false;
    const char *p = pattern + patternLength - run;
    const char *t = text + textLength - run;
    using kv::detail::asciiLower;
    for (std::size_t i = 0; i < run; ++i) {
        if (caseSensitive ? p[i] != t[i]
                          : asciiLower(static_cast<unsigned char>(p[i])) != asciiLower(static_cast<unsigned char>(t[i])))
            return false;
    }
    return true;
}

} // namespace

// The walk keeps only the most recent star as a point to come back to: a
// later star always covers whatever an earlier one could, so this gives the
// same answer as trying every suffix for every star, in time bounded by
// text length times pattern length and without allocating.
bool sp_FilterString(const char *text, const YString &pattern, bool caseSensitive)
{
    const char *pat = pattern.tocs();
    if (pat[0] == '*' && pat[1] == 0)
        return true;
    const char *t = text ? text : "";
    if (!literalTailMatches(t, pat, caseSensitive))
        return false;
    const char *p = pat;
    const char *starPattern = nullptr;
    const char *starText = nullptr;
    while (*t) {
        if (*p == '*') {
            while (*p == '*')
                ++p;
            if (*p == 0)
                return true;
            starPattern = p;
            starText = t;
            continue;
        }
        int step = 1;
        if (*p && elementMatches(p, *t, caseSensitive, &step)) {
            p += step;
            ++t;
        } else if (starPattern) {
            p = starPattern;
            t = ++starText;
        } else {
            return false;
        }
    }
    while (*p == '*')
        ++p;
    return *p == 0;
}

namespace {

// Searches \p text with \p expression from the start; the byte offset or -1.
int searchBytes(const QString &expression, const char *text)
{
    QRegExp rx(expression);
    if (!rx.isValid())
        return -1;
    kv::detail::MappedText mapped = kv::detail::mapUtf8(text);
    return mapped.byteOffset(rx.indexIn(mapped.text));
}

} // namespace

int sp_GlobMatch(const char *pattern, const char *text)
{
    if (pattern == nullptr || text == nullptr)
        return -1;
    // The rewriting costs more than most searches: the last pattern's
    // expression is kept per thread for a caller that loops over texts.
    static thread_local std::string lastPattern;
    static thread_local QString lastExpression;
    static thread_local bool haveLast = false;
    if (!haveLast || lastPattern != pattern) {
        lastExpression = kv::detail::globToRegExp(pattern);
        lastPattern = pattern;
        haveLast = true;
    }
    kv::detail::MappedText mapped = kv::detail::mapUtf8(text);
    return mapped.byteOffset(kv::detail::globSearch(lastExpression, mapped.text));
}

int sp_RegexpMatch(const char *pattern, const char *text)
{
    if (pattern == nullptr || text == nullptr)
        return -1;
    return searchBytes(QString::fromUtf8(pattern), text);
}

bool sp_RegExpMatches(const YArray<YString> &patterns, const YString &text, YArray<YString> *captures)
{
    const QString subject = QString::fromUtf8(text.tocs());
    int position = 0;
    bool result = true;
    for (int i = 0; i < patterns.getCount(); ++i) {
        QRegExp rx(QString::fromUtf8(patterns[i].tocs()));
        const int at = rx.isValid() ? rx.indexIn(subject, position) : -1;
        if (at < 0)
            return false;
        if (at != position)
            result = false;
        const QString whole = rx.cap(0);
        if (captures)
            captures->add(YString(whole.toUtf8().constData()));
        position += whole.length();
    }
    return result;
}

namespace {

// "Name (pat<separator>pat)" for one pair of filter fields.
YString filterEntry(const YString &name, const YString &patterns, const char *separator)
{
    std::string shown = name.tocs();
    for (char &c : shown) {
        if (c == '(')
            c = '[';
        else if (c == ')')
            c = ']';
    }
    std::vector<YString> parts = kv::detail::splitFields(patterns.tocs(), ';');
    YString joined = kv::detail::joinFields(parts, parts.size(), separator ? separator : "");
    return YString(YString(shown.c_str()) & " (" & joined & ")");
}

// Every entry of a dialogue filter text, in order.
std::vector<YString> compileFilterEntries(const char *filter, const char *separator)
{
    std::vector<YString> out;
    std::vector<YString> fields = kv::detail::splitFields(filter, '|');
    for (std::size_t i = 0; i + 1 < fields.size(); i += 2)
        out.push_back(filterEntry(fields[i], fields[i + 1], separator));
    return out;
}

} // namespace

void sp_CompileFilter(const char *filter, YArray<YString> *entries, const char *separator)
{
    std::vector<YString> made = compileFilterEntries(filter, separator);
    if (entries == nullptr)
        return;
    for (const YString &entry : made)
        entries->add(entry);
}

YString sp_ConvertToCString(const YString &text)
{
    std::string out;
    for (const char *p = text.tocs(); *p; ++p) {
        switch (*p) {
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\t': out += "\\t"; break;
        case '"': out += "\\\""; break;
        default: out += *p; break;
        }
    }
    return YString(out.c_str());
}

YString sp_EscapeString(const YString &text, bool spaces)
{
    return sp_EscapeString(text, spaces, '\\');
}

namespace {

// What the escape character followed by \p c stands for.
char resolveEscape(char c, char escape, bool spaces)
{
    if (c == escape)
        return c;
    switch (c) {
    case 'f': return '\f';
    case 'n': return '\n';
    case 'r': return '\r';
    case 't': return '\t';
    case 's': return spaces ? ' ' : 's';
    default: return c;
    }
}

} // namespace

YString sp_EscapeString(const YString &text, bool spaces, char escape)
{
    std::string out;
    for (const char *p = text.tocs(); *p; ++p) {
        if (*p != escape) {
            out += *p;
        } else if (p[1] != 0) {
            ++p;
            out += resolveEscape(*p, escape, spaces);
        }
    }
    return YString(out.c_str());
}

YString sp_EscapeStringEncode(const YString &text, bool spaces)
{
    return sp_EscapeStringEncode(text, spaces, '\\');
}

YString sp_EscapeStringEncode(const YString &text, bool spaces, char escape)
{
    if (escape == 0)
        return text; // a terminator can't introduce anything
    std::string out;
    for (const char *p = text.tocs(); *p; ++p) {
        char code = 0;
        switch (*p) {
        case '\t': code = 't'; break;
        case '\n': code = 'n'; break;
        case '\f': code = 'f'; break;
        case '\r': code = 'r'; break;
        case ' ': code = spaces ? 's' : 0; break;
        default: code = (*p == escape) ? escape : 0; break;
        }
        if (code) {
            out += escape;
            out += code;
        } else {
            out += *p;
        }
    }
    return YString(out.c_str());
}

namespace {

// The text a template key stands for.
const YString &wireKeyValue(const std::string &key, const YString &busName, const YString &wireNumber)
{
    static const YString nothing;
    if (kv::detail::stricmp(key.c_str(), "busname") == 0)
        return busName;
    if (kv::detail::stricmp(key.c_str(), "wirenum") == 0)
        return wireNumber;
    return nothing;
}

} // namespace

YString sp_ResolveWireTemplate(const YString &wireTemplate, const YString &busName, const YString &wireNumber)
{
    if (wireTemplate.isEmpty())
        return YString(busName & "#" & wireNumber);
    std::string out;
    const char *p = wireTemplate.tocs();
    while (*p) {
        if (*p != '%') {
            out += *p++;
        } else if (p[1] == '%') {
            out += '%';
            p += 2;
        } else {
            const char *start = ++p;
            while (*p && *p != '%')
                ++p;
            out += wireKeyValue(std::string(start, p), busName, wireNumber).tocs();
            if (*p)
                ++p;
        }
    }
    return YString(out.c_str());
}
