// SpiceStream: statements, comments, continuations, directives, braces,
// counts and the source text, on memory streams and on real netlist files.
#include <kvsupport/spicestream.h>

#include "support/test_support.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using Lines = std::vector<std::string>;
using Numbered = std::vector<std::pair<int, std::string>>;

// Every statement of \p s, in order.
Lines readAll(SpiceStream &s)
{
    Lines out;
    YString line;
    while (s.gets(&line, nullptr, nullptr, nullptr))
        out.push_back(line.tocs());
    return out;
}

Lines statementsOf(const std::string &text, bool literal = false)
{
    kvstrstream source(text.data(), static_cast<int>(text.size()));
    SpiceStream s(source);
    s.setLiteralMode(literal);
    return readAll(s);
}

Numbered numberedOf(SpiceStream &s)
{
    Numbered out;
    YString line;
    int number = 0;
    while (s.gets(&line, &number, nullptr, nullptr))
        out.push_back({number, line.tocs()});
    return out;
}

std::string samplePath(const char *name)
{
    return std::string(KVTEST_SAMPLES_DIR) + "/netlists/" + name;
}

// Evaluates every brace expression to "<text>".
class AngleStream : public SpiceStream {
public:
    explicit AngleStream(kvstream &source) : SpiceStream(source) {}
    bool evaluate(const char *expression, YString *result) override
    {
        seen.push_back(expression);
        *result = YString("<");
        *result &= expression;
        *result &= ">";
        return true;
    }
    Lines seen;
};

// Decrypts a line "?@@text" to "text".
class StripMark : public EncryptInterface {
public:
    int decrypt(const char *line, char *out, int *outLength) override
    {
        std::string text(line + 3);
        std::snprintf(out, 512, "%s", text.c_str());
        *outLength = static_cast<int>(text.size());
        return 0;
    }
    void encryptedSectionEnded() override {}
};

} // namespace

// ------------------------------------------------------------ statements

TEST(SpiceStream, ContinuationBecomesOneBlankAndKeepsTheBlanksAfterPlus)
{
    EXPECT_EQ(statementsOf("R1 a b 1k\n+ tc=1\n"), Lines({"R1 a b 1k  tc=1"}));
    EXPECT_EQ(statementsOf("R1 a b 1k\n+tc=1\n+   x\n"), Lines({"R1 a b 1k tc=1    x"}));
}

TEST(SpiceStream, CommentAndBlankLinesBetweenStatementAndContinuationChangeNothing)
{
    const std::string text = "R1 a b 1k\n* a note\n\n   \n+ tc=1\nR2 c d 2k\n";
    kvstrstream source(text.c_str());
    SpiceStream s(source);
    EXPECT_EQ(readAll(s), Lines({"R1 a b 1k  tc=1", "R2 c d 2k"}));
    EXPECT_STREQ(s.getBuffer()->get(), "R1 a b 1k\n* a note\n+ tc=1\nR2 c d 2k\n");
}

TEST(SpiceStream, EmptyLinesKeptInSourceTextOnRequest)
{
    kvstrstream source("R1 a b 1k\n* a note\n\n+ tc=1\n");
    SpiceStream s(source);
    s.dontSuppressEmptyLines();
    EXPECT_EQ(readAll(s), Lines({"R1 a b 1k  tc=1"}));
    EXPECT_STREQ(s.getBuffer()->get(), "R1 a b 1k\n* a note\n\n+ tc=1\n");
}

TEST(SpiceStream, WholeLineCommentBetweenStatementsGoesNowhere)
{
    kvstrstream source("* header\n; also\nR1 a b\n");
    SpiceStream s(source);
    EXPECT_EQ(readAll(s), Lines({"R1 a b"}));
    EXPECT_STREQ(s.getBuffer()->get(), "R1 a b\n");
}

TEST(SpiceStream, InlineCommentKeepsTheTrailingBlank)
{
    EXPECT_EQ(statementsOf("R1 a b 1k ; load\nR2 c d\n"), Lines({"R1 a b 1k ", "R2 c d"}));
}

TEST(SpiceStream, HspiceKeepsSemicolonAndCommentsWithDollar)
{
    kvstrstream source("*#HSPICE\nR1 a b 1k ; load $ note\n$ whole line\nR2 c d\n");
    SpiceStream s(source);
    EXPECT_EQ(readAll(s), Lines({"R1 a b 1k ; load ", "R2 c d"}));
    EXPECT_EQ(s.getLanguage(), HSPICE);
    EXPECT_TRUE(s.isHspiceMode());
    EXPECT_EQ(s.getInlineCommentChar(), '$');
}

TEST(SpiceStream, InlineCommentSourceTextHoldsTheComment)
{
    kvstrstream source("R1 a b ; load\n");
    SpiceStream s(source);
    readAll(s);
    EXPECT_STREQ(s.getBuffer()->get(), "R1 a b ; load\n");
}

TEST(SpiceStream, PlusOnTheFirstLineIsStatementText)
{
    EXPECT_EQ(statementsOf("+ a b\nR1 c d\n"), Lines({"+ a b", "R1 c d"}));
}

TEST(SpiceStream, LeadingBlanksAreDropped)
{
    EXPECT_EQ(statementsOf("   \tR1 a b\n\n\n  R2 c d"), Lines({"R1 a b", "R2 c d"}));
}

TEST(SpiceStream, LastLineWithoutLineFeedIsAStatement)
{
    EXPECT_EQ(statementsOf("R1 a b\nR2 c d"), Lines({"R1 a b", "R2 c d"}));
    EXPECT_EQ(statementsOf("R1 a b ; tail"), Lines({"R1 a b "}));
}

TEST(SpiceStream, EmptyAndCommentOnlyInputsGiveNothing)
{
    EXPECT_EQ(statementsOf(""), Lines());
    EXPECT_EQ(statementsOf("\n\n  \n"), Lines());
    EXPECT_EQ(statementsOf("* only\n; comments"), Lines());
    kvstrstream source("");
    SpiceStream s(source);
    YString line("stale");
    EXPECT_FALSE(s.gets(&line, nullptr, nullptr, nullptr));
    EXPECT_TRUE(line.isEmpty());
    EXPECT_TRUE(s.eof());
    EXPECT_FALSE(s.gets(&line, nullptr, nullptr, nullptr));
}

