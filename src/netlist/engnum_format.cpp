// The engineering-number formatters: fixed-width engineering text, the
// unpadded form, plain "%g" text cut to a width, and the field splitter for
// long names. All numbers are printed in the C locale.
#include <kvsupport/engnum.h>

#include "format/c_format.h"

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

namespace {

// The printing column of the suffix table, indexed by group + 6.
const char *const kPrintSuffix[11] = {"a", "f", "p", "n", "u", "m", "", "k", "Meg", "G", "T"};

const int kMaxFieldWidth = 65536;

// %g prints at most this many significant digits of a double that are not
// trailing zeros, so a larger precision prints the same text.
const int kMaxGDigits = 800;

int clampInt(int v, int low, int high)
{
    return v < low ? low : (v > high ? high : v);
}

// floor(log10(magnitude) / 3) for a finite magnitude above 0.
int groupOf(double magnitude)
{
    return static_cast<int>(std::floor(std::log10(magnitude) / 3));
}

// The digits that the integer part of a positive \p scaled needs, as a
// double; NaN (never larger) for a negative value, 0 for zero.
double integerDigits(double scaled)
{
    if (scaled == 0)
        return 0;
    return std::floor(std::log10(scaled)) + 1;
}

// The suffix of sp_FormatEng and the power of ten it stands for.
void chooseFormatEngSuffix(double magnitude, int group, bool usePercent, char (&suffix)[10], int *exponent)
{
    *exponent = 3 * group;
    if (usePercent && magnitude < 10 && magnitude >= 1e-7) {
        const bool percent = magnitude >= 0.001;
        std::strcpy(suffix, percent ? "%" : "ppm");
        *exponent = percent ? -2 : -6;
    } else if (group >= -6 && group <= 4) {
        std::strcpy(suffix, kPrintSuffix[group + 6]);
    } else {
        kv::detail::formatC(suffix, sizeof suffix, "E%d", *exponent);
    }
}

// The zero-padded form: the number padded with '0' (after a '.') to
// \p target characters, then the suffix.
YString padWithZeros(int digits, double scaled, int target, const char *suffix)
{
    char number[128];
    kv::detail::formatC(number, sizeof number, "%.*g", digits, scaled);
    std::string text(number);
    if (static_cast<int>(text.size()) < target) {
        if (text.find('.') == std::string::npos)
            text += '.';
        if (static_cast<int>(text.size()) < target)
            text.append(static_cast<std::size_t>(target) - text.size(), '0');
    }
    text += suffix;
    return YString(text.c_str());
}

} // namespace

YString sp_FormatEng(double value, int precision, bool usePercent, bool padZeros)
{
    if (!std::isfinite(value))
        return YString("INF");
    precision = clampInt(precision, -kMaxFieldWidth, kMaxFieldWidth);
    const int sign = value < 0 ? -1 : 1;
    double magnitude = std::fabs(value);
    int group = 0;
    if (magnitude < 1e-300)
        magnitude = 0;
    else
        group = groupOf(magnitude);
    char suffix[10];
    int exponent = 0;
    chooseFormatEngSuffix(magnitude, group, usePercent, suffix, &exponent);
    const double scaled = sign * magnitude / std::pow(10.0, exponent);

    int width = precision - 1;
    if (width < 3) {
        const double needed = integerDigits(scaled);
        if (needed > width)
            width = static_cast<int>(needed);
    }
    const int suffixLength = static_cast<int>(std::strlen(suffix));
    int digits = width - suffixLength;
    if (sign < 0)
        --digits;
    if (std::fabs(scaled) < 1)
        --digits;
    if (digits < 3)
        digits = 3;
    digits = clampInt(digits, 3, kMaxGDigits);

    if (padZeros)
        return padWithZeros(digits, scaled, width - suffixLength + 1, suffix);
    char text[128];
    kv::detail::formatC(text, sizeof text, "%.*g%s", digits, scaled, suffix);
    YString result(text);
    if (width + 1 > 0)
        result.pad(static_cast<unsigned int>(width + 1));
    return result;
}

YString sp_ConvertRealToJSEng(double value, int precision, bool exponentOnly)
{
    if (!std::isfinite(value))
        return YString("INF");
    if (value == 0)
        return YString("0");
    const int group = groupOf(std::fabs(value));
    char suffix[10];
    if (exponentOnly || group < -6 || group > 4)
        kv::detail::formatC(suffix, sizeof suffix, "E%d", 3 * group);
    else
        std::strcpy(suffix, kPrintSuffix[group + 6]);
    double scaled;
    if (group < -100 || group > 100) {
        // 10^(3 x group) would overflow or vanish: divide three times.
        const double step = std::pow(10.0, group);
        scaled = value / step / step / step;
    } else {
        scaled = value / std::pow(10.0, 3 * group);
    }
    int digits = precision;
    if (precision < 3) {
        const double needed = integerDigits(scaled);
        if (needed > digits)
            digits = static_cast<int>(needed);
    }
    if (digits > kMaxGDigits)
        digits = kMaxGDigits;
    char text[1024];
    kv::detail::formatC(text, sizeof text, "%.*g%s", digits, scaled, suffix);
    return YString(text);
}

namespace {

// Prints \p format with (precision, value) into \p buffer of \p size bytes
// and returns the length of what fits.
int printCut(std::vector<char> &buffer, const char *format, int precision, double value)
{
    const int whole = kv::detail::formatC(buffer.data(), buffer.size(), format,
                                          clampInt(precision, -1, kMaxGDigits), value);
    const int room = static_cast<int>(buffer.size()) - 1;
    return whole < room ? whole : room;
}

} // namespace

YString sp_FormatReal(double value, int width, bool asPercent)
{
    if (width < -9 || width > (1 << 20))
        return YString();
    std::vector<char> buffer(static_cast<std::size_t>(width) + 10);
    int precision = value >= 0 ? width - 2 : width - 3;
    int length;
    if (!asPercent) {
        length = printCut(buffer, "%.*g", precision, value);
    } else {
        --precision;
        value *= 100;
        length = printCut(buffer, "%.*g%%", precision, value);
        if (length - 1 <= width - 1)
            length = 0; // accepted at once: the '%' is not counted this time
    }
    const char *format = asPercent ? "%.*g%%" : "%.*g";
    while (length > width - 1 && precision > 0) {
        --precision;
        length = printCut(buffer, format, precision, value);
    }
    YString result(buffer.data());
    if (width > 0)
        result.pad(static_cast<unsigned int>(width));
    return result;
}

void sp_FormatName(char *dest, int width, char breakChar, YString *text)
{
    if (dest == nullptr)
        return;
    if (width < 1) {
        if (width == 0)
            dest[0] = 0;
        return;
    }
    const YString source = text != nullptr ? *text : YString();
    const char *s = source.tocs();
    int length = 0;
    int lastBreak = -1;
    for (int i = 0;; ++i) {
        const char c = s[i];
        if (c == 0) {
            length = i;
            if (text != nullptr)
                *text = YString();
            break;
        }
        dest[i] = c;
        if (c == breakChar && i >= 1)
            lastBreak = i;
        if (i == width - 1) {
            length = lastBreak >= 0 ? lastBreak + 1 : i;
            if (text != nullptr)
                *text = YString(s + length);
            break;
        }
    }
    std::memset(dest + length, ' ', static_cast<std::size_t>(width - length));
    dest[width] = 0;
}
