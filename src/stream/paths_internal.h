// Pieces of the path functions shared between paths.cpp and
// paths_tree.cpp, and the walk behind sp_GetCompatiblePathName in a form
// that takes the short name as an argument.
#ifndef KVSUPPORT_STREAM_PATHS_INTERNAL_H
#define KVSUPPORT_STREAM_PATHS_INTERNAL_H

#include <kvsupport/paths.h>

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

/// The files of \p spec ("dir/pattern"), in the directory's own order.
std::vector<YString> listFiles(const YString &spec, bool fullPath, bool useNameFilter);

/// Every directory below \p root in the order found (each parent before its
/// children); symbolic links are not entered.
std::vector<YString> descendDirectories(const YString &root);

/// The compatible-name walk on the long form \p longForm and the short form
/// \p shortForm. \p noSpaces selects the test "no blank, no tab" and drops
/// the prefix and trailing separator work; otherwise the test is printable
/// ASCII without blanks.
YString compatiblePath(const YString &longForm, const YString &shortForm, bool noSpaces);

} // namespace detail
} // namespace kv

#endif
