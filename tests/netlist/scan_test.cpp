// Tests of the token readers, line splitters, file readers, text helpers,
// ArgSwitch and WordArray.
#include <kvsupport/scan.h>

#include "support/test_support.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

ScanSpec makeSpec(const char *delimiters, const char *singles = "", const char *quotes = nullptr,
                  const char *closeQuotes = nullptr, bool keepQuotes = false, bool nested = false)
{
    ScanSpec spec;
    spec.delimiters = delimiters;
    spec.quotes = quotes;
    spec.closeQuotes = closeQuotes;
    spec.singles = singles;
    spec.keepQuotes = keepQuotes;
    spec.nested = nested;
    return spec;
}

std::vector<std::string> texts(const YArray<YString> &a)
{
    std::vector<std::string> v;
    for (int i = 0; i < a.getCount(); ++i)
        v.emplace_back(a.at(i).tocs());
    return v;
}

using Strings = std::vector<std::string>;

Strings splitLine(const char *line, char sep, int minFields = 0)
{
    YArray<YString> out;
    sp_SplitLine(line, sep, &out, minFields);
    return texts(out);
}

Strings splitBrackets(const char *line, char sep, const char *brackets, int minFields = 0)
{
    YArray<YString> out;
    sp_SplitLine(line, sep, brackets, &out, minFields);
    return texts(out);
}

// A temporary file holding \p content, open for reading.
class TextFile {
public:
    explicit TextFile(const std::string &content)
    {
        path = kvtest::makeTempDir("scan") + "/data.txt";
        FILE *w = std::fopen(path.c_str(), "wb");
        std::fwrite(content.data(), 1, content.size(), w);
        std::fclose(w);
        file = std::fopen(path.c_str(), "rb");
    }
    ~TextFile() { std::fclose(file); }
    FILE *get() const { return file; }

private:
    std::string path;
    FILE *file;
};

} // namespace

// ---------------------------------------------------------------- sp_GetToken

TEST(ScanGetToken, DelimitersOnlyGiveEmptyTokenAndEndType)
{
    const char *line = " \t  ";
    const char *cursor = line;
    EXPECT_STREQ(sp_GetToken(&cursor, " \t", nullptr, nullptr, false).tocs(), "");
    EXPECT_EQ(*cursor, 0);

    cursor = line;
    int type = 99;
    ScanSpec spec = makeSpec(" \t");
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "");
    EXPECT_EQ(type, -1);
    EXPECT_EQ(cursor, line + 4);
}

TEST(ScanGetToken, WordOf1024CharactersComesBackAs1023AndOne)
{
    std::string word(1023, 'w');
    word += 'z';
    std::string line = word + " next";
    const char *cursor = line.c_str();
    YString first = sp_GetToken(&cursor, " ", nullptr, nullptr, false);
    EXPECT_EQ(first.length(), 1023);
    EXPECT_EQ(std::string(first.tocs()), std::string(1023, 'w'));
    EXPECT_STREQ(sp_GetToken(&cursor, " ", nullptr, nullptr, false).tocs(), "z");
    EXPECT_STREQ(sp_GetToken(&cursor, " ", nullptr, nullptr, false).tocs(), "next");

    ScanSpec spec = makeSpec(" ");
    cursor = line.c_str();
    int type = -5;
    EXPECT_EQ(sp_GetToken(&cursor, spec, &type).length(), 1023);
    EXPECT_EQ(type, 0);
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "z");
    EXPECT_EQ(type, 0);
}

TEST(ScanGetToken, WordOfExactly1023CharactersIsWhole)
{
    std::string line(1023, 'q');
    const char *cursor = line.c_str();
    EXPECT_EQ(sp_GetToken(&cursor, " ", nullptr, nullptr, false).length(), 1023);
    EXPECT_EQ(*cursor, 0);
}

TEST(ScanGetToken, QuotedTokenHasNoLengthLimit)
{
    std::string inner(1024, 'q');
    std::string line = "\"" + inner + "\" tail";
    ScanSpec spec = makeSpec(" ", "", "\"", "\"");
    const char *cursor = line.c_str();
    int type = -5;
    EXPECT_EQ(std::string(sp_GetToken(&cursor, spec, &type).tocs()), inner);
    EXPECT_EQ(type, 0);
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "tail");

    cursor = line.c_str();
    EXPECT_EQ(std::string(sp_GetToken(&cursor, " ", "\"", "\"", false).tocs()), inner);

    std::string big(100000, 'x');
    std::string bigLine = "'" + big + "'";
    cursor = bigLine.c_str();
    EXPECT_EQ(sp_GetToken(&cursor, " ", "'", "'", false).length(), 100000);
}

TEST(ScanGetToken, MissingCloserEndsAtEndOfText)
{
    const char *line = "\"abc";
    ScanSpec spec = makeSpec(" ", "", "\"", "\"");
    const char *cursor = line;
    int type = -5;
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "abc");
    EXPECT_EQ(type, 0);
    EXPECT_EQ(cursor, line + 4);
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "");
    EXPECT_EQ(type, -1);

    cursor = line;
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "\"", "\"", false).tocs(), "abc");
    EXPECT_EQ(cursor, line + 4);
}

TEST(ScanGetToken, NestedBrackets)
{
    const char *line = "(a(b)c)";
    ScanSpec nested = makeSpec(" ", "", "(", ")", false, true);
    const char *cursor = line;
    int type = -5;
    EXPECT_STREQ(sp_GetToken(&cursor, nested, &type).tocs(), "a(b)c");
    EXPECT_EQ(*cursor, 0);

    ScanSpec flat = makeSpec(" ", "", "(", ")", false, false);
    cursor = line;
    EXPECT_STREQ(sp_GetToken(&cursor, flat, &type).tocs(), "a(b");
    EXPECT_EQ(type, 0);
    EXPECT_STREQ(sp_GetToken(&cursor, flat, &type).tocs(), "c)");
    EXPECT_EQ(type, 0);
    sp_GetToken(&cursor, flat, &type);
    EXPECT_EQ(type, -1);

    ScanSpec nestedKeep = makeSpec(" ", "", "(", ")", true, true);
    cursor = line;
    EXPECT_STREQ(sp_GetToken(&cursor, nestedKeep, &type).tocs(), "(a(b)c)");
}

TEST(ScanGetToken, NestingNeedsDifferentOpenerAndCloser)
{
    // With opener == closer the nested flag changes nothing.
    const char *line = "|a|b|";
    ScanSpec spec = makeSpec(" ", "", "|", "|", false, true);
    const char *cursor = line;
    int type = 0;
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "a");
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "b|");
}

TEST(ScanGetToken, SinglesAreTypedTokensWithEmptyText)
{
    const char *line = "a=b";
    ScanSpec spec = makeSpec(" ", "=");
    const char *cursor = line;
    int type = -5;
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "a");
    EXPECT_EQ(type, 0);
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "");
    EXPECT_EQ(type, 61);
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "b");
    EXPECT_EQ(type, 0);
    sp_GetToken(&cursor, spec, &type);
    EXPECT_EQ(type, -1);
}

