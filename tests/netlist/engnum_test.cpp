// Engineering numbers: the parser in its forms, the formatters, time
// precision, versions and colours.
#include <kvsupport/engnum.h>

#include "support/test_support.h"

#include <gtest/gtest.h>

#include <QProcess>
#include <QString>

#include <cctype>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace {

// Parses \p text and returns the value; *used gets the characters taken.
double eng(const char *text, int *used)
{
    char *end = reinterpret_cast<char *>(0x1); // must be overwritten
    double v = sp_ConvertEngToReal(text, &end);
    *used = static_cast<int>(end - text);
    return v;
}

double pspice(const char *text, int *used)
{
    char *end = nullptr;
    double v = sp_ConvertEngToRealPSpiceCompat(text, &end);
    *used = static_cast<int>(end - text);
    return v;
}

std::string str(const YString &s)
{
    return std::string(s.tocs());
}

} // namespace

TEST(EngNumParse, SuffixTableAndCase)
{
    int used = 0;
    EXPECT_DOUBLE_EQ(0.001, eng("1m", &used));
    EXPECT_EQ(2, used);
    EXPECT_DOUBLE_EQ(0.001, eng("1M", &used));
    EXPECT_DOUBLE_EQ(1e6, eng("1Meg", &used));
    EXPECT_EQ(4, used);
    EXPECT_DOUBLE_EQ(1e6, eng("1MEG", &used));
    EXPECT_DOUBLE_EQ(2.54e-5, eng("1mil", &used));
    EXPECT_EQ(4, used);
    EXPECT_DOUBLE_EQ(2.54e-5, eng("1MIL", &used));
    EXPECT_DOUBLE_EQ(1e-18, eng("1a", &used));
    EXPECT_DOUBLE_EQ(1e-15, eng("1f", &used));
    EXPECT_DOUBLE_EQ(1e-12, eng("1P", &used));
    EXPECT_DOUBLE_EQ(1e-9, eng("1n", &used));
    EXPECT_DOUBLE_EQ(1e-6, eng("1u", &used));
    EXPECT_DOUBLE_EQ(1e3, eng("1K", &used));
    EXPECT_DOUBLE_EQ(1e9, eng("1g", &used));
    EXPECT_DOUBLE_EQ(1e12, eng("1t", &used));
    EXPECT_DOUBLE_EQ(22e-9, eng("22nF", &used));
    EXPECT_EQ(3, used); // 'n' taken, "F" left
    EXPECT_DOUBLE_EQ(1.5e-6, eng("1.5u", &used));
}

TEST(EngNumParse, PSpiceHasNoAtto)
{
    int used = 0;
    EXPECT_EQ(1.0, pspice("1a", &used));
    EXPECT_EQ(2, used);
    EXPECT_DOUBLE_EQ(3.5, pspice("3a5", &used));
    EXPECT_DOUBLE_EQ(1e-15, pspice("1f", &used));
    EXPECT_DOUBLE_EQ(4700, pspice("4k7", &used));
    EXPECT_EQ(0.0, sp_ConvertEngToRealPSpiceCompat(nullptr, nullptr));
}

TEST(EngNumParse, FractionDigitsAfterSuffix)
{
    int used = 0;
    EXPECT_DOUBLE_EQ(4700, eng("4k7", &used));
    EXPECT_EQ(3, used);
    EXPECT_DOUBLE_EQ(2200, eng("1.5k7", &used));
    EXPECT_DOUBLE_EQ(1.5, eng("1V5", &used));
    EXPECT_DOUBLE_EQ(4.75e6, eng("4meg75", &used));
    EXPECT_EQ(6, used);
    EXPECT_DOUBLE_EQ(2.2e-12, eng("2p2", &used));
    // "4k7uF" leaves "uF".
    EXPECT_DOUBLE_EQ(4700, eng("4k7uF", &used));
    EXPECT_EQ(3, used);
    // Digits are read up to 31; the 32nd stays.
    std::string many = "1k" + std::string(40, '0');
    EXPECT_DOUBLE_EQ(1000, eng(many.c_str(), &used));
    EXPECT_EQ(2 + 31, used);
    // The digit value saturates at 2^31 - 1, as atoi does.
    EXPECT_DOUBLE_EQ((1 + 2147483647.0 / 1e11) * 1000, eng("1k99999999999", &used));
    EXPECT_EQ(13, used);
    EXPECT_DOUBLE_EQ((1 + 2147483647.0 / 1e12) * 1e3, eng("1k999999999999", &used));
}

TEST(EngNumParse, UnknownLettersAndNonLetters)
{
    int used = 0;
    // 'H' is an unknown letter and 'z' no digit.
    EXPECT_EQ(10.0, eng("10Hz", &used));
    EXPECT_EQ(3, used);
    EXPECT_EQ(5.0, eng("5V", &used));
    EXPECT_EQ(2, used);
    EXPECT_EQ(5.0, eng("5_V", &used));
    EXPECT_EQ(1, used);
    EXPECT_EQ(5.0, eng("5 k", &used));
    EXPECT_EQ(1, used);
    EXPECT_EQ(5.0, eng("5-3", &used));
    EXPECT_EQ(1, used);
    // A byte above 127 is never a letter, whatever the locale.
    EXPECT_EQ(5.0, eng("5\xc2\xb5", &used));
    EXPECT_EQ(1, used);
    // "1e" reads 1 and takes 'e' as an unknown letter.
    EXPECT_EQ(1.0, eng("1e", &used));
    EXPECT_EQ(2, used);
    EXPECT_EQ(1e5, eng("1e5", &used));
    EXPECT_EQ(3, used);
}

