// Exception values of the library.
#include <kvsupport/exception.h>

#include <cstdio>
#include <cstring>

KvExceptionInterface::~KvExceptionInterface() = default;

KelvoranException::KelvoranException() : category(CategoryGeneral)
{
    text[0] = 0;
}

KelvoranException::KelvoranException(const char *t) : category(CategoryGeneral)
{
    std::size_t n = t != nullptr ? std::strlen(t) : 0;
    if (n > TextSize - 1)
        n = TextSize - 1;
    std::memcpy(text, t != nullptr ? t : "", n);
    text[n] = 0;
}

MemoryException::MemoryException(const char *detail)
{
    category = 9; // while the text is built
    std::snprintf(text, TextSize, "*** Fatal error, out of memory ***\n%s", detail != nullptr ? detail : "");
    category = CategoryMemory;
}
