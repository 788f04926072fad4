// UTF-8 text handed to QString with a record of where each QChar came from,
// so that a position found by QRegExp can be given back as a byte offset in
// the caller's text. Bytes that are not valid UTF-8 become one U+FFFD each,
// which keeps every byte of the text accounted for.
#ifndef KVSUPPORT_NETLIST_UTF8_MAP_H
#define KVSUPPORT_NETLIST_UTF8_MAP_H

#include <QString>

#include <vector>

namespace kv {
namespace detail {

/// A QString and, for each of its QChars, the byte offset it starts at; one
/// more entry holds the byte length of the whole text.
struct MappedText {
    QString text;
    std::vector<int> offsets;

    /// Byte offset of QChar index \p i (-1 stays -1).
    int byteOffset(int i) const
    {
        if (i < 0 || offsets.empty())
            return -1;
        if (static_cast<std::size_t>(i) >= offsets.size())
            return offsets.back();
        return offsets[static_cast<std::size_t>(i)];
    }
};

/// Decodes \p utf8 (not null) into a MappedText.
MappedText mapUtf8(const char *utf8);

} // namespace detail
} // namespace kv

#endif
