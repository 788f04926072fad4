// Tests of the typed printf engine, its sinks and the sizing pass.
#include <kvsupport/printf.h>
#include <kvsupport/ystring.h>

#include <gtest/gtest.h>

#include <QString>

#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::string fmt(const char *format)
{
    char b[512];
    sp_sprintf(b, sizeof b, format);
    return b;
}

std::string fmt(const char *format, const PrintfArg &a)
{
    char b[512];
    sp_sprintf(b, sizeof b, format, a);
    return b;
}

std::string fmt(const char *format, const PrintfArg &a, const PrintfArg &b2)
{
    char b[512];
    sp_sprintf(b, sizeof b, format, a, b2);
    return b;
}

std::string fmt(const char *format, const PrintfArg &a, const PrintfArg &b2, const PrintfArg &c)
{
    char b[512];
    sp_sprintf(b, sizeof b, format, a, b2, c);
    return b;
}

int estimate(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    int n = sp_EstimatePrintfBufferSize(format, args);
    va_end(args);
    return n;
}

std::string readFile(std::FILE *f)
{
    std::fflush(f);
    std::rewind(f);
    std::string s;
    char buf[256];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0)
        s.append(buf, n);
    return s;
}

// Exposes the growing sink's buffer and the engine's argument count.
class Growing : public VarStringPrintfBuf {
public:
    std::string text() const { return getBuffer(); }
};

// A sink that records which printf_local overload each piece reached.
class Recorder : public PrintfBuf {
public:
    std::vector<std::string> calls;
    int writes = 0;
    bool run(const char *format, const PrintfArg **args, int count, int *used)
    {
        return process(format, used, args, count);
    }

protected:
    void printf_local(const char *f, long long v, int w) override
    {
        calls.push_back("ll:" + std::string(f) + ":" + std::to_string(v) + ":" + std::to_string(w));
    }
    void printf_local(const char *f, int v, int w) override
    {
        calls.push_back("i:" + std::string(f) + ":" + std::to_string(v) + ":" + std::to_string(w));
    }
    void printf_local(const char *f, double v, int w) override
    {
        char b[64];
        std::snprintf(b, sizeof b, "%g", v);
        calls.push_back("d:" + std::string(f) + ":" + b + ":" + std::to_string(w));
    }
    void printf_local(const char *f, const char *v, int w) override
    {
        calls.push_back("s:" + std::string(f) + ":" + (v ? v : "(null)") + ":" + std::to_string(w));
    }
    void printf_local(const char *text) override { calls.push_back("t:" + std::string(text)); }
    void write() override { ++writes; }
};

} // namespace

// ---------------------------------------------------------------------------
// Conversions of each argument type

TEST(PrintfConvert, StringAsInteger)
{
    EXPECT_EQ(fmt("%d", PrintfArg("42")), "42");
    EXPECT_EQ(fmt("%d", PrintfArg("  -17xyz")), "-17");
    EXPECT_EQ(fmt("%d", PrintfArg("abc")), "0");
    EXPECT_EQ(fmt("%I64d", PrintfArg("123456789012")), "123456789012");
    EXPECT_EQ(fmt("%c", PrintfArg("66")), "B");
}

TEST(PrintfConvert, StringAsDouble)
{
    EXPECT_EQ(fmt("%g", PrintfArg("2.5e3")), "2500");
    EXPECT_EQ(fmt("%.1f", PrintfArg("nonsense")), "0.0");
}

TEST(PrintfConvert, NumbersAsText)
{
    EXPECT_EQ(fmt("%s", PrintfArg(3.5)), "3.5");
    EXPECT_EQ(fmt("%s", PrintfArg(1e20)), "1e+20");
    EXPECT_EQ(fmt("%s", PrintfArg(-12)), "-12");
    EXPECT_EQ(fmt("%s", PrintfArg(5000000000LL)), "5000000000");
    EXPECT_EQ(fmt("[%6s]", PrintfArg(42)), "[    42]");
}

