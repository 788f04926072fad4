// Text encodings: UTFString, Tocs and toCs, the local and code-page
// conversions, the UTF-8 detector and the file functions with UTF-8 names.
#include <kvsupport/containers.h>
#include <kvsupport/encoding.h>
#include <kvsupport/printf.h>

#include "support/test_support.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTextCodec>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>
#include <sys/stat.h>

namespace {

std::string str(const YString &s)
{
    return std::string(s.tocs());
}

// Puts the locale codec back to the system's when a test ends.
class LocaleCodecGuard {
public:
    ~LocaleCodecGuard() { sp_SetLocaleEncoding("default"); }
};

// "é€𝄞": 2-, 3- and 4-byte UTF-8 sequences.
const char kUtf8Text[] = "h\xc3\xa9\xe2\x82\xac\xf0\x9d\x84\x9e";
const wchar_t kWideText[] = {L'h', 0xE9, 0x20AC, 0x1D11E, 0};

} // namespace

TEST(UTFString, NullGivesNullForms)
{
    EXPECT_EQ(nullptr, UTFString(nullptr).get());
    EXPECT_EQ(nullptr, UTFString(nullptr).getWide());
    EXPECT_EQ(nullptr, UTFString(static_cast<const char *>(nullptr)).get());
    EXPECT_EQ(nullptr, UTFString(static_cast<const char *>(nullptr)).getWide());
    EXPECT_EQ(nullptr, UTFString(static_cast<const wchar_t *>(nullptr)).get());
    EXPECT_EQ(nullptr, UTFString(static_cast<const wchar_t *>(nullptr)).getWide());
}

TEST(UTFString, NarrowToWide)
{
    UTFString u(kUtf8Text);
    EXPECT_STREQ(kUtf8Text, u.get());
    EXPECT_NE(kUtf8Text, u.get()); // a copy
    EXPECT_EQ(0, std::wcscmp(kWideText, u.getWide()));
    UTFString empty("");
    EXPECT_STREQ("", empty.get());
    EXPECT_EQ(0, std::wcscmp(L"", empty.getWide()));
}

TEST(UTFString, WideToNarrow)
{
    UTFString u(kWideText);
    EXPECT_STREQ(kUtf8Text, u.get());
    EXPECT_EQ(0, std::wcscmp(kWideText, u.getWide()));
    EXPECT_NE(kWideText, u.getWide());
}

TEST(UTFString, InvalidInputGivesReplacementCharacter)
{
    UTFString bad("a\xff" "b");
    EXPECT_STREQ("a\xff" "b", bad.get());
    const wchar_t expected[] = {L'a', 0xFFFD, L'b', 0};
    EXPECT_EQ(0, std::wcscmp(expected, bad.getWide()));
    const wchar_t badWide[] = {L'x', static_cast<wchar_t>(0x110000), 0};
    UTFString fromWide(badWide);
    EXPECT_STREQ("x\xef\xbf\xbd", fromWide.get());
    const wchar_t surrogate[] = {static_cast<wchar_t>(0xD800), L'y', 0};
    EXPECT_STREQ("\xef\xbf\xbdy", UTFString(surrogate).get());
}

TEST(UTFString, CopiesOwnTheirForms)
{
    UTFString a("first");
    UTFString b(a);
    EXPECT_STREQ("first", b.get());
    EXPECT_NE(a.get(), b.get());
    UTFString c("other");
    c = a;
    EXPECT_STREQ("first", c.get());
    EXPECT_EQ(0, std::wcscmp(L"first", c.getWide()));
    EXPECT_NE(a.getWide(), c.getWide());
    UTFString &same = c;
    c = same;
    EXPECT_STREQ("first", c.get());
    c = UTFString(nullptr);
    EXPECT_EQ(nullptr, c.get());
}

