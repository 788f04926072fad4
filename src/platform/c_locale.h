// Formatting and reading of numbers in the C locale, whatever locale the
// process has set (a Qt application sets it from the environment).
#ifndef KVSUPPORT_PLATFORM_C_LOCALE_H
#define KVSUPPORT_PLATFORM_C_LOCALE_H

#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace kv {
namespace platform {

/// vsnprintf in the C locale.
int vsnprintfC(char *buffer, std::size_t size, const char *format, va_list args);

/// vfprintf in the C locale.
int vfprintfC(std::FILE *file, const char *format, va_list args);

/// strtod in the C locale.
double strtodC(const char *text, char **end);

} // namespace platform
} // namespace kv

#endif
