// Tests of YString and TempString.
#include <kvsupport/ystring.h>

#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// A memory stream for save/restore with optional failures.
class MemoryStream : public YStringStream {
public:
    std::string data;
    std::size_t readPos = 0;
    int failWriteAt = -1; // index of the write call that fails
    int writes = 0;

    int read(void *buffer, int count) override
    {
        std::size_t n = std::min<std::size_t>(static_cast<std::size_t>(count), data.size() - readPos);
        std::memcpy(buffer, data.data() + readPos, n);
        readPos += n;
        return static_cast<int>(n);
    }
    int write(const void *buffer, int count) override
    {
        if (writes++ == failWriteAt)
            return 0;
        data.append(static_cast<const char *>(buffer), static_cast<std::size_t>(count));
        return 1;
    }
};

std::string le32(std::uint32_t v)
{
    std::string s(4, '\0');
    for (int i = 0; i < 4; ++i)
        s[i] = static_cast<char>((v >> (8 * i)) & 0xFF);
    return s;
}

} // namespace

// ---------------------------------------------------------------------------
// Construction and the null block

TEST(YStringConstruct, NullAndEmptyShareTheNullBlock)
{
    YString a(nullptr);
    YString b("");
    YString c;
    EXPECT_STREQ(a.tocs(), "");
    EXPECT_STREQ(b.tocs(), "");
    EXPECT_EQ(a.tocs(), b.tocs());
    EXPECT_EQ(a.tocs(), c.tocs());
    EXPECT_TRUE(a.isEmpty());
    EXPECT_EQ(a.length(), 0);
}

TEST(YStringConstruct, TextIsCopied)
{
    char buf[] = "hello";
    YString s(buf);
    buf[0] = 'j';
    EXPECT_STREQ(s.tocs(), "hello");
    EXPECT_EQ(s.getRefCount(), 1);
}

TEST(YStringConstruct, LengthLimitedForm)
{
    EXPECT_STREQ(YString("abcdef", 3).tocs(), "abc");
    EXPECT_STREQ(YString("ab", 10).tocs(), "ab"); // stops early at the NUL
    EXPECT_TRUE(YString("abc", 0).isEmpty());
    EXPECT_TRUE(YString("abc", -2).isEmpty());
    EXPECT_TRUE(YString(nullptr, 5).isEmpty());
}

TEST(YStringConstruct, Numbers)
{
    EXPECT_STREQ(YString(42).tocs(), "42");
    EXPECT_STREQ(YString(-7).tocs(), "-7");
    // The unsigned form is the int form: 2^31 and above print negative.
    EXPECT_STREQ(YString(4000000000u).tocs(), "-294967296");
    EXPECT_STREQ(YString(2147483648u).tocs(), "-2147483648");
    // The 64-bit form prints unsigned: the opposite choice.
    EXPECT_STREQ(YString(-1LL).tocs(), "18446744073709551615");
    EXPECT_STREQ(YString(1234567890123LL).tocs(), "1234567890123");
    EXPECT_STREQ(YString(0.5).tocs(), "0.5");
    EXPECT_STREQ(YString(1.0 / 3.0).tocs(), "0.333333333333");
    EXPECT_STREQ(YString(1e20).tocs(), "1e+20");
    EXPECT_STREQ(YString(123456789012345.0).tocs(), "1.23456789012e+14");
}

TEST(YStringConstruct, DoubleIgnoresTheProcessLocale)
{
    const char *set = std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
    if (set == nullptr)
        set = std::setlocale(LC_NUMERIC, "fr_FR.UTF-8");
    EXPECT_STREQ(YString(1.5).tocs(), "1.5");
    std::setlocale(LC_NUMERIC, "C");
    if (set == nullptr)
        GTEST_SKIP() << "no locale with a decimal comma is installed; checked under C only";
}

