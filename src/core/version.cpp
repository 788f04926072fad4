#include <kvsupport/version.h>

static_assert(KVSUPPORT_VERSION_MAJOR == KVSUPPORT_CMAKE_VERSION_MAJOR &&
                  KVSUPPORT_VERSION_MINOR == KVSUPPORT_CMAKE_VERSION_MINOR &&
                  KVSUPPORT_VERSION_PATCH == KVSUPPORT_CMAKE_VERSION_PATCH,
              "version.h and the CMake project version differ");

const char *kvsupport_Version()
{
    return KVSUPPORT_VERSION_TEXT;
}