TEST(ScanGetToken, SingleTypeIsSignExtended)
{
    const char line[] = {'x', static_cast<char>(0xE9), 'y', 0};
    const char singles[] = {static_cast<char>(0xE9), 0};
    ScanSpec spec = makeSpec(" ", singles);
    const char *cursor = line;
    int type = 0;
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "x");
    sp_GetToken(&cursor, spec, &type);
    EXPECT_EQ(type, -23);
}

TEST(ScanGetToken, EmptyQuotedPairIsNotTheEnd)
{
    const char *line = "\"\" x";
    ScanSpec spec = makeSpec(" ", "", "\"", "\"");
    const char *cursor = line;
    int type = -5;
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "");
    EXPECT_EQ(type, 0);
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "x");
}

TEST(ScanGetToken, KeepQuotesWithSpec)
{
    const char *line = "{ab} [c]";
    ScanSpec spec = makeSpec(" ", "", "{[", "}]", true);
    const char *cursor = line;
    int type = 0;
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "{ab}");
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "[c]");
}

TEST(ScanGetToken, QuotingNeedsBothStrings)
{
    const char *line = "\"a b\"";
    ScanSpec spec = makeSpec(" ", "", "\"", nullptr);
    const char *cursor = line;
    int type = 0;
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "\"a");
    cursor = line;
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "\"", nullptr, false).tocs(), "\"a");
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "\"", nullptr, false).tocs(), "b\"");
}

TEST(ScanGetToken, SeparateStringsEmptyPairGivesNoEmptyToken)
{
    // The second quote is taken as the token's first character.
    const char *line = "\"\" abc\" d";
    const char *cursor = line;
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "\"", "\"", false).tocs(), "\" abc");
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "\"", "\"", false).tocs(), "d");

    cursor = "\"\" d";
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "\"", "\"", true).tocs(), "\"\"");
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "\"", "\"", true).tocs(), "d");
}

TEST(ScanGetToken, SeparateStringsQuotedAndWords)
{
    const char *cursor = "  'a b'c  <x y> z";
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "'<", "'>", false).tocs(), "a b");
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "'<", "'>", false).tocs(), "c");
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "'<", "'>", true).tocs(), "<x y>");
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "'<", "'>", false).tocs(), "z");
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "'<", "'>", false).tocs(), "");
}

TEST(ScanGetToken, ShortCloserListClosesWithOpener)
{
    const char *cursor = "|a b| c";
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "(|", ")", false).tocs(), "a b");
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "(|", ")", false).tocs(), "c");
}

TEST(ScanGetToken, NullCursorIsTheEnd)
{
    const char *nothing = nullptr;
    int type = 0;
    ScanSpec spec = makeSpec(" ");
    EXPECT_STREQ(sp_GetToken(&nothing, spec, &type).tocs(), "");
    EXPECT_EQ(type, -1);
    EXPECT_STREQ(sp_GetToken(nullptr, " ", nullptr, nullptr, false).tocs(), "");
    EXPECT_STREQ(sp_StrTok(&nothing, " ").tocs(), "");
}

TEST(ScanPeekToken, LeavesCursor)
{
    const char *line = "  alpha beta";
    const char *cursor = line;
    EXPECT_STREQ(sp_PeekToken(&cursor, " ", nullptr, nullptr, false).tocs(), "alpha");
    EXPECT_EQ(cursor, line);
    EXPECT_STREQ(sp_GetToken(&cursor, " ", nullptr, nullptr, false).tocs(), "alpha");
    EXPECT_STREQ(sp_PeekToken(&cursor, " ", nullptr, nullptr, false).tocs(), "beta");
}

// ------------------------------------------------------------------ sp_StrTok

TEST(ScanStrTok, QuotesWordsAndCursor)
{
    const char *line = ";;\"a;b\";cd\"e;f";
    const char *cursor = line;
    EXPECT_STREQ(sp_StrTok(&cursor, ";").tocs(), "a;b");
    EXPECT_EQ(*cursor, ';');
    EXPECT_STREQ(sp_StrTok(&cursor, ";").tocs(), "cd\"e");
    EXPECT_EQ(*cursor, ';');
    EXPECT_STREQ(sp_StrTok(&cursor, ";").tocs(), "f");
    EXPECT_EQ(*cursor, 0);
    EXPECT_STREQ(sp_StrTok(&cursor, ";").tocs(), "");
}

TEST(ScanStrTok, NoLengthLimit)
{
    std::string word(5000, 'k');
    std::string line = word + " x";
    const char *cursor = line.c_str();
    EXPECT_EQ(std::string(sp_StrTok(&cursor, " ").tocs()), word);
    std::string quoted = "\"" + word;
    cursor = quoted.c_str();
    EXPECT_EQ(std::string(sp_StrTok(&cursor, " ").tocs()), word);
    EXPECT_EQ(*cursor, 0);
}

// --------------------------------------------------------------- sp_SplitToken

TEST(ScanSplitToken, NoTrailingEmptyField)
{
    const char *cursor = "a,";
    YString out("untouched");
    EXPECT_TRUE(sp_SplitToken(&cursor, ',', &out));
    EXPECT_STREQ(out.tocs(), "a");
    out = "keep";
    EXPECT_FALSE(sp_SplitToken(&cursor, ',', &out));
    EXPECT_STREQ(out.tocs(), "keep");
}

TEST(ScanSplitToken, EmptyFields)
{
    const char *cursor = ",,b";
    YString out("x");
    EXPECT_TRUE(sp_SplitToken(&cursor, ',', &out));
    EXPECT_STREQ(out.tocs(), "");
    EXPECT_TRUE(sp_SplitToken(&cursor, ',', &out));
    EXPECT_STREQ(out.tocs(), "");
    EXPECT_TRUE(sp_SplitToken(&cursor, ',', &out));
    EXPECT_STREQ(out.tocs(), "b");
    EXPECT_FALSE(sp_SplitToken(&cursor, ',', &out));
}

// ----------------------------------------------------------------- sp_GetNonWS

TEST(ScanGetNonWS, SkipsBlanksAndMovesPastTerminator)
{
    const char *line = " \t x y";
    const char *cursor = line;
    EXPECT_EQ(sp_GetNonWS(&cursor), 'x');
    EXPECT_EQ(cursor, line + 4);
    EXPECT_EQ(sp_GetNonWS(&cursor), 'y');
    const char *end = " \t";
    cursor = end;
    EXPECT_EQ(sp_GetNonWS(&cursor), 0);
    EXPECT_EQ(cursor, end + 3);
    const char *newline = "\n";
    cursor = newline;
    EXPECT_EQ(sp_GetNonWS(&cursor), '\n');
}

TEST(ScanGetToken, QuoteInsideAWordIsOrdinary)
{
    ScanSpec spec = makeSpec(" ", "", "\"", "\"");
    const char *line = "ab\"c d\"";
    const char *cursor = line;
    int type = 7;
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "ab\"c");
    EXPECT_EQ(type, 0);
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "d\"");
    cursor = line;
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "\"", "\"", false).tocs(), "ab\"c");
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "\"", "\"", false).tocs(), "d\"");
}

