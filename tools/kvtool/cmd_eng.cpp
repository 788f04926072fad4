// kvtool eng: reads engineering numbers the way every netlist reader of the
// suite does, and writes numbers in engineering form.
#include "command.h"

#include <kvsupport/engnum.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

const char kUsage[] = "usage: kvtool eng VALUE...\n"
                      "       kvtool eng --format NUMBER [--width N]";

// Prints one value: the number, its engineering form and any text left over.
// Returns false when the text is not a number.
bool showValue(const char *text)
{
    char *end = nullptr;
    const double value = sp_ConvertEngToReal(text, &end);
    if (end == text) {
        std::printf("%s: not a number\n", text);
        return false;
    }
    char plain[64];
    auto r = std::to_chars(plain, plain + sizeof plain - 1, value);
    *r.ptr = 0;
    std::printf("%s = %s = %s", text, plain, sp_ConvertRealToJSEng(value, 6, false).tocs());
    if (*end != 0)
        std::printf("  (\"%s\" not read)", end);
    std::printf("\n");
    return true;
}

// Parses a whole decimal integer argument.
bool readInt(const char *text, int *out)
{
    const char *end = text + std::strlen(text);
    auto r = std::from_chars(text, end, *out);
    return r.ec == std::errc() && r.ptr == end && end != text;
}

int formatNumber(int argc, char **argv)
{
    if (argc < 3)
        return kvtool::fail(2, std::string("--format needs a NUMBER\n") + kUsage);
    const char *text = argv[2];
    int width = 8;
    if (argc == 5 && std::strcmp(argv[3], "--width") == 0) {
        if (!readInt(argv[4], &width) || width < 1 || width > 1000)
            return kvtool::fail(2, "--width takes a whole number from 1 to 1000");
    } else if (argc != 3) {
        return kvtool::fail(2, kUsage);
    }
    // A unit may follow the number ("4k7Ohm"), as in a stored value.
    std::string copy(text);
    char *cursor = &copy[0];
    bool failed = true;
    const double value = sp_GetEngToken(&cursor, &failed);
    if (failed || *cursor != 0)
        return kvtool::fail(1, std::string("'") + text + "' is not a number");
    std::printf("[%s]\n", sp_FormatEng(value, width, false, false).tocs());
    return 0;
}

} // namespace

KVTOOL_COMMAND(eng, "eng VALUE... | eng --format NUMBER [--width N]",
               "read engineering numbers (4k7, 10meg, 22nF) and print them as numbers and in\n"
               "engineering form; --format writes NUMBER in a field of N characters (default 8)")
(int argc, char **argv)
{
    if (argc < 2)
        return kvtool::fail(2, kUsage);
    if (std::strcmp(argv[1], "--format") == 0)
        return formatNumber(argc, argv);
    bool allRead = true;
    for (int i = 1; i < argc; ++i)
        allRead = showValue(argv[i]) && allRead;
    return allRead ? 0 : 1;
}
