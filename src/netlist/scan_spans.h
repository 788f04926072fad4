// The places of the tokens of a line, for callers that only compare or copy
// them and can do without a YString per token. The tokens are exactly those
// of sp_ScanLine with a delimiter string: both are cut by the same code in
// scan.cpp, word limit included.
#ifndef KVSUPPORT_NETLIST_SCAN_SPANS_H
#define KVSUPPORT_NETLIST_SCAN_SPANS_H

#include <vector>

namespace kv {
namespace detail {

/// A token of scanLineSpans: where it starts in the line and its length.
struct TokenSpan {
    const char *start;
    int length;
};

/// The tokens that sp_ScanLine(line, delimiters, out, 0) gives, as places in
/// \p line instead of copies; \p out is cleared first. Null gives nothing.
void scanLineSpans(const char *line, const char *delimiters, std::vector<TokenSpan> *out);

} // namespace detail
} // namespace kv

#endif