TEST(ScanGetToken, QuotedTokenEndsAtItsCloser)
{
    // Text right after the closer is the next token, not part of this one.
    ScanSpec spec = makeSpec(" ", "", "\"", "\"");
    const char *line = "\"a b\"c";
    const char *cursor = line;
    int type = 7;
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "a b");
    EXPECT_EQ(cursor, line + 5);
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "c");
    EXPECT_EQ(type, 0);
    cursor = line;
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "\"", "\"", false).tocs(), "a b");
    EXPECT_EQ(cursor, line + 5);
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "\"", "\"", false).tocs(), "c");
}

TEST(ScanGetToken, NestingToAnyDepthAndUnclosed)
{
    ScanSpec nested = makeSpec(" ", "", "(", ")", false, true);
    const char *line = "(a(b(c))d)e f";
    const char *cursor = line;
    int type = 7;
    EXPECT_STREQ(sp_GetToken(&cursor, nested, &type).tocs(), "a(b(c))d");
    EXPECT_EQ(type, 0);
    EXPECT_STREQ(sp_GetToken(&cursor, nested, &type).tocs(), "e");
    EXPECT_STREQ(sp_GetToken(&cursor, nested, &type).tocs(), "f");

    // An inner pair left open swallows the outer closer: no complaint.
    const char *open = "(a(b)c";
    cursor = open;
    EXPECT_STREQ(sp_GetToken(&cursor, nested, &type).tocs(), "a(b)c");
    EXPECT_EQ(type, 0);
    EXPECT_EQ(*cursor, 0);
    ScanSpec nestedKeep = makeSpec(" ", "", "(", ")", true, true);
    const char *unclosedKeep = "((x)";
    cursor = unclosedKeep;
    EXPECT_STREQ(sp_GetToken(&cursor, nestedKeep, &type).tocs(), "((x)");
    EXPECT_EQ(*cursor, 0);
}

TEST(ScanGetToken, MissingCloserKeepingQuotes)
{
    ScanSpec spec = makeSpec(" ", "", "\"", "\"", true);
    const char *line = "\"abc";
    const char *cursor = line;
    int type = 7;
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "\"abc");
    EXPECT_EQ(type, 0);
    EXPECT_EQ(*cursor, 0);
    cursor = line;
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "\"", "\"", true).tocs(), "\"abc");
    EXPECT_EQ(*cursor, 0);
    // A lone opener at the very end.
    const char *lone = "x \"";
    cursor = lone;
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "\"", "\"", false).tocs(), "x");
    EXPECT_STREQ(sp_GetToken(&cursor, " ", "\"", "\"", false).tocs(), "");
    EXPECT_EQ(*cursor, 0);
    cursor = lone;
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "x");
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "\"");
    EXPECT_EQ(type, 0);
    EXPECT_EQ(*cursor, 0);
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "");
    EXPECT_EQ(type, -1);
}

TEST(ScanGetToken, SingleEndsAWordAndLimitCountsBeforeIt)
{
    ScanSpec spec = makeSpec(" ", ",");
    std::string text = std::string(1023, 'w') + ",x";
    const char *cursor = text.c_str();
    int type = 7;
    EXPECT_EQ(sp_GetToken(&cursor, spec, &type).length(), 1023);
    EXPECT_EQ(type, 0);
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "");
    EXPECT_EQ(type, ',');
    EXPECT_STREQ(sp_GetToken(&cursor, spec, &type).tocs(), "x");
    EXPECT_EQ(type, 0);
}

TEST(ScanStrTok, UnclosedQuoteAndTextAfterCloser)
{
    const char *line = "\"a b\"c \"de";
    const char *cursor = line;
    EXPECT_STREQ(sp_StrTok(&cursor, " ").tocs(), "a b");
    EXPECT_EQ(cursor, line + 5);
    EXPECT_STREQ(sp_StrTok(&cursor, " ").tocs(), "c");
    EXPECT_STREQ(sp_StrTok(&cursor, " ").tocs(), "de");
    EXPECT_EQ(*cursor, 0);
    EXPECT_STREQ(sp_StrTok(&cursor, " ").tocs(), "");
    const char *empty = "\"\" z";
    cursor = empty;
    EXPECT_STREQ(sp_StrTok(&cursor, " ").tocs(), "");
    EXPECT_EQ(cursor, empty + 2);
    EXPECT_STREQ(sp_StrTok(&cursor, " ").tocs(), "z");
}

TEST(ScanSplitToken, NoSeparatorGivesTheRest)
{
    const char *line = "abc";
    const char *cursor = line;
    YString out("keep");
    EXPECT_TRUE(sp_SplitToken(&cursor, ',', &out));
    EXPECT_STREQ(out.tocs(), "abc");
    EXPECT_EQ(cursor, line + 3);
    EXPECT_FALSE(sp_SplitToken(&cursor, ',', &out));
    EXPECT_STREQ(out.tocs(), "abc");
    const char *empty = "";
    cursor = empty;
    EXPECT_FALSE(sp_SplitToken(&cursor, ',', &out));
    EXPECT_STREQ(out.tocs(), "abc");
}

TEST(ScanGetNonWS, HighByteIsNegativeAndOtherBlanksAreCharacters)
{
    const char *line = " \t\xE9\r";
    const char *cursor = line;
    EXPECT_EQ(sp_GetNonWS(&cursor), -23);
    EXPECT_EQ(cursor, line + 3);
    EXPECT_EQ(sp_GetNonWS(&cursor), '\r'); // only blanks and tabs are skipped
    EXPECT_EQ(cursor, line + 4);
}

// ------------------------------------------------------ sp_ScanLine (in place)

TEST(ScanLineInPlace, WritesTerminators)
{
    char buffer[] = "ab,c,,d";
    char *cursor = buffer;
    EXPECT_STREQ(sp_ScanLine(&cursor, ','), "ab");
    EXPECT_STREQ(sp_ScanLine(&cursor, ','), "c");
    EXPECT_STREQ(sp_ScanLine(&cursor, ','), "");
    char *last = sp_ScanLine(&cursor, ',');
    EXPECT_STREQ(last, "d");
    EXPECT_EQ(cursor, buffer + 7);
    EXPECT_EQ(*cursor, 0);
    EXPECT_EQ(sp_ScanLine(&cursor, ','), nullptr);
    EXPECT_EQ(buffer[2], 0);
}

TEST(ScanLineInPlace, TrailingSeparatorLeavesNoField)
{
    char buffer[] = "a,";
    char *cursor = buffer;
    EXPECT_STREQ(sp_ScanLine(&cursor, ','), "a");
    EXPECT_EQ(sp_ScanLine(&cursor, ','), nullptr);
    char *none = nullptr;
    EXPECT_EQ(sp_ScanLine(&none, ','), nullptr);
}