TEST(Tocs, HoldsTheUtf8Form)
{
    const QString q = QString::fromUtf8(kUtf8Text);
    Tocs t(q);
    EXPECT_STREQ(kUtf8Text, static_cast<const char *>(t));
    auto *original = new Tocs(q);
    Tocs copy(*original);
    delete original;
    EXPECT_STREQ(kUtf8Text, static_cast<const char *>(copy));
    Tocs other(QString("x"));
    other = t;
    EXPECT_STREQ(kUtf8Text, static_cast<const char *>(other));
    EXPECT_STREQ("", static_cast<const char *>(Tocs(QString())));
}

TEST(Tocs, PrintfArgCopiesTheSameBytes)
{
    const QString q = QString::fromUtf8(kUtf8Text);
    char buffer[64];
    sp_sprintf(buffer, sizeof buffer, "%s", PrintfArg(q));
    EXPECT_STREQ(static_cast<const char *>(Tocs(q)), buffer);
}

TEST(ToCs, EqualTextsGiveTheSamePointerForEver)
{
    const char *a = toCs(QString::fromUtf8(kUtf8Text));
    EXPECT_STREQ(kUtf8Text, a);
    const char *b = toCs(QString::fromUtf8(kUtf8Text));
    EXPECT_EQ(a, b);
    const char *other = toCs(QString("other text"));
    EXPECT_NE(a, other);
    EXPECT_STREQ("other text", other);
    const char *empty = toCs(QString());
    ASSERT_NE(nullptr, empty);
    EXPECT_STREQ("", empty);
    EXPECT_EQ(empty, toCs(QString("")));
    // Many more texts make the table grow; the pointers stay.
    std::vector<const char *> kept;
    for (int i = 0; i < 2000; ++i)
        kept.push_back(toCs(QString("text %1").arg(i)));
    for (int i = 0; i < 2000; ++i) {
        const QByteArray expected = QString("text %1").arg(i).toUtf8();
        ASSERT_STREQ(expected.constData(), kept[static_cast<std::size_t>(i)]);
        ASSERT_EQ(kept[static_cast<std::size_t>(i)], toCs(QString("text %1").arg(i)));
    }
    EXPECT_EQ(a, toCs(QString::fromUtf8(kUtf8Text)));
    EXPECT_STREQ(kUtf8Text, a);
}

TEST(QStringCrossing, ToQsAndToYs)
{
    EXPECT_EQ(QString::fromUtf8(kUtf8Text), toQs(YString(kUtf8Text)));
    EXPECT_EQ(kUtf8Text, str(toYs(QString::fromUtf8(kUtf8Text))));
    EXPECT_TRUE(toQs(YString()).isEmpty());
    EXPECT_EQ("", str(toYs(QString())));
    // Invalid UTF-8 becomes U+FFFD.
    EXPECT_EQ(QString(QChar(0xFFFD)), toQs(YString("\xff")));
    // An embedded NUL ends the YString.
    EXPECT_EQ("ab", str(toYs(QString("ab") + QChar(0) + QString("cd"))));
}

TEST(LocalConversions, FromLocalAndFromUtf8)
{
    LocaleCodecGuard guard;
    ASSERT_TRUE(sp_SetLocaleEncoding("ISO-8859-1"));
    EXPECT_EQ("caf\xc3\xa9", str(sp_ConvertFromLocal("caf\xe9")));
    EXPECT_EQ("caf\xe9", str(sp_ConvertFromUtf8("caf\xc3\xa9")));
    EXPECT_EQ("", str(sp_ConvertFromLocal(nullptr)));
    EXPECT_EQ("", str(sp_ConvertFromUtf8(nullptr)));
    ASSERT_TRUE(sp_SetLocaleEncoding("UTF-8"));
    EXPECT_EQ("caf\xc3\xa9", str(sp_ConvertFromLocal("caf\xc3\xa9")));
}