TEST(EngNumParse, ExponentsAndPlainNumbers)
{
    int used = 0;
    EXPECT_DOUBLE_EQ(1e6, eng("1e3k", &used));
    EXPECT_EQ(4, used);
    EXPECT_DOUBLE_EQ(1.5e-6, eng("1.5E-6", &used));
    EXPECT_EQ(0.1, eng("0.1", &used));
    EXPECT_EQ(3, used);
    EXPECT_EQ(-2.5, eng("-2.5", &used));
    EXPECT_EQ(0.5, eng(".5", &used));
    EXPECT_EQ(3.0, eng("3.", &used));
    EXPECT_EQ(2, used);
    // strtod's own forms: white space and '+'.
    EXPECT_EQ(2500.0, eng("  +2.5k", &used));
    EXPECT_EQ(7, used);
    EXPECT_EQ(-2000.0, eng("-2k", &used));
    // Out of range reads as strtod does.
    EXPECT_TRUE(std::isinf(eng("1e999", &used)));
    EXPECT_EQ(5, used);
    EXPECT_EQ(0.0, eng("1e-999", &used));
    // A subnormal.
    EXPECT_EQ(std::strtod("4e-320", nullptr), eng("4e-320", &used));
}

namespace {

// Checks one text against the C library's strtod (the test runs in the C
// locale): the same value, bit for bit, and the same end, except that a
// letter after a non-zero number is taken as an unknown unit.
void expectSameAsStrtod(const std::string &text)
{
    char *cEnd = nullptr;
    double expected = std::strtod(text.c_str(), &cEnd);
    int used = 0;
    const double got = eng(text.c_str(), &used);
    int expectedUsed = static_cast<int>(cEnd - text.c_str());
    const bool letter = (*cEnd | 0x20) >= 'a' && (*cEnd | 0x20) <= 'z';
    if (expected != 0 && letter) {
        // Only 'e' and 'E' occur here: an unknown unit, then "4k7" digits.
        ++expectedUsed;
        int digits = 0;
        while (std::isdigit(static_cast<unsigned char>(cEnd[1 + digits])))
            ++digits;
        if (digits > 0) {
            expected += std::atoi(std::string(cEnd + 1, static_cast<std::size_t>(digits)).c_str()) /
                        std::pow(10.0, digits);
            expectedUsed += digits;
        }
    }
    ASSERT_EQ(expectedUsed, used) << text;
    if (expected == 0)
        ASSERT_EQ(0.0, got) << text;
    else
        ASSERT_EQ(0, std::memcmp(&expected, &got, sizeof got)) << text << " " << expected << " " << got;
}

} // namespace

TEST(EngNumParse, PlainNumbersReadExactlyAsStrtod)
{
    std::mt19937_64 random(12345);
    // Random texts over the characters of a number.
    const char alphabet[] = "0123456789.eE+-";
    for (int i = 0; i < 100000; ++i) {
        std::string t;
        int n = 1 + static_cast<int>(random() % 12);
        for (int k = 0; k < n; ++k)
            t += alphabet[random() % (sizeof alphabet - 1)];
        expectSameAsStrtod(t);
    }
    // Random doubles printed in several forms, with long mantissas too.
    const char *formats[] = {"%.17g", "%.3g", "%.25e", "%.9f", "%.0f"};
    for (int i = 0; i < 100000; ++i) {
        std::uint64_t bits = random();
        double d;
        std::memcpy(&d, &bits, sizeof d);
        if (!std::isfinite(d))
            continue;
        if (i % 2 == 0)
            d = std::ldexp(static_cast<double>(bits % 100000000), static_cast<int>(random() % 120) - 60);
        char buf[400];
        std::snprintf(buf, sizeof buf, formats[i % 5], d);
        expectSameAsStrtod(buf);
    }
    const char *hard[] = {"9007199254740993", "9007199254740992.5", "1e22", "1e23", "123456789012345678901234567890",
                          "0.000000000000000000000000000001", "2.2250738585072011e-308", "4.9e-324", "2.4e-324",
                          "1.7976931348623157e308", "1.7976931348623159e308", "0.1e-22", "1e-22", "00000000000000000000001.5",
                          "1.00000000000000000000000000001", "7.2057594037927933e16", "-.5e1", "1e0000000000000000000001"};
    for (const char *h : hard)
        expectSameAsStrtod(h);
}

TEST(EngNumParse, ZeroTakesNoSuffix)
{
    int used = 0;
    EXPECT_EQ(0.0, eng("0k", &used));
    EXPECT_EQ(1, used);
    EXPECT_EQ(0.0, eng("0meg", &used));
    EXPECT_EQ(1, used);
    EXPECT_EQ(0.0, eng("0.000", &used));
    EXPECT_EQ(5, used);
    EXPECT_EQ(0.0, eng("-0k5", &used));
    EXPECT_EQ(2, used);
    EXPECT_FALSE(std::signbit(eng("-0", &used)));
}

TEST(EngNumParse, RefusedForms)
{
    int used = -1;
    EXPECT_EQ(0.0, eng("0x10", &used));
    EXPECT_EQ(1, used); // on the 'x'
    EXPECT_EQ(0.0, eng("0X1F", &used));
    EXPECT_EQ(1, used);
    EXPECT_EQ(0.0, eng("infinity", &used));
    EXPECT_EQ(0, used);
    EXPECT_EQ(0.0, eng("INF", &used));
    EXPECT_EQ(0, used);
    EXPECT_EQ(0.0, eng("NaN", &used));
    EXPECT_EQ(0, used);
    EXPECT_EQ(0.0, eng("abc", &used));
    EXPECT_EQ(0, used);
    EXPECT_EQ(0.0, eng("", &used));
    EXPECT_EQ(0, used);
    EXPECT_EQ(0.0, eng("-", &used));
    EXPECT_EQ(0, used);
    EXPECT_EQ(0.0, eng(".", &used));
    EXPECT_EQ(0, used);
    EXPECT_EQ(0.0, eng("k", &used));
    EXPECT_EQ(0, used);
}