TEST(PrintfConvert, DoubleAsInteger)
{
    EXPECT_EQ(fmt("%d", PrintfArg(3.7)), "3");
    EXPECT_EQ(fmt("%d", PrintfArg(-3.7)), "-4"); // floor
    EXPECT_EQ(fmt("%I64d", PrintfArg(-3.7)), "-3"); // truncation toward zero
    EXPECT_EQ(fmt("%lld", PrintfArg(1e10)), "10000000000");
    EXPECT_EQ(fmt("%x", PrintfArg(255.9)), "ff");
}

TEST(PrintfConvert, Int64ClampedSymmetrically)
{
    EXPECT_EQ(fmt("%d", PrintfArg(5000000000LL)), "2147483647");
    EXPECT_EQ(fmt("%I64d", PrintfArg(5000000000LL)), "5000000000");
    EXPECT_EQ(fmt("%d", PrintfArg(-5000000000LL)), "-2147483647");
    EXPECT_EQ(fmt("%d", PrintfArg(-2147483648LL)), "-2147483647");
    EXPECT_EQ(fmt("%g", PrintfArg(5000000000LL)), "5e+09");
}

TEST(PrintfConvert, IntWidens)
{
    EXPECT_EQ(fmt("%I64d", PrintfArg(-5)), "-5");
    EXPECT_EQ(fmt("%I64x", PrintfArg(-1)), "ffffffffffffffff"); // sign-extended
    EXPECT_EQ(fmt("%.2f", PrintfArg(3)), "3.00");
}

TEST(PrintfConvert, UnsupportedAndUnknownTypes)
{
    PrintfArg unsupported = PrintfArg::ofType(PrintfArgUnsupported);
    EXPECT_EQ(fmt("%s", unsupported), "<unsupported>");
    EXPECT_EQ(fmt("%d", unsupported), "0");
    EXPECT_EQ(fmt("%g", unsupported), "0");
    EXPECT_EQ(fmt("%I64d", unsupported), "0");
    PrintfArg odd = PrintfArg::ofType(9);
    EXPECT_EQ(fmt("%s", odd), "<error>");
    EXPECT_EQ(fmt("%d", odd), "0");
    char scratch[64];
    EXPECT_STREQ(PrintfArg().asText(scratch, sizeof scratch), "<undefined>");
}

TEST(PrintfConvert, NullTextGoesToTheFormatter)
{
    char expected[64];
    const char *volatile nothing = nullptr;
    std::snprintf(expected, sizeof expected, "%s", nothing);
    EXPECT_EQ(fmt("%s", PrintfArg(static_cast<const char *>(nullptr))), expected);
}

TEST(PrintfConvert, OwnedTextOfYStringAndQString)
{
    PrintfArg y(YString("from YString"));
    PrintfArg q(QString::fromUtf8("gr\xc3\xbc\xc3\x9f"));
    PrintfArg copy = y;
    EXPECT_EQ(fmt("%s|%s|%s", y, q, copy), "from YString|gr\xc3\xbc\xc3\x9f|from YString");
    PrintfArg assigned(1);
    assigned = q;
    EXPECT_EQ(fmt("%s", assigned), "gr\xc3\xbc\xc3\x9f");
}

TEST(PrintfConvert, CharactersAndBases)
{
    EXPECT_EQ(fmt("%c", PrintfArg(65)), "A");
    EXPECT_EQ(fmt("%x %X %o %u", PrintfArg(255), PrintfArg(255), PrintfArg(8)), "ff FF 10 <arg-missing>");
    EXPECT_EQ(fmt("%u", PrintfArg(-1)), "4294967295");
}

// ---------------------------------------------------------------------------
// Format parsing

