// scanf conversions in the C locale: the calling thread switches to the C
// locale for the one call (uselocale), so other threads are not affected.
#include "platform/c_scan.h"

#include <locale.h>

namespace kv {
namespace platform {

namespace {

locale_t cLocale()
{
    static locale_t c = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return c;
}

class CLocaleScope {
public:
    CLocaleScope() : previous(cLocale() != nullptr ? uselocale(cLocale()) : nullptr) {}
    ~CLocaleScope()
    {
        if (previous != nullptr)
            uselocale(previous);
    }

private:
    locale_t previous;
};

} // namespace

int scanIntC(std::FILE *file, int *value)
{
    if (file == nullptr || value == nullptr)
        return EOF;
    CLocaleScope scope;
    return std::fscanf(file, "%d", value);
}

int scanDoubleC(std::FILE *file, double *value)
{
    if (file == nullptr || value == nullptr)
        return EOF;
    CLocaleScope scope;
    return std::fscanf(file, "%lg", value);
}

} // namespace platform
} // namespace kv