TEST(EngNumParse, NullTextLeavesEndAlone)
{
    char marker[] = "x";
    char *end = marker;
    EXPECT_EQ(0.0, sp_ConvertEngToReal(static_cast<const char *>(nullptr), &end));
    EXPECT_EQ(marker, end);
    EXPECT_EQ(0.0, sp_ConvertEngToReal(static_cast<const char *>(nullptr), nullptr));
    EXPECT_EQ(4700.0, sp_ConvertEngToReal("4k7", nullptr));
}

TEST(EngNumParse, YStringAndQStringForms)
{
    YString y("10meg rest");
    char *end = nullptr;
    EXPECT_EQ(1e7, sp_ConvertEngToReal(y, &end));
    EXPECT_EQ(y.tocs() + 5, end);
    EXPECT_EQ(0.0, sp_ConvertEngToReal(YString(), &end));
    EXPECT_EQ(4700.0, sp_ConvertEngToReal(QString("4k7")));
    EXPECT_DOUBLE_EQ(1.5e-9, sp_ConvertEngToReal(QString("1.5e-9")));
    // Non-ASCII and long text go through the UTF-8 form.
    EXPECT_EQ(5.0, sp_ConvertEngToReal(QString::fromUtf8("5\xc2\xb5V")));
    EXPECT_EQ(2200.0, sp_ConvertEngToReal(QString("2k2") + QString(100, QChar(' '))));
    EXPECT_EQ(0.0, sp_ConvertEngToReal(QString()));
}

TEST(EngNumToken, StepsOverUnits)
{
    char text[] = "10Hz next";
    char *cursor = text;
    bool failed = true;
    EXPECT_EQ(10.0, sp_GetEngToken(&cursor, &failed));
    EXPECT_FALSE(failed);
    EXPECT_EQ(text + 4, cursor); // past the 'z'

    char text2[] = "4k7Ohm_VOLTS2";
    cursor = text2;
    EXPECT_EQ(4700.0, sp_GetEngToken(&cursor, &failed));
    EXPECT_FALSE(failed);
    EXPECT_EQ('2', *cursor);

    char text3[] = "1.5kOhm,x";
    cursor = text3;
    EXPECT_EQ(1500.0, sp_GetEngToken(&cursor, &failed));
    EXPECT_EQ(',', *cursor);
}

TEST(EngNumToken, FailureKeepsCursor)
{
    char text[] = "Ohm";
    char *cursor = text;
    bool failed = false;
    EXPECT_EQ(0.0, sp_GetEngToken(&cursor, &failed));
    EXPECT_TRUE(failed);
    EXPECT_EQ(text, cursor);

    failed = false;
    EXPECT_EQ(0.0, sp_GetEngToken(nullptr, &failed));
    EXPECT_TRUE(failed);
    char *nothing = nullptr;
    failed = false;
    EXPECT_EQ(0.0, sp_GetEngToken(&nothing, &failed));
    EXPECT_TRUE(failed);
    // A zero is a number: "0k" steps over the 'k' as a unit.
    char zero[] = "0k ";
    cursor = zero;
    EXPECT_EQ(0.0, sp_GetEngToken(&cursor, &failed));
    EXPECT_FALSE(failed);
    EXPECT_EQ(zero + 2, cursor);
    // failed may be null.
    char plain[] = "3";
    cursor = plain;
    EXPECT_EQ(3.0, sp_GetEngToken(&cursor, nullptr));
}

TEST(EngNumFormat, FixedField)
{
    EXPECT_EQ("1.5k  ", str(sp_FormatEng(1500.0, 6, false, false)));
    EXPECT_EQ("1Meg  ", str(sp_FormatEng(1e6, 6, false, false)));
    EXPECT_EQ("100E18  ", str(sp_FormatEng(1e20, 8, false, false)));
    EXPECT_EQ("5%    ", str(sp_FormatEng(0.05, 6, true, false)));
    EXPECT_EQ("0     ", str(sp_FormatEng(0.0, 6, false, false)));
    EXPECT_EQ("0     ", str(sp_FormatEng(1e-301, 6, false, false)));
    EXPECT_EQ("INF", str(sp_FormatEng(std::nan(""), 6, false, false)));
    EXPECT_EQ("INF", str(sp_FormatEng(HUGE_VAL, 6, false, false)));
    EXPECT_EQ("INF", str(sp_FormatEng(-HUGE_VAL, 6, true, true)));
    EXPECT_EQ("-1.5k ", str(sp_FormatEng(-1500.0, 6, false, false)));
    EXPECT_EQ("4.7k", str(sp_FormatEng(4700.0, 4, false, false)));
    EXPECT_EQ("22n     ", str(sp_FormatEng(22e-9, 8, false, false)));
    // Width 11: 10 - 1 (suffix) = 9 significant digits.
    EXPECT_EQ("1.2345678u ", str(sp_FormatEng(1.2345678e-6, 11, false, false)));
    EXPECT_EQ("1.235u", str(sp_FormatEng(1.2345678e-6, 6, false, false)));
    EXPECT_EQ("1a    ", str(sp_FormatEng(1e-18, 6, false, false)));
    EXPECT_EQ("10T   ", str(sp_FormatEng(1e13, 6, false, false)));
    EXPECT_EQ("1E15  ", str(sp_FormatEng(1e15, 6, false, false)));
    EXPECT_EQ("100E-21   ", str(sp_FormatEng(1e-19, 10, false, false)));
    EXPECT_EQ("500m  ", str(sp_FormatEng(0.5, 6, false, false)));
}