TEST(YStringConstruct, CopiesShareTheBlock)
{
    YString a("shared");
    YString b(a);
    EXPECT_EQ(a.tocs(), b.tocs());
    EXPECT_EQ(a.getRefCount(), 2);
    {
        YString c = b;
        EXPECT_EQ(a.getRefCount(), 3);
    }
    EXPECT_EQ(a.getRefCount(), 2);
}

// ---------------------------------------------------------------------------
// Assignment

TEST(YStringAssign, SelfAssignmentIsSafe)
{
    YString a("self");
    YString &r = a;
    a = r;
    EXPECT_STREQ(a.tocs(), "self");
    EXPECT_EQ(a.getRefCount(), 1);
}

TEST(YStringAssign, FromTextInsideOwnBlock)
{
    YString a("hello world");
    a = a.tocs() + 6; // shrinking: the source lies in our own text
    EXPECT_STREQ(a.tocs(), "world");
    a = "a longer text than before";
    EXPECT_STREQ(a.tocs(), "a longer text than before");
}

TEST(YStringAssign, SharedTargetGetsNewBlock)
{
    YString a("one");
    YString b(a);
    b = "two";
    EXPECT_STREQ(a.tocs(), "one");
    EXPECT_STREQ(b.tocs(), "two");
    EXPECT_EQ(a.getRefCount(), 1);
}

TEST(YStringAssign, EmptyTextGivesNullBlock)
{
    YString a("x");
    a = "";
    EXPECT_EQ(a.tocs(), YString().tocs());
    a = static_cast<const char *>(nullptr);
    EXPECT_TRUE(a.isEmpty());
}

TEST(YStringAssign, AppendIncludingSelf)
{
    YString a("ab");
    a &= "cd";
    EXPECT_STREQ(a.tocs(), "abcd");
    const YString &itself = a;
    a &= itself;
    EXPECT_STREQ(a.tocs(), "abcdabcd");
    YString e;
    e &= "";
    EXPECT_TRUE(e.isEmpty());
}

TEST(YStringConcat, ChainsThroughOneTempString)
{
    YString a("a"), b("b");
    YString s = a & "-" & b & "-" & "c";
    EXPECT_STREQ(s.tocs(), "a-b-c");
    EXPECT_EQ(s.getRefCount(), 1);
}

TEST(YStringConcat, TempStringBlockSizeAndGrowth)
{
    YString a("abc");
    TempString &t = a.concat("defg"); // 3 + 4 + 5 = 12 -> 16
    EXPECT_STREQ(t.theString(), "abcdefg");
    EXPECT_EQ(t.len(), 7);
    EXPECT_EQ(t.blocksize(), 11);
    EXPECT_EQ(t.refcount(), 1);
    t.concat(nullptr).concat("h");
    EXPECT_STREQ(t.theString(), "abcdefgh");
    t.incref();
    EXPECT_EQ(t.refcount(), 2);
    t.decref();
    t.initref();
    EXPECT_EQ(t.refcount(), 1);
    YString s(t); // consumes t
    EXPECT_STREQ(s.tocs(), "abcdefgh");
}

TEST(YStringConcat, EmptyConcatIsARealBlock)
{
    YString e;
    TempString &t = e.concat("");
    EXPECT_STREQ(t.theString(), "");
    YString s(t);
    EXPECT_NE(s.tocs(), YString().tocs()); // not the null block
    EXPECT_TRUE(s.isEmpty());
}

TEST(YStringConcat, DestroyReleasesWithoutAString)
{
    YString a("x");
    TempString &t = a.concat("y");
    EXPECT_STREQ(t.theString(), "xy");
    t.Destroy(); // ASan reports a leak if the block were kept
    // The source string never shared the TempString's block.
    EXPECT_STREQ(a.tocs(), "x");
    EXPECT_EQ(a.getRefCount(), 1);
}

// ---------------------------------------------------------------------------
// Access

