// Reading numbers from a C file by a scanf conversion, in the C locale
// whatever locale the process has set. Implemented in posix/.
#ifndef KVSUPPORT_PLATFORM_C_SCAN_H
#define KVSUPPORT_PLATFORM_C_SCAN_H

#include <cstdio>

namespace kv {
namespace platform {

/// fscanf(file, "%d", value) in the C locale; the number of fields read, or
/// EOF. Null arguments give EOF.
int scanIntC(std::FILE *file, int *value);

/// fscanf(file, "%lg", value) in the C locale; the number of fields read,
/// or EOF. Null arguments give EOF.
int scanDoubleC(std::FILE *file, double *value);

} // namespace platform
} // namespace kv

#endif