TEST(LocalConversions, SetLocaleEncoding)
{
    LocaleCodecGuard guard;
    EXPECT_TRUE(sp_SetLocaleEncoding("windows-1252"));
    EXPECT_EQ(QByteArray("windows-1252"), QTextCodec::codecForLocale()->name());
    QTextCodec *before = QTextCodec::codecForLocale();
    EXPECT_FALSE(sp_SetLocaleEncoding("no-such-encoding"));
    EXPECT_EQ(before, QTextCodec::codecForLocale());
    EXPECT_FALSE(sp_SetLocaleEncoding(""));
    EXPECT_EQ(before, QTextCodec::codecForLocale());
    EXPECT_TRUE(sp_SetLocaleEncoding("DEFAULT"));
    EXPECT_TRUE(sp_SetLocaleEncoding("Default"));
}

TEST(AutoConvert, ValidUtf8IsUnchanged)
{
    LocaleCodecGuard guard;
    ASSERT_TRUE(sp_SetLocaleEncoding("ISO-8859-1"));
    YString text(kUtf8Text);
    YString out = sp_AutoConvertToUtf8(text);
    EXPECT_EQ(kUtf8Text, str(out));
    EXPECT_EQ(text.tocs(), out.tocs()); // the same text, not a conversion
    EXPECT_EQ("plain ascii", str(sp_AutoConvertToUtf8("plain ascii")));
    EXPECT_EQ("", str(sp_AutoConvertToUtf8(static_cast<const char *>(nullptr))));
    EXPECT_EQ("", str(sp_AutoConvertToUtf8(YString())));
}

TEST(AutoConvert, InvalidUtf8IsTakenAsLocalText)
{
    LocaleCodecGuard guard;
    ASSERT_TRUE(sp_SetLocaleEncoding("ISO-8859-1"));
    // 0xE9 alone: a 3-byte lead cut off at the end.
    EXPECT_EQ("\xc3\xa9", str(sp_AutoConvertToUtf8("\xe9")));
    EXPECT_EQ("caf\xc3\xa9", str(sp_AutoConvertToUtf8(YString("caf\xe9"))));
    EXPECT_EQ("a\xc3\xa9z", str(sp_AutoConvertToUtf8("a\xe9z")));
    ASSERT_TRUE(sp_SetLocaleEncoding("windows-1252"));
    EXPECT_EQ("\xe2\x82\xac" "5", str(sp_AutoConvertToUtf8("\x80" "5")));
    // Overlong forms, surrogates and 5-byte sequences are not UTF-8 here.
    ASSERT_TRUE(sp_SetLocaleEncoding("ISO-8859-1"));
    EXPECT_EQ("\xc3\x80\xc2\x80", str(sp_AutoConvertToUtf8("\xc0\x80")));
    EXPECT_EQ("\xc3\xad\xc2\xa0\xc2\x80", str(sp_AutoConvertToUtf8("\xed\xa0\x80")));
    EXPECT_EQ("\xc3\xb8\xc2\x88\xc2\x80\xc2\x80\xc2\x80",
              str(sp_AutoConvertToUtf8("\xf8\x88\x80\x80\x80")));
}

TEST(AutoConvert, ByteOrderMarkIsKept)
{
    LocaleCodecGuard guard;
    ASSERT_TRUE(sp_SetLocaleEncoding("ISO-8859-1"));
    EXPECT_EQ("\xef\xbb\xbf" "abc", str(sp_AutoConvertToUtf8("\xef\xbb\xbf" "abc")));
}

