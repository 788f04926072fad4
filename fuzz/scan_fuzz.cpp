// Fuzzes the text scanner: every token reader and splitter over any text, with
// the cutting rules chosen by the first byte, must end, never read outside the
// text, and keep the documented bounds (words of at most 1023 characters, no
// token longer than the text).
#include <kvsupport/scan.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

void check(bool ok)
{
    if (!ok)
        __builtin_trap();
}

// Reads every token of \p text with a ScanSpec; each call must advance.
void typedTokens(const char *text, std::size_t length, const ScanSpec &spec)
{
    const char *cursor = text;
    for (;;) {
        const char *before = cursor;
        int type = 0;
        YString token = sp_GetToken(&cursor, spec, &type);
        check(cursor >= before && cursor <= text + length);
        check(static_cast<std::size_t>(token.length()) <= length);
        if (type == -1) {
            check(*cursor == 0 && token.isEmpty());
            break;
        }
        check(cursor > before);
        if (type != 0)
            check(token.isEmpty());
    }
}

void plainTokens(const char *text, std::size_t length, const char *delims, const char *quotes,
                 const char *closers, bool keep)
{
    const char *cursor = text;
    while (*cursor != 0) {
        const char *before = cursor;
        YString peek = sp_PeekToken(&cursor, delims, quotes, closers, keep);
        check(cursor == before);
        YString token = sp_GetToken(&cursor, delims, quotes, closers, keep);
        check(token == peek);
        check(cursor > before && cursor <= text + length);
        if (quotes == nullptr || closers == nullptr)
            check(token.length() <= 1023);
    }
}

void strTokens(const char *text, std::size_t length, const char *delims)
{
    const char *cursor = text;
    while (*cursor != 0) {
        const char *before = cursor;
        YString token = sp_StrTok(&cursor, delims);
        check(cursor > before && cursor <= text + length);
        check(static_cast<std::size_t>(token.length()) <= length);
    }
    cursor = text;
    YString field;
    int fields = 0;
    while (sp_SplitToken(&cursor, ',', &field))
        check(++fields <= static_cast<int>(length));
}

void splitters(const char *text, std::size_t length, const ScanSpec &spec)
{
    YArray<YString> out;
    sp_ScanLine(text, spec.delimiters, &out, 0);
    sp_ScanLine(text, spec, &out, 7);
    YArray<ScanToken> typed;
    sp_ScanLine(text, spec, &typed, 0);
    out.clear();
    sp_SplitLine(text, ',', &out, 3);
    check(out.getCount() >= 3 && out.getCount() <= static_cast<int>(length) + 3);
    YArray<YString> bracketed;
    sp_SplitLine(text, ',', "()", &bracketed, 0);
    sp_SplitLine(text, ';', "[]", &bracketed, 2);

    std::string copy(text, length);
    char *cursor = &copy[0];
    while (char *f = sp_ScanLine(&cursor, ' '))
        check(std::strlen(f) <= length);
}

void helpers(const char *text, std::size_t length)
{
    const char *half = text + length / 2;
    const int ab = sp_CompareStrings(text, half);
    const int ba = sp_CompareStrings(half, text);
    check(ab >= -1 && ab <= 1 && ba >= -1 && ba <= 1);
    check(sp_CompareStrings(text, text) == 0);
    check(sp_HashValue(text) <= 0x1FFFEu);
    YString unix = sp_ConvertDosToUnix(YString(text));
    YString dos = sp_ConvertUnixToDos(unix);
    check(sp_ConvertUnixToDos(dos) == dos);
    const char *cursor = text;
    while (sp_GetNonWS(&cursor) != 0)
        check(cursor <= text + length);
}

void fileReaders(const std::string &bytes)
{
    FILE *f = fmemopen(const_cast<char *>(bytes.data()), bytes.size(), "rb");
    if (f == nullptr)
        return;
    YString line;
    int lines = 0;
    while (sp_ReadNextLine(f, &line))
        check(static_cast<std::size_t>(line.length()) <= bytes.size());
    std::rewind(f);
    while (sp_ReadNextNonBlankLine(f, &line, &lines))
        check(lines <= static_cast<int>(bytes.size()));
    std::rewind(f);
    double *values = nullptr;
    int count = 0;
    ReadValuePairsStatus status = ValuePairsRising;
    sp_ReadValuePairs(f, &values, &count, &status);
    check(count % 2 == 0 && count <= static_cast<int>(bytes.size()) + 1);
    std::free(values);
    std::fclose(f);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const unsigned mode = data[0];
    std::string bytes(reinterpret_cast<const char *>(data + 1), size - 1);
    std::string text = bytes.c_str(); // up to the first NUL
    const char *t = text.c_str();

    ScanSpec spec;
    spec.delimiters = (mode & 1) != 0 ? " \t,=()" : " \t";
    spec.singles = (mode & 2) != 0 ? "=(),{}" : "";
    spec.quotes = (mode & 4) != 0 ? "\"'{(" : nullptr;
    spec.closeQuotes = (mode & 8) != 0 ? "\"'})" : ((mode & 4) != 0 ? "\"" : nullptr);
    spec.keepQuotes = (mode & 16) != 0;
    spec.nested = (mode & 32) != 0;

    typedTokens(t, text.size(), spec);
    plainTokens(t, text.size(), spec.delimiters, spec.quotes, spec.closeQuotes, spec.keepQuotes);
    plainTokens(t, text.size(), " \t", nullptr, nullptr, false);
    strTokens(t, text.size(), (mode & 64) != 0 ? ";" : " \t");
    splitters(t, text.size(), spec);
    helpers(t, text.size());
    if ((mode & 128) != 0)
        fileReaders(bytes);
    return 0;
}