// ------------------------------------------------------- sp_ScanLine to arrays

TEST(ScanLineArrays, DelimitersAppendAndStopAtLimit)
{
    YArray<YString> out;
    out.add("old");
    sp_ScanLine("  R1  n1 n2\t1k ", " \t", &out, 0);
    EXPECT_EQ(texts(out), (Strings{"old", "R1", "n1", "n2", "1k"}));
    YArray<YString> two;
    sp_ScanLine("a b c", " ", &two, 2);
    EXPECT_EQ(texts(two), (Strings{"a", "b"}));
    YArray<YString> none;
    sp_ScanLine("   ", " ", &none, 0);
    EXPECT_EQ(none.getCount(), 0);
}

TEST(ScanLineArrays, DelimiterFormCutsLongWords)
{
    const std::string line = "x " + std::string(2100, 'w') + "//y";
    YArray<YString> out;
    sp_ScanLine(line.c_str(), " /", &out, 0);
    EXPECT_EQ(texts(out), (Strings{"x", std::string(1023, 'w'), std::string(1023, 'w'),
                                   std::string(54, 'w'), "y"}));
    YArray<YString> two;
    sp_ScanLine(line.c_str(), " /", &two, 2);
    EXPECT_EQ(texts(two), (Strings{"x", std::string(1023, 'w')}));
}

TEST(ScanLineArrays, DelimiterFormHasNoQuoting)
{
    YArray<YString> out;
    sp_ScanLine("\"a b\" c", " ", &out, -1);
    EXPECT_EQ(texts(out), (Strings{"\"a", "b\"", "c"}));
}

TEST(ScanLineArrays, SpecTypedAndUntyped)
{
    ScanSpec spec = makeSpec(" ", "=(),", "\"", "\"");
    YArray<ScanToken> typed;
    sp_ScanLine(".param x=\"\" y=(3)", spec, &typed, 0);
    ASSERT_EQ(typed.getCount(), 9);
    const int types[] = {0, 0, '=', 0, 0, '=', '(', 0, ')'};
    const char *words[] = {".param", "x", "", "", "y", "", "", "3", ""};
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(typed.at(i).type, types[i]) << i;
        EXPECT_STREQ(typed.at(i).text.tocs(), words[i]) << i;
    }
    YArray<YString> plain;
    sp_ScanLine(".param x=\"\" y=(3)", spec, &plain, 0);
    EXPECT_EQ(texts(plain), (Strings{".param", "x", "", "", "y", "", "", "3", ""}));
    YArray<YString> limited;
    sp_ScanLine("a b c d", spec, &limited, 3);
    EXPECT_EQ(texts(limited), (Strings{"a", "b", "c"}));
}

TEST(ScanLineArrays, SpecFormAppendsAndNegativeLimitIsNone)
{
    ScanSpec spec = makeSpec(" ", "=");
    YArray<ScanToken> typed;
    ScanToken old;
    old.type = 5;
    old.text = "old";
    typed.add(old);
    sp_ScanLine("a=b c", spec, &typed, -1);
    ASSERT_EQ(typed.getCount(), 5);
    EXPECT_EQ(typed.at(0).type, 5);
    EXPECT_STREQ(typed.at(0).text.tocs(), "old");
    EXPECT_EQ(typed.at(2).type, '=');
    EXPECT_STREQ(typed.at(4).text.tocs(), "c");
    YArray<YString> plain;
    sp_ScanLine("   ", spec, &plain, 0);
    EXPECT_EQ(plain.getCount(), 0);
    sp_ScanLine("x y", spec, &plain, 1);
    EXPECT_EQ(texts(plain), (Strings{"x"}));
}

// ---------------------------------------------------------------- sp_SplitLine

TEST(ScanSplitLine, PlainFields)
{
    EXPECT_EQ(splitLine("", ','), Strings{});
    EXPECT_EQ(splitLine("a,b,", ','), (Strings{"a", "b"}));
    EXPECT_EQ(splitLine(",a", ','), (Strings{"", "a"}));
    EXPECT_EQ(splitLine("a,,b", ','), (Strings{"a", "", "b"}));
    EXPECT_EQ(splitLine(",", ','), (Strings{""}));
    EXPECT_EQ(splitLine("x", ','), (Strings{"x"}));
    std::string big(3000, 'b');
    EXPECT_EQ(splitLine((big + ",c").c_str(), ','), (Strings{big, "c"}));
}

TEST(ScanSplitLine, PaddingCountsWhatWasThere)
{
    EXPECT_EQ(splitLine("a", ',', 3), (Strings{"a", "", ""}));
    YArray<YString> out;
    out.add("x");
    out.add("y");
    sp_SplitLine("a", ',', &out, 3);
    EXPECT_EQ(texts(out), (Strings{"x", "y", "a"}));
}

TEST(ScanSplitLine, BracketsKeepSeparatorsInside)
{
    EXPECT_EQ(splitBrackets("(a,b)c,d", ',', "()"), (Strings{"a,b", "d"}));
    EXPECT_EQ(splitBrackets("(a,b", ',', "()"), Strings{});
    EXPECT_EQ(splitBrackets("(a,b", ',', "()", 2), (Strings{"", ""}));
    EXPECT_EQ(splitBrackets("", ',', "()"), (Strings{""}));
    EXPECT_EQ(splitBrackets("a,", ',', "()"), (Strings{"a", ""}));
    EXPECT_EQ(splitBrackets("((a),b),c", ',', "()"), (Strings{"(a),b", "c"}));
    EXPECT_EQ(splitBrackets("a(b,c)", ',', "()"), (Strings{"a(b", "c)"}));
    EXPECT_EQ(splitBrackets(")x,(y)", ',', "()"), (Strings{")x", "y"}));
    EXPECT_EQ(splitBrackets("a,b", ',', "()", 4), (Strings{"a", "b", "", ""}));
}

TEST(ScanSplitLine, BracketsAreOnlySpecialAtTheStartOfAField)
{
    // A field that opens with a bracket ends at its closer; inside a plain
    // field brackets are ordinary text, and a stray closer opens a plain field.
    EXPECT_EQ(splitBrackets("(a)(b),c", ',', "()"), (Strings{"a", "c"}));
    EXPECT_EQ(splitBrackets("x(a,b),c", ',', "()"), (Strings{"x(a", "b)", "c"}));
    EXPECT_EQ(splitBrackets("(),(,)", ',', "()"), (Strings{"", ","}));
    EXPECT_EQ(splitBrackets(",,", ',', "()"), (Strings{"", "", ""}));
    EXPECT_EQ(splitBrackets("<a;b>;c", ';', "<>"), (Strings{"a;b", "c"}));
    // The bracket form pads from what the array held before, too.
    YArray<YString> out;
    out.add(YString("old"));
    sp_SplitLine("a", ',', "()", &out, 3);
    EXPECT_EQ(texts(out), (Strings{"old", "a", ""}));
}

