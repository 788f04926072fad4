/// \file version.h
/// The version of libkvsupport.
#ifndef KVSUPPORT_VERSION_H
#define KVSUPPORT_VERSION_H

#include <kvsupport/export.h>

/// Major version; changes with the SONAME.
#define KVSUPPORT_VERSION_MAJOR 0
/// Minor version.
#define KVSUPPORT_VERSION_MINOR 1
/// Patch version.
#define KVSUPPORT_VERSION_PATCH 0

/// The version of the library that is loaded, as "major.minor.patch".
KVSUPPORT_API const char *kvsupport_Version();

#endif
