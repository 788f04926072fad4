// The sizing pass over a C-style format and its argument list.
//
// The pass counts as the library always has (see sp_EstimatePrintfBufferSize
// in printf.h), including the way it reads a precision: the '.' ends the
// conversion and nothing is consumed, so the walk over the arguments falls
// behind. To make that walk safe, the real arguments are first fetched from
// the list by the C rules into typed slots; the counting pass then walks the
// slots, and a slot that does not hold what the pass wants counts as empty.
#include <kvsupport/printf.h>

#include <cstring>
#include <cwchar>

namespace {

enum class SlotKind { Missing, Int, Long, Double, LongDouble, Pointer };

struct Slot {
    SlotKind kind;
    const void *pointer;
};

constexpr int kMaxSlots = 64;

// Length modifiers of the C rules, and whether a pointer argument is wide.
const char *readLength(const char *p, int &longs, bool &longDouble)
{
    longs = 0;
    longDouble = false;
    for (;;) {
        if (*p == 'l') {
            ++longs;
            ++p;
        } else if (*p == 'h') {
            ++p;
        } else if (*p == 'L' || *p == 'q') {
            longDouble = true;
            ++longs;
            ++p;
        } else if (*p == 'j' || *p == 'z' || *p == 't') {
            longs = 2;
            ++p;
        } else if (p[0] == 'I' && p[1] == '6' && p[2] == '4') {
            longs = 2;
            p += 3;
        } else if (p[0] == 'I' && p[1] == '3' && p[2] == '2') {
            p += 3;
        } else if (p[0] == 'I') {
            longs = 2;
            ++p;
        } else {
            return p;
        }
    }
}

int fetch(const char *format, va_list args, Slot *slots)
{
    int count = 0;
    auto take = [&](SlotKind kind) {
        if (count >= kMaxSlots)
            return false;
        Slot s{kind, nullptr};
        switch (kind) {
        case SlotKind::Int: (void)va_arg(args, int); break;
        case SlotKind::Long: (void)va_arg(args, long long); break;
        case SlotKind::Double: (void)va_arg(args, double); break;
        case SlotKind::LongDouble: (void)va_arg(args, long double); break;
        case SlotKind::Pointer: s.pointer = va_arg(args, const void *); break;
        case SlotKind::Missing: break;
        }
        slots[count++] = s;
        return true;
    };
    for (const char *p = format; *p != 0; ++p) {
        if (*p != '%')
            continue;
        ++p;
        if (*p == '%')
            continue;
        while (*p != 0 && std::strchr("-+ #0'", *p) != nullptr)
            ++p;
        if (*p == '*') {
            if (!take(SlotKind::Int))
                return count;
            ++p;
        }
        while (*p >= '0' && *p <= '9')
            ++p;
        if (*p == '.') {
            ++p;
            if (*p == '*') {
                if (!take(SlotKind::Int))
                    return count;
                ++p;
            }
            while (*p >= '0' && *p <= '9')
                ++p;
        }
        int longs;
        bool longDouble;
        p = readLength(p, longs, longDouble);
        SlotKind kind;
        switch (*p) {
        case 'd': case 'i': case 'o': case 'u': case 'x': case 'X':
            kind = longs > 0 ? SlotKind::Long : SlotKind::Int;
            break;
        case 'c': case 'C':
            kind = SlotKind::Int;
            break;
        case 'e': case 'E': case 'f': case 'F': case 'g': case 'G': case 'a': case 'A':
            kind = longDouble ? SlotKind::LongDouble : SlotKind::Double;
            break;
        case 's': case 'S': case 'p': case 'n':
            kind = SlotKind::Pointer;
            break;
        default:
            return count; // past an unknown conversion the layout is unknown
        }
        if (!take(kind))
            return count;
    }
    return count;
}

} // namespace

int sp_EstimatePrintfBufferSize(const char *format, va_list args)
{
    if (format == nullptr || *format == 0)
        return 0;
    Slot slots[kMaxSlots];
    va_list copy;
    va_copy(copy, args);
    const int slotCount = fetch(format, copy, slots);
    va_end(copy);

    int next = 0;
    auto pointerAt = [&](int i) -> const void * {
        return i < slotCount && slots[i].kind == SlotKind::Pointer ? slots[i].pointer : nullptr;
    };
    long long total = 0;
    for (const char *p = format; *p != 0;) {
        if (*p != '%') {
            ++total;
            ++p;
            continue;
        }
        if (p[1] == '%') {
            p += 2;
            continue;
        }
        ++p;
        while (*p == '-' || *p == '+' || *p == '0' || *p == '*')
            ++p;
        long long width = 0;
        for (; *p >= '0' && *p <= '9'; ++p)
            width = width > 100000000 ? width : width * 10 + (*p - '0');
        const char conversion = *p;
        if (conversion == 0)
            break;
        ++p;
        switch (conversion) {
        case 's': {
            const char *text = static_cast<const char *>(pointerAt(next++));
            total += text != nullptr ? static_cast<long long>(std::strlen(text)) : 0;
            break;
        }
        case 'S': {
            const wchar_t *text = static_cast<const wchar_t *>(pointerAt(next++));
            total += text != nullptr ? static_cast<long long>(std::wcslen(text)) : 0;
            break;
        }
        case 'g': case 'G': case 'e': case 'E': case 'f':
        case 'd': case 'i': case 'o': case 'u': case 'x': case 'X': case 'n':
            ++next;
            total += 50;
            break;
        case 'c':
            ++next;
            total += 1;
            break;
        case 'p':
            ++next;
            total += 32;
            break;
        case 'C':
            ++next;
            total += 10;
            break;
        default:
            break; // includes the '.' of a precision: nothing consumed
        }
        if (width > total)
            total = width;
    }
    return total > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(total);
}
