// Pieces of the path functions shared between paths.cpp and
// paths_tree.cpp, and the walk behind sp_GetCompatiblePathName in a form
// that takes the short name as an argument.
#ifndef KVSUPPORT_STREAM_PATHS_INTERNAL_H
#define KVSUPPORT_STREAM_PATHS_INTERNAL_H

#include <kvsupport/paths.h>

#include "core/field_split.h"

#include <cstring>
#include <string>
#include <vector>

namespace kv {
namespace detail {

/// Number of UTF-16 units that the UTF-8 text \p s takes (a stray byte
/// counts as one unit).
int utf16Units(const char *s);

/// The split of \p path with no limits on the parts' widths.
PathName splitUnlimited(const char *path);

/// The absolute, cleaned form of \p path with no limit on its length; a
/// trailing separator of \p path is kept.
YString absolutePath(const YString &path);

/// The files of \p filePattern ("dir/pattern"), in the directory's own order.
std::vector<YString> listFiles(const YString &filePattern, bool fullPath, bool useNameFilter);

/// Every directory below \p root in the order found (each parent before its
/// children); symbolic links are not entered.
std::vector<YString> descendDirectories(const YString &root);

/// True if the canonical name \p resolved is the root of the file system.
inline bool isFileSystemRoot(const YString &resolved)
{
    const char *p = resolved.tocs();
    while (*p == '/')
        ++p;
    return *p == 0 && !resolved.isEmpty();
}

/// True if every byte of \p s lies in "!" to "~".
inline bool isPrintableAsciiNoBlank(const YString &s)
{
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(s.tocs()); *p; ++p) {
        if (*p < 33 || *p > 126)
            return false;
    }
    return true;
}

/// True if \p s holds no blank and no tab.
inline bool hasNoBlankOrTab(const YString &s)
{
    return std::strpbrk(s.tocs(), " \t") == nullptr;
}

/// The compatible-name walk on the long form \p longForm and the short form
/// \p shortForm. \p noSpaces selects the test "no blank, no tab" and drops
/// the prefix and trailing separator work; otherwise the test is printable
/// ASCII without blanks. Inline so that the walk can be tried with any short
/// form, the platform having none of its own.
inline YString compatiblePath(const YString &longForm, const YString &shortForm, bool noSpaces)
{
    bool (*passes)(const YString &) = noSpaces ? hasNoBlankOrTab : isPrintableAsciiNoBlank;
    if (passes(longForm))
        return longForm;
    const YString l = sp_ConvertLocalToUnix(longForm);
    const YString s = sp_ConvertLocalToUnix(shortForm);
    const std::vector<YString> lc = scanTokens(l.tocs(), "/");
    const std::vector<YString> sc = scanTokens(s.tocs(), "/");
    if (lc.size() != sc.size() || lc.empty())
        return s;
    std::string out;
    if (!noSpaces && l.tocs()[0] == '/')
        out += '/';
    if (!noSpaces && l.tocs()[0] == '/' && l.tocs()[1] == '/')
        out += '/'; // a server prefix
    for (std::size_t i = 0; i < lc.size(); ++i) {
        if (i)
            out += '/';
        out += passes(lc[i]) ? lc[i].tocs() : sc[i].tocs();
    }
    if (!noSpaces && l.lastChar() == '/')
        out += '/';
    return sp_ConvertUnixToLocal(YString(out.c_str()));
}

} // namespace detail
} // namespace kv

#endif