TEST(PrintfParse, MissingArguments)
{
    char b[100];
    EXPECT_FALSE(sp_sprintf(b, sizeof b, "%d %d", PrintfArg(1)));
    EXPECT_STREQ(b, "1 <arg-missing>");
    EXPECT_FALSE(sp_sprintf(b, sizeof b, "x%sy"));
    EXPECT_STREQ(b, "x<arg-missing>y");
}

TEST(PrintfParse, UndefinedArgumentIsMissingButResultStaysTrue)
{
    char b[100];
    EXPECT_TRUE(sp_sprintf(b, sizeof b, "%d|%d", PrintfArg(), PrintfArg(2)));
    EXPECT_STREQ(b, "<arg-missing>|2");
}

TEST(PrintfParse, ExtraArgumentsAreIgnored)
{
    char b[100];
    EXPECT_TRUE(sp_sprintf(b, sizeof b, "%d", PrintfArg(1), PrintfArg(2), PrintfArg(3), PrintfArg(4)));
    EXPECT_STREQ(b, "1");
    EXPECT_TRUE(sp_sprintf(b, sizeof b, "plain", PrintfArg(1)));
    EXPECT_STREQ(b, "plain");
}

TEST(PrintfParse, SizeModifiers)
{
    EXPECT_EQ(fmt("%ld", PrintfArg(5000000000LL)), "2147483647"); // 'l' changes nothing
    EXPECT_EQ(fmt("%ls", PrintfArg("narrow")), "narrow");
    EXPECT_EQ(fmt("%hd", PrintfArg(70000)), "70000");
    EXPECT_EQ(fmt("%wd", PrintfArg(7)), "7");
    EXPECT_EQ(fmt("%I32d", PrintfArg(5000000000LL)), "2147483647");
    EXPECT_EQ(fmt("%Id", PrintfArg(12)), "12");
    EXPECT_EQ(fmt("%lld", PrintfArg(5000000000LL)), "5000000000");
    EXPECT_EQ(fmt("%lf", PrintfArg(0.25)), "0.250000");
}

TEST(PrintfParse, UnsupportedConversionsConsumeAnArgument)
{
    char b[100];
    int x = 0;
    EXPECT_TRUE(sp_sprintf(b, sizeof b, "%p %d", PrintfArg(reinterpret_cast<long long>(&x)), PrintfArg(5)));
    EXPECT_STREQ(b, "<unsupported-format-type> 5");
    EXPECT_EQ(fmt("%n|%C|%S|%d", PrintfArg(1), PrintfArg(2), PrintfArg(3)),
              "<unsupported-format-type>|<unsupported-format-type>|<unsupported-format-type>|<arg-missing>");
    EXPECT_TRUE(sp_sprintf(b, sizeof b, "%y%d", PrintfArg(1), PrintfArg(2)));
    EXPECT_STREQ(b, "<unrecognised-format-type>2");
}

TEST(PrintfParse, PercentLiteral)
{
    EXPECT_EQ(fmt("100%%"), "100%");
    EXPECT_EQ(fmt("%%d", PrintfArg(3)), "%d"); // the literal run keeps the '%'
    // "%%%%" gathers as "%%" in the literal run, which the formatter then
    // reads once more as a format: one '%' is left.
    EXPECT_EQ(fmt("a%%%%b"), "a%b");
    EXPECT_EQ(fmt("%d%%", PrintfArg(50)), "50%");
}

TEST(PrintfParse, StarWidthAndPrecision)
{
    EXPECT_EQ(fmt("[%*d]", PrintfArg(5), PrintfArg(42)), "[   42]");
    EXPECT_EQ(fmt("[%-*d]", PrintfArg(4), PrintfArg(7)), "[7   ]");
    EXPECT_EQ(fmt("[%*d]", PrintfArg(-4), PrintfArg(7)), "[7   ]");
    EXPECT_EQ(fmt("%.*f", PrintfArg(2), PrintfArg(3.14159)), "3.14");
    EXPECT_EQ(fmt("%*.*f", PrintfArg(8), PrintfArg(3), PrintfArg(2.5)), "   2.500");
    EXPECT_EQ(fmt("[%*s]", PrintfArg("3"), PrintfArg("ab")), "[ ab]"); // width text through atoi
    char b[100];
    EXPECT_FALSE(sp_sprintf(b, sizeof b, "%*d"));
    EXPECT_STREQ(b, "<arg-missing>");
}