TEST(ScanSplitLine, BadBracketsAppendNothing)
{
    YArray<YString> out;
    sp_SplitLine("a,b", ',', "(", &out, 5);
    EXPECT_EQ(out.getCount(), 0);
    sp_SplitLine("a,b", ',', "((", &out, 5);
    EXPECT_EQ(out.getCount(), 0);
    sp_SplitLine("a,b", ',', nullptr, &out, 5);
    EXPECT_EQ(out.getCount(), 0);
}

TEST(ScanSplitLine, BracketChunkCarryOver)
{
    // 1023 characters fit one chunk and leave nothing behind.
    std::string exact(1023, 'e');
    EXPECT_EQ(splitBrackets((exact + ",x").c_str(), ',', "()"), (Strings{exact, "x"}));
    // Past 1023, the full chunk stays at the head of every later field.
    std::string longField = std::string(1023, 'a') + "bc";
    Strings got = splitBrackets((longField + ",x,(y)").c_str(), ',', "()");
    std::string carried(1023, 'a');
    EXPECT_EQ(got, (Strings{longField, carried + "x", carried + "y"}));
    // Empty fields get it too.
    got = splitBrackets((longField + ",,").c_str(), ',', "()");
    EXPECT_EQ(got, (Strings{longField, carried, carried}));
}

// ------------------------------------------------------------- line readers

TEST(ScanReadLine, LastLineWithoutLineFeed)
{
    TextFile f("a");
    YString line("junk");
    EXPECT_FALSE(sp_ReadNextLine(f.get(), &line));
    EXPECT_STREQ(line.tocs(), "a");

    TextFile g("a");
    int count = 0;
    EXPECT_TRUE(sp_ReadNextNonBlankLine(g.get(), &line, &count));
    EXPECT_STREQ(line.tocs(), "a");
    EXPECT_EQ(count, 0);
}

TEST(ScanReadLine, CarriageReturnsDroppedEverywhere)
{
    TextFile f("x\ry\r\n\r\nlast\n");
    YString line;
    EXPECT_TRUE(sp_ReadNextLine(f.get(), &line));
    EXPECT_STREQ(line.tocs(), "xy");
    EXPECT_TRUE(sp_ReadNextLine(f.get(), &line));
    EXPECT_STREQ(line.tocs(), "");
    EXPECT_TRUE(sp_ReadNextLine(f.get(), &line));
    EXPECT_STREQ(line.tocs(), "last");
    line = "junk";
    EXPECT_FALSE(sp_ReadNextLine(f.get(), &line));
    EXPECT_STREQ(line.tocs(), "");
}

TEST(ScanReadLine, LongLine)
{
    std::string big(5000, 'L');
    TextFile f(big + "\nb");
    YString line;
    EXPECT_TRUE(sp_ReadNextLine(f.get(), &line));
    EXPECT_EQ(std::string(line.tocs()), big);
}

TEST(ScanReadLine, NullStream)
{
    YString line("junk");
    EXPECT_FALSE(sp_ReadNextLine(nullptr, &line));
    EXPECT_STREQ(line.tocs(), "");
    line = "junk";
    EXPECT_FALSE(sp_ReadNextNonBlankLine(nullptr, &line, nullptr));
    EXPECT_STREQ(line.tocs(), "");
}

TEST(ScanReadLine, NonBlankSkipsAndCounts)
{
    TextFile f("  \n\t\n\n  x y\nz\n \t");
    YString line;
    int count = 10;
    EXPECT_TRUE(sp_ReadNextNonBlankLine(f.get(), &line, &count));
    EXPECT_STREQ(line.tocs(), "  x y");
    EXPECT_EQ(count, 14);
    EXPECT_TRUE(sp_ReadNextNonBlankLine(f.get(), &line, &count));
    EXPECT_STREQ(line.tocs(), "z");
    EXPECT_EQ(count, 15);
    EXPECT_FALSE(sp_ReadNextNonBlankLine(f.get(), &line, &count));
    EXPECT_STREQ(line.tocs(), " \t");
    EXPECT_EQ(count, 15);
}

TEST(ScanReadLine, CarriageReturnsMakeNoTextAndCountingGoesOn)
{
    TextFile f("\r\n \r\t\n\r\nv\r\n");
    YString line;
    int count = 100;
    EXPECT_TRUE(sp_ReadNextNonBlankLine(f.get(), &line, &count));
    EXPECT_STREQ(line.tocs(), "v");
    EXPECT_EQ(count, 104);
    EXPECT_FALSE(sp_ReadNextNonBlankLine(f.get(), &line, nullptr));
    EXPECT_STREQ(line.tocs(), "");
    TextFile g("  \n\nx");
    EXPECT_TRUE(sp_ReadNextNonBlankLine(g.get(), &line, nullptr));
    EXPECT_STREQ(line.tocs(), "x");
}

TEST(ScanReadLine, LongBlankLinesAreSkippedWhole)
{
    const std::string content = std::string(1500, ' ') + "\n" + std::string(3000, '\t') + "\r\n" +
                                std::string(2000, ' ') + "x\n" + std::string(1500, ' ');
    TextFile f(content);
    YString line;
    int count = 0;
    EXPECT_TRUE(sp_ReadNextNonBlankLine(f.get(), &line, &count));
    EXPECT_EQ(std::string(line.tocs()), std::string(2000, ' ') + "x");
    EXPECT_EQ(count, 3);
    EXPECT_FALSE(sp_ReadNextNonBlankLine(f.get(), &line, &count));
    EXPECT_EQ(std::string(line.tocs()), std::string(1500, ' '));
    EXPECT_EQ(count, 3);
}

TEST(ScanReadLine, NextLineStartsEmptyEachTime)
{
    TextFile f("first\n\n");
    YString line("stale");
    EXPECT_TRUE(sp_ReadNextLine(f.get(), &line));
    EXPECT_STREQ(line.tocs(), "first");
    EXPECT_TRUE(sp_ReadNextLine(f.get(), &line));
    EXPECT_STREQ(line.tocs(), "");
    EXPECT_FALSE(sp_ReadNextLine(f.get(), &line));
    EXPECT_STREQ(line.tocs(), "");
}

// ---------------------------------------------------------- sp_ReadValuePairs

namespace {

struct Pairs {
    std::vector<double> values;
    ReadValuePairsStatus status;
};

Pairs readPairs(const std::string &content)
{
    TextFile f(content);
    double *values = nullptr;
    int count = -1;
    Pairs p;
    p.status = ValuePairsDescendingX;
    sp_ReadValuePairs(f.get(), &values, &count, &p.status);
    p.values.assign(values, values + count);
    std::free(values);
    return p;
}

} // namespace

TEST(ScanValuePairs, StatusValues)
{
    EXPECT_EQ(static_cast<int>(ValuePairsRising), 0);
    EXPECT_EQ(static_cast<int>(ValuePairsRepeatedX), 1);
    EXPECT_EQ(static_cast<int>(ValuePairsDescendingX), 2);
}

