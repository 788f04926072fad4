// kvtool tokens: cuts lines with the scanner and prints each token with its
// type, so that a person can see how a line is cut.
#include "command.h"

#include <kvsupport/scan.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

struct TokenOptions {
    std::string delimiters = " \t";
    std::string singles = "=(),";
    std::string quotes = "\"'{";
    std::string closers = "\"'}";
    bool quoting = true;
    bool keepQuotes = false;
    bool nested = true;
};

// Prints the tokens of one line: index, kind, and the text in brackets.
void printTokens(const char *line, const TokenOptions &o)
{
    ScanSpec spec;
    spec.delimiters = o.delimiters.c_str();
    spec.singles = o.singles.c_str();
    spec.quotes = o.quoting ? o.quotes.c_str() : nullptr;
    spec.closeQuotes = o.quoting ? o.closers.c_str() : nullptr;
    spec.keepQuotes = o.keepQuotes;
    spec.nested = o.nested;
    const char *cursor = line;
    for (int index = 1;; ++index) {
        const char *start = cursor;
        while (*start != 0 && std::strchr(spec.delimiters, *start) != nullptr)
            ++start;
        int type = 0;
        YString text = sp_GetToken(&cursor, spec, &type);
        if (type == -1)
            break;
        if (type != 0)
            std::printf("%3d  single  %-6d [%c]\n", index, type, static_cast<char>(type));
        else if (spec.quotes != nullptr && std::strchr(spec.quotes, *start) != nullptr)
            std::printf("%3d  quoted  0      [%s]\n", index, text.tocs());
        else
            std::printf("%3d  word    0      [%s]\n", index, text.tocs());
    }
}

// Reads the options; returns the index of the first line argument, or -1.
int parseOptions(int argc, char **argv, TokenOptions &o)
{
    int i = 1;
    for (; i < argc && argv[i][0] == '-' && argv[i][1] == '-'; ++i) {
        const char *opt = argv[i];
        const bool hasValue = i + 1 < argc;
        if (std::strcmp(opt, "--") == 0)
            return i + 1;
        if (std::strcmp(opt, "--delims") == 0 && hasValue)
            o.delimiters = argv[++i];
        else if (std::strcmp(opt, "--singles") == 0 && hasValue)
            o.singles = argv[++i];
        else if (std::strcmp(opt, "--quotes") == 0 && i + 2 < argc) {
            o.quotes = argv[++i];
            o.closers = argv[++i];
        } else if (std::strcmp(opt, "--no-quotes") == 0)
            o.quoting = false;
        else if (std::strcmp(opt, "--keep-quotes") == 0)
            o.keepQuotes = true;
        else if (std::strcmp(opt, "--flat") == 0)
            o.nested = false;
        else
            return -1;
    }
    return i;
}

} // namespace

KVTOOL_COMMAND(tokens,
               "tokens [--delims CHARS] [--singles CHARS] [--quotes OPEN CLOSE | --no-quotes]\n"
               "       [--keep-quotes] [--flat] [LINE...]",
               "cut each LINE (or each line of standard input) into tokens and print them with\n"
               "their type: word, quoted, or single (with its character code). Defaults: blanks\n"
               "and tabs separate, = ( ) , are singles, \" ' and {} quote, braces nest")
(int argc, char **argv)
{
    TokenOptions options;
    const int first = parseOptions(argc, argv, options);
    if (first < 0)
        return kvtool::fail(2, "tokens: unknown or incomplete option; see kvtool help");
    if (first < argc) {
        for (int i = first; i < argc; ++i) {
            if (argc - first > 1)
                std::printf("line %d: %s\n", i - first + 1, argv[i]);
            printTokens(argv[i], options);
        }
        return 0;
    }
    YString line;
    int number = 0;
    for (;;) {
        const bool more = sp_ReadNextLine(stdin, &line);
        if (!more && line.isEmpty())
            break;
        std::printf("line %d: %s\n", ++number, line.tocs());
        printTokens(line.tocs(), options);
        if (!more)
            break;
    }
    return 0;
}