TEST(EngNumFormat, PercentForms)
{
    EXPECT_EQ("250ppm", str(sp_FormatEng(0.00025, 6, true, false)));
    EXPECT_EQ("0.1ppm", str(sp_FormatEng(1e-7, 6, true, false)));
    // Below 1e-7 or from 10 up the ordinary suffixes are used.
    EXPECT_EQ("50n   ", str(sp_FormatEng(5e-8, 6, true, false)));
    EXPECT_EQ("10    ", str(sp_FormatEng(10.0, 6, true, false)));
    EXPECT_EQ("100%  ", str(sp_FormatEng(1.0, 6, true, false)));
    EXPECT_EQ("-50%  ", str(sp_FormatEng(-0.5, 6, true, false)));
}

TEST(EngNumFormat, SmallWidthsGrowToTheIntegerPart)
{
    // Width below 3: raised to the digits of the integer part.
    EXPECT_EQ("123k", str(sp_FormatEng(123456.0, 2, false, false)));
    EXPECT_EQ("12.3k", str(sp_FormatEng(12345.0, 1, false, false)));
    // A negative value keeps the small width (log of a negative number).
    EXPECT_EQ("-123k", str(sp_FormatEng(-123456.0, 2, false, false)));
    // Zero raises a negative width to 0: one character.
    EXPECT_EQ("0", str(sp_FormatEng(0.0, 0, false, false)));
}

TEST(EngNumFormat, ZeroPadding)
{
    EXPECT_EQ("1.500k", str(sp_FormatEng(1500.0, 6, false, true)));
    EXPECT_EQ("2.000Meg", str(sp_FormatEng(2e6, 8, false, true)));
    EXPECT_EQ("1.2346k", str(sp_FormatEng(1234.56, 7, false, true)));
    EXPECT_EQ("5.000%", str(sp_FormatEng(0.05, 6, true, true)));
    EXPECT_EQ("10.000", str(sp_FormatEng(10.0, 6, false, true)));
    // Already long enough: just the suffix.
    EXPECT_EQ("123k", str(sp_FormatEng(123456.0, 3, false, true)));
}

TEST(EngNumFormat, HugeWidthIsBounded)
{
    YString s = sp_FormatEng(1.0, 1 << 30, false, false);
    EXPECT_EQ(65536, s.length());
    EXPECT_EQ('1', s.tocs()[0]);
    // A very negative width grows to the one digit of "1", plus one.
    YString neg = sp_FormatEng(1.0, -2000000000, false, false);
    EXPECT_EQ("1 ", str(neg));
}

TEST(EngNumFormat, JSEng)
{
    EXPECT_EQ("INF", str(sp_ConvertRealToJSEng(std::nan(""), 3, false)));
    EXPECT_EQ("INF", str(sp_ConvertRealToJSEng(-HUGE_VAL, 3, false)));
    EXPECT_EQ("0", str(sp_ConvertRealToJSEng(0.0, 3, false)));
    EXPECT_EQ("1.5k", str(sp_ConvertRealToJSEng(1500.0, 3, false)));
    EXPECT_EQ("1.5E3", str(sp_ConvertRealToJSEng(1500.0, 3, true)));
    EXPECT_EQ("2.2Meg", str(sp_ConvertRealToJSEng(2.2e6, 4, false)));
    EXPECT_EQ("-47u", str(sp_ConvertRealToJSEng(-47e-6, 3, false)));
    EXPECT_EQ("1E15", str(sp_ConvertRealToJSEng(1e15, 3, false)));
    EXPECT_EQ("1E-21", str(sp_ConvertRealToJSEng(1e-21, 3, false)));
    // A precision below 3 grows to the integer digits.
    EXPECT_EQ("123k", str(sp_ConvertRealToJSEng(123456.0, 1, false)));
    EXPECT_EQ("1.23457k", str(sp_ConvertRealToJSEng(1234.5678, 6, false)));
    // Very large and very small groups are scaled in three steps.
    EXPECT_EQ("1E306", str(sp_ConvertRealToJSEng(1e306, 3, false)));
    EXPECT_EQ("4.94E-324", str(sp_ConvertRealToJSEng(4.9406564584124654e-324, 3, false)));
    EXPECT_EQ("179.769E306", str(sp_ConvertRealToJSEng(std::numeric_limits<double>::max(), 6, false)));
}

TEST(EngNumFormat, FormatReal)
{
    EXPECT_EQ("3.142 ", str(sp_FormatReal(3.14159265, 6, false)));
    EXPECT_EQ("-3.14 ", str(sp_FormatReal(-3.14159265, 6, false)));
    EXPECT_EQ("1.5   ", str(sp_FormatReal(1.5, 6, false)));
    EXPECT_EQ("1e+06 ", str(sp_FormatReal(1234567.0, 6, false)));
    EXPECT_EQ("0     ", str(sp_FormatReal(0.0, 6, false)));
    EXPECT_EQ("nan   ", str(sp_FormatReal(std::nan(""), 6, false)));
    EXPECT_EQ("inf   ", str(sp_FormatReal(HUGE_VAL, 6, false)));
    // Too long even at one digit: the shortest text, not cut.
    EXPECT_EQ("1e+100", str(sp_FormatReal(1e100, 4, false)));
}