TEST(ScanValuePairs, SeparatorsContinuationAndJunk)
{
    Pairs p = readPairs("1, 2\n+ 3\t4\r\nabc 5 1k,,7 -");
    EXPECT_EQ(p.values, (std::vector<double>{1, 2, 3, 4, 5, 1}));
    EXPECT_EQ(p.status, ValuePairsRising);
}

TEST(ScanValuePairs, OddValueDropped)
{
    Pairs p = readPairs("1 2 3");
    EXPECT_EQ(p.values, (std::vector<double>{1, 2}));
}

TEST(ScanValuePairs, RepeatsAndOrder)
{
    Pairs same = readPairs("1 2 1 2 3 4");
    EXPECT_EQ(same.values, (std::vector<double>{1, 2, 3, 4}));
    EXPECT_EQ(same.status, ValuePairsRising);

    Pairs repeated = readPairs("1 2 1 3 2 5");
    EXPECT_EQ(repeated.values, (std::vector<double>{1, 2, 1, 3, 2, 5}));
    EXPECT_EQ(repeated.status, ValuePairsRepeatedX);

    Pairs down = readPairs("2 2 1 1");
    EXPECT_EQ(down.status, ValuePairsDescendingX);

    Pairs repeatThenDown = readPairs("1 2 1 3 0 0");
    EXPECT_EQ(repeatThenDown.status, ValuePairsDescendingX);

    Pairs downThenRepeat = readPairs("1 2 0 3 0 4");
    EXPECT_EQ(downThenRepeat.status, ValuePairsDescendingX);
}

TEST(ScanValuePairs, TokensHoldAtMost512Characters)
{
    // 599 zeros and a 1: the first 512 zeros are one token (0), the rest 1.
    Pairs p = readPairs(std::string(599, '0') + "1");
    EXPECT_EQ(p.values, (std::vector<double>{0, 1}));
}

TEST(ScanValuePairs, GrowsPastFirstBlock)
{
    std::string text;
    for (int i = 0; i < 3000; ++i)
        text += std::to_string(i) + " " + std::to_string(i * 2) + "\n";
    Pairs p = readPairs(text);
    ASSERT_EQ(p.values.size(), 6000u);
    EXPECT_EQ(p.values[5998], 2999);
    EXPECT_EQ(p.values[5999], 5998);
    EXPECT_EQ(p.status, ValuePairsRising);
}

TEST(ScanValuePairs, CLocaleNumbers)
{
    Pairs p = readPairs("1.5e-3 2.25 0x10 -7");
    EXPECT_EQ(p.values, (std::vector<double>{1.5e-3, 2.25, 16, -7}));
}

TEST(ScanValuePairs, ReadLikeTheLgConversion)
{
    // "0x" with no hex digit is no number; "1e" and "0x." read as numbers.
    Pairs p = readPairs("0x 1e 2 -0xg 0x. 3 +0X 0x1p 1.5e- .");
    EXPECT_EQ(p.values, (std::vector<double>{1, 2, 0, 3, 1, 1.5}));
}

TEST(ScanValuePairs, EngineeringSuffixesAreNotRead)
{
    Pairs p = readPairs("1k 2meg\n3u,4MEG");
    EXPECT_EQ(p.values, (std::vector<double>{1, 2, 3, 4}));
    EXPECT_EQ(p.status, ValuePairsRising);
}

TEST(ScanValuePairs, EmptyFileGivesAnEmptyArray)
{
    Pairs p = readPairs(" ,\n+ \n");
    EXPECT_TRUE(p.values.empty());
    EXPECT_EQ(p.status, ValuePairsRising);
    Pairs one = readPairs("5");
    EXPECT_TRUE(one.values.empty());
}

TEST(ScanValuePairs, InfinityMustBeSpelledOutOnceBegun)
{
    // The conversion reads "inf", and on seeing an "i" after it wants the
    // whole "infinity": a shorter run of it is no number at all.
    Pairs p = readPairs("infi 1 INFIN 2 -infinite 3 infinit 0");
    EXPECT_EQ(p.values, (std::vector<double>{1, 2, 3, 0}));
    Pairs rest = readPairs("Infinity 2 infinityx 3 -INFx 4");
    ASSERT_EQ(rest.values.size(), 6u);
    EXPECT_TRUE(std::isinf(rest.values[0]) && rest.values[0] > 0);
    EXPECT_EQ(rest.values[1], 2);
    EXPECT_TRUE(std::isinf(rest.values[2]) && rest.values[2] > 0);
    EXPECT_EQ(rest.values[3], 3);
    EXPECT_TRUE(std::isinf(rest.values[4]) && rest.values[4] < 0);
    EXPECT_EQ(rest.values[5], 4);
}

TEST(ScanValuePairs, DecimalPointWhateverTheLocale)
{
    const std::string saved = std::setlocale(LC_NUMERIC, nullptr);
    if (std::setlocale(LC_NUMERIC, "de_DE.utf8") == nullptr)
        GTEST_SKIP() << "no German locale installed";
    Pairs p = readPairs("1.5 2.25");
    std::setlocale(LC_NUMERIC, saved.c_str());
    EXPECT_EQ(p.values, (std::vector<double>{1.5, 2.25}));
}

TEST(ScanValuePairs, NullArguments)
{
    double *values = nullptr;
    int count = -1;
    ReadValuePairsStatus status = ValuePairsDescendingX;
    sp_ReadValuePairs(nullptr, &values, &count, &status);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(status, ValuePairsRising);
    std::free(values);
    sp_ReadValuePairs(nullptr, nullptr, nullptr, nullptr);
}

// ------------------------------------------------------------- text helpers

TEST(ScanCompareStrings, NaturalOrder)
{
    EXPECT_EQ(sp_CompareStrings("abc", "ABC"), 0);
    EXPECT_EQ(sp_CompareStrings("x2", "x10"), -1);
    EXPECT_EQ(sp_CompareStrings("x10", "x2"), 1);
    EXPECT_EQ(sp_CompareStrings("a9", "a10"), -1);
    EXPECT_EQ(sp_CompareStrings("a01", "a1"), 1);
    EXPECT_EQ(sp_CompareStrings("a1", "a01"), -1);
    EXPECT_EQ(sp_CompareStrings("a007b", "a7c"), -1);
    EXPECT_EQ(sp_CompareStrings("a07x", "a007x"), -1);
    EXPECT_EQ(sp_CompareStrings("a12", "a13"), -1);
    EXPECT_EQ(sp_CompareStrings("a", "ab"), -1);
    EXPECT_EQ(sp_CompareStrings("ab", "a"), 1);
    EXPECT_EQ(sp_CompareStrings("R_a", "r_B"), -1);
    EXPECT_EQ(sp_CompareStrings("", ""), 0);
    EXPECT_EQ(sp_CompareStrings(nullptr, "a"), -1);
    EXPECT_EQ(sp_CompareStrings("0", "00"), -1);
    EXPECT_EQ(sp_CompareStrings("a1b01", "a01b1"), -1);
}