TEST(CodePages, Utf8ToCodePage)
{
    EXPECT_EQ("caf\xe9", str(sp_ConvertUTF8_to_MBCS("caf\xc3\xa9", 1252)));
    EXPECT_EQ("\x80", str(sp_ConvertUTF8_to_MBCS("\xe2\x82\xac", 1252)));
    EXPECT_EQ("\xe9", str(sp_ConvertUTF8_to_MBCS("\xc3\xa9", 28591)));
    EXPECT_EQ("?", str(sp_ConvertUTF8_to_MBCS("\xe2\x82\xac", 28591)));
    EXPECT_EQ("\xa4", str(sp_ConvertUTF8_to_MBCS("\xe2\x82\xac", 28605)));
    EXPECT_EQ("\x82\xa0", str(sp_ConvertUTF8_to_MBCS("\xe3\x81\x82", 932))); // Hiragana A
    EXPECT_EQ("\x80", str(sp_ConvertUTF8_to_MBCS("\xc3\x87", 437)));        // C cedilla
    EXPECT_EQ(kUtf8Text, str(sp_ConvertUTF8_to_MBCS(kUtf8Text, 65001)));
    EXPECT_EQ("", str(sp_ConvertUTF8_to_MBCS("abc", 12345)));
    EXPECT_EQ("", str(sp_ConvertUTF8_to_MBCS("abc", -1)));
    EXPECT_EQ("", str(sp_ConvertUTF8_to_MBCS(nullptr, 1252)));
}

namespace {

std::string block(const char *text, int length, int codePage)
{
    YVector<char> out;
    out.resize(3); // replaced, not appended to
    sp_ConvertMBCSBlock_to_UTF8(text, length, &out, codePage);
    return std::string(out.data != nullptr ? out.data : "", static_cast<std::size_t>(out.count()));
}

} // namespace

TEST(CodePages, BlockToUtf8)
{
    EXPECT_EQ("caf\xc3\xa9", block("caf\xe9", 4, 1252));
    EXPECT_EQ("\xe2\x82\xac", block("\x80", 1, 1252));
    EXPECT_EQ("\xe2\x82\xac", block("\xa4", 1, 28605));
    EXPECT_EQ("\xe3\x81\x82", block("\x82\xa0", 2, 932));
    // The length counts, NULs included; no terminator is added.
    EXPECT_EQ(std::string("a\0b", 3), block("a\0b", 3, 1252));
    EXPECT_EQ("ab", block("abcdef", 2, 1252));
    EXPECT_EQ("", block("abc", 0, 1252));
    // UTF-16 little-endian.
    EXPECT_EQ("A\xc3\xa9", block("A\0\xe9\0", 4, 1200));
    // Bad input gives an empty result.
    EXPECT_EQ("", block("abc", 3, 12345));
    EXPECT_EQ("", block("abc", -1, 1252));
    EXPECT_EQ("", block(nullptr, 3, 1252));
    sp_ConvertMBCSBlock_to_UTF8("abc", 3, nullptr, 1252);
}

TEST(CodePages, ZeroIsTheLocaleCodec)
{
    LocaleCodecGuard guard;
    ASSERT_TRUE(sp_SetLocaleEncoding("ISO-8859-1"));
    EXPECT_EQ("\xe9", str(sp_ConvertUTF8_to_MBCS("\xc3\xa9", 0)));
    EXPECT_EQ("\xc3\xa9", block("\xe9", 1, 0));
}

namespace {

UTF8DetectEncoding detect(const char *bytes, int n)
{
    UTF8Detect d;
    for (int i = 0; i < n; ++i)
        d.add(static_cast<unsigned char>(bytes[i]));
    return d.getEncoding();
}

} // namespace

TEST(UTF8Detect, EncodingValuesAreFixed)
{
    // The values are stored and exchanged as plain integers.
    EXPECT_EQ(0, static_cast<int>(Utf8DetectAscii));
    EXPECT_EQ(1, static_cast<int>(Utf8DetectUtf8));
    EXPECT_EQ(2, static_cast<int>(Utf8DetectUtf8Extended));
    EXPECT_EQ(3, static_cast<int>(Utf8DetectNotUtf8));
}