TEST(EngNumFormat, FormatRealPercent)
{
    // Width 6: p = 4, first try at 3 digits: "12.3%" is 4 long without the
    // '%', within width - 1: accepted at once.
    EXPECT_EQ("12.3% ", str(sp_FormatReal(0.123456, 6, true)));
    // Width 5: first try at 2 digits, "12%".
    EXPECT_EQ("12%  ", str(sp_FormatReal(0.123456, 5, true)));
    // Width 3: first try at 0 digits ("1e+01%"); p is 0, so no more tries and
    // the text is longer than the field.
    EXPECT_EQ("1e+01%", str(sp_FormatReal(0.123456, 3, true)));
    // Width 9: "0.00123456%" fails the first test (10 > 8); later tests count
    // the '%': "0.0012346%" (10) and "0.001235%" (9) fail, "0.00123%" (8) fits.
    EXPECT_EQ("0.00123% ", str(sp_FormatReal(0.0000123456, 9, true)));
    EXPECT_EQ("50%   ", str(sp_FormatReal(0.5, 6, true)));
}

TEST(EngNumFormat, FormatRealBadWidths)
{
    EXPECT_EQ("", str(sp_FormatReal(1.0, -10, false)));
    EXPECT_EQ("", str(sp_FormatReal(1.0, 2000000000, false)));
    // Width 0: the precision is negative, so %g's default of 6 digits.
    EXPECT_EQ("1.5", str(sp_FormatReal(1.5, 0, false)));
    // The text never outgrows the buffer of width + 10 bytes.
    EXPECT_EQ("-1.23457e", str(sp_FormatReal(-1.23456789e-300, 0, false)));
    EXPECT_EQ("-", str(sp_FormatReal(-1.5, -8, false)));
}

TEST(EngNumFormat, FormatName)
{
    char dest[16];
    YString text("alpha.beta.gamma");
    sp_FormatName(dest, 8, '.', &text);
    EXPECT_STREQ("alpha.  ", dest);
    EXPECT_EQ("beta.gamma", str(text));
    sp_FormatName(dest, 8, '.', &text);
    EXPECT_STREQ("beta.   ", dest);
    EXPECT_EQ("gamma", str(text));
    sp_FormatName(dest, 8, '.', &text);
    EXPECT_STREQ("gamma   ", dest);
    EXPECT_EQ("", str(text));

    // No break: the character at width - 1 goes back.
    YString plain("abcdefghij");
    sp_FormatName(dest, 5, '.', &plain);
    EXPECT_STREQ("abcd ", dest);
    EXPECT_EQ("efghij", str(plain));
    // A break at index 0 is no break.
    YString lead(".abcdefg");
    sp_FormatName(dest, 5, '.', &lead);
    EXPECT_STREQ(".abc ", dest);
    EXPECT_EQ("defg", str(lead));
    // Exactly width - 1 characters: the text ends first.
    YString fits("abcd");
    sp_FormatName(dest, 5, '.', &fits);
    EXPECT_STREQ("abcd ", dest);
    EXPECT_EQ("", str(fits));
    // The last break wins.
    YString two("a.b.cdefgh");
    sp_FormatName(dest, 6, '.', &two);
    EXPECT_STREQ("a.b.  ", dest);
    EXPECT_EQ("cdefgh", str(two));
}

TEST(EngNumFormat, FormatNameBadArguments)
{
    char dest[4] = {'x', 'x', 'x', 'x'};
    YString text("abc");
    sp_FormatName(dest, 0, '.', &text);
    EXPECT_EQ(0, dest[0]);
    EXPECT_EQ("abc", str(text));
    dest[0] = 'x';
    sp_FormatName(dest, -5, '.', &text);
    EXPECT_EQ('x', dest[0]);
    EXPECT_EQ("abc", str(text));
    sp_FormatName(dest, 3, '.', nullptr);
    EXPECT_STREQ("   ", dest);
    sp_FormatName(nullptr, 3, '.', &text);
    EXPECT_EQ("abc", str(text));
    // Width 1 takes nothing off.
    char one[2];
    sp_FormatName(one, 1, '.', &text);
    EXPECT_STREQ(" ", one);
    EXPECT_EQ("abc", str(text));
}

TEST(EngNumMisc, VerilogPrecision)
{
    EXPECT_EQ("1ns", str(sp_GetVlPrecStringFromResolution(1e-9)));
    EXPECT_EQ("1ns", str(sp_GetVlPrecStringFromResolution(5e-9)));
    EXPECT_EQ("", str(sp_GetVlPrecStringFromResolution(1e-16)));
    EXPECT_EQ("1fs", str(sp_GetVlPrecStringFromResolution(1e-15)));
    EXPECT_EQ("10ps", str(sp_GetVlPrecStringFromResolution(1e-11)));
    EXPECT_EQ("100us", str(sp_GetVlPrecStringFromResolution(2e-4)));
    EXPECT_EQ("1s", str(sp_GetVlPrecStringFromResolution(1.0)));
    EXPECT_EQ("100s", str(sp_GetVlPrecStringFromResolution(100.0)));
    EXPECT_EQ("100s", str(sp_GetVlPrecStringFromResolution(100.1)));
    EXPECT_EQ("", str(sp_GetVlPrecStringFromResolution(100.2)));
    EXPECT_EQ("", str(sp_GetVlPrecStringFromResolution(0.0)));
    EXPECT_EQ("", str(sp_GetVlPrecStringFromResolution(-1e-9)));
    EXPECT_EQ("", str(sp_GetVlPrecStringFromResolution(std::nan(""))));
    // The decade starts just above 0.9999 x 10^k.
    EXPECT_EQ("10ns", str(sp_GetVlPrecStringFromResolution(0.99995e-8)));
    EXPECT_EQ("1ns", str(sp_GetVlPrecStringFromResolution(9.999e-9)));
}