TEST(PrintfParse, EngineRoutesEachPieceToTheRightSink)
{
    Recorder r;
    PrintfArg a(7), b(5000000000LL), c("t"), d(2.5);
    const PrintfArg *args[] = {&a, &b, &c, &d};
    int used = -1;
    EXPECT_TRUE(r.run("x%-5d|%I64x|%#8.3s|%+e%%", args, 4, &used));
    EXPECT_EQ(used, 4);
    EXPECT_EQ(r.writes, 1);
    std::vector<std::string> expected = {"t:x",         "i:%-5d:7:5",     "t:|", "ll:%llx:5000000000:0",
                                         "t:|",         "s:%#8.3s:t:8",   "t:|", "d:%+e:2.5:0",
                                         "t:%"};
    EXPECT_EQ(r.calls, expected);
}

TEST(PrintfParse, ArgumentCountIsReportedPastTheEnd)
{
    Recorder r;
    PrintfArg a(1);
    const PrintfArg *args[] = {&a};
    int used = -1;
    EXPECT_FALSE(r.run("%d %d %d", args, 1, &used));
    EXPECT_EQ(used, 3);
}

TEST(PrintfParse, FormatEndingInsideAConversion)
{
    EXPECT_EQ(fmt("abc%"), "abc");
    EXPECT_EQ(fmt("abc%5", PrintfArg(1)), "abc");
    EXPECT_EQ(fmt("x%-", PrintfArg(1)), "x");
    char b[10];
    EXPECT_TRUE(sp_sprintf(b, sizeof b, nullptr));
    EXPECT_STREQ(b, "");
}

TEST(PrintfParse, PrintfArgsTakesAnyCount)
{
    Growing g;
    PrintfArg a(1), b(2), c(3), d(4), e(5);
    const PrintfArg *args[] = {&a, &b, &c, &d, &e};
    int used = 0;
    EXPECT_TRUE(g.printfArgs("%d%d%d%d%d", args, 5, &used));
    EXPECT_EQ(used, 5);
    EXPECT_EQ(g.text(), "12345");
}

// Every flag, width and precision against the C library's formatter.
TEST(PrintfParse, MatchesSnprintfAcrossFlagsWidthsPrecisions)
{
    const char *flags[] = {"", "-", "+", "0", "#", " ", "-0", "+ ", "#0"};
    const char *widths[] = {"", "1", "8", "25"};
    const char *precisions[] = {"", ".0", ".3", ".12"};
    int checked = 0;
    for (const char *f : flags)
        for (const char *w : widths)
            for (const char *p : precisions) {
                std::string base = std::string("%") + f + w + p;
                for (char conv : std::string("diouxX")) {
                    std::string spec = base + conv;
                    for (int v : {0, 7, -42, 123456789}) {
                        char want[128];
                        std::snprintf(want, sizeof want, spec.c_str(), v);
                        EXPECT_EQ(fmt(spec.c_str(), PrintfArg(v)), want) << spec << " " << v;
                        ++checked;
                    }
                    std::string spec64 = base + "ll" + conv;
                    char want64[128];
                    std::snprintf(want64, sizeof want64, spec64.c_str(), -9000000000LL);
                    EXPECT_EQ(fmt((base + "I64" + conv).c_str(), PrintfArg(-9000000000LL)), want64) << spec64;
                }
                for (char conv : std::string("eEfgG")) {
                    std::string spec = base + conv;
                    for (double v : {0.0, 1.5, -2.25e-7, 123456.789, 1e300}) {
                        char want[512];
                        std::snprintf(want, sizeof want, spec.c_str(), v);
                        EXPECT_EQ(fmt(spec.c_str(), PrintfArg(v)), want) << spec << " " << v;
                        ++checked;
                    }
                }
                std::string spec = base + "s";
                char want[128];
                std::snprintf(want, sizeof want, spec.c_str(), "text value");
                EXPECT_EQ(fmt(spec.c_str(), PrintfArg("text value")), want) << spec;
            }
    EXPECT_GT(checked, 3000);
}