TEST(UTF8Detect, Basics)
{
    UTF8Detect fresh;
    EXPECT_EQ(Utf8DetectAscii, fresh.getEncoding());
    EXPECT_EQ(Utf8DetectAscii, detect("abc", 3));
    EXPECT_EQ(Utf8DetectUtf8, detect("\xc3\xa9", 2));
    EXPECT_EQ(Utf8DetectNotUtf8, detect("\xc3\x41", 2));
    EXPECT_EQ(Utf8DetectUtf8, detect(kUtf8Text, static_cast<int>(std::strlen(kUtf8Text))));
    EXPECT_EQ(Utf8DetectNotUtf8, detect("\x80", 1));
    EXPECT_EQ(Utf8DetectNotUtf8, detect("\xfe", 1));
    EXPECT_EQ(Utf8DetectNotUtf8, detect("\xff", 1));
}

TEST(UTF8Detect, SequenceLengthsAreCounted)
{
    // A 3-byte sequence wants exactly two continuations.
    EXPECT_EQ(Utf8DetectNotUtf8, detect("\xe2\x82" "A", 3));
    EXPECT_EQ(Utf8DetectUtf8, detect("\xe2\x82\xac" "A", 4));
    EXPECT_EQ(Utf8DetectNotUtf8, detect("\xe2\x82\xac\x80", 4));
    EXPECT_EQ(Utf8DetectNotUtf8, detect("\xf0\x9d\x84" "A", 4));
    EXPECT_EQ(Utf8DetectUtf8, detect("\xf0\x9d\x84\x9e" "A", 5));
    EXPECT_EQ(Utf8DetectNotUtf8, detect("\xc3\xa9\xa9", 3));
    // A 6-byte sequence: five continuations, then a new character.
    EXPECT_EQ(Utf8DetectUtf8Extended, detect("\xfc\x84\x80\x80\x80\x80" "A", 7));
    EXPECT_EQ(Utf8DetectNotUtf8, detect("\xfc\x84\x80\x80\x80" "A", 6));
    EXPECT_EQ(Utf8DetectNotUtf8, detect("\xfc\x84\x80\x80\x80\x80\x80", 7));
}

TEST(UTF8Detect, LeadBytesAtTheEdgesOfEachForm)
{
    // 110xxxxx, 1110xxxx and 11110xxx at both ends of their ranges.
    EXPECT_EQ(Utf8DetectUtf8, detect("\xc0\xbf", 2));
    EXPECT_EQ(Utf8DetectUtf8, detect("\xdf\xbf", 2));
    EXPECT_EQ(Utf8DetectUtf8, detect("\xe0\x80\x80", 3));
    EXPECT_EQ(Utf8DetectUtf8, detect("\xef\xbf\xbf", 3));
    EXPECT_EQ(Utf8DetectUtf8, detect("\xf7\xbf\xbf\xbf", 4));
    // 111110xx: five bytes; 1111110x: six.
    EXPECT_EQ(Utf8DetectUtf8Extended, detect("\xfb\x80\x80\x80\x80" "A", 6));
    EXPECT_EQ(Utf8DetectNotUtf8, detect("\xfb\x80\x80\x80\x80\x80", 6));
    EXPECT_EQ(Utf8DetectUtf8Extended, detect("\xfd\x80\x80\x80\x80\x80" "A", 7));
    // A lead byte sets the encoding at once: a lone lead at the end counts.
    EXPECT_EQ(Utf8DetectUtf8, detect("\xc3", 1));
    EXPECT_EQ(Utf8DetectUtf8, detect("\xf0", 1));
    EXPECT_EQ(Utf8DetectUtf8Extended, detect("\xf8", 1));
    EXPECT_EQ(Utf8DetectUtf8Extended, detect("\xfc", 1));
    // A lead byte where a continuation is due is no continuation.
    EXPECT_EQ(Utf8DetectNotUtf8, detect("\xc3\xc3", 2));
    EXPECT_EQ(Utf8DetectNotUtf8, detect("\xe2\x82\xe2", 3));
    EXPECT_EQ(Utf8DetectNotUtf8, detect("\xc3\x00", 2));
    // 0xBF is the last continuation byte and no lead.
    EXPECT_EQ(Utf8DetectNotUtf8, detect("\xbf", 1));
}

