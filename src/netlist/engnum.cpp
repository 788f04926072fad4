// The engineering number parser, and the small conversions that share its
// suffix table: time precision, versions and colours. The formatters are in
// engnum_format.cpp.
#include <kvsupport/engnum.h>

#include "format/c_format.h"
#include "platform/c_locale.h"

#include <QByteArray>
#include <QString>

#include <charconv>
#include <climits>
#include <cstring>

namespace {

inline bool isAsciiDigit(unsigned char c)
{
    return static_cast<unsigned>(c - '0') < 10u;
}

// isalpha of the C locale: bytes above 127 are never letters.
inline bool isAsciiLetter(unsigned char c)
{
    return static_cast<unsigned>((c | 0x20) - 'a') < 26u;
}

inline int lowerAscii(unsigned char c)
{
    return c | 0x20;
}

// Powers of ten for the fractional digits of "4k7" (at most 31 digits).
const double kPowersOfTen[32] = {
    1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
    1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22, 1e23, 1e24, 1e25, 1e26, 1e27, 1e28, 1e29, 1e30, 1e31};

const int kMaxFractionDigits = 31;

// The multiplier of a one-letter suffix (given in lower case). 'm' is milli:
// mega is only ever "meg". Letters outside the table multiply by 1.
inline double letterMultiplier(int lower, bool pspice)
{
    switch (lower) {
    case 'a': return pspice ? 1.0 : 1e-18;
    case 'f': return 1e-15;
    case 'p': return 1e-12;
    case 'n': return 1e-9;
    case 'u': return 1e-6;
    case 'm': return 1e-3;
    case 'k': return 1e3;
    case 'g': return 1e9;
    case 't': return 1e12;
    default: return 1.0;
    }
}

// True where the decimal reader below reads exactly what strtod reads in
// the C locale: an optional '-' then a digit or '.', and no hexadecimal
// prefix. Everything else (white space, '+', "-inf", "-0x1p3") goes to strtod.
inline bool plainDecimal(const char *p)
{
    if (*p == '-')
        ++p;
    if (*p == '.')
        return true;
    if (!isAsciiDigit(static_cast<unsigned char>(*p)))
        return false;
    return !(p[0] == '0' && (p[1] == 'x' || p[1] == 'X'));
}

// Exact powers of ten: every integer power up to 10^22 is a double.
const double kExactPowers[23] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// One pass over a decimal number in strtod's grammar:
// [-] digits [. digits] [(e|E) [+|-] digits], at least one mantissa digit.
// Returns the end of the number (text when there is none). When the
// significant digits fit 2^53 and the power of ten is at most 22, *value is
// the correctly rounded result (one exact operand, one rounding) and *exact
// is true; otherwise the caller converts the text it found.
inline const char *scanDecimal(const char *text, double *value, bool *exact)
{
    const char *p = text;
    const bool negative = *p == '-';
    if (negative)
        ++p;
    unsigned long long mantissa = 0;
    int significant = 0;
    int scale = 0; // power of ten to apply to the mantissa
    bool anyDigit = false;
    for (; isAsciiDigit(static_cast<unsigned char>(*p)); ++p) {
        anyDigit = true;
        if (mantissa == 0 && *p == '0')
            continue;
        if (++significant <= 19)
            mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
        else
            ++scale;
    }
    if (*p == '.') {
        for (++p; isAsciiDigit(static_cast<unsigned char>(*p)); ++p) {
            anyDigit = true;
            if (mantissa == 0 && *p == '0') {
                --scale;
                continue;
            }
            if (++significant <= 19) {
                mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
                --scale;
            }
        }
    }
    if (!anyDigit)
        return text;
    if (*p == 'e' || *p == 'E') {
        const char *q = p + 1;
        const bool negativeExponent = *q == '-';
        if (*q == '-' || *q == '+')
            ++q;
        if (isAsciiDigit(static_cast<unsigned char>(*q))) {
            int exponent = 0;
            for (; isAsciiDigit(static_cast<unsigned char>(*q)); ++q) {
                if (exponent < 100000)
                    exponent = exponent * 10 + (*q - '0');
            }
            scale += negativeExponent ? -exponent : exponent;
            p = q;
        }
    }
    *exact = false;
    if (significant <= 19 && mantissa <= (1ULL << 53) && scale >= -22 && scale <= 22) {
        double m = static_cast<double>(mantissa);
        double v = scale >= 0 ? m * kExactPowers[scale] : m / kExactPowers[-scale];
        *value = negative ? -v : v;
        *exact = true;
    }
    return p;
}

// Reads the leading real number as strtod does in the C locale; returns the
// first character not used (text itself when nothing was read).
inline const char *readReal(const char *text, double *value)
{
    if (plainDecimal(text)) {
        bool exact = false;
        const char *end = scanDecimal(text, value, &exact);
        if (end == text || exact) {
            if (end == text)
                *value = 0;
            return end;
        }
        std::from_chars_result r = std::from_chars(text, end, *value);
        if (r.ec == std::errc())
            return r.ptr;
        // Out of range: strtod gives the overflow and underflow values.
    }
    char *end = nullptr;
    *value = kv::platform::strtodC(text, &end);
    return end;
}

// The "4k7" digits after a suffix: adds atoi(digits) / 10^count to *number.
inline const char *readFractionDigits(const char *p, double *number)
{
    long long digits = 0;
    int count = 0;
    while (count < kMaxFractionDigits && isAsciiDigit(static_cast<unsigned char>(p[count]))) {
        if (digits <= INT_MAX)
            digits = digits * 10 + (p[count] - '0');
        ++count;
    }
    if (count == 0)
        return p;
    if (digits > INT_MAX)
        digits = INT_MAX;
    *number += static_cast<double>(digits) / kPowersOfTen[count];
    return p + count;
}

inline bool startsWithIgnoringCase(const char *p, char a, char b, char c)
{
    return lowerAscii(static_cast<unsigned char>(p[0])) == a &&
           lowerAscii(static_cast<unsigned char>(p[1])) == b &&
           lowerAscii(static_cast<unsigned char>(p[2])) == c;
}

// The suffix at \p p (an ASCII letter) and the "4k7" digits after it:
// stores number x multiplier in *result and returns the end of the suffix.
inline const char *applySuffix(const char *p, double number, bool pspice, double *result)
{
    double multiplier;
    if (startsWithIgnoringCase(p, 'm', 'e', 'g')) {
        multiplier = 1e6;
        p += 3;
    } else if (startsWithIgnoringCase(p, 'm', 'i', 'l')) {
        multiplier = 2.54e-5;
        p += 3;
    } else {
        multiplier = letterMultiplier(lowerAscii(static_cast<unsigned char>(*p)), pspice);
        p += 1;
    }
    p = readFractionDigits(p, &number);
    *result = number * multiplier;
    return p;
}

// Returns the value and stores the end of what was used in *stop.
inline double parseAt(const char *text, bool pspice, const char **stop)
{
    *stop = text;
    // "inf" and "nan" are no numbers here; hexadecimal gives only its '0'.
    if (startsWithIgnoringCase(text, 'i', 'n', 'f') || startsWithIgnoringCase(text, 'n', 'a', 'n'))
        return 0;
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        *stop = text + 1;
        return 0;
    }
    double number = 0;
    const char *p = readReal(text, &number);
    *stop = p;
    // Nothing read, or a zero: no suffix is taken after a zero.
    if (p == text || number == 0)
        return 0;
    if (!isAsciiLetter(static_cast<unsigned char>(*p)))
        return number;
    double result = 0;
    *stop = applySuffix(p, number, pspice, &result);
    return result;
}