TEST(ScanCompareStrings, BytesAreSigned)
{
    const char high[] = {'a', static_cast<char>(0xC3), 0};
    EXPECT_EQ(sp_CompareStrings("a", high), 1);
    EXPECT_EQ(sp_CompareStrings(high, "ab"), -1);
}

TEST(ScanLineEnds, DosAndUnix)
{
    EXPECT_STREQ(sp_ConvertDosToUnix(YString("a\r\nb\rc\r\n")).tocs(), "a\nb\rc\n");
    EXPECT_STREQ(sp_ConvertDosToUnix(YString("\r\r\n")).tocs(), "\r\n");
    EXPECT_STREQ(sp_ConvertUnixToDos(YString("a\nb\r\nc\r\n\n")).tocs(), "a\r\nb\r\nc\r\n\r\n");
    EXPECT_STREQ(sp_ConvertUnixToDos(YString("\n")).tocs(), "\r\n");
    EXPECT_STREQ(sp_ConvertUnixToDos(YString("x\r")).tocs(), "x\r");
    YString dos("l1\r\nl2\r\n");
    YString again = sp_ConvertUnixToDos(dos);
    EXPECT_EQ(again, dos);
    EXPECT_EQ(again.tocs(), dos.tocs());
    EXPECT_STREQ(sp_ConvertUnixToDos(sp_ConvertDosToUnix(dos)).tocs(), dos.tocs());
}

TEST(ScanFillString, CopiesInListOrder)
{
    YList<YString> list;
    list.append("one");
    list.append("two");
    char *dest[3] = {nullptr, nullptr, reinterpret_cast<char *>(&list)};
    sp_FillString(dest, &list);
    EXPECT_STREQ(dest[0], "one");
    EXPECT_STREQ(dest[1], "two");
    EXPECT_EQ(dest[2], reinterpret_cast<char *>(&list));
    std::free(dest[0]);
    std::free(dest[1]);
    YList<YString> empty;
    char *none[1] = {nullptr};
    sp_FillString(none, &empty);
    EXPECT_EQ(none[0], nullptr);
}

TEST(ScanHashValue, Formula)
{
    EXPECT_EQ(sp_HashValue(""), 0u);
    EXPECT_EQ(sp_HashValue(nullptr), 0u);
    EXPECT_EQ(sp_HashValue("a"), 130u);
    EXPECT_EQ(sp_HashValue("ab"), 384u);
    EXPECT_EQ(sp_HashValue("AB"), sp_HashValue("ab"));
    unsigned int h = 0;
    for (const char *p = "getDefaultMessageHandler"; *p; ++p)
        h = ((static_cast<unsigned int>(std::toupper(static_cast<unsigned char>(*p))) ^ h) & 0xFFFF) * 2;
    EXPECT_EQ(sp_HashValue("getDefaultMessageHandler"), h);
    EXPECT_LE(sp_HashValue("zzzzzzzzzzzzzzzzzzzzzzzzzzzzzz"), 0x1FFFEu);
}

TEST(ScanHashValue, HighBytesAreSigned)
{
    // A byte above 127 is a negative char: its upper 16 bits are all ones
    // before the mask.
    EXPECT_EQ(sp_HashValue("\xE9"), 0x1FFD2u);
    unsigned int h = ((0xFFFFFFE9u ^ 0u) & 0xFFFFu) * 2u;
    h = ((static_cast<unsigned int>('A') ^ h) & 0xFFFFu) * 2u;
    EXPECT_EQ(sp_HashValue("\xE9" "a"), h);
}

TEST(ScanItoa64, Values)
{
    EXPECT_STREQ(sp_itoa64(0).tocs(), "0");
    EXPECT_STREQ(sp_itoa64(-1).tocs(), "-1");
    EXPECT_STREQ(sp_itoa64(1234567890123LL).tocs(), "1234567890123");
    EXPECT_STREQ(sp_itoa64(LLONG_MIN).tocs(), "-9223372036854775808");
    EXPECT_STREQ(sp_itoa64(LLONG_MAX).tocs(), "9223372036854775807");
}

// ------------------------------------------------------- ArgSwitch, WordArray

namespace {

// An argv whose entries can be set to null by ArgSwitch.
struct Argv {
    explicit Argv(std::initializer_list<const char *> words)
    {
        for (const char *w : words)
            storage.emplace_back(w);
        for (std::string &s : storage)
            pointers.push_back(&s[0]);
    }
    int argc() const { return static_cast<int>(pointers.size()); }
    char **argv() { return pointers.data(); }
    std::vector<std::string> storage;
    std::vector<char *> pointers;
};

} // namespace

TEST(ScanArgSwitch, StopAtSwitchLeavesNextSwitch)
{
    Argv a({"prog", "/x", "a", "/y", "b"});
    ArgSwitch x(a.argc(), a.argv(), "x", 2, true, false);
    EXPECT_TRUE(static_cast<bool>(x));
    EXPECT_EQ(x.size(), 1);
    EXPECT_STREQ(x[0].tocs(), "a");
    EXPECT_STREQ(x[1].tocs(), "");
    EXPECT_EQ(a.pointers[1], nullptr);
    EXPECT_EQ(a.pointers[2], nullptr);
    EXPECT_STREQ(a.pointers[3], "/y");

    ArgSwitch y(a.argc(), a.argv(), "Y", 5, true, false);
    EXPECT_TRUE(static_cast<bool>(y));
    EXPECT_EQ(y.size(), 1);
    EXPECT_STREQ(y[0].tocs(), "b");
    EXPECT_EQ(a.pointers[4], nullptr);
}

TEST(ScanArgSwitch, OnlyTheFirstMatchAndNeverTheProgramName)
{
    Argv a({"/x", "/X", "1", "/x", "2"});
    ArgSwitch x(a.argc(), a.argv(), "x", 1, true, true);
    EXPECT_TRUE(static_cast<bool>(x));
    EXPECT_EQ(x.size(), 1);
    EXPECT_STREQ(x[0].tocs(), "1");
    EXPECT_STREQ(x[-1].tocs(), "");
    EXPECT_EQ(x.toInt(-1), 0);
    EXPECT_STREQ(a.pointers[0], "/x");
    EXPECT_EQ(a.pointers[1], nullptr);
    EXPECT_STREQ(a.pointers[3], "/x");
    EXPECT_STREQ(a.pointers[4], "2");

    Argv b({"/q", "q"});
    ArgSwitch q(b.argc(), b.argv(), "q", 1, false, false);
    EXPECT_FALSE(static_cast<bool>(q));
    EXPECT_STREQ(b.pointers[0], "/q");
}

TEST(ScanArgSwitch, ZeroOrNegativeMaxArgsTakesNothing)
{
    Argv a({"prog", "/z", "v", "/n", "w"});
    ArgSwitch z(a.argc(), a.argv(), "z", 0, false, false);
    EXPECT_TRUE(static_cast<bool>(z));
    EXPECT_EQ(z.size(), 0);
    EXPECT_EQ(z.getArgs(), nullptr);
    EXPECT_STREQ(a.pointers[2], "v");
    ArgSwitch n(a.argc(), a.argv(), "n", -3, false, false);
    EXPECT_TRUE(static_cast<bool>(n));
    EXPECT_EQ(n.size(), 0);
    EXPECT_STREQ(a.pointers[4], "w");
}