TEST(SpiceStream, DroppedBytesVanishWhereverTheyStand)
{
    EXPECT_EQ(statementsOf(std::string("R1 a\x01" "b\x1f c\x0b\n", 11)), Lines({"R1 ab c"}));
    EXPECT_EQ(statementsOf(std::string("R1\0 a\n", 6)), Lines({"R1 a"}));
    EXPECT_EQ(statementsOf("R1\ta\tb\n"), Lines({"R1\ta\tb"}));
}

TEST(SpiceStream, CarriageReturnsAreDroppedAndCounted)
{
    kvstrstream source("a\r\nb\r\r\n");
    SpiceStream s(source);
    EXPECT_EQ(readAll(s), Lines({"a", "b"}));
    EXPECT_EQ(s.getCharCount(), 7);
    EXPECT_EQ(s.getLineCount(), 2);
}

TEST(SpiceStream, Byte255EndsTheInput)
{
    EXPECT_EQ(statementsOf("R1 a b\nR2 c d\xff\nR3 e f\n"), Lines({"R1 a b", "R2 c d"}));
    EXPECT_EQ(statementsOf("R1 a b\n+ x\xffy\n"), Lines({"R1 a b  x"}));
}

TEST(SpiceStream, Byte255EndsAFileToo)
{
    std::string dir = kvtest::makeTempDir();
    std::string path = dir + "/ff.cir";
    std::ofstream(path, std::ios::binary) << "R1 a b\n\xff" "R2 c d\n";
    SpiceStream s(path.c_str(), KELVORAN);
    EXPECT_EQ(readAll(s), Lines({"R1 a b"}));
    EXPECT_EQ(s.getSourceFile(), YString(path.c_str()));
}

// ------------------------------------------------------------ literal mode

TEST(SpiceStream, LiteralModeDeliversLinesAsTheyStand)
{
    EXPECT_EQ(statementsOf("* c\nR1 a ; x\n+ b\n\n", true), Lines({"* c", "R1 a ; x", "+ b", ""}));
}

TEST(SpiceStream, LiteralModeStillSubstitutesBraces)
{
    kvstrstream source("R1 a b {r}\n");
    AngleStream s(source);
    s.setLiteralMode(true);
    EXPECT_EQ(readAll(s), Lines({"R1 a b <r>"}));
}

TEST(SpiceStream, LiteralGetAppendsEachByteToSourceText)
{
    kvstrstream source("*x\n");
    SpiceStream s(source);
    EXPECT_EQ(s.get(true), '*');
    EXPECT_EQ(s.get(true), 'x');
    EXPECT_EQ(s.get(true), '\n');
    EXPECT_EQ(s.get(true), -1);
    EXPECT_EQ(s.get(true), -1);
    EXPECT_STREQ(s.getBuffer()->get(), "*x\n");
}

TEST(SpiceStream, LiteralModeStillDropsBytesAndEndsAt255)
{
    std::string text("R1\x01 a\r\n+ b\xff c\n", 14);
    EXPECT_EQ(statementsOf(text, true), Lines({"R1 a", "+ b"}));
}

// ----------------------------------------------------------------- braces

TEST(SpiceStream, DecliningEvaluateKeepsOuterBracesAndShowsInnerAsParentheses)
{
    EXPECT_EQ(statementsOf("x {a{b}c} y\n"), Lines({"x {a(b)c} y"}));
    EXPECT_EQ(statementsOf("{a{b{c}d}e}\n"), Lines({"{a(b(c)d)e}"}));
}

TEST(SpiceStream, CloseBraceWithoutOpenIsText)
{
    EXPECT_EQ(statementsOf("a } b }\n"), Lines({"a } b }"}));
}

TEST(SpiceStream, EvaluateGetsTheGatheredText)
{
    kvstrstream source("R1 a b {2*rval}\nX1 {a{b}c} d\n");
    AngleStream s(source);
    EXPECT_EQ(readAll(s), Lines({"R1 a b <2*rval>", "X1 <a(b)c> d"}));
    EXPECT_EQ(s.seen, Lines({"2*rval", "a(b)c"}));
}

TEST(SpiceStream, BraceLeftOpenLosesWhatWasGathered)
{
    EXPECT_EQ(statementsOf("R1 a {abc\nR2 b\n"), Lines({"R1 a ", "R2 b"}));
    kvstrstream source("{abc");
    SpiceStream s(source);
    EXPECT_EQ(readAll(s), Lines({""}));
}

TEST(SpiceStream, BraceSpansAContinuation)
{
    kvstrstream source("R1 a {x\n+ y}\n");
    AngleStream s(source);
    EXPECT_EQ(readAll(s), Lines({"R1 a <x  y>"}));
}

// ------------------------------------------------------------- directives

TEST(SpiceStream, DirectiveWithOrWithoutBlankSelectsTheDialect)
{
    for (const char *text : {"*#HSPICE\n*#KELVORAN\nR1 a\n", "*#HSPICE\n*# KELVORAN\nR1 a\n",
                             "*#HSPICE\n*#kelvoran\nR1 a\n"}) {
        kvstrstream source(text);
        SpiceStream s(source);
        readAll(s);
        EXPECT_EQ(s.getLanguage(), KELVORAN) << text;
    }
}

TEST(SpiceStream, StarBlankHashAndSemicolonHashArePlainComments)
{
    kvstrstream a("*#HSPICE\n* #KELVORAN\nR1 a\n");
    SpiceStream sa(a);
    readAll(sa);
    EXPECT_EQ(sa.getLanguage(), HSPICE);
    kvstrstream b("*#PSPICE\n;#KELVORAN\nR1 a\n");
    SpiceStream sb(b);
    EXPECT_EQ(readAll(sb), Lines({"R1 a"}));
    EXPECT_EQ(sb.getLanguage(), PSPICE);
}