TEST(YStringAccess, IndexMakesBlockPrivateAndBoundsGoToErrorChar)
{
    YString a("Hello");
    YString b(a);
    char &c = a[0];
    EXPECT_EQ(a.getRefCount(), 1);
    EXPECT_EQ(b.getRefCount(), 1);
    c = 'J';
    EXPECT_STREQ(a.tocs(), "Jello");
    EXPECT_STREQ(b.tocs(), "Hello");

    YString d(b);
    EXPECT_EQ(&d[-1], &YString::ErrorChar);
    EXPECT_EQ(d.getRefCount(), 1); // made private even so
    YString e(b);
    EXPECT_EQ(&e[6], &YString::ErrorChar);
    EXPECT_EQ(e.getRefCount(), 1);
    EXPECT_EQ(e[5], '\0'); // the terminator itself
}

TEST(YStringAccess, IndexOnEmptyNeverWritesTheSharedEmptyString)
{
    YString e;
    e[0] = 0;
    EXPECT_STREQ(YString().tocs(), "");
    EXPECT_NE(e.tocs(), YString().tocs());
}

TEST(YStringAccess, UniqueCopiesSharedNonEmpty)
{
    YString a("u");
    YString b(a);
    b.unique();
    EXPECT_NE(a.tocs(), b.tocs());
    YString e;
    const char *before = e.tocs();
    e.unique();
    EXPECT_EQ(e.tocs(), before);
}

TEST(YStringAccess, BlockBytesAndCopy)
{
    YString a("abcd");
    EXPECT_EQ(a.getBlockBytes(), 8);
    char *c = a.copy();
    EXPECT_STREQ(c, "abcd");
    EXPECT_NE(c, a.tocs());
    std::free(c);
}

TEST(YStringAccess, DetachSoleOwnerReturnsBlockAddress)
{
    YString a("detach me");
    const char *text = a.tocs();
    char *d = a.detach();
    EXPECT_EQ(d, text - 4); // the block itself, text moved down over the count
    EXPECT_STREQ(d, "detach me");
    EXPECT_TRUE(a.isEmpty());
    std::free(d);
}

TEST(YStringAccess, DetachSharedReturnsCopy)
{
    YString a("shared");
    YString b(a);
    char *d = a.detach();
    EXPECT_STREQ(d, "shared");
    EXPECT_EQ(b.getRefCount(), 1);
    EXPECT_TRUE(a.isEmpty());
    std::free(d);
    YString e;
    char *de = e.detach();
    EXPECT_STREQ(de, "");
    std::free(de);
}

// ---------------------------------------------------------------------------
// Comparison and search

TEST(YStringCompare, ExactUsesUnsignedBytes)
{
    EXPECT_EQ(YString("a").compare("b"), -1);
    EXPECT_EQ(YString("b").compare("a"), 1);
    EXPECT_EQ(YString("abc").compare("abc"), 0);
    EXPECT_EQ(YString("\xe9").compare("z"), 1); // 0xE9 is above 'z'
    EXPECT_EQ(YString("ab").compare("abc"), -1);
    EXPECT_EQ(YString("A").compare("a"), -1);
}

TEST(YStringCompare, IgnoreCaseSignOnly)
{
    EXPECT_EQ(YString("Hello").compare("hELLO", YString::IgnoreCase), 0);
    EXPECT_LT(YString("apple").compare("BANANA", YString::IgnoreCase), 0);
    EXPECT_GT(YString("zoo").compare("ZOA", YString::IgnoreCase), 0);
    EXPECT_EQ(YString("x").compare("X", static_cast<YString::CaseMatch>(7)), 0);
}

TEST(YStringCompare, PathsAreCaseSensitiveHere)
{
    EXPECT_TRUE(sp_CaseSensitiveFiles());
    EXPECT_NE(YString("/a/File").comparePath("/a/file"), 0);
    EXPECT_TRUE(YString("/a/b").pathEqual("/a/b"));
    EXPECT_FALSE(YString("/a/B").pathEqual("/a/b"));
}

