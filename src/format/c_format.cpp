#include "format/c_format.h"

#include "platform/c_locale.h"

#include <cstring>
#include <string>

namespace kv {
namespace detail {

namespace {

// Rewrites the suite's size prefixes into the C library's. Only conversions
// are touched; a format without 'I' is returned as it is.
const char *portableFormat(const char *format, std::string &storage)
{
    if (std::strchr(format, 'I') == nullptr)
        return format;
    storage.clear();
    const char *p = format;
    while (*p != 0) {
        if (*p != '%') {
            storage += *p++;
            continue;
        }
        storage += *p++;
        if (*p == '%') {
            storage += *p++;
            continue;
        }
        while (*p != 0 && std::strchr("-+ #0'*.0123456789", *p) != nullptr)
            storage += *p++;
        if (p[0] == 'I' && p[1] == '6' && p[2] == '4') {
            storage += "ll";
            p += 3;
        } else if (p[0] == 'I' && p[1] == '3' && p[2] == '2') {
            p += 3;
        } else if (p[0] == 'I') {
            storage += 'z';
            p += 1;
        }
    }
    return storage.c_str();
}

} // namespace

int vformatC(char *buffer, std::size_t size, const char *format, va_list args)
{
    std::string storage;
    return platform::vsnprintfC(buffer, size, portableFormat(format, storage), args);
}

int formatC(char *buffer, std::size_t size, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    int n = vformatC(buffer, size, format, args);
    va_end(args);
    return n;
}

int vfformatC(std::FILE *file, const char *format, va_list args)
{
    std::string storage;
    return platform::vfprintfC(file, portableFormat(format, storage), args);
}

int renderLiteral(char *buffer, std::size_t size, const char *text)
{
    std::size_t n = 0;
    for (const char *p = text; *p != 0; ++p) {
        if (p[0] == '%' && p[1] == '%')
            ++p;
        if (n + 1 < size)
            buffer[n] = *p;
        ++n;
    }
    if (size != 0)
        buffer[n < size ? n : size - 1] = 0;
    return static_cast<int>(n);
}

} // namespace detail
} // namespace kv