TEST(SpiceStream, DialectDirectivesSetTheSeparator)
{
    struct Case {
        const char *text;
        SpiceLanguage language;
        const char *separator;
    };
    const Case cases[] = {
        {"R1 a\n", KELVORAN, "$"},
        {"*#KELVORAN sep=:\nR1 a\n", KELVORAN, ":"},
        {"*#KELVORAN sep=none\nR1 a\n", KELVORAN, ""},
        {"*#KELVORAN sep=ab\nR1 a\n", KELVORAN, "$"},
        {"*#KELVORAN x=1 SEP=(/)\nR1 a\n", KELVORAN, "/"},
        {"*#KELVORAN sep\nR1 a\n", KELVORAN, "$"},
        {"*#PSPICE\nR1 a\n", PSPICE, ""},
        {"*#HSPICE sep=:\nR1 a\n", HSPICE, ""},
        {"*#HSPICE\n*#KELVORAN\nR1 a\n", KELVORAN, ""},
    };
    for (const Case &c : cases) {
        kvstrstream source(c.text);
        SpiceStream s(source);
        readAll(s);
        EXPECT_EQ(s.getLanguage(), c.language) << c.text;
        EXPECT_STREQ(s.getSeparator(), c.separator) << c.text;
    }
}

TEST(SpiceStream, DirectiveBetweenStatementAndContinuationChangesOnlyHierarchy)
{
    kvstrstream source("R1 a b\n*#HSPICE\n+ c\nR2 a b $ c\n");
    SpiceStream s(source);
    EXPECT_EQ(readAll(s), Lines({"R1 a b  c", "R2 a b $ c"}));
    EXPECT_EQ(s.getLanguage(), KELVORAN);
}

TEST(SpiceStream, HierarchyDirectiveMarksTheStatementBeingRead)
{
    kvstrstream source("*#hierarchy\nX1 a b sub\nR1 c d\n*#HIERARCHY\nX2 e f\n");
    SpiceStream s(source);
    YString line;
    ASSERT_TRUE(s.gets(&line, nullptr, nullptr, nullptr));
    EXPECT_STREQ(line.tocs(), "X1 a b sub");
    EXPECT_TRUE(s.isHierarchy());
    // The look-ahead past R1 meets the next directive while R1 is read.
    ASSERT_TRUE(s.gets(&line, nullptr, nullptr, nullptr));
    EXPECT_STREQ(line.tocs(), "R1 c d");
    EXPECT_TRUE(s.isHierarchy());
    ASSERT_TRUE(s.gets(&line, nullptr, nullptr, nullptr));
    EXPECT_STREQ(line.tocs(), "X2 e f");
    EXPECT_FALSE(s.isHierarchy());
}

TEST(SpiceStream, DirectiveTextGoesToSourceTextWithoutItsStar)
{
    kvstrstream source("*#PSPICE\nR1 a\n");
    SpiceStream s(source);
    readAll(s);
    EXPECT_STREQ(s.getBuffer()->get(), "#PSPICER1 a\n");
}

TEST(SpiceStream, DirectiveIsCutAfter199Bytes)
{
    std::string fits = "*#" + std::string(193, ' ') + "HSPICE" + " trailing words\nR1 a $ b\n";
    kvstrstream a(fits.c_str());
    SpiceStream sa(a);
    EXPECT_EQ(readAll(sa), Lines({"R1 a "}));
    EXPECT_EQ(sa.getLanguage(), HSPICE);

    std::string cut = "*#" + std::string(194, ' ') + "HSPICE\nR1 a $ b\n";
    kvstrstream b(cut.c_str());
    SpiceStream sb(b);
    EXPECT_EQ(readAll(sb), Lines({"R1 a $ b"}));
    EXPECT_EQ(sb.getLanguage(), KELVORAN);
    EXPECT_EQ(sb.getLineCount(), 2);
}

// ---------------------------------------------------------------- counts

TEST(SpiceStream, LineNumberIsTheLineOfTheStatementsStart)
{
    kvstrstream source("* title comment\nR1 a b\n+ c\n\n* x\nR2 d e\n");
    SpiceStream s(source);
    EXPECT_EQ(numberedOf(s), Numbered({{2, "R1 a b  c"}, {6, "R2 d e"}}));
}

TEST(SpiceStream, LastAcceptedCountsFollowTheLastDeliveredCharacter)
{
    kvstrstream source("R1 a\n* c\n\nR2 b\n");
    SpiceStream s(source);
    YString line;
    ASSERT_TRUE(s.gets(&line, nullptr, nullptr, nullptr));
    // The line feed after "R1 a" is the last accepted character; the look
    // ahead has read the comment and the blank line.
    EXPECT_EQ(s.getLastAcceptedLineCount(), 1);
    EXPECT_EQ(s.getLastAcceptedCharCount(), 5);
    EXPECT_EQ(s.getLineCount(), 3);
    EXPECT_EQ(s.getCharCount(), 11);
    ASSERT_TRUE(s.gets(&line, nullptr, nullptr, nullptr));
    EXPECT_EQ(s.getLastAcceptedCharCount(), 15);
    EXPECT_EQ(s.getLastAcceptedLineCount(), 4);
    s.clearCounts();
    EXPECT_EQ(s.getLineCount(), 0);
    EXPECT_EQ(s.getCharCount(), 0);
    EXPECT_EQ(s.getLastAcceptedCharCount(), 0);
    EXPECT_EQ(s.getLastAcceptedLineCount(), 4);
}

TEST(SpiceStream, ReadTitleBypassesTheMachine)
{
    std::string text("* Title\x01 \xff line\r\nR1 a\n", 22);
    kvstrstream source(text.data(), static_cast<int>(text.size()));
    SpiceStream s(source);
    s.readTitle();
    EXPECT_EQ(std::string(s.getBuffer()->get()), std::string("* Title\x01 \xff line", 15));
    EXPECT_EQ(s.getLineCount(), 1);
    EXPECT_EQ(s.getCharCount(), 16);
    EXPECT_EQ(s.getUtf8Encoding(), Utf8DetectAscii);
    s.flushBuffer();
    EXPECT_EQ(numberedOf(s), Numbered({{2, "R1 a"}}));
}

