// Field splitting shared by the pattern and path functions: the two ways the
// library cuts a line, in a form that needs no container of its own.
//   splitFields: each separator ends a field and empty fields are kept; the
//                last character, if not a separator, ends the last field, so
//                "" gives nothing, "a,b," gives a and b, ",a" gives "" and a.
//   scanTokens:  runs of delimiters separate tokens, empty tokens never occur,
//                and a word stops after 1023 characters (the rest comes back
//                as the next token).
#ifndef KVSUPPORT_CORE_FIELD_SPLIT_H
#define KVSUPPORT_CORE_FIELD_SPLIT_H

#include <kvsupport/ystring.h>

#include <cstring>
#include <string>
#include <vector>

namespace kv {
namespace detail {

/// Cuts \p line at \p separator, keeping empty fields but adding none for a
/// trailing separator. Null gives nothing.
inline std::vector<YString> splitFields(const char *line, char separator)
{
    std::vector<YString> out;
    if (line == nullptr)
        return out;
    const char *start = line;
    for (const char *p = line; *p; ++p) {
        if (*p == separator) {
            out.emplace_back(start, static_cast<int>(p - start));
            start = p + 1;
        }
    }
    if (*start)
        out.emplace_back(start);
    return out;
}

/// Cuts \p line into tokens separated by runs of any of \p delimiters.
inline std::vector<YString> scanTokens(const char *line, const char *delimiters)
{
    const int wordLimit = 1023;
    std::vector<YString> out;
    if (line == nullptr)
        return out;
    const char *p = line;
    for (;;) {
        while (*p && std::strchr(delimiters, *p))
            ++p;
        if (*p == 0)
            break;
        const char *start = p;
        while (*p && !std::strchr(delimiters, *p) && p - start < wordLimit)
            ++p;
        out.emplace_back(start, static_cast<int>(p - start));
    }
    return out;
}

/// A token of scanTokenSpans: where it starts in the line and its length.
struct TokenSpan {
    const char *start;
    int length;
};

/// As scanTokens, giving the places of the tokens in \p line instead of
/// copies; \p out is cleared first.
inline void scanTokenSpans(const char *line, const char *delimiters, std::vector<TokenSpan> *out)
{
    const int wordLimit = 1023;
    out->clear();
    if (line == nullptr)
        return;
    const char *p = line;
    for (;;) {
        while (*p && std::strchr(delimiters, *p))
            ++p;
        if (*p == 0)
            return;
        const char *start = p;
        while (*p && !std::strchr(delimiters, *p) && p - start < wordLimit)
            ++p;
        out->push_back({start, static_cast<int>(p - start)});
    }
}

/// The parts joined with \p glue between them.
inline YString joinFields(const std::vector<YString> &parts, std::size_t count, const char *glue)
{
    std::string text;
    for (std::size_t i = 0; i < count && i < parts.size(); ++i) {
        if (i)
            text += glue;
        text += parts[i].tocs();
    }
    return YString(text.c_str());
}

} // namespace detail
} // namespace kv

#endif