TEST(UTF8Detect, ResetInsideASequenceStartsAfresh)
{
    UTF8Detect d;
    d.add(0xE2);
    d.add(0x82);
    EXPECT_EQ(Utf8DetectUtf8, d.getEncoding());
    d.reset();
    EXPECT_EQ(Utf8DetectAscii, d.getEncoding());
    d.add('A'); // at the start of a character again, not a bad continuation
    EXPECT_EQ(Utf8DetectAscii, d.getEncoding());
    d.add(0x80); // and a continuation byte is out of place there
    EXPECT_EQ(Utf8DetectNotUtf8, d.getEncoding());

    UTF8Detect e;
    e.add(0xF8);
    e.reset();
    e.add(0xC3);
    e.add(0xA9);
    EXPECT_EQ(Utf8DetectUtf8, e.getEncoding()); // the extended mark went too
}

TEST(UTF8Detect, CutOffAndUncheckedForms)
{
    // A cut-off sequence does not change the result.
    EXPECT_EQ(Utf8DetectUtf8, detect("ab\xe2\x82", 4));
    // Overlong forms and surrogates pass.
    EXPECT_EQ(Utf8DetectUtf8, detect("\xc0\x80", 2));
    EXPECT_EQ(Utf8DetectUtf8, detect("\xed\xa0\x80", 3));
}

TEST(UTF8Detect, NotUtf8IsFinalUntilReset)
{
    UTF8Detect d;
    d.add(0xC3);
    d.add(0x41);
    EXPECT_EQ(Utf8DetectNotUtf8, d.getEncoding());
    for (unsigned char c : {0xC3, 0xA9, 0x41, 0xF8, 0x88, 0x80, 0x80, 0x80})
        d.add(c);
    EXPECT_EQ(Utf8DetectNotUtf8, d.getEncoding());
    d.reset();
    EXPECT_EQ(Utf8DetectAscii, d.getEncoding());
    d.add(0xC3);
    d.add(0xA9);
    EXPECT_EQ(Utf8DetectUtf8, d.getEncoding());
}

TEST(UTF8Detect, ExtendedIsNotLowered)
{
    UTF8Detect d;
    for (unsigned char c : {0xF8, 0x88, 0x80, 0x80, 0x80})
        d.add(c);
    EXPECT_EQ(Utf8DetectUtf8Extended, d.getEncoding());
    for (unsigned char c : {0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0x41})
        d.add(c);
    EXPECT_EQ(Utf8DetectUtf8Extended, d.getEncoding());
    d.add(0x80); // a stray continuation still ends it
    EXPECT_EQ(Utf8DetectNotUtf8, d.getEncoding());
}

TEST(UTF8Detect, OnlyTheLowByteCounts)
{
    UTF8Detect d;
    d.add(static_cast<unsigned>(static_cast<char>(0xC3))); // sign-extended
    d.add(0x1A9);
    EXPECT_EQ(Utf8DetectUtf8, d.getEncoding());
}

namespace {

std::string tempFile(const char *name)
{
    return kvtest::makeTempDir("enc") + "/" + name;
}

} // namespace

TEST(Utf8Files, OpenWithUtf8Name)
{
    const std::string path = tempFile("donn\xc3\xa9" "es-\xe2\x82\xac.txt");
    FILE *f = fopen_utf8(path.c_str(), "w");
    ASSERT_NE(nullptr, f);
    std::fputs("text", f);
    std::fclose(f);
    EXPECT_TRUE(QFile::exists(QString::fromUtf8(path.c_str())));
    EXPECT_EQ("text", kvtest::readFile(path));
    EXPECT_EQ(nullptr, fopen_utf8((path + ".missing").c_str(), "r"));
    EXPECT_EQ(nullptr, fopen_utf8(nullptr, "r"));
    EXPECT_EQ(nullptr, fopen_utf8(path.c_str(), nullptr));
    EXPECT_EQ(nullptr, fopen_utf8(nullptr, "r", true));
    f = fopen_utf8(path.c_str(), "r", false);
    ASSERT_NE(nullptr, f);
    std::fclose(f);
}

