// C-style formatting as the library does it everywhere: numbers in the C
// locale whatever the process locale, and the size prefixes "I64", "I32" and
// "I" of the suite's formats accepted as "ll", nothing and "z".
#ifndef KVSUPPORT_FORMAT_C_FORMAT_H
#define KVSUPPORT_FORMAT_C_FORMAT_H

#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace kv {
namespace detail {

/// vsnprintf with the rules above; returns the length of the whole text.
int vformatC(char *buffer, std::size_t size, const char *format, va_list args);

/// snprintf with the rules above.
int formatC(char *buffer, std::size_t size, const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;

/// vfprintf with the rules above.
int vfformatC(std::FILE *file, const char *format, va_list args);

/// Renders \p text as a format without arguments: "%%" gives one '%', any
/// other '%' stays as it is. Writes at most size - 1 characters and a
/// terminator (nothing when size is 0) and returns the whole length.
int renderLiteral(char *buffer, std::size_t size, const char *text);

} // namespace detail
} // namespace kv

#endif