TEST(YStringCompare, BeginsWithIsExactEndsWithIgnoresCase)
{
    EXPECT_TRUE(YString("a.TXT").endsWith(".txt"));
    EXPECT_FALSE(YString("a.TXT").beginsWith("A"));
    EXPECT_TRUE(YString("a.TXT").beginsWith("a."));
    EXPECT_TRUE(YString("abc").beginsWith(""));
    EXPECT_TRUE(YString("abc").endsWith(""));
    EXPECT_FALSE(YString("ab").beginsWith("abc"));
    EXPECT_FALSE(YString("ab").endsWith("xab"));
}

TEST(YStringCompare, EndsWithNumber)
{
    EXPECT_TRUE(YString("R12").endsWithNumber());
    EXPECT_FALSE(YString("R12a").endsWithNumber());
    EXPECT_FALSE(YString().endsWithNumber());
}

TEST(YStringCompare, HasPrefix)
{
    EXPECT_EQ(YString("prefix.rest").hasPrefix("prefix"), 6);
    EXPECT_EQ(YString("prefix.rest").hasPrefix("Prefix"), 0);
    EXPECT_EQ(YString("abc").hasPrefix(""), 0);
    EXPECT_EQ(YString("abc").hasPrefix(static_cast<const char *>(nullptr)), 0);
    EXPECT_EQ(YString("abc").hasPrefix(YString("ab")), 2);
    EXPECT_EQ(YString("ab").hasPrefix("abc"), 0);
}

TEST(YStringSearch, FirstAndLastChar)
{
    EXPECT_EQ(YString("Hello").first('z'), 5);
    EXPECT_EQ(YString("Hello").first('l'), 2);
    EXPECT_EQ(YString().first('a'), 0);
    EXPECT_EQ(YString("ab").lastChar(), 'b');
    EXPECT_EQ(YString("a\xe9").lastChar(), -23); // signed
    EXPECT_EQ(YString().lastChar(), 0);
}

TEST(YStringSearch, FindIndexReturnsEndOfMatch)
{
    YString h("Hello");
    EXPECT_EQ(h.findIndex("ELL", 0), 4);
    EXPECT_EQ(h.lastIndexOf("ELL"), 1);
    EXPECT_EQ(h.findIndex("l", 3), 4);
    EXPECT_EQ(h.findIndex("l", 4), -1);
    EXPECT_EQ(h.findIndex("lo", -5), 5);
    EXPECT_EQ(h.findIndex("Hello!", 0), -1);
    EXPECT_EQ(h.findIndex("", 2), 2);
    EXPECT_EQ(h.findIndex(nullptr, 5), 5);
    EXPECT_EQ(h.findIndex("", 6), -1);
    EXPECT_EQ(h.lastIndexOf(""), 5);
    EXPECT_EQ(h.lastIndexOf("L"), 3);
    EXPECT_EQ(h.lastIndexOf("x"), -1);
}

// ---------------------------------------------------------------------------
// Hashes

TEST(YStringHash, FormulaAndCaseBlindness)
{
    // h = h * 0x1003F + toupper(c), masked to 31 bits.
    std::uint32_t h = 0;
    for (char c : std::string("AbC"))
        h = h * 0x1003Fu + static_cast<std::uint32_t>(std::toupper(c));
    EXPECT_EQ(YString("AbC").hashValue(), h & 0x7FFFFFFFu);
    EXPECT_EQ(YString("abc").hashValue(), YString("ABC").hashValue());
    EXPECT_EQ(YString("abc").HashValue(), YString("abc").hashValue());
    EXPECT_EQ(YString().hashValue(), 0u);
    EXPECT_EQ(YString("\xff").hashValue(), 0x7FFFFFFFu); // signed byte -1
}

TEST(YStringHash, EveryLengthMatchesTheFormula)
{
    std::string text;
    for (int n = 0; n < 40; ++n) {
        std::uint32_t h = 0, exact = 0;
        for (char c : text) {
            h = h * 0x1003Fu + static_cast<std::uint32_t>(static_cast<int>(static_cast<signed char>(
                    c >= 'a' && c <= 'z' ? c - 32 : c)));
            exact = exact * 0x1003Fu + static_cast<std::uint32_t>(static_cast<int>(static_cast<signed char>(c)));
        }
        EXPECT_EQ(YString(text.c_str()).hashValue(), h & 0x7FFFFFFFu) << n;
        EXPECT_EQ(YString(text.c_str()).pathHashValue(), exact & 0x7FFFFFFFu) << n;
        text += static_cast<char>("aZ9\xe9_-q"[n % 7]);
    }
}