TEST(Utf8Files, CheckedOpen)
{
    const std::string path = tempFile("checked.txt");
    FILE *f = reinterpret_cast<FILE *>(0x1);
    EXPECT_EQ(ENOENT, fopen_s_utf8(&f, path.c_str(), "r"));
    EXPECT_EQ(nullptr, f);
    EXPECT_EQ(0, fopen_s_utf8(&f, path.c_str(), "w"));
    ASSERT_NE(nullptr, f);
    std::fclose(f);
    EXPECT_EQ(EINVAL, fopen_s_utf8(nullptr, path.c_str(), "r"));
    f = reinterpret_cast<FILE *>(0x1);
    EXPECT_EQ(EINVAL, fopen_s_utf8(&f, nullptr, "r"));
    EXPECT_EQ(nullptr, f);
    EXPECT_EQ(EINVAL, fopen_s_utf8(&f, path.c_str(), nullptr));
}

TEST(Utf8Files, RenameUnlinkStat)
{
    const std::string from = tempFile("\xc3\xa9t\xc3\xa9.txt");
    const std::string to = from + ".moved";
    ASSERT_TRUE(kvtest::writeFile(from, "12345"));
    Stat64 st;
    ASSERT_EQ(0, stat_utf8(from.c_str(), &st));
    EXPECT_EQ(5, st.size);
    EXPECT_TRUE(S_ISREG(st.mode));
    EXPECT_EQ(1u, st.nlink);
    EXPECT_LE(std::llabs(static_cast<long long>(std::time(nullptr) - st.mtime)), 60);
    EXPECT_NE(0u, st.ino);

    EXPECT_EQ(0, rename_utf8(from.c_str(), to.c_str()));
    EXPECT_EQ(-1, stat_utf8(from.c_str(), &st));
    EXPECT_EQ(0, stat_utf8(to.c_str(), &st));
    EXPECT_EQ(-1, rename_utf8(from.c_str(), to.c_str()));
    EXPECT_EQ(0, unlink_utf8(to.c_str()));
    EXPECT_EQ(-1, unlink_utf8(to.c_str()));
    EXPECT_EQ(-1, rename_utf8(nullptr, to.c_str()));
    EXPECT_EQ(-1, rename_utf8(to.c_str(), nullptr));
    EXPECT_EQ(-1, unlink_utf8(nullptr));
    EXPECT_EQ(-1, stat_utf8(nullptr, &st));
    EXPECT_EQ(-1, stat_utf8(to.c_str(), nullptr));
}

TEST(Utf8Files, DenyWriteModes)
{
    const std::string path = tempFile("modes.txt");
    // 'w' creates with read and write permission.
    FILE *f = fopen_utf8(path.c_str(), "w", true);
    ASSERT_NE(nullptr, f);
    std::fputs("first", f);
    std::fclose(f);
    struct stat st;
    ASSERT_EQ(0, ::stat(path.c_str(), &st));
    EXPECT_EQ(static_cast<mode_t>(S_IRUSR | S_IWUSR), st.st_mode & (S_IRUSR | S_IWUSR));
    // 'a' appends.
    f = fopen_utf8(path.c_str(), "a", true);
    ASSERT_NE(nullptr, f);
    std::fputs("+more", f);
    std::fclose(f);
    EXPECT_EQ("first+more", kvtest::readFile(path));
    // 'r' reads, and cannot write.
    f = fopen_utf8(path.c_str(), "r", true);
    ASSERT_NE(nullptr, f);
    char buf[32] = {};
    EXPECT_EQ(10u, std::fread(buf, 1, sizeof buf, f));
    EXPECT_STREQ("first+more", buf);
    EXPECT_EQ(EOF, std::fputs("x", f));
    std::fclose(f);
    // 'w' truncates.
    f = fopen_utf8(path.c_str(), "wb", true);
    ASSERT_NE(nullptr, f);
    std::fclose(f);
    EXPECT_EQ("", kvtest::readFile(path));
    // 'r+' reads and writes.
    ASSERT_TRUE(kvtest::writeFile(path, "abc"));
    f = fopen_utf8(path.c_str(), "r+", true);
    ASSERT_NE(nullptr, f);
    EXPECT_NE(EOF, std::fputs("X", f));
    std::fclose(f);
    EXPECT_EQ("Xbc", kvtest::readFile(path));
    // A missing file cannot be read.
    EXPECT_EQ(nullptr, fopen_utf8((path + ".none").c_str(), "r", true));
}

