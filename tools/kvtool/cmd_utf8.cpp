// kvtool utf8: tells whether files are ASCII, UTF-8 or local 8-bit text, as
// the netlist readers of the suite decide it, and converts them to UTF-8.
#include "command.h"

#include <kvsupport/encoding.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

const char *encodingName(UTF8DetectEncoding encoding)
{
    switch (encoding) {
    case Utf8DetectAscii: return "ASCII";
    case Utf8DetectUtf8: return "UTF-8";
    case Utf8DetectUtf8Extended: return "UTF-8 with 5- or 6-byte sequences";
    default: return "not UTF-8 (local 8-bit text)";
    }
}

// Reads a whole file; false if it cannot be opened.
bool readFile(const char *name, std::string *text)
{
    FILE *file = fopen_utf8(name, "rb");
    if (file == nullptr)
        return false;
    char buffer[65536];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0)
        text->append(buffer, n);
    std::fclose(file);
    return true;
}

} // namespace

KVTOOL_COMMAND(utf8, "utf8 [--convert [--from ENCODING]] FILE...",
               "tell ASCII, UTF-8 and local 8-bit text files apart; --convert writes each file\n"
               "to standard output as UTF-8, reading text that is not UTF-8 in the locale's\n"
               "encoding or in ENCODING (a name such as windows-1252 or ISO-8859-1)")
(int argc, char **argv)
{
    int first = 1;
    const bool convert = argc > 1 && std::strcmp(argv[1], "--convert") == 0;
    if (convert)
        first = 2;
    if (convert && argc > 3 && std::strcmp(argv[2], "--from") == 0) {
        if (!sp_SetLocaleEncoding(argv[3]))
            return kvtool::fail(2, std::string("unknown encoding ") + argv[3]);
        first = 4;
    }
    if (argc <= first)
        return kvtool::fail(2, "utf8 needs a FILE; usage: kvtool utf8 [--convert [--from ENCODING]] FILE...");
    int result = 0;
    for (int i = first; i < argc; ++i) {
        std::string text;
        if (!readFile(argv[i], &text)) {
            result = kvtool::fail(1, std::string("cannot open ") + argv[i]);
            continue;
        }
        if (convert) {
            // A YString ends at a NUL byte: convert line by line so that
            // nothing after one is lost.
            std::size_t start = 0;
            while (start <= text.size()) {
                std::size_t end = text.find('\0', start);
                if (end == std::string::npos)
                    end = text.size();
                YString part = sp_AutoConvertToUtf8(text.substr(start, end - start).c_str());
                std::fputs(part.tocs(), stdout);
                if (end < text.size())
                    std::fputc('\0', stdout);
                start = end + 1;
            }
            continue;
        }
        UTF8Detect detector;
        for (unsigned char c : text)
            detector.add(c);
        std::printf("%s: %s\n", argv[i], encodingName(detector.getEncoding()));
    }
    return result;
}