TEST(EngNumMisc, Versions)
{
    EXPECT_EQ(820, sp_ConvertStringToVersion("8.20"));
    EXPECT_EQ(800, sp_ConvertStringToVersion("8"));
    EXPECT_EQ(820, sp_ConvertStringToVersion("8.2"));
    EXPECT_EQ(825, sp_ConvertStringToVersion("8.25"));
    EXPECT_EQ(825, sp_ConvertStringToVersion("8.259"));
    EXPECT_EQ(1030, sp_ConvertStringToVersion("v10.3b"));
    EXPECT_EQ(0, sp_ConvertStringToVersion(""));
    EXPECT_EQ(800, sp_ConvertStringToVersion("8."));
    EXPECT_EQ(2147483647, sp_ConvertStringToVersion("99999999999"));

    EXPECT_EQ("8.20", str(sp_ConvertVersionToString(820)));
    EXPECT_EQ(".25", str(sp_ConvertVersionToString(25)));
    EXPECT_EQ("5", str(sp_ConvertVersionToString(5)));
    EXPECT_EQ("1.00", str(sp_ConvertVersionToString(100)));
    EXPECT_EQ("", str(sp_ConvertVersionToString(0)));
    EXPECT_EQ("", str(sp_ConvertVersionToString(-820)));
    EXPECT_EQ("21474836.47", str(sp_ConvertVersionToString(2147483647)));
}

TEST(EngNumMisc, VersionValues)
{
    KelvoranVersionInfo info;
    info.userValue = 77;
    sp_GetVersionValues(&info);
    EXPECT_EQ(8, info.majorVersion);
    EXPECT_EQ(30, info.minorVersion);
    EXPECT_EQ(8, info.maintenance);
    EXPECT_EQ(3, info.revision);
    EXPECT_EQ(77, info.userValue);
    EXPECT_EQ(2, info.releaseType);
    EXPECT_EQ("8.30h", str(info.versionText));
    sp_GetVersionValues(nullptr);
}

TEST(EngNumMisc, Colours)
{
    EXPECT_EQ(0x0000FF, sp_ConvertHTMLcolourToRGB("#ff0000"));
    EXPECT_EQ(0x00FF00, sp_ConvertHTMLcolourToRGB("#00FF00"));
    EXPECT_EQ(0x563412, sp_ConvertHTMLcolourToRGB("#123456"));
    EXPECT_EQ(0, sp_ConvertHTMLcolourToRGB(""));
    EXPECT_EQ(0, sp_ConvertHTMLcolourToRGB("123456"));
    EXPECT_EQ(0, sp_ConvertHTMLcolourToRGB("#12345"));
    // The last six characters count; a non-digit counts as 0.
    EXPECT_EQ(0x563412, sp_ConvertHTMLcolourToRGB("#99123456"));
    EXPECT_EQ(0x050001, sp_ConvertHTMLcolourToRGB("#z1zzz5"));

    EXPECT_EQ("#ff0000", str(sp_ConvertRGBcolourToHTML(0xFF)));
    EXPECT_EQ("#123456", str(sp_ConvertRGBcolourToHTML(0x563412)));
    EXPECT_EQ("#ffffff", str(sp_ConvertRGBcolourToHTML(-1)));
    EXPECT_EQ(0x563412, sp_ConvertHTMLcolourToRGB(sp_ConvertRGBcolourToHTML(0x563412)));
}

namespace {

// Switches the process to a German locale (decimal comma), building it in a
// temporary directory with localedef when the system does not have it.
bool enterGermanLocale()
{
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr)
        return true;
    std::string dir = kvtest::makeTempDir("locale");
    QProcess localedef;
    localedef.start("localedef", {"-i", "de_DE", "-f", "UTF-8", QString::fromStdString(dir + "/de_DE.UTF-8")});
    if (!localedef.waitForFinished(60000) || localedef.exitCode() != 0)
        return false;
    setenv("LOCPATH", dir.c_str(), 1);
    bool ok = std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
    unsetenv("LOCPATH");
    return ok;
}

} // namespace

TEST(EngNumLocale, DecimalCommaLocaleChangesNothing)
{
    if (!enterGermanLocale())
        GTEST_SKIP() << "no German locale available and localedef could not build one";
    // The C library now reads "1.5" as 1 and prints a comma.
    EXPECT_EQ(1.0, std::strtod("1.5", nullptr));
    int used = 0;
    EXPECT_EQ(1500.0, eng("1.5k", &used));
    EXPECT_EQ(4, used);
    EXPECT_EQ(2500.0, eng(" +2.5k", &used)); // through the strtod path
    EXPECT_DOUBLE_EQ(2200, eng("1.5k7", &used));
    EXPECT_EQ("1.5k  ", str(sp_FormatEng(1500.0, 6, false, false)));
    EXPECT_EQ("1.500k", str(sp_FormatEng(1500.0, 6, false, true)));
    EXPECT_EQ("2.2Meg", str(sp_ConvertRealToJSEng(2.2e6, 4, false)));
    EXPECT_EQ("3.142 ", str(sp_FormatReal(3.14159265, 6, false)));
    EXPECT_EQ("8.30h", str([] {
                  KelvoranVersionInfo info;
                  sp_GetVersionValues(&info);
                  return info.versionText;
              }()));
    std::setlocale(LC_ALL, "C");
}

TEST(EngNumParse, FractionDigitsAreAddedToTheSignedNumber)
{
    int used = 0;
    // The digits are added before the multiplier, whatever the sign: -4 + 0.7.
    EXPECT_DOUBLE_EQ(-3300.0, eng("-4k7", &used));
    EXPECT_EQ(4, used);
    // "mil" takes digits as the table's letters do.
    EXPECT_DOUBLE_EQ(1.5 * 2.54e-5, eng("1mil5", &used));
    EXPECT_EQ(5, used);
    // An unknown letter in any case multiplies by 1 and takes digits too.
    EXPECT_DOUBLE_EQ(2.25, eng("2X25", &used));
    EXPECT_EQ(4, used);
    // No digits after the suffix: nothing added, the end stays on the sign.
    EXPECT_DOUBLE_EQ(1500.0, eng("1.5k-7", &used));
    EXPECT_EQ(4, used);
    // The PSpice dialect takes 'A' in either case with a multiplier of 1.
    EXPECT_DOUBLE_EQ(1.5, pspice("1A5", &used));
    EXPECT_EQ(3, used);
    EXPECT_DOUBLE_EQ(1e-18, eng("1A", &used));
    // "meg" wins over 'm' only when all three letters are there.
    EXPECT_DOUBLE_EQ(1e-3, eng("1me", &used));
    EXPECT_EQ(2, used);
    EXPECT_DOUBLE_EQ(1e-3, eng("1mi", &used));
    EXPECT_EQ(2, used);
}

