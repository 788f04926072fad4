// Fuzzes the typed printf engine's format parser: any format with any mix of
// argument types, into a fixed buffer and a growing one, must never crash or
// overflow.
#include <kvsupport/printf.h>
#include <kvsupport/ystring.h>

#include <cstdint>
#include <cstring>
#include <string>

namespace {

class Sink : public VarStringPrintfBuf {
public:
    using VarStringPrintfBuf::getBuffer;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2)
        return 0;
    // The first byte picks the argument types (2 bits each), the rest is the format.
    const unsigned pick = data[0];
    std::string format(reinterpret_cast<const char *>(data + 1), size - 1);
    format = format.c_str(); // up to the first NUL
    PrintfArg choices[] = {PrintfArg("text"), PrintfArg(-42), PrintfArg(5000000000LL), PrintfArg(-3.7)};
    PrintfArg a1 = choices[pick & 3], a2 = choices[(pick >> 2) & 3], a3 = choices[(pick >> 4) & 3],
              a4 = choices[(pick >> 6) & 3];
    char small[16];
    sp_sprintf(small, sizeof small, format.c_str(), a1, a2, a3, a4);
    if (std::strlen(small) >= sizeof small)
        __builtin_trap();
    Sink grow;
    grow.printf(format.c_str(), a1, a2);
    (void)std::strlen(grow.getBuffer());
    return 0;
}
