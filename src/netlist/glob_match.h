// The wildcard search behind sp_GlobMatch. The pattern is first rewritten
// into a regular expression, step by step (that order decides what the
// pattern means, quirks included). When the expression that comes out uses
// nothing but plain characters, "." and "(.){1,}" (the usual case), the
// search is done here in time bounded by text length times pattern length;
// anything else goes to QRegExp, whose backtracking can take very long on
// patterns with many stars. Inline so that the two searches can be compared.
#ifndef KVSUPPORT_NETLIST_GLOB_MATCH_H
#define KVSUPPORT_NETLIST_GLOB_MATCH_H

#include <QRegExp>
#include <QString>

#include <vector>

namespace kv {
namespace detail {

/// The wildcard \p pattern rewritten as a regular expression.
inline QString globToRegExp(const char *pattern)
{
    QString rx = QString::fromUtf8(pattern);
    for (const char *c = "[](){}"; *c; ++c)
        rx.replace(QLatin1Char(*c), QStringLiteral("\\") + QLatin1Char(*c));
    rx.replace(QLatin1Char('.'), QStringLiteral("[.]"));
    rx.replace(QLatin1Char('+'), QStringLiteral("[+]"));
    // Compiled once per thread: a QRegExp keeps the state of its last match,
    // so it can't be shared between threads.
    static thread_local QRegExp escapedStar(QStringLiteral(R"((^|[^\\])(\\\\){0,}(\\\*))"));
    static thread_local QRegExp escapedQuestion(QStringLiteral(R"((^|[^\\])(\\\\){0,}(\\\?))"));
    static thread_local QRegExp freeStar(QStringLiteral(R"((^|[^[])[*]($|[^]]))"));
    static thread_local QRegExp freeQuestion(QStringLiteral(R"((^|[^[])[?]($|[^]]))"));
    rx.replace(escapedStar, QStringLiteral(R"(\1\2[*])"));
    rx.replace(escapedQuestion, QStringLiteral(R"(\1\2[?])"));
    rx.replace(freeStar, QStringLiteral(R"(\1(.){1,}\2)"));
    rx.replace(freeQuestion, QStringLiteral(R"(\1.\2)"));
    return rx;
}

/// One element of a simple expression: a character, any one character, or
/// any run of characters (possibly empty).
struct GlobElement {
    enum Kind { Literal, AnyOne, AnyRun } kind;
    QChar c;
};

/// Reads \p rx as a sequence of GlobElements; false if it uses anything but
/// plain characters, escaped brackets, "[.]", "[+]", "[*]", "[?]", "." and
/// "(.){1,}" (which is one AnyOne and one AnyRun).
inline bool parseSimpleGlob(const QString &rx, std::vector<GlobElement> *out)
{
    const QString oneOrMore = QStringLiteral("(.){1,}");
    const QString bracketed = QStringLiteral(".+*?");
    const QString escapable = QStringLiteral("[](){}");
    const QString special = QStringLiteral("\\^$.|?*+()[]{}");
    const int n = rx.size();
    for (int i = 0; i < n;) {
        const QChar c = rx[i];
        if (rx.midRef(i, oneOrMore.size()) == oneOrMore) {
            out->push_back({GlobElement::AnyOne, QChar()});
            out->push_back({GlobElement::AnyRun, QChar()});
            i += oneOrMore.size();
        } else if (c == QLatin1Char('[') && i + 2 < n && rx[i + 2] == QLatin1Char(']') &&
                   bracketed.contains(rx[i + 1])) {
            out->push_back({GlobElement::Literal, rx[i + 1]});
            i += 3;
        } else if (c == QLatin1Char('\\') && i + 1 < n && escapable.contains(rx[i + 1])) {
            out->push_back({GlobElement::Literal, rx[i + 1]});
            i += 2;
        } else if (c == QLatin1Char('.')) {
            out->push_back({GlobElement::AnyOne, QChar()});
            ++i;
        } else if (special.contains(c)) {
            return false;
        } else {
            out->push_back({GlobElement::Literal, c});
            ++i;
        }
    }
    return true;
}

/// True if the fixed-width elements [first, last) match \p text at \p at.
inline bool segmentMatchesAt(const std::vector<GlobElement> &e, std::size_t first, std::size_t last,
                             const QString &text, int at)
{
    if (at + static_cast<int>(last - first) > text.size())
        return false;
    for (std::size_t k = first; k < last; ++k, ++at) {
        if (e[k].kind == GlobElement::Literal && e[k].c != text[at])
            return false;
    }
    return true;
}

/// End of the fixed-width run of elements that starts at \p first.
inline std::size_t segmentEnd(const std::vector<GlobElement> &e, std::size_t first)
{
    while (first < e.size() && e[first].kind != GlobElement::AnyRun)
        ++first;
    return first;
}

/// Start of the leftmost match of \p e in \p text (not anchored), or -1.
/// Behind a run, each later segment is put at its earliest place: that
/// finds a match whenever there is one, and if it fails for one start it
/// fails for every later start too.
inline int simpleGlobSearch(const std::vector<GlobElement> &e, const QString &text)
{
    const std::size_t end0 = segmentEnd(e, 0);
    for (int start = 0; start <= text.size(); ++start) {
        if (!segmentMatchesAt(e, 0, end0, text, start))
            continue;
        int pos = start + static_cast<int>(end0);
        for (std::size_t first = end0; first < e.size();) {
            ++first; // the run itself
            const std::size_t last = segmentEnd(e, first);
            while (pos <= text.size() && !segmentMatchesAt(e, first, last, text, pos))
                ++pos;
            if (pos > text.size())
                return -1;
            pos += static_cast<int>(last - first);
            first = last;
        }
        return start;
    }
    return -1;
}

/// The position (in QChars) of the first match of the rewritten pattern
/// \p rx in \p text, or -1 (also for a bad expression).
inline int globSearch(const QString &rx, const QString &text)
{
    std::vector<GlobElement> elements;
    if (parseSimpleGlob(rx, &elements))
        return simpleGlobSearch(elements, text);
    QRegExp compiled(rx);
    return compiled.isValid() ? compiled.indexIn(text) : -1;
}

} // namespace detail
} // namespace kv

#endif