TEST(EngNumToken, StepsOverTheUnitAfterMeg)
{
    char text[] = "1megohm rest";
    char *cursor = text;
    bool failed = true;
    EXPECT_EQ(1e6, sp_GetEngToken(&cursor, &failed));
    EXPECT_FALSE(failed);
    EXPECT_EQ(text + 7, cursor);
    EXPECT_EQ(' ', *cursor);
}

TEST(EngNumFormat, PercentBoundaries)
{
    // 0.001 is the smallest "%" value: 0.1%, three digits at most.
    EXPECT_EQ("0.1%  ", str(sp_FormatEng(0.001, 6, true, false)));
    // Just below it: parts per million.
    EXPECT_EQ("999ppm", str(sp_FormatEng(0.000999, 6, true, false)));
    // Just below 10: still a percentage.
    EXPECT_EQ("999%  ", str(sp_FormatEng(9.99, 6, true, false)));
    // Without usePercent the same values take the table's suffixes.
    EXPECT_EQ("1m    ", str(sp_FormatEng(0.001, 6, false, false)));
    EXPECT_EQ("999u  ", str(sp_FormatEng(0.000999, 6, false, false)));
}

TEST(EngNumFormat, ZeroPaddingOfANegativeValue)
{
    // Width 7: w = 6, one digit less for the suffix and one for the sign.
    EXPECT_EQ("-1.500k", str(sp_FormatEng(-1500.0, 7, false, true)));
    // A text with no point gets one before the zeros.
    EXPECT_EQ("-2.00k", str(sp_FormatEng(-2000.0, 6, false, true)));
}

TEST(EngNumFormat, TheFloorOfTinyMagnitudesIsExclusive)
{
    // 1e-300 itself is not below the floor: group -100, suffix E-300.
    EXPECT_EQ("1E-300  ", str(sp_FormatEng(1e-300, 8, false, false)));
    // Below it a negative value keeps its sign on the zero: -1 x 0 is -0.
    EXPECT_EQ("-0      ", str(sp_FormatEng(-1e-301, 8, false, false)));
    EXPECT_EQ("0       ", str(sp_FormatEng(1e-301, 8, false, false)));
}

TEST(EngNumFormat, JSEngExponentOnlyAndGroupLimits)
{
    // exponentOnly writes the exponent even for group 0.
    EXPECT_EQ("5E0", str(sp_ConvertRealToJSEng(5.0, 3, true)));
    EXPECT_EQ("4.7E-3", str(sp_ConvertRealToJSEng(4.7e-3, 3, true)));
    EXPECT_EQ("1Meg", str(sp_ConvertRealToJSEng(1e6, 3, false)));
    EXPECT_EQ("1a", str(sp_ConvertRealToJSEng(1e-18, 3, false)));
    EXPECT_EQ("1T", str(sp_ConvertRealToJSEng(1e12, 3, false)));
    // Group -100 still takes one division; -101 takes three.
    EXPECT_EQ("1E-300", str(sp_ConvertRealToJSEng(1e-300, 3, false)));
    EXPECT_EQ("100E-303", str(sp_ConvertRealToJSEng(1e-301, 3, false)));
    // There is no floor here, unlike sp_FormatEng.
    EXPECT_EQ("-2E-306", str(sp_ConvertRealToJSEng(-2e-306, 3, false)));
}

TEST(EngNumMisc, VersionTextsOfTwoDigitsAndLess)
{
    EXPECT_EQ(".10", str(sp_ConvertVersionToString(10)));
    EXPECT_EQ(".99", str(sp_ConvertVersionToString(99)));
    EXPECT_EQ("1", str(sp_ConvertVersionToString(1)));
    EXPECT_EQ("9", str(sp_ConvertVersionToString(9)));
    EXPECT_EQ("83.00", str(sp_ConvertVersionToString(8300)));
    // The reading stops two characters behind the first point, digits or not;
    // the scale follows the digits among them.
    EXPECT_EQ(830, sp_ConvertStringToVersion("8.3.1"));
    EXPECT_EQ(820, sp_ConvertStringToVersion("8.2x5"));
    EXPECT_EQ(800, sp_ConvertStringToVersion("8.xy5"));
    EXPECT_EQ(825, sp_ConvertStringToVersion("8.25.7"));
    EXPECT_EQ(5, sp_ConvertStringToVersion(".05"));
    EXPECT_EQ(50, sp_ConvertStringToVersion(".5"));
}

TEST(EngNumMisc, ColoursInMixedCase)
{
    EXPECT_EQ(0xAB + 256 * 0xCD + 65536 * 0xEF, sp_ConvertHTMLcolourToRGB("#aBcDeF"));
    EXPECT_EQ("#abcdef", str(sp_ConvertRGBcolourToHTML(0xEFCDAB)));
    // Exactly six characters after the '#'.
    EXPECT_EQ(0x010000, sp_ConvertHTMLcolourToRGB("#000001"));
    EXPECT_EQ("#000000", str(sp_ConvertRGBcolourToHTML(0)));
}

