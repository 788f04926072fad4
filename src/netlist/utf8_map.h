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

/// Length of the valid UTF-8 sequence at \p p (1 to 4) with its code point
/// in *codePoint, or 0 when the bytes at \p p are not a valid sequence
/// (overlong forms and surrogates included). \p p points at a
/// NUL-terminated text.
inline int decodeUtf8One(const unsigned char *p, unsigned int *codePoint)
{
    const unsigned char lead = p[0];
    int length = 0;
    unsigned int value = 0;
    unsigned int minimum = 0;
    if (lead < 0x80) {
        *codePoint = lead;
        return 1;
    } else if ((lead & 0xE0) == 0xC0) {
        length = 2, value = lead & 0x1Fu, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, value = lead & 0x0Fu, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, value = lead & 0x07u, minimum = 0x10000;
    } else {
        return 0;
    }
    for (int i = 1; i < length; ++i) {
        if ((p[i] & 0xC0) != 0x80)
            return 0;
        value = (value << 6) | (p[i] & 0x3Fu);
    }
    if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
        return 0;
    *codePoint = value;
    return length;
}

/// Decodes \p utf8 (not null) into a MappedText.
MappedText mapUtf8(const char *utf8);

} // namespace detail
} // namespace kv

#endif