TEST(SpiceStream, NonAsciiAndEncodingAreReported)
{
    kvstrstream source("R1 a b 1k\nC1 \xc2\xb5 0 1\n");
    SpiceStream s(source);
    YString line;
    bool nonAscii = true;
    bool encrypted = true;
    ASSERT_TRUE(s.gets(&line, nullptr, &encrypted, &nonAscii));
    EXPECT_FALSE(nonAscii);
    EXPECT_FALSE(encrypted);
    ASSERT_TRUE(s.gets(&line, nullptr, &encrypted, &nonAscii));
    EXPECT_TRUE(nonAscii);
    EXPECT_EQ(s.getUtf8Encoding(), Utf8DetectUtf8);
    s.flushBuffer();
    EXPECT_EQ(s.getUtf8Encoding(), Utf8DetectAscii);

    kvstrstream latin("R1 \xe9t\xe9 a\n");
    SpiceStream sl(latin);
    readAll(sl);
    EXPECT_EQ(sl.getUtf8Encoding(), Utf8DetectNotUtf8);
}

TEST(SpiceStream, EncryptedLinesAreReadThroughTheStreamAndMarked)
{
    kvstrstream source("R1 a b\n?@@R2 c d\nR3 e f\nR4 g h\n");
    SpiceStream s(source);
    StripMark decrypter;
    s.setAllowEncryption(&decrypter);
    YString line;
    bool encrypted = false;
    std::vector<std::pair<std::string, bool>> got;
    while (s.gets(&line, nullptr, &encrypted, nullptr))
        got.push_back({line.tocs(), encrypted});
    ASSERT_EQ(got.size(), 4u);
    // The line feed that ends R1 is delivered once the look-ahead has begun
    // the encrypted line, so R1 counts as touched by it too.
    EXPECT_EQ(got[0], std::make_pair(std::string("R1 a b"), true));
    EXPECT_EQ(got[1], std::make_pair(std::string("R2 c d"), true));
    EXPECT_EQ(got[2], std::make_pair(std::string("R3 e f"), false));
    EXPECT_EQ(got[3], std::make_pair(std::string("R4 g h"), false));
}

TEST(SpiceStream, HspiceDollarCommentBetweenStatementAndContinuation)
{
    kvstrstream source("*#HSPICE\nR1 a b\n$ note\n+ c ; d\n; not a comment\n* still one\nR2 e\n");
    SpiceStream s(source);
    EXPECT_EQ(numberedOf(s), Numbered({{2, "R1 a b  c ; d"}, {5, "; not a comment"}, {7, "R2 e"}}));
    EXPECT_STREQ(s.getBuffer()->get(), "#HSPICER1 a b\n$ note\n+ c ; d\n; not a comment\n* still one\nR2 e\n");
}

TEST(SpiceStream, PspiceCommentsWithSemicolonAndKeepsDollar)
{
    kvstrstream source("*#PSPICE\nR1 a ; c\n$x y\nR2 a*b 2\n");
    SpiceStream s(source);
    EXPECT_EQ(readAll(s), Lines({"R1 a ", "$x y", "R2 a*b 2"}));
    EXPECT_EQ(s.getInlineCommentChar(), ';');
    EXPECT_FALSE(s.isHspiceMode());
}

TEST(SpiceStream, BareStarLinesCountTheirLineFeedsOnce)
{
    kvstrstream source("*\n*\nR1 a\n*\n+ b\n;\nR2 c\n");
    SpiceStream s(source);
    EXPECT_EQ(numberedOf(s), Numbered({{3, "R1 a  b"}, {7, "R2 c"}}));
    EXPECT_EQ(s.getLineCount(), 7);
    EXPECT_EQ(s.getCharCount(), 22);
    EXPECT_STREQ(s.getBuffer()->get(), "R1 a\n*\n+ b\n;\nR2 c\n");
}

TEST(SpiceStream, DroppedBytesDoNotBreakContinuationsOrComments)
{
    std::string text("R1 a\n\x01+ b\n\x02* c\n\x03\nR2 d\n", 22);
    kvstrstream source(text.data(), static_cast<int>(text.size()));
    SpiceStream s(source);
    EXPECT_EQ(readAll(s), Lines({"R1 a  b", "R2 d"}));
    EXPECT_EQ(s.getCharCount(), 22);
    EXPECT_EQ(s.getLineCount(), 5);
}

TEST(SpiceStream, Byte255InACommentOrDirectiveEndsTheInput)
{
    EXPECT_EQ(statementsOf("R1 a ; x\xff\n+ b\n"), Lines({"R1 a "}));
    EXPECT_EQ(statementsOf("R1 a\n* x\xff\n+ b\n"), Lines({"R1 a"}));
    EXPECT_EQ(statementsOf("R1 a\n*\xff\n+ b\nR2 c\n"), Lines({"R1 a"}));
    EXPECT_EQ(statementsOf("*\xffX\nR1 a\n"), Lines());
    kvstrstream source("*#HSP\xffICE\nR1 a $ b\n");
    SpiceStream s(source);
    EXPECT_EQ(readAll(s), Lines());
    EXPECT_EQ(s.getLanguage(), KELVORAN);
    EXPECT_TRUE(s.eof());
    EXPECT_EQ(s.getCharCount(), 5); // "*#HSP"; nothing after the end is read
    EXPECT_EQ(std::string(s.getBuffer()->get()), "#HSP");
}

TEST(SpiceStream, Byte255InADirectiveEndsAFileToo)
{
    std::string dir = kvtest::makeTempDir();
    std::string path = dir + "/directive255.cir";
    std::ofstream(path, std::ios::binary) << "R1 a b\n*#hier\xff" "archy\n+ c\nR2 d e\n";
    SpiceStream s(path.c_str(), KELVORAN);
    EXPECT_EQ(readAll(s), Lines({"R1 a b"}));
    EXPECT_FALSE(s.isHierarchy());
    EXPECT_EQ(s.getLineCount(), 1);
}