TEST(PrintfParse, RealsIgnoreTheProcessLocale)
{
    const char *set = std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
    if (set == nullptr)
        set = std::setlocale(LC_NUMERIC, "fr_FR.UTF-8");
    EXPECT_EQ(fmt("%.2f|%g|%s", PrintfArg(1.5), PrintfArg(0.25), PrintfArg(2.5)), "1.50|0.25|2.5");
    EXPECT_EQ(fmt("%g", PrintfArg("1.5")), "1.5");
    std::setlocale(LC_NUMERIC, "C");
    if (set == nullptr)
        GTEST_SKIP() << "no locale with a decimal comma is installed; checked under C only";
}

// ---------------------------------------------------------------------------
// String sink

TEST(StringSink, NeverOverflowsAndKeepsCutText)
{
    char b[4] = {'x', 'x', 'x', 'x'};
    EXPECT_TRUE(sp_sprintf(b, 4, "%s", PrintfArg("0123456789")));
    EXPECT_STREQ(b, "012");
}

TEST(StringSink, ExactFitCountsAsNotFitting)
{
    char b[6];
    EXPECT_TRUE(sp_sprintf(b, sizeof b, "%s", PrintfArg("abcde")));
    EXPECT_STREQ(b, "abcde"); // the cut text is still there...
    EXPECT_TRUE(sp_sprintf(b, sizeof b, "%sX", PrintfArg("abcde")));
    EXPECT_STREQ(b, "X"); // ...but the write position never moved
    EXPECT_TRUE(sp_sprintf(b, sizeof b, "%s", PrintfArg("abcd")));
    EXPECT_STREQ(b, "abcd");
}

TEST(StringSink, LaterPiecesStillTried)
{
    char b[8];
    EXPECT_TRUE(sp_sprintf(b, sizeof b, "ab%sc", PrintfArg("0123456789")));
    EXPECT_STREQ(b, "abc");
}

TEST(StringSink, TerminatedAtOnceAndGetBuffer)
{
    char b[8] = "garbage";
    StringPrintfBuf s(b, sizeof b);
    EXPECT_STREQ(b, "");
    EXPECT_EQ(s.getBuffer(), b);
    s.printf("%d", PrintfArg(12));
    s.printf("%d", PrintfArg(34));
    EXPECT_STREQ(b, "1234");
}

TEST(StringSink, DegenerateBuffers)
{
    char one[1] = {'z'};
    EXPECT_TRUE(sp_sprintf(one, 1, "%d", PrintfArg(5)));
    EXPECT_EQ(one[0], '\0');
    char untouched = 'q';
    EXPECT_TRUE(sp_sprintf(&untouched, 0, "%d", PrintfArg(5)));
    EXPECT_EQ(untouched, 'q');
    EXPECT_TRUE(sp_sprintf(nullptr, 10, "%d", PrintfArg(5)));
}

// ---------------------------------------------------------------------------
// Growing sink

TEST(VarStringSink, InlineThenHeapKeepsText)
{
    Growing g;
    std::string expected;
    for (int i = 0; i < 60; ++i) {
        g.printf("%d,", PrintfArg(i));
        expected += std::to_string(i) + ",";
    }
    EXPECT_GT(expected.size(), 127u);
    EXPECT_EQ(g.text(), expected);
}