TEST(YStringHash, PathHashFollowsCaseRule)
{
    EXPECT_NE(YString("abc").pathHashValue(), YString("ABC").pathHashValue());
    EXPECT_EQ(YString("ABC").pathHashValue(), YString("ABC").hashValue());
}

// ---------------------------------------------------------------------------
// Transformation

TEST(YStringTransform, Substring)
{
    YString s("abcdef");
    EXPECT_STREQ(s.substring(1, 3).tocs(), "bcd");
    EXPECT_STREQ(s.substring(-2, 5).tocs(), "abc");
    EXPECT_STREQ(s.substring(4, 100).tocs(), "ef");
    EXPECT_TRUE(s.substring(6, 1).isEmpty());
    EXPECT_TRUE(s.substring(2, 0).isEmpty());
    EXPECT_TRUE(s.substring(2, -1).isEmpty());
}

TEST(YStringTransform, CaseChangesTheStringAndShares)
{
    YString a("MiXed");
    YString other(a);
    YString r = a.tolower();
    EXPECT_STREQ(a.tocs(), "mixed");
    EXPECT_EQ(r.tocs(), a.tocs());
    EXPECT_STREQ(other.tocs(), "MiXed");
    a.toupper();
    EXPECT_STREQ(a.tocs(), "MIXED");
    YString e;
    EXPECT_TRUE(e.toupper().isEmpty());
}

TEST(YStringTransform, ConvertDosToUnixChangesSharingStrings)
{
    YString a("a\r\nb\rc\r\n");
    YString b(a);
    a.convertDosToUnix();
    EXPECT_STREQ(a.tocs(), "a\nb\rc\n");
    EXPECT_STREQ(b.tocs(), "a\nb\rc\n");
}

TEST(YStringTransform, Strip)
{
    YString a("  \tabc \n");
    YString keep(a);
    a.stripLeading(" \t");
    EXPECT_STREQ(a.tocs(), "abc \n");
    a.stripTrailing(" \n");
    EXPECT_STREQ(a.tocs(), "abc");
    EXPECT_STREQ(keep.tocs(), "  \tabc \n");
    YString all("xxxx");
    all.stripLeading("x");
    EXPECT_TRUE(all.isEmpty());
}

TEST(YStringTransform, StripQuotes)
{
    YString a("\"quoted\"");
    a.stripQuotes("\"", true);
    EXPECT_STREQ(a.tocs(), "quoted");
    YString b("\"half");
    b.stripQuotes("\"", true);
    EXPECT_STREQ(b.tocs(), "\"half");
    b.stripQuotes("\"", false);
    EXPECT_STREQ(b.tocs(), "half");
    YString c("half'");
    c.stripQuotes("'", false);
    EXPECT_STREQ(c.tocs(), "half");
    YString d("(paren)");
    d.stripQuotes("()", true);
    EXPECT_STREQ(d.tocs(), "paren");
    YString e("(x");
    e.stripQuotes("()", true);
    EXPECT_STREQ(e.tocs(), "(x");
    YString f("'x'");
    f.stripQuotes(nullptr, true);
    f.stripQuotes("", true);
    EXPECT_STREQ(f.tocs(), "'x'");
    YString g("\"");
    g.stripQuotes("\"", true); // a lone quote is no pair
    EXPECT_STREQ(g.tocs(), "\"");
}

TEST(YStringTransform, Pad)
{
    YString a("ab");
    a.pad(5, '.');
    EXPECT_STREQ(a.tocs(), "ab...");
    a.pad(3, '-');
    EXPECT_STREQ(a.tocs(), "ab...");
    YString e;
    e.pad(2, 'x');
    EXPECT_STREQ(e.tocs(), "xx");
}