TEST(SpiceStream, InlineCommentCharacterInsideBracesStillStartsAComment)
{
    EXPECT_EQ(statementsOf("R1 {a;b}\nR2 c\n"), Lines({"R1 ", "R2 c"}));
}

TEST(SpiceStream, DirectiveWithCarriageReturnsIsRecognisedAndCounted)
{
    kvstrstream source("*#HSPICE\r\nR1 a $ x\r\n");
    SpiceStream s(source);
    EXPECT_EQ(readAll(s), Lines({"R1 a "}));
    EXPECT_EQ(s.getLanguage(), HSPICE);
    EXPECT_EQ(s.getCharCount(), 20);
    EXPECT_EQ(s.getLineCount(), 2);
    EXPECT_STREQ(s.getBuffer()->get(), "#HSPICER1 a $ x\n");
}

TEST(SpiceStream, DirectiveBytesAreTakenAsTheyStand)
{
    // The directive is read past the byte filter: a stray control byte is
    // part of the word, which then names no dialect.
    std::string text("*#HSP\x01ICE\nR1 a $ b\n", 19);
    kvstrstream source(text.data(), static_cast<int>(text.size()));
    SpiceStream s(source);
    EXPECT_EQ(readAll(s), Lines({"R1 a $ b"}));
    EXPECT_EQ(s.getLanguage(), KELVORAN);
    EXPECT_EQ(std::string(s.getBuffer()->get()), std::string("#HSP\x01ICER1 a $ b\n", 17));
}

TEST(SpiceStream, AnyDelimiterMaySurroundTheDialectWord)
{
    for (const char *text : {"*#\tHSPICE\nR1 a $ b\n", "*#(HSPICE)\nR1 a $ b\n", "*#=HSPICE,x\nR1 a $ b\n",
                             "*#,,HSPICE \t\nR1 a $ b\n"}) {
        kvstrstream source(text);
        SpiceStream s(source);
        EXPECT_EQ(readAll(s), Lines({"R1 a "})) << text;
        EXPECT_EQ(s.getLanguage(), HSPICE) << text;
    }
    for (const char *text : {"*#HSPICEX\nR1 a $ b\n", "*#-HSPICE\nR1 a $ b\n", "*#\nR1 a $ b\n"}) {
        kvstrstream source(text);
        SpiceStream s(source);
        EXPECT_EQ(readAll(s), Lines({"R1 a $ b"})) << text;
        EXPECT_EQ(s.getLanguage(), KELVORAN) << text;
    }
}

TEST(SpiceStream, SeparatorWordsIgnoreCase)
{
    struct Case {
        const char *text;
        const char *separator;
    };
    const Case cases[] = {
        {"*#kelvoran SEP=NONE\nR1 a\n", ""},
        {"*#Kelvoran Sep=None\nR1 a\n", ""},
        {"*#KELVORAN sep=:\n*#KELVORAN\nR1 a\n", ":"}, // a bare directive leaves it
        {"*#KELVORAN sep=. sep=:\nR1 a\n", ":"},       // the last one wins
        {"*#KELVORAN sep=\nR1 a\n", "$"},              // too few tokens
        {"*#hspice\nR1 a\n", ""},
    };
    for (const Case &c : cases) {
        kvstrstream source(c.text);
        SpiceStream s(source);
        readAll(s);
        EXPECT_STREQ(s.getSeparator(), c.separator) << c.text;
    }
}

TEST(SpiceStream, CutDirectiveRestGoesWhereItsCommentGoes)
{
    std::string xs(199, 'x');
    // Between statements the cut-off rest of the line goes nowhere.
    std::string between = "*#" + xs + "TAIL\nR1 a\n";
    kvstrstream a(between.c_str());
    SpiceStream sa(a);
    EXPECT_EQ(readAll(sa), Lines({"R1 a"}));
    EXPECT_EQ(std::string(sa.getBuffer()->get()), "#" + std::string(198, 'x') + "R1 a\n");
    EXPECT_EQ(sa.getCharCount(), static_cast<int>(between.size()));
    EXPECT_EQ(sa.getLineCount(), 2);

    // Before a continuation the whole line is kept, once.
    std::string inside = "R1 a\n*#" + xs + "TAIL\n+ b\n";
    kvstrstream b(inside.c_str());
    SpiceStream sb(b);
    EXPECT_EQ(readAll(sb), Lines({"R1 a  b"}));
    EXPECT_EQ(std::string(sb.getBuffer()->get()), inside);
    EXPECT_EQ(sb.getCharCount(), static_cast<int>(inside.size()));
    EXPECT_EQ(sb.getLineCount(), 3);
}

TEST(SpiceStream, LastAcceptedCountsAtAnEndWithoutLineFeed)
{
    kvstrstream a("R1 ab");
    SpiceStream sa(a);
    EXPECT_EQ(readAll(sa), Lines({"R1 ab"}));
    EXPECT_EQ(sa.getLastAcceptedCharCount(), 5);
    EXPECT_EQ(sa.getLastAcceptedLineCount(), 0);

    kvstrstream b("X\nR1 a ; c");
    SpiceStream sb(b);
    EXPECT_EQ(readAll(sb), Lines({"X", "R1 a "}));
    EXPECT_EQ(sb.getLastAcceptedCharCount(), 7); // the blank before ";"
    EXPECT_EQ(sb.getLastAcceptedLineCount(), 1);
    EXPECT_EQ(sb.getCharCount(), 10);
}

TEST(SpiceStream, GetsTakesNullPointers)
{
    kvstrstream source("R1 a\nR2 b\n");
    SpiceStream s(source);
    EXPECT_TRUE(s.gets(nullptr, nullptr, nullptr, nullptr));
    YString line;
    int number = 0;
    EXPECT_TRUE(s.gets(&line, &number, nullptr, nullptr));
    EXPECT_STREQ(line.tocs(), "R2 b");
    EXPECT_EQ(number, 2);
    EXPECT_FALSE(s.gets(nullptr, nullptr, nullptr, nullptr));
}

