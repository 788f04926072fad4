// Small text helpers shared inside the library: ASCII case rules (the C
// locale's, whatever the process locale), little-endian fields, and the hard
// stop for an exhausted heap.
#ifndef KVSUPPORT_CORE_TEXT_UTIL_H
#define KVSUPPORT_CORE_TEXT_UTIL_H

#include <cstddef>
#include <cstdint>

namespace kv {
namespace detail {

/// toupper of the C locale on a character code (bytes above 127 unchanged).
inline int asciiUpper(int c)
{
    return (c >= 'a' && c <= 'z') ? c - ('a' - 'A') : c;
}

/// tolower of the C locale on a character code (bytes above 127 unchanged).
inline int asciiLower(int c)
{
    return (c >= 'A' && c <= 'Z') ? c + ('a' - 'A') : c;
}

/// Case-blind comparison of two texts (ASCII letters), by lower-cased
/// unsigned bytes; the sign tells the order.
inline int stricmp(const char *a, const char *b)
{
    for (;; ++a, ++b) {
        int ca = asciiLower(static_cast<unsigned char>(*a));
        int cb = asciiLower(static_cast<unsigned char>(*b));
        if (ca != cb || ca == 0)
            return ca - cb;
    }
}

/// stricmp over at most \p n characters.
inline int strnicmp(const char *a, const char *b, std::size_t n)
{
    for (; n != 0; --n, ++a, ++b) {
        int ca = asciiLower(static_cast<unsigned char>(*a));
        int cb = asciiLower(static_cast<unsigned char>(*b));
        if (ca != cb || ca == 0)
            return ca - cb;
    }
    return 0;
}

/// Writes \p v as four little-endian bytes.
inline void storeLE32(char *p, std::uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<char>((v >> (8 * i)) & 0xFF);
}

/// Reads four little-endian bytes.
inline std::uint32_t loadLE32(const char *p)
{
    std::uint32_t v = 0;
    for (int i = 0; i < 4; ++i)
        v |= static_cast<std::uint32_t>(static_cast<unsigned char>(p[i])) << (8 * i);
    return v;
}

/// Writes \p v as two little-endian bytes.
inline void storeLE16(char *p, std::uint16_t v)
{
    p[0] = static_cast<char>(v & 0xFF);
    p[1] = static_cast<char>(v >> 8);
}

/// Reads two little-endian bytes.
inline std::uint16_t loadLE16(const char *p)
{
    return static_cast<std::uint16_t>(static_cast<unsigned char>(p[0]) |
                                      (static_cast<unsigned char>(p[1]) << 8));
}

/// The heap is exhausted where the library has no way to report it: a hard
/// stop naming \p where.
[[noreturn]] void outOfMemory(const char *where);

} // namespace detail
} // namespace kv

#endif