TEST(VarStringSink, ShortTextStaysInline)
{
    Growing g;
    const char *inlineStart = g.getBuffer();
    std::string t(126, 'a');
    g.printf("%s", PrintfArg(t.c_str()));
    EXPECT_EQ(g.getBuffer(), inlineStart);
    EXPECT_EQ(g.text(), t);
    // A piece that would fill the last free place exactly counts as not
    // fitting, so the 127th character moves the text to the heap.
    g.printf("b");
    EXPECT_NE(g.getBuffer(), inlineStart);
    EXPECT_EQ(g.text(), t + "b");
}

TEST(VarStringSink, LongPiecesAndLiterals)
{
    Growing g;
    std::string big(10000, 'x');
    g.printf(big.c_str());
    g.printf("%s|%s", PrintfArg(big.c_str()), PrintfArg("end"));
    EXPECT_EQ(g.text(), big + big + "|end");
}

TEST(VarStringSink, SmallWidthWithLongValueStillEnds)
{
    Growing g;
    std::string big(300, 'y');
    g.printf("%5s", PrintfArg(big.c_str()));
    EXPECT_EQ(g.text(), big);
    g.printf("%400s", PrintfArg("r"));
    EXPECT_EQ(g.text().size(), 700u);
}

TEST(VarStringSink, CopyLeavesTheHeapToItsSource)
{
    auto *g = new Growing();
    std::string big(500, 'c');
    g->printf("%s", PrintfArg(big.c_str()));
    {
        Growing copy(*g);
        EXPECT_EQ(copy.getBuffer(), g->getBuffer());
    }
    EXPECT_EQ(g->text(), big); // the copy did not free it
    delete g;
}

// ---------------------------------------------------------------------------
// File sink

TEST(FileSink, WritesEveryPiece)
{
    std::FILE *f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    EXPECT_TRUE(sp_fprintf(f, "a=%d b=%s c=%.1f 100%%\n", PrintfArg(1), PrintfArg("two"), PrintfArg(3.25)));
    EXPECT_FALSE(sp_fprintf(f, "%d %d\n", PrintfArg(9)));
    EXPECT_TRUE(sp_fprintf(f, "[%5d]", PrintfArg(42)));
    EXPECT_EQ(readFile(f), "a=1 b=two c=3.2 100%\n9 <arg-missing>\n[   42]");
    std::fclose(f);
}

TEST(FileSink, LongLiteralAndNullFile)
{
    std::FILE *f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    std::string big(1000, 'L');
    EXPECT_TRUE(sp_fprintf(f, (big + "%%" + big).c_str()));
    EXPECT_EQ(readFile(f), big + "%" + big);
    std::fclose(f);
    EXPECT_TRUE(sp_fprintf(nullptr, "%d", PrintfArg(1)));
    EXPECT_FALSE(sp_fprintf(nullptr, "%d"));
}

TEST(FileSink, OverloadsOfEveryArity)
{
    std::FILE *f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    EXPECT_TRUE(sp_fprintf(f, "0"));
    EXPECT_TRUE(sp_fprintf(f, "%d", PrintfArg(1)));
    EXPECT_TRUE(sp_fprintf(f, "%d%d", PrintfArg(2), PrintfArg(3)));
    EXPECT_TRUE(sp_fprintf(f, "%d%d%d", PrintfArg(4), PrintfArg(5), PrintfArg(6)));
    EXPECT_TRUE(sp_fprintf(f, "%d%d%d%d", PrintfArg(7), PrintfArg(8), PrintfArg(9), PrintfArg(0)));
    EXPECT_EQ(readFile(f), "01234567890");
    std::fclose(f);
}

// ---------------------------------------------------------------------------
// Sizing pass

TEST(EstimateSize, OrdinaryTextAndPercent)
{
    EXPECT_EQ(estimate(""), 0);
    EXPECT_EQ(estimate(nullptr), 0);
    EXPECT_EQ(estimate("abc"), 3);
    EXPECT_EQ(estimate("a%%b"), 2);
}