TEST(SpiceStream, ByteAfterACarriageReturnDoesNotReachTheEncodingDetector)
{
    // Without the carriage return the pair is UTF-8; after one, only its
    // second byte is seen, which no UTF-8 text begins with.
    kvstrstream plain("R1 a\xc3\xa9\n");
    SpiceStream sp(plain);
    readAll(sp);
    EXPECT_EQ(sp.getUtf8Encoding(), Utf8DetectUtf8);
    kvstrstream afterCr("R1 a\r\xc3\xa9\n");
    SpiceStream sc(afterCr);
    EXPECT_EQ(readAll(sc), Lines({"R1 a\xc3\xa9"}));
    EXPECT_EQ(sc.getUtf8Encoding(), Utf8DetectNotUtf8);
}

TEST(SpiceStream, WithDecryptionOnTheCountsAreTheStreamsOwn)
{
    kvstrstream source("R1 a b\r\nR2 c\n");
    SpiceStream s(source);
    StripMark decrypter;
    s.setAllowEncryption(&decrypter);
    YString line;
    ASSERT_TRUE(s.gets(&line, nullptr, nullptr, nullptr));
    EXPECT_STREQ(line.tocs(), "R1 a b");
    EXPECT_EQ(s.getLastAcceptedCharCount(), 8);
    EXPECT_EQ(s.getCharCount(), 9); // the look-ahead took the "R" of R2
    ASSERT_TRUE(s.gets(&line, nullptr, nullptr, nullptr));
    EXPECT_EQ(s.getLastAcceptedCharCount(), 13);
    EXPECT_EQ(s.getCharCount(), 13);
    s.clearCounts();
    EXPECT_EQ(s.getCharCount(), 0);
    EXPECT_EQ(s.getLastAcceptedCharCount(), 0);
}

namespace {

// Everything a reader can observe after reading \p text to its end.
struct Observed {
    Numbered statements;
    std::vector<int> flags; // nonAscii per statement, then hierarchy
    std::string sourceText;
    int lineCount = 0;
    int charCount = 0;
    int lastLine = 0;
    int lastChar = 0;
    int language = 0;
    std::string separator;
    int encoding = 0;
    bool operator==(const Observed &o) const
    {
        return statements == o.statements && flags == o.flags && sourceText == o.sourceText &&
               lineCount == o.lineCount && charCount == o.charCount && lastLine == o.lastLine &&
               lastChar == o.lastChar && language == o.language && separator == o.separator &&
               encoding == o.encoding;
    }
};

// \p text with line ends and bytes outside printable ASCII as C escapes.
std::string escaped(const std::string &text)
{
    std::string out;
    char code[8];
    for (unsigned char c : text) {
        if (c >= 32 && c < 127 && c != '\\') {
            out += static_cast<char>(c);
        } else {
            std::snprintf(code, sizeof code, "\\x%02x", c);
            out += code;
        }
    }
    return out;
}

Observed observe(const std::string &text, bool byteAtATime)
{
    kvstrstream source(text.data(), static_cast<int>(text.size()));
    AngleStream s(source);
    StripMark decrypter;
    if (byteAtATime)
        s.setAllowEncryption(&decrypter); // no "?@@" line: the same text, read one byte at a time
    Observed o;
    YString line;
    int number = 0;
    bool nonAscii = false;
    while (s.gets(&line, &number, nullptr, &nonAscii)) {
        o.statements.push_back({number, line.tocs()});
        o.flags.push_back(nonAscii ? 1 : 0);
        o.flags.push_back(s.isHierarchy() ? 1 : 0);
    }
    o.sourceText.assign(s.getBuffer()->get(), static_cast<size_t>(s.getBuffer()->getLength()));
    o.lineCount = s.getLineCount();
    o.charCount = s.getCharCount();
    o.lastLine = s.getLastAcceptedLineCount();
    o.lastChar = s.getLastAcceptedCharCount();
    o.language = s.getLanguage();
    o.separator = s.getSeparator();
    o.encoding = s.getUtf8Encoding();
    return o;
}

} // namespace

TEST(SpiceStream, BlockReadingAgreesWithReadingByteByByte)
{
    // The block reader copies runs of plain bytes and comments in one step;
    // with a decryption hook set every byte goes through the machine. Both
    // must give the same statements, source text and counts. (No byte 255:
    // with decryption on, the stream itself passes over that byte.)
    const char *pieces[] = {"R1 a b 1k", "+", " ", "\t", "\n", "\r\n", "*", "* note", ";", "$", "; c",
                            "$ c", "{", "}", "{x}", "*#HSPICE", "*#PSPICE", "*#KELVORAN sep=:",
                            "*# kelvoran", "*#hierarchy", "\x01", "\x1b", "\xc3\xa9", "\xe9", "x*y",
                            "ab=cd", "\"q\"", "-"};
    const int pieceCount = static_cast<int>(sizeof pieces / sizeof pieces[0]);
    std::mt19937 random(20261121);
    for (int round = 0; round < 1500; ++round) {
        std::string text;
        int length = static_cast<int>(random() % 60);
        for (int i = 0; i < length; ++i) {
            text += pieces[random() % pieceCount];
            if (random() % 4 == 0)
                text += "\n";
        }
        if (round % 50 == 49)
            text += std::string(40000, 'w') + "\n" + text; // past one read-ahead block
        Observed blocks = observe(text, false);
        Observed bytes = observe(text, true);
        ASSERT_TRUE(blocks == bytes) << "round " << round << ": " << escaped(text);
    }
}

// --------------------------------------------------------- state and buffer

TEST(SpiceStream, InitAfterASeekReadsAgain)
{
    kvstrstream source("*#HSPICE\nR1 a $ x\nR2 b\n");
    SpiceStream s(source);
    Lines first = readAll(s);
    EXPECT_TRUE(s.eof());
    s.seekg(0);
    s.init();
    EXPECT_FALSE(s.eof());
    EXPECT_EQ(s.getLineCount(), 0);
    EXPECT_STREQ(s.getSeparator(), "$");
    EXPECT_EQ(s.getLanguage(), HSPICE); // init leaves the dialect
    EXPECT_EQ(readAll(s), first);
}

