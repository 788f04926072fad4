// kvtool printf: formats through the typed engine, so that a person can see
// how each argument is converted and which placeholder a missing or odd
// argument produces.
#include "command.h"

#include <kvsupport/printf.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

// An argument's type by its look: a whole decimal number is an integer (64-bit
// when it does not fit 32 bits), another number a real, anything else a text.
PrintfArg typedArgument(const char *text)
{
    const char *end = text + std::strlen(text);
    long long i = 0;
    auto ri = std::from_chars(text, end, i);
    if (ri.ec == std::errc() && ri.ptr == end && end != text) {
        if (i >= -2147483648LL && i <= 2147483647LL)
            return PrintfArg(static_cast<int>(i));
        return PrintfArg(i);
    }
    double d = 0;
    auto rd = std::from_chars(text, end, d);
    if (rd.ec == std::errc() && rd.ptr == end && end != text)
        return PrintfArg(d);
    return PrintfArg(text);
}

} // namespace

KVTOOL_COMMAND(printf, "printf [--types] FORMAT [ARG...]",
               "format through the typed printf engine (each ARG typed as an integer, a real or a\n"
               "text by its look; --types lists the type given to each ARG on standard error)")
(int argc, char **argv)
{
    int first = 1;
    bool showTypes = false;
    if (argc > 1 && std::strcmp(argv[1], "--types") == 0) {
        showTypes = true;
        first = 2;
    }
    if (argc <= first)
        return kvtool::fail(2, "printf needs a FORMAT; usage: kvtool printf [--types] FORMAT [ARG...]");
    const char *format = argv[first];
    std::vector<PrintfArg> args;
    for (int i = first + 1; i < argc; ++i)
        args.push_back(typedArgument(argv[i]));
    if (showTypes) {
        static const char *names[] = {"text", "integer", "64-bit integer", "real"};
        for (std::size_t i = 0; i < args.size(); ++i)
            std::fprintf(stderr, "arg %zu: %s\n", i + 1, names[args[i].getType()]);
    }
    std::vector<const PrintfArg *> pointers;
    for (const PrintfArg &a : args)
        pointers.push_back(&a);
    FilePrintfBuf out(stdout);
    bool complete = out.printfArgs(format, pointers.data(), static_cast<int>(pointers.size()));
    std::printf("\n");
    if (!complete)
        std::fprintf(stderr, "kvtool: the format has more conversions than arguments\n");
    return complete ? 0 : 1;
}