double parseEng(const char *text, char **end, bool pspice)
{
    if (text == nullptr)
        return 0;
    const char *stop = text;
    const double result = parseAt(text, pspice, &stop);
    if (end != nullptr)
        *end = const_cast<char *>(stop);
    return result;
}

} // namespace

double sp_ConvertEngToReal(const char *text, char **end)
{
    return parseEng(text, end, false);
}

double sp_ConvertEngToReal(const YString &text, char **end)
{
    return parseEng(text.tocs(), end, false);
}

double sp_ConvertEngToReal(const QString &text)
{
    // Short ASCII text, the usual case, is converted on the stack.
    char local[64];
    const int n = text.size();
    if (n < static_cast<int>(sizeof local)) {
        const QChar *chars = text.constData();
        bool ascii = true;
        for (int i = 0; i < n && ascii; ++i) {
            ushort u = chars[i].unicode();
            ascii = u != 0 && u < 0x80;
            local[i] = static_cast<char>(u);
        }
        if (ascii) {
            local[n] = 0;
            return parseEng(local, nullptr, false);
        }
    }
    QByteArray utf8 = text.toUtf8();
    return parseEng(utf8.constData(), nullptr, false);
}

double sp_ConvertEngToRealPSpiceCompat(const char *text, char **end)
{
    return parseEng(text, end, true);
}

double sp_GetEngToken(char **cursor, bool *failed)
{
    if (cursor == nullptr || *cursor == nullptr) {
        if (failed != nullptr)
            *failed = true;
        return 0;
    }
    char *start = *cursor;
    char *end = start;
    double value = parseEng(start, &end, false);
    if (end == start) {
        if (failed != nullptr)
            *failed = true;
        return 0;
    }
    while (isAsciiLetter(static_cast<unsigned char>(*end)) || *end == '_')
        ++end;
    *cursor = end;
    if (failed != nullptr)
        *failed = false;
    return value;
}

