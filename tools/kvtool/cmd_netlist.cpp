// kvtool netlist: reads a netlist with SpiceStream and prints the dialect
// its directives settled, the counts, and the logical statements as a
// simulator would see them.
#include "command.h"

#include <kvsupport/paths.h>
#include <kvsupport/spicestream.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct NetlistOptions {
    const char *file = nullptr;
    bool summary = false;
    bool title = true;
    bool literal = false;
};

const char *dialectName(SpiceLanguage language)
{
    switch (language) {
    case PSPICE:
        return "PSPICE";
    case HSPICE:
        return "HSPICE";
    default:
        return "KELVORAN";
    }
}

const char *encodingName(UTF8DetectEncoding encoding)
{
    switch (encoding) {
    case Utf8DetectUtf8:
        return "UTF-8";
    case Utf8DetectUtf8Extended:
        return "UTF-8 (extended)";
    case Utf8DetectNotUtf8:
        return "not UTF-8";
    default:
        return "ASCII";
    }
}

// Returns 0 when the arguments are good.
int parseOptions(int argc, char **argv, NetlistOptions &o)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--summary") == 0)
            o.summary = true;
        else if (std::strcmp(argv[i], "--no-title") == 0)
            o.title = false;
        else if (std::strcmp(argv[i], "--literal") == 0)
            o.literal = true;
        else if (argv[i][0] == '-' && argv[i][1] == '-')
            return kvtool::fail(2, std::string("unknown option ") + argv[i]);
        else if (o.file == nullptr)
            o.file = argv[i];
        else
            return kvtool::fail(2, "one netlist at a time");
    }
    if (o.file == nullptr)
        return kvtool::fail(2, "usage: kvtool netlist [--summary] [--no-title] [--literal] FILE");
    return 0;
}

struct Statement {
    int line;
    std::string text;
};

} // namespace

KVTOOL_COMMAND(netlist, "netlist [--summary] [--no-title] [--literal] FILE",
               "read a netlist and print its dialect, counts and logical statements")
(int argc, char **argv)
{
    NetlistOptions o;
    if (int rc = parseOptions(argc, argv, o))
        return rc;
    if (sp_ExistDir(YString(o.file)))
        return kvtool::fail(1, std::string("cannot read ") + o.file + ": it is a directory");
    SpiceStream stream(o.file, KELVORAN);
    if (!stream)
        return kvtool::fail(1, std::string("cannot read ") + o.file + ": no such file or no permission");
    stream.setLiteralMode(o.literal);
    std::string title;
    if (o.title) {
        stream.readTitle();
        title = stream.getBuffer()->get();
        stream.flushBuffer();
    }
    std::vector<Statement> statements;
    YString line;
    int number = 0;
    bool nonAscii = false;
    bool anyNonAscii = false;
    while (stream.gets(&line, &number, nullptr, &nonAscii)) {
        statements.push_back({number, line.tocs()});
        anyNonAscii = anyNonAscii || nonAscii;
    }
    std::printf("file: %s\n", o.file);
    if (o.title)
        std::printf("title: %s\n", title.c_str());
    std::printf("dialect: %s\n", dialectName(stream.getLanguage()));
    std::printf("separator: \"%s\"\n", stream.getSeparator());
    std::printf("statements: %zu\n", statements.size());
    std::printf("lines: %d\n", stream.getLineCount());
    std::printf("bytes: %d\n", stream.getCharCount());
    std::printf("encoding: %s%s\n", encodingName(stream.getUtf8Encoding()), anyNonAscii ? ", with bytes above 127" : "");
    if (o.summary)
        return 0;
    for (const Statement &s : statements)
        std::printf("%5d: %s\n", s.line, s.text.c_str());
    return 0;
}
