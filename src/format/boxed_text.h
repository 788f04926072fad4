// The boxed-text layout shared by every output form of the box writers (C
// files here; other sinks reuse the same layout). A sink is any callable
// taking (const char *text, std::size_t length).
#ifndef KVSUPPORT_FORMAT_BOXED_TEXT_H
#define KVSUPPORT_FORMAT_BOXED_TEXT_H

#include <kvsupport/containers.h>
#include <kvsupport/scan.h>

#include <cstddef>
#include <cstring>

namespace kv {
namespace detail {

/// Writes \p n copies of \p c (nothing when n <= 0) in pieces of 64.
template <class Sink> void boxRepeat(Sink &&sink, char c, int n)
{
    char run[64];
    std::memset(run, c, sizeof run);
    while (n > 0) {
        const int piece = n < 64 ? n : 64;
        sink(run, static_cast<std::size_t>(piece));
        n -= piece;
    }
}

/// \p width asterisks, then a newline.
template <class Sink> void boxEdge(Sink &&sink, int width)
{
    boxRepeat(sink, '*', width);
    sink("\n", 1);
}

/// "***", width - 6 blanks, "***\n".
template <class Sink> void boxSides(Sink &&sink, int width)
{
    sink("***", 3);
    boxRepeat(sink, ' ', width - 6);
    sink("***\n", 4);
}

/// "*** ", the text, width - length - 7 blanks, "***\n".
template <class Sink> void boxLine(Sink &&sink, const char *text, int width)
{
    const char *t = text != nullptr ? text : "";
    const int length = static_cast<int>(std::strlen(t));
    sink("*** ", 4);
    sink(t, static_cast<std::size_t>(length));
    boxRepeat(sink, ' ', width - length - 7);
    sink("***\n", 4);
}

/// "*** ", left blanks, the text, right blanks, "***\n", where the
/// width - length - 7 blanks are shared with the left part rounded toward zero.
template <class Sink> void boxLineCentred(Sink &&sink, const char *text, int width)
{
    const char *t = text != nullptr ? text : "";
    const int length = static_cast<int>(std::strlen(t));
    const int padding = width - length - 7;
    const int left = padding / 2;
    sink("*** ", 4);
    boxRepeat(sink, ' ', left);
    sink(t, static_cast<std::size_t>(length));
    boxRepeat(sink, ' ', padding - left);
    sink("***\n", 4);
}

/// Edge, sides, each line of \p text (split at newlines, a trailing newline
/// adding no line) centred, sides, edge.
template <class Sink> void boxText(Sink &&sink, const char *text, int width)
{
    YArray<YString> lines;
    sp_SplitLine(text, '\n', &lines, 0);
    boxEdge(sink, width);
    boxSides(sink, width);
    for (int i = 0; i < lines.getCount(); ++i)
        boxLineCentred(sink, lines.at(i).tocs(), width);
    boxSides(sink, width);
    boxEdge(sink, width);
}

} // namespace detail
} // namespace kv

#endif