YString sp_GetVlPrecStringFromResolution(double resolution)
{
    struct Row {
        double low;  // exclusive
        double high; // inclusive
        const char *text;
    };
    static const Row rows[] = {
        {0.9999e-15, 9.999e-15, "1fs"}, {0.9999e-14, 9.999e-14, "10fs"}, {0.9999e-13, 9.999e-13, "100fs"},
        {0.9999e-12, 9.999e-12, "1ps"}, {0.9999e-11, 9.999e-11, "10ps"}, {0.9999e-10, 9.999e-10, "100ps"},
        {0.9999e-9, 9.999e-9, "1ns"},   {0.9999e-8, 9.999e-8, "10ns"},   {0.9999e-7, 9.999e-7, "100ns"},
        {0.9999e-6, 9.999e-6, "1us"},   {0.9999e-5, 9.999e-5, "10us"},   {0.9999e-4, 9.999e-4, "100us"},
        {0.9999e-3, 9.999e-3, "1ms"},   {0.9999e-2, 9.999e-2, "10ms"},   {0.9999e-1, 9.999e-1, "100ms"},
        {0.9999e0, 9.999e0, "1s"},      {0.9999e1, 9.999e1, "10s"},      {0.9999e2, 100.1, "100s"},
    };
    for (const Row &row : rows) {
        if (resolution > row.low && resolution <= row.high)
            return YString(row.text);
    }
    return YString();
}

int sp_ConvertStringToVersion(const YString &text)
{
    long long value = 0;
    int decimals = -1; // digits read behind the first '.'; -1 before it
    int behind = -1;   // characters of any kind behind the first '.'
    for (const char *p = text.tocs(); *p != 0 && behind < 2; ++p) {
        if (*p == '.' && behind < 0) {
            decimals = 0;
            behind = 0;
            continue;
        }
        // The reading stops two characters behind the point, whatever
        // they are: "8.3.1" is 830, not 831.
        if (behind >= 0)
            ++behind;
        if (!isAsciiDigit(static_cast<unsigned char>(*p)))
            continue;
        if (value <= INT_MAX)
            value = value * 10 + (*p - '0');
        if (decimals >= 0)
            ++decimals;
    }
    if (decimals <= 0)
        value *= 100;
    else if (decimals == 1)
        value *= 10;
    return value > INT_MAX ? INT_MAX : static_cast<int>(value);
}

YString sp_ConvertVersionToString(int version)
{
    if (version < 1)
        return YString();
    char digits[16];
    int n = kv::detail::formatC(digits, sizeof digits, "%d", version);
    if (n < 2)
        return YString(digits);
    char text[20];
    std::memcpy(text, digits, static_cast<std::size_t>(n - 2));
    text[n - 2] = '.';
    std::memcpy(text + n - 1, digits + n - 2, 3);
    return YString(text);
}

void sp_GetVersionValues(KelvoranVersionInfo *info)
{
    if (info == nullptr)
        return;
    static const YString text = [] {
        char buf[32];
        kv::detail::formatC(buf, sizeof buf, "%d.%02d%c", 8, 30, 'h');
        return YString(buf);
    }();
    info->majorVersion = 8;
    info->minorVersion = 30;
    info->maintenance = 8;
    info->revision = 3;
    info->releaseType = 2;
    info->versionText = text;
}

namespace {

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    int lower = lowerAscii(static_cast<unsigned char>(c));
    if (lower >= 'a' && lower <= 'f')
        return lower - 'a' + 10;
    return 0;
}

int hexPair(const char *p)
{
    return hexValue(p[0]) * 16 + hexValue(p[1]);
}

} // namespace

int sp_ConvertHTMLcolourToRGB(const YString &text)
{
    const char *s = text.tocs();
    if (s[0] != '#')
        return 0;
    const int length = text.length();
    if (length - 1 < 6)
        return 0;
    const char *last6 = s + length - 6;
    return hexPair(last6) + 256 * hexPair(last6 + 2) + 65536 * hexPair(last6 + 4);
}

YString sp_ConvertRGBcolourToHTML(int rgb)
{
    const unsigned bits = static_cast<unsigned>(rgb);
    char buf[16];
    kv::detail::formatC(buf, sizeof buf, "#%02x%02x%02x", bits & 0xFF, (bits >> 8) & 0xFF, (bits >> 16) & 0xFF);
    return YString(buf);
}