TEST(YStringTransform, ShiftLeft)
{
    YString a("abcdef");
    EXPECT_STREQ(a.shiftLeft(2).tocs(), "ab");
    EXPECT_STREQ(a.tocs(), "cdef");
    YString same = a.shiftLeft(0);
    EXPECT_EQ(same.tocs(), a.tocs());
    YString b("xy");
    EXPECT_STREQ(b.shiftLeft(4, '_').tocs(), "xy__");
    EXPECT_TRUE(b.isEmpty());
    YString c("xy");
    EXPECT_STREQ(c.shiftLeft(4).tocs(), "xy");
    EXPECT_TRUE(c.isEmpty());
    YString d("xy");
    EXPECT_STREQ(d.shiftLeft(2).tocs(), "xy");
    EXPECT_TRUE(d.isEmpty());
}

TEST(YStringSubstitute, ReplacesOneOccurrence)
{
    YString s("abc");
    EXPECT_EQ(s.substitute("b", "xx", 0), 3);
    EXPECT_STREQ(s.tocs(), "axxc");
    YString t("abc");
    YString sharer(t);
    EXPECT_EQ(t.substitute("b", "xx", 2), -1);
    EXPECT_STREQ(t.tocs(), "abc");
    EXPECT_EQ(t.tocs(), sharer.tocs()); // untouched block
}

TEST(YStringSubstitute, SingleStepRetreat)
{
    YString s("aaab");
    EXPECT_EQ(s.substitute("aab", "X", 0), -1);
    EXPECT_STREQ(s.tocs(), "aaab");
    YString t("xaab");
    EXPECT_EQ(t.substitute("aab", "X", 0), 2);
    EXPECT_STREQ(t.tocs(), "xX");
    // A mismatch resumes at the mismatching character, which may start a match.
    YString u("abab");
    EXPECT_EQ(u.substitute("ab", "Z", 1), 3);
    EXPECT_STREQ(u.tocs(), "abZ");
}

TEST(YStringSubstitute, MatchAtEndAndPartialAtEnd)
{
    YString a("xyz");
    EXPECT_EQ(a.substitute("yz", "", 0), 1);
    EXPECT_STREQ(a.tocs(), "x");
    YString b("xy");
    EXPECT_EQ(b.substitute("yz", "Q", 0), -1);
    YString c("abc");
    EXPECT_EQ(c.substitute("", "Q", 0), -1);
    EXPECT_EQ(c.substitute("b", "Q", -1), -1);
    EXPECT_EQ(c.substitute("b", "Q", 3), -1);
    EXPECT_EQ(c.substitute("B", "Q", 0), -1); // exact case
}

TEST(YStringSubstitute, AllNeverRescansReplacement)
{
    YString s("aaa");
    s.substituteAll("a", "aa");
    EXPECT_STREQ(s.tocs(), "aaaaaa");
    YString t("a.b.c");
    t.substituteAll(".", "::");
    EXPECT_STREQ(t.tocs(), "a::b::c");
    // With an empty replacement the index stays put while the text shrinks.
    YString u("xx");
    u.substituteAll("x", "");
    EXPECT_TRUE(u.isEmpty());
    // The search stops as soon as the index reaches the end: "b" at the very
    // end after a replacement that ends there is not looked at again.
    YString v("ab");
    v.substituteAll("ab", "abab");
    EXPECT_STREQ(v.tocs(), "abab");
}

TEST(YStringStrtok, CutsOneTokenPerCall)
{
    YString s("a b  c");
    EXPECT_STREQ(s.strtok(" ").tocs(), "a");
    EXPECT_STREQ(s.tocs(), "b  c");
    EXPECT_STREQ(s.strtok(" ").tocs(), "b");
    EXPECT_STREQ(s.tocs(), " c");
    EXPECT_STREQ(s.strtok(" ").tocs(), "c");
    EXPECT_TRUE(s.isEmpty());
    EXPECT_TRUE(s.strtok(" ").isEmpty());
}

