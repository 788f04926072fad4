// The typed printf engine and its three sinks.
#include <kvsupport/printf.h>
#include <kvsupport/containers.h>
#include <kvsupport/ystring.h>

#include "core/text_util.h"
#include "format/c_format.h"
#include "platform/c_locale.h"

#include <QString>

#include <charconv>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

const char kArgMissing[] = "<arg-missing>";
const char kUnsupportedFormat[] = "<unsupported-format-type>";
const char kUnrecognisedFormat[] = "<unrecognised-format-type>";

// Text that gathers in place: 256 bytes inline, then a heap buffer that
// doubles each time it fills. Ordinary formats never reach the heap.
class GatherText {
public:
    GatherText() : data(inlineData), size(0), capacity(sizeof inlineData) { data[0] = 0; }
    ~GatherText()
    {
        if (data != inlineData)
            std::free(data);
    }
    GatherText(const GatherText &) = delete;
    GatherText &operator=(const GatherText &) = delete;

    void append(char c)
    {
        if (size + 1 >= capacity)
            grow();
        data[size++] = c;
        data[size] = 0;
    }
    void append(const char *text)
    {
        while (*text != 0)
            append(*text++);
    }
    void appendInt(int v)
    {
        char buf[16];
        kv::detail::formatC(buf, sizeof buf, "%d", v);
        append(buf);
    }
    void clear()
    {
        size = 0;
        data[0] = 0;
    }
    bool empty() const { return size == 0; }
    const char *text() const { return data; }

private:
    void grow()
    {
        std::size_t newCapacity = capacity * 2;
        char *p = static_cast<char *>(data == inlineData ? std::malloc(newCapacity)
                                                         : std::realloc(data, newCapacity));
        if (p == nullptr)
            kv::detail::outOfMemory("PrintfBuf");
        if (data == inlineData)
            std::memcpy(p, inlineData, size + 1);
        data = p;
        capacity = newCapacity;
    }

    char inlineData[256];
    char *data;
    std::size_t size;
    std::size_t capacity;
};

char *duplicate(const char *text)
{
    if (text == nullptr)
        return nullptr;
    std::size_t n = std::strlen(text) + 1;
    char *p = static_cast<char *>(std::malloc(n));
    if (p == nullptr)
        kv::detail::outOfMemory("PrintfArg");
    std::memcpy(p, text, n);
    return p;
}

// atoi with saturation instead of undefined overflow.
int atoi32(const char *text)
{
    long long v = sp_atoi64(text);
    if (v > INT_MAX)
        return INT_MAX;
    if (v < INT_MIN)
        return INT_MIN;
    return static_cast<int>(v);
}

// A double converted as the x86 conversion instructions do: out of range
// (and NaN) gives the most negative value.
long long truncate64(double d)
{
    if (!(d > -9223372036854775808.0 && d < 9223372036854775808.0))
        return LLONG_MIN;
    return static_cast<long long>(d);
}

// Widths and precisions are capped, so that a format such as "%999999999d"
// costs a bounded amount of work and memory.
constexpr int kMaxFieldSize = 1000000;

int capField(int v)
{
    return v > kMaxFieldSize ? kMaxFieldSize : (v < -kMaxFieldSize ? -kMaxFieldSize : v);
}

bool isIntegerConversion(char c)
{
    return c == 'd' || c == 'i' || c == 'o' || c == 'u' || c == 'x' || c == 'X';
}

bool isRealConversion(char c)
{
    return c == 'g' || c == 'G' || c == 'e' || c == 'E' || c == 'f';
}

// Skips one size modifier; sets \p is64 for "ll" and "I64".
const char *skipSizeModifier(const char *p, bool &is64)
{
    if (p[0] == 'l' && p[1] == 'l') {
        is64 = true;
        return p + 2;
    }
    if (p[0] == 'I' && p[1] == '6' && p[2] == '4') {
        is64 = true;
        return p + 3;
    }
    if (p[0] == 'I' && p[1] == '3' && p[2] == '2')
        return p + 3;
    if (p[0] == 'h' || p[0] == 'l' || p[0] == 'w' || p[0] == 'I')
        return p + 1;
    return p;
}

} // namespace

// ---------------------------------------------------------------------------
// PrintfArg

PrintfArg::PrintfArg(const YString &text) : type(PrintfArgString), owned(duplicate(text.tocs()))
{
    value.text = owned;
}

PrintfArg::PrintfArg(const QString &text) : type(PrintfArgString), owned(nullptr)
{
    if (text.isNull()) {
        value.text = nullptr;
        return;
    }
    owned = duplicate(text.toUtf8().constData());
    value.text = owned;
}