TEST(EstimateSize, ConversionTable)
{
    int x = 0;
    EXPECT_EQ(estimate("%s", "hello"), 5);
    EXPECT_EQ(estimate("%s", static_cast<const char *>(nullptr)), 0);
    EXPECT_EQ(estimate("%S", L"wide"), 4);
    EXPECT_EQ(estimate("%d", 5), 50);
    EXPECT_EQ(estimate("%x", 5), 50);
    EXPECT_EQ(estimate("%g", 1.5), 50);
    EXPECT_EQ(estimate("%f", 1.5), 50);
    EXPECT_EQ(estimate("%c", 'x'), 1);
    EXPECT_EQ(estimate("%p", &x), 32);
    EXPECT_EQ(estimate("%C", 65), 10);
    EXPECT_EQ(estimate("%n", &x), 50);
    EXPECT_EQ(estimate("%s%s", "ab", "cde"), 5);
}

TEST(EstimateSize, WidthIsAFloorNotAnAddition)
{
    EXPECT_EQ(estimate("%10d", 1), 50);
    EXPECT_EQ(estimate("ab%100d", 1), 100);
    EXPECT_EQ(estimate("%-08x", 1), 50);
    EXPECT_EQ(estimate("%20s", "abc"), 20);
    EXPECT_EQ(estimate("%20s!", "abc"), 21);
}

TEST(EstimateSize, PrecisionEndsTheConversion)
{
    // "%.2f": the '.' is taken as the conversion, "2f" counts as text.
    EXPECT_EQ(estimate("%.2f", 1.5), 2);
    EXPECT_EQ(estimate("%5.2f", 1.5), 7);
    // The walk is now one argument behind: the "%s" meets the double, which
    // is no text and counts as empty.
    EXPECT_EQ(estimate("%.2f %s", 1.5, "abc"), 3);
    // Behind by one over texts: the second %s takes the first text.
    EXPECT_EQ(estimate("%.3s %s", "abcdef", "xy"), 2 + 1 + 6);
}

TEST(EstimateSize, SizeLettersAndStarAreNotUnderstood)
{
    EXPECT_EQ(estimate("%ld", 5L), 1);   // 'l' is the conversion, 'd' text
    EXPECT_EQ(estimate("%*d", 3, 4), 50); // '*' skipped, nothing consumed for it
    EXPECT_EQ(estimate("%*s", 3, "abcd"), 0); // the walk meets the int: no text
    EXPECT_EQ(estimate("% d", 1), 1);
    EXPECT_EQ(estimate("%", 1), 0);
}

TEST(PrintfParse, HugeWidthsAndPrecisionsAreCapped)
{
    Growing g;
    g.printf("%2000000000d", PrintfArg(7));
    EXPECT_EQ(g.text().size(), 1000000u);
    EXPECT_EQ(g.text().back(), '7');
    Growing h;
    h.printf("%.*d", PrintfArg(5000000), PrintfArg(1));
    EXPECT_EQ(h.text().size(), 1000000u);
    char small[8];
    EXPECT_TRUE(sp_sprintf(small, sizeof small, "%999999999999s|", PrintfArg("x")));
    EXPECT_STREQ(small, "|");
}

TEST(FileSink, LiteralTextMatchesTheStringSink)
{
    for (const char *format : {"a%%%%b", "a%%%%%%b%%", "100%%%% sure", "%%%%%%%%"}) {
        std::FILE *f = std::tmpfile();
        ASSERT_NE(f, nullptr);
        EXPECT_TRUE(sp_fprintf(f, format));
        EXPECT_EQ(readFile(f), fmt(format)) << format;
        std::fclose(f);
    }
    EXPECT_EQ(fmt("a%%%%%%b%%"), "a%%b%");
}
