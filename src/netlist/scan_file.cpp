// Line and value-pair readers over C files.
//
// Lines are read a character at a time (carriage returns must be dropped
// wherever they stand) but gathered in a local chunk and joined to the result
// only when the chunk fills, so a normal line costs one string construction.
#include <kvsupport/scan.h>

#include "platform/c_locale.h"

#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

// Gathers the characters of one line.
class LineChunk {
public:
    explicit LineChunk(YString *out) : out(out) {}
    ~LineChunk() { flush(); }
    void add(char c)
    {
        if (used == sizeof chunk)
            flush();
        chunk[used++] = c;
        if (c != ' ' && c != '\t')
            blank = false;
    }
    bool onlyBlanks() const { return blank; }
    void restart()
    {
        *out = YString();
        used = 0;
        blank = true;
    }
    void flush()
    {
        if (used > 0)
            *out &= YString(chunk, used);
        used = 0;
    }

private:
    YString *out;
    char chunk[1024];
    int used = 0;
    bool blank = true;
};

// Reads up to a line feed or the end of the file into \p line, dropping
// carriage returns. True if a line feed ended it.
bool readLine(FILE *stream, LineChunk &line)
{
    for (;;) {
        const int c = std::getc(stream);
        if (c == EOF)
            return false;
        if (c == '\n')
            return true;
        if (c != '\r')
            line.add(static_cast<char>(c));
    }
}

} // namespace

bool sp_ReadNextLine(FILE *stream, YString *out)
{
    if (out != nullptr)
        *out = YString();
    if (stream == nullptr || out == nullptr)
        return false;
    LineChunk line(out);
    return readLine(stream, line);
}

bool sp_ReadNextNonBlankLine(FILE *stream, YString *out, int *lineCount)
{
    if (out != nullptr)
        *out = YString();
    if (stream == nullptr || out == nullptr)
        return false;
    LineChunk line(out);
    for (;;) {
        line.restart();
        const bool fed = readLine(stream, line);
        if (fed && lineCount != nullptr)
            ++*lineCount;
        if (!line.onlyBlanks())
            return true;
        if (!fed)
            return false;
    }
}

namespace {

constexpr int kMaxValueToken = 512;

inline bool valueSeparator(int c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == ',';
}

// Reads the next token of at most kMaxValueToken characters; false at the end
// of the file with nothing read. A longer run goes on as the next token.
bool nextValueToken(FILE *stream, char *token)
{
    int c = std::getc(stream);
    while (c != EOF && valueSeparator(c))
        c = std::getc(stream);
    if (c == EOF)
        return false;
    int used = 0;
    for (;;) {
        token[used++] = static_cast<char>(c);
        if (used == kMaxValueToken)
            break;
        c = std::getc(stream);
        if (c == EOF)
            break;
        if (valueSeparator(c))
            break;
    }
    token[used] = 0;
    return true;
}

// True when \p p starts with \p lower (lower-case letters), ignoring case.
bool startsWithNoCase(const char *p, const char *lower)
{
    for (; *lower != 0; ++p, ++lower)
        if (*p == 0 || (*p | 0x20) != *lower)
            return false;
    return true;
}

// Reads \p token as the C conversion "%lg" does, in the C locale: a numeric
// start is converted. Two cases differ from strtod, which falls back on a
// shorter number where the conversion, having read on, fails:
//  - a "0x" prefix with no hex digit or point after it is no number, where
//    strtod would take its "0";
//  - "inf" followed by an "i" must go on to the whole "infinity": "infi" or
//    "infinite" is no number, where strtod would take its "inf".
bool readLg(const char *token, double *value)
{
    const char *p = token;
    if (*p == '+' || *p == '-')
        ++p;
    if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) {
        const char c = p[2];
        const bool hex = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
        if (!hex && c != '.')
            return false;
    }
    if (startsWithNoCase(p, "inf") && (p[3] == 'i' || p[3] == 'I') && !startsWithNoCase(p, "infinity"))
        return false;
    char *end = nullptr;
    *value = kv::platform::strtodC(token, &end);
    return end != token;
}

// The pair store: x and y alternating in one C-allocated array.
struct PairStore {
    double *data = nullptr;
    std::size_t capacityBytes = 0;
    int count = 0;

    bool start()
    {
        capacityBytes = 10000;
        data = static_cast<double *>(std::malloc(capacityBytes));
        return data != nullptr;
    }
    // Makes room for one more pair; false when the heap refuses.
    bool room()
    {
        if (count > INT_MAX - 2)
            return false; // the count of values would not fit its int
        const std::size_t used = static_cast<std::size_t>(count) * sizeof(double);
        if (capacityBytes - used >= 16)
            return true;
        const std::size_t grown = used * 2;
        void *p = std::realloc(data, grown);
        if (p == nullptr)
            return false;
        data = static_cast<double *>(p);
        capacityBytes = grown;
        return true;
    }
    void finish()
    {
        if (count == 0)
            return;
        void *p = std::realloc(data, static_cast<std::size_t>(count) * sizeof(double));
        if (p != nullptr)
            data = static_cast<double *>(p);
    }
};

} // namespace

void sp_ReadValuePairs(FILE *stream, double **values, int *count, ReadValuePairsStatus *status)
{
    ReadValuePairsStatus localStatus = ValuePairsRising;
    if (status == nullptr)
        status = &localStatus;
    *status = ValuePairsRising;
    if (values == nullptr || count == nullptr)
        return;
    *values = nullptr;
    *count = 0;
    PairStore store;
    if (!store.start())
        return;
    char token[kMaxValueToken + 1];
    double x = 0;
    bool haveX = false;
    while (stream != nullptr && nextValueToken(stream, token)) {
        if (std::strcmp(token, "+") == 0)
            continue;
        double v = 0;
        if (!readLg(token, &v))
            continue;
        if (!haveX) {
            x = v;
            haveX = true;
            continue;
        }
        haveX = false;
        if (store.count >= 2) {
            const double px = store.data[store.count - 2];
            const double py = store.data[store.count - 1];
            if (x < px)
                *status = ValuePairsDescendingX;
            else if (x == px && v == py)
                continue;
            else if (x == px && *status == ValuePairsRising)
                *status = ValuePairsRepeatedX;
        }
        if (!store.room())
            break;
        store.data[store.count++] = x;
        store.data[store.count++] = v;
    }
    store.finish();
    *values = store.data;
    *count = store.count;
}
