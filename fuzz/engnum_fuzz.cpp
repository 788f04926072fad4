// Fuzzes the engineering-number parser in both dialects and the token
// reader: any bytes must give a defined value, an end pointer inside the
// text, and a cursor that moves forward only. The first byte picks a
// formatter width so the formatters get the parsed values too.
#include <kvsupport/engnum.h>

#include <cstdint>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const int width = data[0] % 40 - 4;
    std::string text(reinterpret_cast<const char *>(data + 1), size - 1);
    text = text.c_str(); // up to the first NUL
    const char *begin = text.c_str();
    const char *limit = begin + text.size();

    char *end = nullptr;
    const double value = sp_ConvertEngToReal(begin, &end);
    if (end < begin || end > limit)
        __builtin_trap();
    if (end == begin && value != 0)
        __builtin_trap();
    end = nullptr;
    sp_ConvertEngToRealPSpiceCompat(begin, &end);
    if (end < begin || end > limit)
        __builtin_trap();

    char *cursor = &text[0];
    bool failed = false;
    while (*cursor != 0) {
        char *before = cursor;
        sp_GetEngToken(&cursor, &failed);
        if (failed ? cursor != before : cursor <= before)
            __builtin_trap();
        if (failed)
            ++cursor;
    }

    YString eng = sp_FormatEng(value, width, (data[0] & 1) != 0, (data[0] & 2) != 0);
    YString js = sp_ConvertRealToJSEng(value, width, (data[0] & 4) != 0);
    YString real = sp_FormatReal(value, width, (data[0] & 8) != 0);
    (void)eng.length();
    (void)js.length();
    (void)real.length();
    if (width >= 1) {
        char field[40] = {};
        YString name(begin);
        while (!name.isEmpty() && width > 1)
            sp_FormatName(field, width, '.', &name);
        if (field[width] != 0 && width > 1)
            __builtin_trap();
    }
    return 0;
}