TEST(EngNumFormat, FormatNameBreaksAtTheEdgesOfTheField)
{
    char dest[16];
    // A break at index width - 1 is seen: the field is full, the break in it.
    YString atEdge("abcd.efg");
    sp_FormatName(dest, 5, '.', &atEdge);
    EXPECT_STREQ("abcd.", dest);
    EXPECT_EQ("efg", str(atEdge));
    // A break at index 1 is the first that counts.
    YString early("a.bcdefg");
    sp_FormatName(dest, 5, '.', &early);
    EXPECT_STREQ("a.   ", dest);
    EXPECT_EQ("bcdefg", str(early));
    // Exactly width characters and no break: the last one goes back.
    YString exact("abcde");
    sp_FormatName(dest, 5, '.', &exact);
    EXPECT_STREQ("abcd ", dest);
    EXPECT_EQ("e", str(exact));
    // An empty text gives a blank field and stays empty.
    YString empty("");
    sp_FormatName(dest, 4, '.', &empty);
    EXPECT_STREQ("    ", dest);
    EXPECT_EQ("", str(empty));
    // Width 2 holds one character: "ab" keeps "b" back.
    YString two("ab");
    sp_FormatName(dest, 2, '.', &two);
    EXPECT_STREQ("a ", dest);
    EXPECT_EQ("b", str(two));
}

TEST(EngNumFormat, SmallPrecisionsAndTheSignAsymmetry)
{
    // Width 4: three characters less the suffix is two digits, raised to 3;
    // the text then outgrows the field, which is not cut.
    EXPECT_EQ("1.23m", str(sp_FormatEng(1.23456e-3, 4, false, false)));
    // The unpadded form raises a small precision only for a positive value:
    // a negative one keeps its single digit.
    EXPECT_EQ("123k", str(sp_ConvertRealToJSEng(123456.0, 2, false)));
    EXPECT_EQ("-1e+02k", str(sp_ConvertRealToJSEng(-123456.0, 1, false)));
    EXPECT_EQ("-1.2k", str(sp_ConvertRealToJSEng(-1234.0, 2, false)));
}

TEST(EngNumToken, RefusedFormsAndUnitsAfterTheNumber)
{
    bool failed = false;
    // "inf" takes nothing: a failure, the cursor stays.
    char inf[] = "inf";
    char *cursor = inf;
    EXPECT_EQ(0.0, sp_GetEngToken(&cursor, &failed));
    EXPECT_TRUE(failed);
    EXPECT_EQ(inf, cursor);
    // Hexadecimal takes its '0'; the 'x' then goes as a unit letter.
    char hex[] = "0x10";
    cursor = hex;
    EXPECT_EQ(0.0, sp_GetEngToken(&cursor, &failed));
    EXPECT_FALSE(failed);
    EXPECT_EQ(hex + 2, cursor);
    // "4k7uF": the parser stops on 'u', the unit run takes "uF".
    char cap[] = "4k7uF;";
    cursor = cap;
    EXPECT_EQ(4700.0, sp_GetEngToken(&cursor, &failed));
    EXPECT_EQ(';', *cursor);
    // Digits after the unit stay.
    char volts[] = "5V_DC12";
    cursor = volts;
    EXPECT_EQ(5.0, sp_GetEngToken(&cursor, &failed));
    EXPECT_EQ('1', *cursor);
}

TEST(EngNumMisc, VerilogPrecisionDecadeEdges)
{
    // Each decade runs from above 0.9999 x 10^k up to 9.999 x 10^k.
    EXPECT_EQ("", str(sp_GetVlPrecStringFromResolution(0.9999e-15)));
    EXPECT_EQ("1fs", str(sp_GetVlPrecStringFromResolution(9.999e-15)));
    EXPECT_EQ("10fs", str(sp_GetVlPrecStringFromResolution(1e-14)));
    EXPECT_EQ("100fs", str(sp_GetVlPrecStringFromResolution(5e-13)));
    EXPECT_EQ("1ps", str(sp_GetVlPrecStringFromResolution(1e-12)));
    EXPECT_EQ("100ps", str(sp_GetVlPrecStringFromResolution(1e-10)));
    EXPECT_EQ("10ns", str(sp_GetVlPrecStringFromResolution(1e-8)));
    EXPECT_EQ("100ns", str(sp_GetVlPrecStringFromResolution(1e-7)));
    EXPECT_EQ("1us", str(sp_GetVlPrecStringFromResolution(1e-6)));
    EXPECT_EQ("10us", str(sp_GetVlPrecStringFromResolution(1e-5)));
    EXPECT_EQ("1ms", str(sp_GetVlPrecStringFromResolution(1e-3)));
    EXPECT_EQ("10ms", str(sp_GetVlPrecStringFromResolution(1e-2)));
    EXPECT_EQ("100ms", str(sp_GetVlPrecStringFromResolution(0.1)));
    EXPECT_EQ("1s", str(sp_GetVlPrecStringFromResolution(9.999)));
    EXPECT_EQ("10s", str(sp_GetVlPrecStringFromResolution(9.9995)));
    EXPECT_EQ("10s", str(sp_GetVlPrecStringFromResolution(10.0)));
    EXPECT_EQ("", str(sp_GetVlPrecStringFromResolution(HUGE_VAL)));
}

TEST(EngNumFormat, NegativeZero)
{
    // -0 is not negative: no sign is taken off, and it prints as zero.
    EXPECT_EQ("0     ", str(sp_FormatEng(-0.0, 6, false, false)));
    EXPECT_EQ("0", str(sp_ConvertRealToJSEng(-0.0, 3, false)));
    // The plain form prints what %g gives, with the precision of a value of
    // at least 0.
    EXPECT_EQ("-0    ", str(sp_FormatReal(-0.0, 6, false)));
}