TEST(SpiceStream, InitKeepsSourceTextAndHierarchyAndResetsTheModes)
{
    kvstrstream source("*#hierarchy\nR1 a\n\n+ b\n");
    SpiceStream s(source);
    s.dontSuppressEmptyLines();
    s.setLiteralMode(true);
    YString line;
    ASSERT_TRUE(s.gets(&line, nullptr, nullptr, nullptr));
    EXPECT_STREQ(line.tocs(), "*#hierarchy"); // literal: the directive is a statement
    s.setLiteralMode(false);
    s.seekg(0);
    s.init();
    ASSERT_TRUE(s.gets(&line, nullptr, nullptr, nullptr));
    EXPECT_STREQ(line.tocs(), "R1 a  b");
    EXPECT_TRUE(s.isHierarchy());
    s.seekg(0);
    s.init();
    EXPECT_TRUE(s.isHierarchy());
    // The source text runs on from before init, and empty lines are
    // suppressed again.
    EXPECT_STREQ(s.getBuffer()->get(), "*#hierarchy\n#hierarchyR1 a\n+ b\n");
    s.setLiteralMode(true);
    s.init();
    s.seekg(0);
    EXPECT_EQ(readAll(s), Lines({"R1 a  b"})); // init turned literal mode off
}

TEST(SpiceStream, InitAfterASeekOnAFileDropsTheReadAhead)
{
    std::string dir = kvtest::makeTempDir();
    std::string path = dir + "/again.cir";
    std::string text;
    for (int i = 0; i < 5000; ++i)
        text += "R" + std::to_string(i) + " a b 1k ; c\n+ tc=1\n";
    std::ofstream(path, std::ios::binary) << text;
    SpiceStream s(path.c_str(), KELVORAN);
    YString line;
    ASSERT_TRUE(s.gets(&line, nullptr, nullptr, nullptr));
    ASSERT_TRUE(s.gets(&line, nullptr, nullptr, nullptr));
    EXPECT_STREQ(line.tocs(), "R1 a b 1k   tc=1");
    s.seekg(0);
    s.init();
    Lines all = readAll(s);
    ASSERT_EQ(all.size(), 5000u);
    EXPECT_EQ(all.front(), "R0 a b 1k   tc=1");
    EXPECT_EQ(all.back(), "R4999 a b 1k   tc=1");
}

TEST(SpiceStream, CopyAndFlushBuffer)
{
    kvstrstream source("R1 a\n");
    SpiceStream s(source);
    s.copyBuffer(YString("previous"));
    readAll(s);
    EXPECT_STREQ(s.getBuffer()->get(), "previousR1 a\n");
    s.flushBuffer();
    EXPECT_EQ(s.getBuffer()->getLength(), 0);
}

TEST(SpiceStream, StreamWithoutDeviceOrWithAWriteOnlyDeviceIsEmpty)
{
    kvstream none;
    SpiceStream a(none);
    EXPECT_EQ(readAll(a), Lines());
    kvstdstream messages;
    SpiceStream b(messages);
    EXPECT_EQ(readAll(b), Lines());
    EXPECT_EQ(b.get(false), -1);
}

TEST(SpiceStream, FileOpenedInADialectUsesItsCommentCharacterFromTheStart)
{
    std::string dir = kvtest::makeTempDir();
    std::string path = dir + "/h.sp";
    std::ofstream(path, std::ios::binary) << "R1 a ; b $ c\n$ whole line\nR2 d\n";
    SpiceStream s(path.c_str(), HSPICE);
    EXPECT_EQ(readAll(s), Lines({"R1 a ; b ", "R2 d"}));
    EXPECT_TRUE(s.isHspiceMode());
    // Only a directive empties the separator; the dialect given here doesn't.
    EXPECT_STREQ(s.getSeparator(), "$");
    EXPECT_EQ(s.getSourceFile(), YString(path.c_str()));
}

TEST(SpiceStream, FileThatCantBeOpenedReadsEmpty)
{
    std::string dir = kvtest::makeTempDir();
    SpiceStream s((dir + "/missing.cir").c_str(), PSPICE);
    EXPECT_FALSE(static_cast<bool>(s));
    EXPECT_EQ(readAll(s), Lines());
    EXPECT_EQ(s.getLanguage(), PSPICE);
    SpiceStream n(nullptr, KELVORAN);
    EXPECT_EQ(readAll(n), Lines());
    EXPECT_TRUE(n.getSourceFile().isEmpty());
}

TEST(SpiceStream, ConstructionTakesOverTheOtherStreamsDevice)
{
    kvstrstream source("R1 a\n");
    SpiceStream s(source);
    EXPECT_EQ(source.getNumBytes(), 0);
    EXPECT_EQ(readAll(s), Lines({"R1 a"}));
}

TEST(SpiceStream, LongStatementsCrossReadAheadBlocks)
{
    std::string text;
    Lines expected;
    for (int i = 0; i < 3000; ++i) {
        std::string body = "R" + std::to_string(i) + " n" + std::to_string(i) + " 0 " + std::string(40, 'x');
        text += body + "\n+ tc=" + std::to_string(i) + " ; c\n";
        expected.push_back(body + "  tc=" + std::to_string(i) + " ");
    }
    EXPECT_EQ(statementsOf(text), expected);
}

// ---------------------------------------------------------- sample files