PrintfArg PrintfArg::ofType(int typeCode)
{
    PrintfArg a;
    a.type = typeCode;
    return a;
}

PrintfArg::PrintfArg(const PrintfArg &other) : type(other.type), owned(duplicate(other.owned)), value(other.value)
{
    if (owned != nullptr)
        value.text = owned;
}

PrintfArg &PrintfArg::operator=(const PrintfArg &other)
{
    if (this != &other) {
        char *copy = duplicate(other.owned);
        std::free(owned);
        type = other.type;
        owned = copy;
        value = other.value;
        if (owned != nullptr)
            value.text = owned;
    }
    return *this;
}

PrintfArg::~PrintfArg()
{
    std::free(owned);
}

int PrintfArg::asInt() const
{
    switch (type) {
    case PrintfArgString:
        return atoi32(value.text);
    case PrintfArgInt:
        return value.i32;
    case PrintfArgInt64:
        if (value.i64 > 2147483647LL)
            return 2147483647;
        if (value.i64 < -2147483647LL)
            return -2147483647;
        return static_cast<int>(value.i64);
    case PrintfArgDouble:
        return static_cast<int>(static_cast<unsigned int>(truncate64(std::floor(value.d))));
    default:
        return 0;
    }
}

long long PrintfArg::asInt64() const
{
    switch (type) {
    case PrintfArgString:
        return sp_atoi64(value.text);
    case PrintfArgInt:
        return value.i32;
    case PrintfArgInt64:
        return value.i64;
    case PrintfArgDouble:
        return truncate64(value.d);
    default:
        return 0;
    }
}

double PrintfArg::asDouble() const
{
    switch (type) {
    case PrintfArgString:
        return value.text != nullptr ? kv::platform::strtodC(value.text, nullptr) : 0.0;
    case PrintfArgInt:
        return value.i32;
    case PrintfArgInt64:
        return static_cast<double>(value.i64);
    case PrintfArgDouble:
        return value.d;
    default:
        return 0.0;
    }
}

const char *PrintfArg::asText(char *scratch, int scratchSize) const
{
    std::size_t size = scratchSize > 0 ? static_cast<std::size_t>(scratchSize) : 0;
    switch (type) {
    case PrintfArgString:
        return value.text;
    case PrintfArgInt:
        kv::detail::formatC(scratch, size, "%d", value.i32);
        return scratch;
    case PrintfArgInt64:
        kv::detail::formatC(scratch, size, "%lld", value.i64);
        return scratch;
    case PrintfArgDouble:
        kv::detail::formatC(scratch, size, "%g", value.d);
        return scratch;
    case PrintfArgUnsupported:
        return "<unsupported>";
    case PrintfArgUndefined:
        return "<undefined>";
    default:
        return "<error>";
    }
}

long long sp_atoi64(const char *text)
{
    if (text == nullptr)
        return 0;
    const char *p = text;
    while (*p == ' ' || (*p >= '\t' && *p <= '\r'))
        ++p;
    bool negative = false;
    if (*p == '+' || *p == '-')
        negative = *p++ == '-';
    unsigned long long v = 0;
    const unsigned long long limit = negative ? 9223372036854775808ULL : 9223372036854775807ULL;
    for (; *p >= '0' && *p <= '9'; ++p) {
        unsigned d = static_cast<unsigned>(*p - '0');
        if (v > (limit - d) / 10) {
            v = limit;
            break;
        }
        v = v * 10 + d;
    }
    if (negative)
        return v == 9223372036854775808ULL ? LLONG_MIN : -static_cast<long long>(v);
    return static_cast<long long>(v);
}

// ---------------------------------------------------------------------------
// The engine

PrintfBuf::~PrintfBuf() = default;

void PrintfBuf::write() {}

bool PrintfBuf::printf(const char *format)
{
    int used;
    return process(format, &used, nullptr, 0);
}

bool PrintfBuf::printf(const char *format, const PrintfArg &a1)
{
    const PrintfArg *args[] = {&a1};
    int used;
    return process(format, &used, args, 1);
}

bool PrintfBuf::printf(const char *format, const PrintfArg &a1, const PrintfArg &a2)
{
    const PrintfArg *args[] = {&a1, &a2};
    int used;
    return process(format, &used, args, 2);
}

bool PrintfBuf::printf(const char *format, const PrintfArg &a1, const PrintfArg &a2, const PrintfArg &a3)
{
    const PrintfArg *args[] = {&a1, &a2, &a3};
    int used;
    return process(format, &used, args, 3);
}