// Child: opens args[0] by fopen_utf8 with mode args[1], deny-write when
// args[2] is "deny"; exit code 0 if it opened, 1 if not. With args[3]
// "hold" it exits without closing, leaving the descriptor to the system.
KVTEST_CHILD(encodingOpen)
{
    if (args.size() < 3)
        return 2;
    const std::string name = args[0].toStdString();
    const std::string mode = args[1].toStdString();
    FILE *f = fopen_utf8(name.c_str(), mode.c_str(), args[2] == "deny");
    if (f == nullptr)
        return 1;
    if (args.size() > 3 && args[3] == "hold")
        std::_Exit(0);
    std::fclose(f);
    return 0;
}

TEST(Utf8Files, DenyWriteReaderLetsOthersReadOnly)
{
    const std::string path = tempFile("shared.txt");
    ASSERT_TRUE(kvtest::writeFile(path, "keep me"));
    FILE *held = fopen_utf8(path.c_str(), "r", true);
    ASSERT_NE(nullptr, held);
    const QString name = QString::fromStdString(path);
    EXPECT_EQ(0, kvtest::runChild("encodingOpen", {name, "r", "deny"}));
    EXPECT_EQ(0, kvtest::runChild("encodingOpen", {name, "r", "plain"}));
    EXPECT_EQ(1, kvtest::runChild("encodingOpen", {name, "w", "deny"}));
    EXPECT_EQ(1, kvtest::runChild("encodingOpen", {name, "a", "deny"}));
    EXPECT_EQ(1, kvtest::runChild("encodingOpen", {name, "r+", "deny"}));
    // The refused 'w' did not empty the file.
    EXPECT_EQ("keep me", kvtest::readFile(path));
    std::fclose(held);
    EXPECT_EQ(0, kvtest::runChild("encodingOpen", {name, "a", "deny"}));
}

TEST(Utf8Files, DenyWriteWriterExcludesOtherDenyWriteOpens)
{
    const std::string path = tempFile("written.txt");
    FILE *held = fopen_utf8(path.c_str(), "w", true);
    ASSERT_NE(nullptr, held);
    std::fputs("data", held);
    std::fflush(held);
    const QString name = QString::fromStdString(path);
    EXPECT_EQ(1, kvtest::runChild("encodingOpen", {name, "r", "deny"}));
    EXPECT_EQ(1, kvtest::runChild("encodingOpen", {name, "w", "deny"}));
    // Others can still read.
    EXPECT_EQ(0, kvtest::runChild("encodingOpen", {name, "r", "plain"}));
    EXPECT_EQ("data", kvtest::readFile(path));
    std::fclose(held);
    EXPECT_EQ(0, kvtest::runChild("encodingOpen", {name, "r", "deny"}));
}

TEST(Utf8Files, DeadHolderLeavesNoLock)
{
    const std::string path = tempFile("dead.txt");
    const QString name = QString::fromStdString(path);
    EXPECT_EQ(0, kvtest::runChild("encodingOpen", {name, "w", "deny", "hold"}));
    FILE *f = fopen_utf8(path.c_str(), "w", true);
    EXPECT_NE(nullptr, f);
    if (f != nullptr)
        std::fclose(f);
}