TEST(ScanArgSwitch, WithoutStopTakesSwitches)
{
    Argv a({"prog", "/x", "a", "/y", "b"});
    ArgSwitch x(a.argc(), a.argv(), "x", 2, false, false);
    EXPECT_EQ(x.size(), 2);
    EXPECT_STREQ(x[1].tocs(), "/y");
    EXPECT_STREQ(a.pointers[4], "b");
}

TEST(ScanArgSwitch, NotFoundAndShortVectors)
{
    Argv a({"prog", "x", "/xx", "-x"});
    ArgSwitch x(a.argc(), a.argv(), "x", 1, false, false);
    EXPECT_FALSE(static_cast<bool>(x));
    EXPECT_EQ(x.size(), 0);
    EXPECT_EQ(x.getArgs(), nullptr);
    EXPECT_STREQ(a.pointers[1], "x");

    ArgSwitch one(1, a.argv(), "x", 1, false, false);
    EXPECT_FALSE(static_cast<bool>(one));
    ArgSwitch none(3, nullptr, "x", 1, false, false);
    EXPECT_FALSE(static_cast<bool>(none));
}

TEST(ScanArgSwitch, MaxArgsCutToVectorAndNullStops)
{
    Argv a({"prog", "a", "/n", "5", "7"});
    ArgSwitch n(a.argc(), a.argv(), "N", 10, false, false);
    EXPECT_TRUE(static_cast<bool>(n));
    EXPECT_EQ(n.size(), 2);
    EXPECT_EQ(n.toInt(0), 5);
    EXPECT_EQ(n.toInt(1), 7);
    EXPECT_EQ(n.toInt(2), 0);
    ASSERT_NE(n.getArgs(), nullptr);
    EXPECT_EQ(n.getArgs()->getCount(), 2);

    Argv b({"prog", "/s", "v"});
    b.pointers[2] = nullptr;
    ArgSwitch s(b.argc(), b.argv(), "s", 3, false, false);
    EXPECT_TRUE(static_cast<bool>(s));
    EXPECT_EQ(s.size(), 0);
    EXPECT_EQ(s.getArgs(), nullptr);
}

TEST(ScanArgSwitch, SwitchCharacter)
{
    EXPECT_EQ(ArgSwitch::getSwitchChar(), '/');
    ArgSwitch::setSwitchChar('-');
    Argv a({"prog", "/v", "-v", "1"});
    ArgSwitch v(a.argc(), a.argv(), "v", 1, true, false);
    ArgSwitch::setSwitchChar('/');
    EXPECT_TRUE(static_cast<bool>(v));
    EXPECT_STREQ(a.pointers[1], "/v");
    EXPECT_EQ(a.pointers[2], nullptr);
    EXPECT_STREQ(v[0].tocs(), "1");
    ArgSwitch::setCurrentCommand("anything");
}

TEST(ScanArgSwitch, AssignmentSharesArguments)
{
    Argv a({"prog", "/o", "out.txt"});
    ArgSwitch source(a.argc(), a.argv(), "o", 1, false, false);
    Argv b({"prog", "/p", "other"});
    ArgSwitch target(b.argc(), b.argv(), "p", 1, false, false);
    target = source;
    EXPECT_EQ(target.getArgs(), source.getArgs());
    EXPECT_EQ(target.size(), 1);
    EXPECT_STREQ(target[0].tocs(), "out.txt");
    ArgSwitch &alias = target;
    target = alias;
    EXPECT_STREQ(target[0].tocs(), "out.txt");
}

TEST(ScanWordArray, TakesWhatSwitchesLeft)
{
    Argv a({"prog", "/q", "run", "10", "4k7", "", "x"});
    ArgSwitch q(a.argc(), a.argv(), "q", 0, false, false);
    WordArray words(a.argc(), a.argv());
    EXPECT_EQ(words.size(), 5);
    EXPECT_EQ(words.getCount(), 5);
    EXPECT_EQ(words.numElems(), 5);
    EXPECT_STREQ(words[0].tocs(), "run");
    EXPECT_STREQ(words[9].tocs(), "");
    EXPECT_STREQ(words[-1].tocs(), "");
    EXPECT_EQ(words.integer(1, -1), 10);
    EXPECT_EQ(words.integer(0, -1), 0);
    EXPECT_EQ(words.integer(5, -1), -1);
    EXPECT_DOUBLE_EQ(words.real(2, -1), 4700.0);
    EXPECT_DOUBLE_EQ(words.real(5, -2.5), -2.5);
    EXPECT_STREQ(words.string(4, "def"), "x");
    EXPECT_STREQ(words.string(5, "def"), "");
    EXPECT_STREQ(words.getFlattenedLine().tocs(), "run 10 4k7  x");
}

TEST(ScanWordArray, FlattenedLineHasNoQuoting)
{
    Argv a({"prog", "two words", "\"q\"", "x"});
    a.pointers[3] = nullptr;
    WordArray words(a.argc(), a.argv());
    EXPECT_EQ(words.size(), 2);
    EXPECT_STREQ(words.getFlattenedLine().tocs(), "two words \"q\"");
    EXPECT_EQ(words.string(1, nullptr), a.pointers[2]); // the caller's own string, not a copy
}

TEST(ScanWordArray, ArgsAreEmpty)
{
    Argv a({"prog", "a", "", "c"});
    WordArray words(a.argc(), a.argv());
    YList<int> indices;
    EXPECT_FALSE(words.argsAreEmpty(indices));
    indices.append(0);
    indices.append(7);
    EXPECT_FALSE(words.argsAreEmpty(indices));
    indices.append(1);
    EXPECT_TRUE(words.argsAreEmpty(indices));
}

TEST(ScanWordArray, VectorsArePooledAndGrow)
{
    { WordArray warm(0, nullptr); }
    const int pooled = WordArray::pooledVectors();
    ASSERT_GE(pooled, 1);
    std::vector<std::string> storage(121, "w");
    std::vector<char *> argv;
    for (std::size_t i = 0; i < storage.size(); ++i) {
        storage[i] += std::to_string(i);
        argv.push_back(&storage[i][0]);
    }
    {
        WordArray many(static_cast<int>(argv.size()), argv.data());
        EXPECT_EQ(WordArray::pooledVectors(), pooled - 1);
        EXPECT_EQ(many.size(), 120);
        EXPECT_STREQ(many[119].tocs(), "w120");
        WordArray second(2, argv.data());
        EXPECT_EQ(second.size(), 1);
    }
    EXPECT_EQ(WordArray::pooledVectors(), pooled + 1);
    WordArray reused(1, argv.data());
    EXPECT_EQ(reused.size(), 0);
    EXPECT_STREQ(reused[0].tocs(), "");
    EXPECT_STREQ(reused.getFlattenedLine().tocs(), "");
}