bool PrintfBuf::printf(const char *format, const PrintfArg &a1, const PrintfArg &a2, const PrintfArg &a3,
                       const PrintfArg &a4)
{
    const PrintfArg *args[] = {&a1, &a2, &a3, &a4};
    int used;
    return process(format, &used, args, 4);
}

bool PrintfBuf::printf(const char *format, YArray<PrintfArg> args)
{
    YVector<const PrintfArg *> pointers(static_cast<unsigned int>(args.getCount()), true);
    for (int i = 0; i < args.getCount(); ++i)
        pointers[static_cast<unsigned int>(i)] = &args.at(i);
    int used;
    return process(format, &used, pointers.data, args.getCount());
}

bool PrintfBuf::printfArgs(const char *format, const PrintfArg *const *args, int argCount, int *argsUsed)
{
    int used;
    bool ok = process(format, &used, const_cast<const PrintfArg **>(args), argCount < 0 ? 0 : argCount);
    if (argsUsed != nullptr)
        *argsUsed = used;
    return ok;
}

bool PrintfBuf::process(const char *format, int *argsUsed, const PrintfArg **args, int argCount)
{
    GatherText literal;
    GatherText spec;
    int next = 0;
    const char *p = format != nullptr ? format : "";
    while (*p != 0) {
        if (*p != '%') {
            literal.append(*p++);
            continue;
        }
        if (p[1] == '%') {
            literal.append('%');
            p += 2;
            continue;
        }
        if (!literal.empty()) {
            printf_local(literal.text());
            literal.clear();
        }
        spec.clear();
        spec.append('%');
        ++p;
        while (*p == '-' || *p == '+' || *p == '0' || *p == '#' || *p == ' ')
            spec.append(*p++);
        int width = 0;
        if (*p == '*') {
            ++p;
            if (next < argCount) {
                width = capField(args[next++]->asInt());
                spec.appendInt(width);
            }
        } else {
            for (; *p >= '0' && *p <= '9'; ++p)
                width = capField(width * 10 + (*p - '0'));
            if (width != 0)
                spec.appendInt(width);
        }
        if (*p == '.') {
            spec.append(*p++);
            if (*p == '*') {
                ++p;
                if (next < argCount)
                    spec.appendInt(capField(args[next++]->asInt()));
            } else {
                int precision = 0;
                bool digits = false;
                for (; *p >= '0' && *p <= '9'; ++p, digits = true)
                    precision = capField(precision * 10 + (*p - '0'));
                if (digits)
                    spec.appendInt(precision);
            }
        }
        bool is64 = false;
        p = skipSizeModifier(p, is64);
        if (*p == 0)
            break; // a format that ends inside a conversion
        const char conversion = *p++;
        if (next >= argCount || args[next]->getType() == PrintfArgUndefined) {
            printf_local(kArgMissing);
            ++next;
            continue;
        }
        const PrintfArg &arg = *args[next++];
        if (conversion == 's') {
            char scratch[64];
            spec.append('s');
            printf_local(spec.text(), arg.asText(scratch, sizeof scratch), width);
        } else if (isRealConversion(conversion)) {
            spec.append(conversion);
            printf_local(spec.text(), arg.asDouble(), width);
        } else if (isIntegerConversion(conversion) && is64) {
            spec.append("ll");
            spec.append(conversion);
            printf_local(spec.text(), arg.asInt64(), width);
        } else if (isIntegerConversion(conversion) || conversion == 'c') {
            // A character is one byte whatever the size: it takes the 32-bit path.
            spec.append(conversion);
            printf_local(spec.text(), is64 ? static_cast<int>(arg.asInt64()) : arg.asInt(), width);
        } else if (conversion == 'n' || conversion == 'p' || conversion == 'C' || conversion == 'S') {
            printf_local(kUnsupportedFormat);
        } else {
            printf_local(kUnrecognisedFormat);
        }
    }
    if (!literal.empty())
        printf_local(literal.text());
    if (argsUsed != nullptr)
        *argsUsed = next;
    write();
    return next <= argCount;
}

// ---------------------------------------------------------------------------
// StringPrintfBuf

StringPrintfBuf::StringPrintfBuf(char *buffer, int size)
    : position(buffer), remaining(buffer != nullptr && size > 0 ? size - 1 : -1), start(buffer)
{
    if (remaining >= 0)
        *buffer = 0;
}

bool StringPrintfBuf::reallocate(int)
{
    return false;
}

