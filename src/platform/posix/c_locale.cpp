// The C locale through the thread-local locale of POSIX (uselocale), so that
// another thread's formatting is never affected.
#include "platform/c_locale.h"

#include <clocale>
#include <cstdlib>
#include <locale.h>

namespace kv {
namespace platform {

namespace {

locale_t cLocale()
{
    static const locale_t loc = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return loc;
}

class CLocaleScope {
public:
    CLocaleScope() : previous(uselocale(cLocale())) {}
    ~CLocaleScope() { uselocale(previous); }
    CLocaleScope(const CLocaleScope &) = delete;
    CLocaleScope &operator=(const CLocaleScope &) = delete;

private:
    locale_t previous;
};

} // namespace

int vsnprintfC(char *buffer, std::size_t size, const char *format, va_list args)
{
    CLocaleScope scope;
    return std::vsnprintf(buffer, size, format, args);
}

int vfprintfC(std::FILE *file, const char *format, va_list args)
{
    CLocaleScope scope;
    return std::vfprintf(file, format, args);
}

double strtodC(const char *text, char **end)
{
    return strtod_l(text, end, cLocale());
}

} // namespace platform
} // namespace kv