TEST(YStringStrtok, OnlyDelimiters)
{
    YString s(" ,, ");
    EXPECT_TRUE(s.strtok(", ").isEmpty());
    EXPECT_TRUE(s.isEmpty());
    YString t("abc");
    YString sharer(t);
    EXPECT_STREQ(t.strtok(nullptr).tocs(), "abc");
    EXPECT_STREQ(sharer.tocs(), "abc");
}

TEST(YStringSprintf, FormatsAndReplaces)
{
    YString s("old");
    s.sprintf("%d-%s-%.2f", 7, "x", 2.5);
    EXPECT_STREQ(s.tocs(), "7-x-2.50");
    s.sprintf("%s", "");
    EXPECT_TRUE(s.isEmpty());
    s.sprintf("");
    EXPECT_TRUE(s.isEmpty());
}

TEST(YStringSprintf, LongTextAndSuitePrefixes)
{
    std::string big(5000, 'q');
    YString s;
    s.sprintf("<%s>", big.c_str());
    EXPECT_EQ(s.length(), 5002);
    s.sprintf("%I64d|%I64u|%I32d", static_cast<long long>(-5000000000LL), 5000000000ULL, 12);
    EXPECT_STREQ(s.tocs(), "-5000000000|5000000000|12");
}

TEST(YStringSprintf, SharedTargetKeepsOtherOwner)
{
    YString a("keep");
    YString b(a);
    b.sprintf("%d", 5);
    EXPECT_STREQ(a.tocs(), "keep");
    EXPECT_STREQ(b.tocs(), "5");
}

// ---------------------------------------------------------------------------
// Stored forms

TEST(YStringStored, WriteAndReadBlock)
{
    char buffer[64];
    void *p = buffer;
    YString("hello").writeBlock(&p);
    YString().writeBlock(&p);
    EXPECT_EQ(static_cast<char *>(p) - buffer, 9 + 4);
    EXPECT_EQ(std::string(buffer, 9), le32(5) + "hello");
    void *q = buffer;
    YString a("prior"), b("prior");
    a.readBlock(&q);
    b.readBlock(&q);
    EXPECT_STREQ(a.tocs(), "hello");
    EXPECT_TRUE(b.isEmpty());
    EXPECT_EQ(q, p);
}

TEST(YStringStored, SaveAndRestore)
{
    MemoryStream m;
    EXPECT_TRUE(YString("text").save(m));
    EXPECT_EQ(m.data, le32(4) + "text");
    YString r;
    EXPECT_TRUE(r.restore(m));
    EXPECT_STREQ(r.tocs(), "text");
}

TEST(YStringStored, SaveReportsFailedWrite)
{
    MemoryStream m;
    m.failWriteAt = 1;
    EXPECT_FALSE(YString("text").save(m));
    MemoryStream n;
    n.failWriteAt = 0;
    EXPECT_FALSE(YString("text").save(n));
}

TEST(YStringStored, RestoreFailures)
{
    MemoryStream shortLength;
    shortLength.data = "\x03\x00";
    YString r("x");
    EXPECT_FALSE(r.restore(shortLength));

    MemoryStream zero;
    zero.data = le32(0);
    EXPECT_TRUE(r.restore(zero));
    EXPECT_TRUE(r.isEmpty());

    MemoryStream negative;
    negative.data = le32(0xFFFFFFF0u);
    YString n("x");
    EXPECT_TRUE(n.restore(negative));
    EXPECT_TRUE(n.isEmpty());

    MemoryStream truncated;
    truncated.data = le32(10) + "abc";
    YString t;
    EXPECT_FALSE(t.restore(truncated));
}

TEST(YStringOperators, EqualityAndOrder)
{
    EXPECT_TRUE(YString("a") == YString("a"));
    EXPECT_TRUE(YString("a") != YString("A"));
    EXPECT_TRUE(YString("a") < YString("b"));
}