// One piece of output: format at the write position with room for
// `remaining` characters and a terminator; grow and retry while the sink can.
// A growth that gains no room falls back to doubling, so that a small width
// never keeps the loop going.
template <typename Fn> void StringPrintfBuf::emit(Fn &&format, int width, int literalLength)
{
    if (remaining < 0)
        return;
    for (;;) {
        int n = format(position, static_cast<std::size_t>(remaining) + 1);
        if (n >= 0 && n < remaining) {
            position += n;
            remaining -= n;
            *position = 0;
            return;
        }
        if (n < 0)
            return;
        const int before = remaining;
        const int doubling = 2 * remaining > 512 ? 2 * remaining : 512;
        bool grown;
        if (literalLength >= 0)
            grown = reallocate(literalLength + 1);
        else
            grown = reallocate(width >= 1 ? width : doubling);
        if (!grown)
            return;
        if (remaining <= before && (!reallocate(doubling) || remaining <= before))
            return;
    }
}

namespace {

// A whole text handed to the sink as the bounded formatter would: at most
// room - 1 characters and a terminator, the whole length returned.
int copyBounded(char *out, std::size_t room, const char *text, std::size_t n)
{
    if (room != 0) {
        std::size_t k = n < room ? n : room - 1;
        std::memcpy(out, text, k);
        out[k] = 0;
    }
    return static_cast<int>(n);
}

// The plain conversions ("%d", "%lld", "%s", "%g", "%e", "%f") need no
// runtime formatter: they are converted directly, with the same text.
bool isPlain(const char *format, const char *conversion)
{
    return format[0] == '%' && std::strcmp(format + 1, conversion) == 0;
}

template <typename T> int integerPiece(char *out, std::size_t room, const char *format, T value)
{
    if (isPlain(format, "d") || isPlain(format, "lld") || isPlain(format, "i") || isPlain(format, "lli")) {
        char digits[24];
        auto r = std::to_chars(digits, digits + sizeof digits, value);
        return copyBounded(out, room, digits, static_cast<std::size_t>(r.ptr - digits));
    }
    return std::snprintf(out, room, format, value);
}

int realPiece(char *out, std::size_t room, const char *format, double value)
{
    std::chars_format style;
    if (isPlain(format, "g"))
        style = std::chars_format::general;
    else if (isPlain(format, "e"))
        style = std::chars_format::scientific;
    else if (isPlain(format, "f"))
        style = std::chars_format::fixed;
    else
        return kv::detail::formatC(out, room, format, value);
    char digits[400];
    auto r = std::to_chars(digits, digits + sizeof digits, value, style, 6);
    if (r.ec != std::errc())
        return kv::detail::formatC(out, room, format, value);
    return copyBounded(out, room, digits, static_cast<std::size_t>(r.ptr - digits));
}

int textPiece(char *out, std::size_t room, const char *format, const char *value)
{
    if (value != nullptr && isPlain(format, "s"))
        return copyBounded(out, room, value, std::strlen(value));
    return std::snprintf(out, room, format, value);
}

} // namespace

void StringPrintfBuf::printf_local(const char *format, long long value, int width)
{
    emit([&](char *out, std::size_t room) { return integerPiece(out, room, format, value); }, width, -1);
}

void StringPrintfBuf::printf_local(const char *format, int value, int width)
{
    emit([&](char *out, std::size_t room) { return integerPiece(out, room, format, value); }, width, -1);
}

void StringPrintfBuf::printf_local(const char *format, double value, int width)
{
    emit([&](char *out, std::size_t room) { return realPiece(out, room, format, value); }, width, -1);
}

void StringPrintfBuf::printf_local(const char *format, const char *value, int width)
{
    emit([&](char *out, std::size_t room) { return textPiece(out, room, format, value); }, width, -1);
}

void StringPrintfBuf::printf_local(const char *text)
{
    emit([&](char *out, std::size_t room) { return kv::detail::renderLiteral(out, room, text); }, 0,
         static_cast<int>(std::strlen(text)));
}

// ---------------------------------------------------------------------------
// VarStringPrintfBuf

namespace {
// A single piece may ask for at most this much; more is dropped.
constexpr long long kMaxVarBuffer = 1LL << 28;
} // namespace

VarStringPrintfBuf::VarStringPrintfBuf()
    : StringPrintfBuf(inlineBuffer, sizeof inlineBuffer), total(sizeof inlineBuffer), usingInline(true),
      ownsHeap(false)
{
}

VarStringPrintfBuf::VarStringPrintfBuf(const VarStringPrintfBuf &other)
    : StringPrintfBuf(other), total(other.total), usingInline(other.usingInline), ownsHeap(false)
{
    std::memcpy(inlineBuffer, other.inlineBuffer, sizeof inlineBuffer);
}