TEST(SpiceStreamSamples, KelvoranOpAmpStatementByStatement)
{
    SpiceStream s(samplePath("opamp_kelvoran.net").c_str(), PSPICE);
    s.readTitle();
    EXPECT_STREQ(s.getBuffer()->get(), "Two-stage op-amp, inverting gain of 10");
    s.flushBuffer();
    Numbered expected = {
        {4, "VCC vcc 0 15"},
        {5, "VEE vee 0 -15"},
        {7, "VIN in 0 AC 1 SIN(0 0.1 1k)"},
        {8, "R1 in inv 10k "},
        {9, "R2 inv out 100k "},
        {11, "XU1 0 inv vcc vee out OPAMP2"},
        {12, ".subckt OPAMP2 inp inn vp vn out"},
        {13, "Q1 c1 inp e  QNPN"},
        {14, "Q2 c2 inn e  QNPN"},
        {16, "IEE e vn 100u"},
        {17, "RC1 vp c1 10k"},
        {18, "RC2 vp c2 10k  tc1=0.001  tc2=0"},
        {21, "Q3 out c2 vp QPNP"},
        {22, "CC c2 out 30p"},
        {23, "RL out vn 20k"},
        {24, ".ends OPAMP2"},
        {25, ".model QNPN NPN(IS=1e-16 BF=200  VAF=100 CJE=1p  CJC=0.5p)"},
        {29, ".model QPNP PNP(IS=1e-16 BF=100 VAF=80)"},
        {30, ".tran 1u 5m"},
        {31, ".ac dec 20 1 10meg"},
        {32, ".end"},
    };
    EXPECT_EQ(numberedOf(s), expected);
    EXPECT_EQ(s.getLanguage(), KELVORAN);
    EXPECT_STREQ(s.getSeparator(), ":");
    EXPECT_EQ(s.getLineCount(), 32);
    EXPECT_EQ(s.getCharCount(), 651); // the title's line feed isn't counted
}

TEST(SpiceStreamSamples, PspiceFilterStatementByStatement)
{
    SpiceStream s(samplePath("pspice_rc.cir").c_str(), KELVORAN);
    s.readTitle();
    Numbered expected = {
        {3, ".PARAM RVAL=1k CVAL=100n"},
        {4, "V1 in 0 PULSE(0 5 0 1u 1u 0.5m 1m) "},
        {5, "R1 in out {RVAL}"},
        {6, "C1 out 0 {CVAL} IC=0"},
        {7, "D1 out clamp D1N4148"},
        {8, "VCLAMP clamp 0 DC 3.3"},
        {10, ".MODEL D1N4148 D(IS=2.682n N=1.836 RS=0.5664  BV=100 IBV=100u CJO=4p)"},
        {13, ".TRAN 10u 5m 0 10u"},
        {14, ".PROBE V(out)"},
        {15, ".END"},
    };
    EXPECT_EQ(numberedOf(s), expected);
    EXPECT_EQ(s.getLanguage(), PSPICE);
    EXPECT_STREQ(s.getSeparator(), "");
}

TEST(SpiceStreamSamples, HspiceParametersStatementByStatement)
{
    kvfstream file(samplePath("hspice_param.sp").c_str(), KvOpenIn | KvOpenBinary);
    AngleStream s(file);
    s.readTitle();
    Numbered expected = {
        {3, ".param vdd=1.8 wn=0.5u wp='2*wn'"},
        {4, ".global vdd gnd"},
        {5, "vsupply vdd gnd <vdd>"},
        {6, "vin in gnd pulse(0 <vdd> 0 50p 50p 1n 2n) "},
        {7, ".subckt inv a y w=<wn>"},
        {8, "mn y a gnd gnd nch w=<w> l=0.18u"},
        {9, "mp y a vdd vdd pch w=<2*(w)> l=0.18u "},
        {10, ".ends inv"},
        {11, "x1 in n1 inv w=wn"},
        {12, "x2 n1 n2 inv"},
        {13, "x3 n2 out inv w='wp;2'"},
        {14, "cload out gnd 10f"},
        {15, ".model nch nmos level=49  vth0=0.4 tox=4e-9"},
        {17, ".model pch pmos level=49  vth0=-0.4"},
        {20, ".tran 10p 10n"},
        {21, ".option post"},
        {22, ".end"},
    };
    EXPECT_EQ(numberedOf(s), expected);
    EXPECT_EQ(s.getLanguage(), HSPICE);
}

TEST(SpiceStreamSamples, CrLfAndControlBytes)
{
    SpiceStream s(samplePath("crlf_controls.cir").c_str(), KELVORAN);
    s.readTitle();
    EXPECT_STREQ(s.getBuffer()->get(), "Mixed line ends and stray bytes");
    EXPECT_EQ(numberedOf(s), Numbered({{2, "R1 a b 1k  tc=1"}, {5, "C1 b 0 1n"}}));
    EXPECT_EQ(s.getCharCount(), 93);
}

TEST(SpiceStreamSamples, RealNetlistsFromOtherAuthors)
{
    struct Case {
        const char *file;
        size_t count;
        int index;
        const char *statement;
    };
    const Case cases[] = {
        {"numparam_param-example.cir", 12, 2, "Ra in p1   {2*rval}"},
        {"p-to-n-examples_op-test.cir", 75, 0, "vddp vp 0 3"},
        {"sp_filter.sp", 0, 3, ".csparam Rbase=50 "},
        {"various_transformers1.cir", 46, -1, nullptr},
    };
    for (const Case &c : cases) {
        SpiceStream s(samplePath(c.file).c_str(), KELVORAN);
        s.readTitle();
        Lines all = readAll(s);
        if (c.count != 0) {
            EXPECT_EQ(all.size(), c.count) << c.file;
        }
        if (c.statement != nullptr) {
            ASSERT_LT(static_cast<size_t>(c.index), all.size()) << c.file;
            EXPECT_EQ(all[static_cast<size_t>(c.index)], c.statement) << c.file;
        }
        for (const std::string &line : all) {
            EXPECT_EQ(line.find('\r'), std::string::npos) << c.file;
            EXPECT_EQ(line.find('\n'), std::string::npos) << c.file;
            EXPECT_FALSE(line.empty()) << c.file;
        }
        EXPECT_TRUE(s.eof()) << c.file;
    }
}

TEST(SpiceStreamSamples, ContinuationsOfARealModelAreJoined)
{
    SpiceStream s(samplePath("p-to-n-examples_op-test.cir").c_str(), KELVORAN);
    s.readTitle();
    Lines all = readAll(s);
    size_t models = 0;
    for (const std::string &line : all) {
        if (line.rfind(".MODEL", 0) == 0 || line.rfind(".model", 0) == 0) {
            ++models;
            EXPECT_EQ(line.find(" +"), std::string::npos) << line;
        }
    }
    EXPECT_GT(models, 0u);
    EXPECT_EQ(all.back(), ".end");
}