VarStringPrintfBuf::~VarStringPrintfBuf()
{
    if (ownsHeap)
        std::free(start);
}

bool VarStringPrintfBuf::reallocate(int needed)
{
    if (needed <= remaining)
        return true;
    const long long used = static_cast<long long>(total) - remaining; // includes the terminator
    long long newTotal = 2LL * total;
    if (needed > 2LL * total - used)
        newTotal = used + needed;
    if (newTotal > kMaxVarBuffer)
        return false;
    char *p;
    if (ownsHeap) {
        p = static_cast<char *>(std::realloc(start, static_cast<std::size_t>(newTotal)));
    } else {
        // The inline buffer, or a buffer that a copy shares with its source.
        p = static_cast<char *>(std::malloc(static_cast<std::size_t>(newTotal)));
        if (p != nullptr)
            std::memcpy(p, start, usingInline ? sizeof inlineBuffer : static_cast<std::size_t>(total));
    }
    if (p == nullptr)
        return false;
    usingInline = false;
    ownsHeap = true;
    start = p;
    total = static_cast<int>(newTotal);
    position = start + used - 1;
    remaining = static_cast<int>(newTotal - used);
    return true;
}

// ---------------------------------------------------------------------------
// FilePrintfBuf

namespace {

int fileFormat(FILE *file, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    int n = kv::detail::vfformatC(file, format, args);
    va_end(args);
    return n;
}

} // namespace

void FilePrintfBuf::printf_local(const char *format, long long value, int)
{
    if (file != nullptr)
        std::fprintf(file, format, value);
}

void FilePrintfBuf::printf_local(const char *format, int value, int)
{
    if (file != nullptr)
        std::fprintf(file, format, value);
}

void FilePrintfBuf::printf_local(const char *format, double value, int)
{
    if (file != nullptr)
        fileFormat(file, format, value);
}

void FilePrintfBuf::printf_local(const char *format, const char *value, int)
{
    if (file != nullptr)
        std::fprintf(file, format, value);
}

void FilePrintfBuf::printf_local(const char *text)
{
    if (file == nullptr)
        return;
    // Literal text read as a format without arguments: each "%%" gives one '%'.
    const char *run = text;
    for (const char *p = text; *p != 0; ++p) {
        if (p[0] == '%' && p[1] == '%') {
            std::fwrite(run, 1, static_cast<std::size_t>(p + 1 - run), file);
            run = ++p + 1;
        }
    }
    std::fwrite(run, 1, std::strlen(run), file);
}

// ---------------------------------------------------------------------------
// Free functions

bool sp_sprintf(char *buffer, int size, const char *format)
{
    StringPrintfBuf b(buffer, size);
    return b.printf(format);
}

bool sp_sprintf(char *buffer, int size, const char *format, const PrintfArg &a1)
{
    StringPrintfBuf b(buffer, size);
    return b.printf(format, a1);
}

bool sp_sprintf(char *buffer, int size, const char *format, const PrintfArg &a1, const PrintfArg &a2)
{
    StringPrintfBuf b(buffer, size);
    return b.printf(format, a1, a2);
}

bool sp_sprintf(char *buffer, int size, const char *format, const PrintfArg &a1, const PrintfArg &a2,
                const PrintfArg &a3)
{
    StringPrintfBuf b(buffer, size);
    return b.printf(format, a1, a2, a3);
}

bool sp_sprintf(char *buffer, int size, const char *format, const PrintfArg &a1, const PrintfArg &a2,
                const PrintfArg &a3, const PrintfArg &a4)
{
    StringPrintfBuf b(buffer, size);
    return b.printf(format, a1, a2, a3, a4);
}

bool sp_fprintf(FILE *file, const char *format)
{
    FilePrintfBuf b(file);
    return b.printf(format);
}

bool sp_fprintf(FILE *file, const char *format, const PrintfArg &a1)
{
    FilePrintfBuf b(file);
    return b.printf(format, a1);
}

bool sp_fprintf(FILE *file, const char *format, const PrintfArg &a1, const PrintfArg &a2)
{
    FilePrintfBuf b(file);
    return b.printf(format, a1, a2);
}

bool sp_fprintf(FILE *file, const char *format, const PrintfArg &a1, const PrintfArg &a2, const PrintfArg &a3)
{
    FilePrintfBuf b(file);
    return b.printf(format, a1, a2, a3);
}

bool sp_fprintf(FILE *file, const char *format, const PrintfArg &a1, const PrintfArg &a2, const PrintfArg &a3,
                const PrintfArg &a4)
{
    FilePrintfBuf b(file);
    return b.printf(format, a1, a2, a3, a4);
}
