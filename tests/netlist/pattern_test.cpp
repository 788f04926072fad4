// Wildcard matchers, regular-expression searches, dialogue filters, escapes
// and wire-name templates.
#include <kvsupport/pattern.h>

#include "netlist/glob_match.h"

#include <gtest/gtest.h>

#include <QRegExp>

#include <random>
#include <string>

namespace {

YArray<YString> arrayOf(std::initializer_list<const char *> items)
{
    YArray<YString> a;
    for (const char *s : items)
        a.add(YString(s));
    return a;
}

std::string str(const YString &s)
{
    return s.tocs();
}

} // namespace

// ---- sp_FilterString ----

TEST(FilterString, StarMatchesRestIgnoringCase)
{
    EXPECT_TRUE(sp_FilterString("abc", "a*", false));
    EXPECT_TRUE(sp_FilterString("ABC", "a*", false));
    EXPECT_FALSE(sp_FilterString("ABC", "a*", true));
}

TEST(FilterString, QuestionMarkAndCase)
{
    EXPECT_FALSE(sp_FilterString("ABC", "a?c", true));
    EXPECT_TRUE(sp_FilterString("ABC", "a?c", false));
    EXPECT_TRUE(sp_FilterString("aXc", "a?c", true));
    EXPECT_FALSE(sp_FilterString("ac", "a?c", true));
    EXPECT_FALSE(sp_FilterString("abbc", "a?c", true));
}

TEST(FilterString, LoneStarMatchesAnything)
{
    EXPECT_TRUE(sp_FilterString("", "*", false));
    EXPECT_TRUE(sp_FilterString("", "*", true));
    EXPECT_TRUE(sp_FilterString(nullptr, "*", true));
    EXPECT_TRUE(sp_FilterString("anything at all", "*", true));
}

TEST(FilterString, BackslashProtectsStar)
{
    EXPECT_TRUE(sp_FilterString("a*c", "a\\*c", true));
    EXPECT_FALSE(sp_FilterString("abc", "a\\*c", true));
    EXPECT_TRUE(sp_FilterString("a?c", "a\\?c", true));
    EXPECT_FALSE(sp_FilterString("abc", "a\\?c", true));
    EXPECT_TRUE(sp_FilterString("a\\c", "a\\\\c", true));
}

TEST(FilterString, StarMatchesZeroOrMore)
{
    EXPECT_TRUE(sp_FilterString("a", "a*", true));
    EXPECT_TRUE(sp_FilterString("ac", "a*c", true));
    EXPECT_TRUE(sp_FilterString("abbbc", "a*c", true));
    EXPECT_TRUE(sp_FilterString("abc", "**a**b**c**", true));
    EXPECT_FALSE(sp_FilterString("abcd", "a*c", true));
    EXPECT_TRUE(sp_FilterString("x.cir", "*.cir", true));
    EXPECT_FALSE(sp_FilterString("x.cir.bak", "*.cir", true));
    EXPECT_TRUE(sp_FilterString("mississippi", "*sip*", true));
    EXPECT_TRUE(sp_FilterString("mississippi", "m*iss*ppi", true));
    EXPECT_FALSE(sp_FilterString("mississippi", "m*iss*ppx", true));
}

TEST(FilterString, WholeTextMustBeCovered)
{
    EXPECT_FALSE(sp_FilterString("abc", "b", true));
    EXPECT_FALSE(sp_FilterString("abc", "ab", true));
    EXPECT_FALSE(sp_FilterString("ab", "abc", true));
    EXPECT_FALSE(sp_FilterString("", "a", true));
    EXPECT_TRUE(sp_FilterString("", "", true));
    EXPECT_FALSE(sp_FilterString("a", "", true));
    EXPECT_TRUE(sp_FilterString("", "***", true));
    EXPECT_FALSE(sp_FilterString("", "?", true));
}

TEST(FilterString, TrailingBackslashNeverMatches)
{
    EXPECT_FALSE(sp_FilterString("a", "a\\", true));
    EXPECT_FALSE(sp_FilterString("a\\", "a\\", true));
    EXPECT_TRUE(sp_FilterString("a\\", "a\\\\", true));
}

TEST(FilterString, EscapedLetterFollowsCaseRule)
{
    EXPECT_TRUE(sp_FilterString("A", "\\a", false));
    EXPECT_FALSE(sp_FilterString("A", "\\a", true));
}

TEST(FilterString, IgnoringCaseAppliesToEveryPlainCharacter)
{
    EXPECT_TRUE(sp_FilterString("X.CIR", "*.cir", false));
    EXPECT_FALSE(sp_FilterString("X.CIR", "*.cir", true));
    EXPECT_TRUE(sp_FilterString("abc", "*B*", false));
    EXPECT_FALSE(sp_FilterString("abc", "*B*", true));
    EXPECT_TRUE(sp_FilterString("Net_12", "n?t_*", false));
}

TEST(FilterString, StarNeedsNoCharacterButOtherElementsDo)
{
    EXPECT_TRUE(sp_FilterString("ab", "a*b", true));
    EXPECT_TRUE(sp_FilterString("ab", "*ab*", true));
    EXPECT_FALSE(sp_FilterString("a", "a*?", true)) << "the ? behind the star still needs a character";
    EXPECT_TRUE(sp_FilterString("ab", "a*?", true));
    EXPECT_FALSE(sp_FilterString("a", "a\\*", true)) << "an escaped star is a character, not a wildcard";
    EXPECT_FALSE(sp_FilterString("x", "*\\*", true));
    EXPECT_TRUE(sp_FilterString("x*", "*\\*", true));
}

TEST(FilterString, PathologicalPatternFinishesQuickly)
{
    std::string text(5000, 'a');
    std::string pattern;
    for (int i = 0; i < 40; ++i)
        pattern += "*a";
    pattern += "*b";
    EXPECT_FALSE(sp_FilterString(text.c_str(), YString(pattern.c_str()), true));
    EXPECT_TRUE(sp_FilterString((text + "b").c_str(), YString(pattern.c_str()), true));
}

TEST(FilterString, NonAsciiBytesCompareExactly)
{
    EXPECT_TRUE(sp_FilterString("r\xC3\xA9sum\xC3\xA9.txt", "r\xC3\xA9*.txt", false));
    EXPECT_FALSE(sp_FilterString("R\xC3\x89SUM\xC3\x89", "r\xC3\xA9sum\xC3\xA9", false));
    EXPECT_TRUE(sp_FilterString("\xC3\xA9", "??", true)); // ? is one byte
    EXPECT_FALSE(sp_FilterString("\xC3\xA9", "?", true));
}

// ---- sp_GlobMatch ----

TEST(GlobMatch, StarNeedsAtLeastOneCharacter)
{
    EXPECT_EQ(sp_GlobMatch("a*", "a"), -1);
    EXPECT_EQ(sp_GlobMatch("a*", "ab"), 0);
    EXPECT_EQ(sp_GlobMatch("*", ""), -1);
}

TEST(GlobMatch, MatchAnywhere)
{
    EXPECT_EQ(sp_GlobMatch("b", "abc"), 1);
    EXPECT_EQ(sp_GlobMatch("c", "abc"), 2);
    EXPECT_EQ(sp_GlobMatch("x", "abc"), -1);
    EXPECT_EQ(sp_GlobMatch("b?", "abc"), 1);
    EXPECT_EQ(sp_GlobMatch("b?", "ab"), -1);
}

TEST(GlobMatch, PointAndPlusAreLiteral)
{
    EXPECT_EQ(sp_GlobMatch("a.c", "abc"), -1);
    EXPECT_EQ(sp_GlobMatch("a.c", "xa.c"), 1);
    EXPECT_EQ(sp_GlobMatch("a+", "aaa"), -1);
    EXPECT_EQ(sp_GlobMatch("a+", "ba+"), 1);
}

TEST(GlobMatch, BracketsAreLiteral)
{
    EXPECT_EQ(sp_GlobMatch("(a)", "x(a)"), 1);
    EXPECT_EQ(sp_GlobMatch("(a)", "a"), -1);
    EXPECT_EQ(sp_GlobMatch("[ab]", "a"), -1);
    EXPECT_EQ(sp_GlobMatch("[ab]", "-[ab]"), 1);
    EXPECT_EQ(sp_GlobMatch("{1}", "x{1}"), 1);
}

TEST(GlobMatch, CaseAlwaysCounts)
{
    EXPECT_EQ(sp_GlobMatch("ABC", "abc"), -1);
    EXPECT_EQ(sp_GlobMatch("abc", "xabc"), 1);
}

TEST(GlobMatch, EscapedStarAndQuestionMarkAreLiteral)
{
    EXPECT_EQ(sp_GlobMatch("a\\*", "ab"), -1);
    EXPECT_EQ(sp_GlobMatch("a\\*", "xa*"), 1);
    EXPECT_EQ(sp_GlobMatch("a\\?", "ab"), -1);
    EXPECT_EQ(sp_GlobMatch("a\\?", "a?"), 0);
}

TEST(GlobMatch, OnlyAnOddRunOfBackslashesMakesTheStarLiteral)
{
    // Two backslashes are one literal backslash, and the star behind them is
    // free again; three leave a literal backslash and a literal star.
    EXPECT_EQ(sp_GlobMatch("a\\\\*", "xa\\b"), 1);
    EXPECT_EQ(sp_GlobMatch("a\\\\*", "a\\"), -1);
    EXPECT_EQ(sp_GlobMatch("a\\\\\\*", "a\\*"), 0);
    EXPECT_EQ(sp_GlobMatch("a\\\\\\*", "a\\b"), -1);
    EXPECT_EQ(sp_GlobMatch("a\\\\?", "a\\b"), 0);
    EXPECT_EQ(sp_GlobMatch("a\\\\\\?", "a\\b"), -1);
    EXPECT_EQ(sp_GlobMatch("a\\\\\\?", "a\\?"), 0);
}

TEST(GlobMatch, LeadingStarNeedsACharacterBeforeTheRest)
{
    EXPECT_EQ(sp_GlobMatch("*b", "b"), -1);
    EXPECT_EQ(sp_GlobMatch("*b", "ab"), 0);
    EXPECT_EQ(sp_GlobMatch("*b", "xxab"), 0);
    EXPECT_EQ(sp_GlobMatch("?b", "xxab"), 2);
    EXPECT_EQ(sp_GlobMatch("", "abc"), 0) << "an empty expression matches at once";
}

TEST(GlobMatch, OtherExpressionCharactersKeepTheirMeaning)
{
    // Only brackets, braces, parentheses, '.', '+', '*' and '?' are
    // rewritten; the rest of the expression syntax goes through as it is.
    EXPECT_EQ(sp_GlobMatch("^b", "ab"), -1);
    EXPECT_EQ(sp_GlobMatch("^a", "ab"), 0);
    EXPECT_EQ(sp_GlobMatch("a$", "ab"), -1);
    EXPECT_EQ(sp_GlobMatch("b$", "abb"), 2);
    EXPECT_EQ(sp_GlobMatch("x|b", "abc"), 1);
}

TEST(GlobMatch, PositionIsAByteOffset)
{
    EXPECT_EQ(sp_GlobMatch("b", "\xC3\xA9" "b"), 2);
    EXPECT_EQ(sp_GlobMatch("b", "\xF0\x9F\x98\x80" "b"), 4);
    EXPECT_EQ(sp_GlobMatch("b", "\xFF" "b"), 1); // a stray byte is still one byte
}

TEST(GlobMatch, AlternatingPatternsEachGiveTheirOwnAnswer)
{
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(sp_GlobMatch("a?", "xab"), 1);
        EXPECT_EQ(sp_GlobMatch("b", "xab"), 2);
        EXPECT_EQ(sp_GlobMatch("b", "xa"), -1);
    }
}

TEST(GlobMatch, NullArgumentsFail)
{
    EXPECT_EQ(sp_GlobMatch(nullptr, "a"), -1);
    EXPECT_EQ(sp_GlobMatch("a", nullptr), -1);
}

TEST(GlobMatch, AdjacentWildcardsKeepTheirRewrittenMeaning)
{
    // The rewriting consumes the character after a wildcard, so a second
    // wildcard right behind it (or one character later) is left to the
    // expression syntax: "??" becomes ".?", "*a*" becomes "(.){1,}a*".
    EXPECT_EQ(sp_GlobMatch("a??", "a"), 0);
    EXPECT_EQ(sp_GlobMatch("a??", "ba"), 1);
    EXPECT_EQ(sp_GlobMatch("a??", "b"), -1);
    EXPECT_EQ(sp_GlobMatch("*a*", "xa"), 0);
    EXPECT_EQ(sp_GlobMatch("*a*", "x"), 0);
}

TEST(GlobMatch, ManyStarsFinish)
{
    std::string text(5000, 'a');
    std::string pattern;
    for (int i = 0; i < 8; ++i)
        pattern += "*ab";
    EXPECT_EQ(sp_GlobMatch(pattern.c_str(), text.c_str()), -1);
    EXPECT_EQ(sp_GlobMatch(pattern.c_str(), ("x" + std::string(16, 'a') + "ab" + text).c_str()), -1);
    std::string hit = "zz";
    for (int i = 0; i < 8; ++i)
        hit += "xab";
    EXPECT_EQ(sp_GlobMatch(pattern.c_str(), (text + hit).c_str()), 0);
    EXPECT_EQ(sp_GlobMatch(("q" + pattern).c_str(), (text + "q" + hit).c_str()), 5000);
}

TEST(GlobMatch, DirectSearchAgreesWithRegExp)
{
    // Every rewritten pattern that the direct search takes must give the
    // position QRegExp gives.
    std::mt19937 random(12345);
    const std::string patternChars = "ab.*?[](){}+\\|^$\n";
    const std::string textChars = "ab.+*?()[]{}\n";
    int direct = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string pattern, text;
        for (int n = random() % 9; n > 0; --n)
            pattern += patternChars[random() % patternChars.size()];
        for (int n = random() % 13; n > 0; --n)
            text += textChars[random() % textChars.size()];
        const QString rx = kv::detail::globToRegExp(pattern.c_str());
        std::vector<kv::detail::GlobElement> elements;
        if (!kv::detail::parseSimpleGlob(rx, &elements))
            continue;
        ++direct;
        QRegExp reference(rx);
        ASSERT_TRUE(reference.isValid()) << pattern;
        const QString subject = QString::fromStdString(text);
        ASSERT_EQ(kv::detail::simpleGlobSearch(elements, subject), reference.indexIn(subject))
            << "pattern \"" << pattern << "\" text \"" << text << "\"";
    }
    EXPECT_GT(direct, 5000);
}

// ---- sp_RegexpMatch ----

TEST(RegexpMatch, PlainSearch)
{
    EXPECT_EQ(sp_RegexpMatch("b+", "aabbb"), 2);
    EXPECT_EQ(sp_RegexpMatch("^a", "ba"), -1);
    EXPECT_EQ(sp_RegexpMatch("x", "abc"), -1);
    EXPECT_EQ(sp_RegexpMatch("B", "abc"), -1);
    EXPECT_EQ(sp_RegexpMatch("", "abc"), 0);
}

TEST(RegexpMatch, BadExpressionMatchesNothing)
{
    EXPECT_EQ(sp_RegexpMatch("(", "("), -1);
    EXPECT_EQ(sp_RegexpMatch("a[", "a["), -1);
    EXPECT_EQ(sp_RegexpMatch(nullptr, "a"), -1);
    EXPECT_EQ(sp_RegexpMatch("a", nullptr), -1);
}

// ---- sp_RegExpMatches ----

TEST(RegExpMatches, FieldsInOrder)
{
    YArray<YString> captures;
    EXPECT_TRUE(sp_RegExpMatches(arrayOf({"[a-z]+", "[0-9]+", "_"}), "abc123_", &captures));
    ASSERT_EQ(captures.getCount(), 3);
    EXPECT_EQ(str(captures[0]), "abc");
    EXPECT_EQ(str(captures[1]), "123");
    EXPECT_EQ(str(captures[2]), "_");
}

TEST(RegExpMatches, NoMatchStopsWithFalse)
{
    YArray<YString> captures;
    EXPECT_FALSE(sp_RegExpMatches(arrayOf({"[a-z]+", "x", "[0-9]+"}), "abc123", &captures));
    ASSERT_EQ(captures.getCount(), 1);
    EXPECT_EQ(str(captures[0]), "abc");
}

TEST(RegExpMatches, LateMatchIsFalseButTheWalkGoesOn)
{
    YArray<YString> captures;
    // "b" is found at 2, not at 0: false. The position then becomes 0 + 1
    // (only the length counts), so "c" is searched from 1 and found at 3.
    EXPECT_FALSE(sp_RegExpMatches(arrayOf({"b", "c"}), "aabc", &captures));
    ASSERT_EQ(captures.getCount(), 2);
    EXPECT_EQ(str(captures[0]), "b");
    EXPECT_EQ(str(captures[1]), "c");
}

TEST(RegExpMatches, AnEmptyMatchAtThePositionCountsAndMovesNothing)
{
    YArray<YString> captures;
    EXPECT_TRUE(sp_RegExpMatches(arrayOf({"x*", "a", "b*", "c*"}), "abb", &captures));
    ASSERT_EQ(captures.getCount(), 4);
    EXPECT_EQ(str(captures[0]), "");
    EXPECT_EQ(str(captures[1]), "a");
    EXPECT_EQ(str(captures[2]), "bb");
    EXPECT_EQ(str(captures[3]), "") << "an empty match at the very end";
}

TEST(RegExpMatches, ExpressionsAreCaseSensitive)
{
    YArray<YString> captures;
    EXPECT_FALSE(sp_RegExpMatches(arrayOf({"A"}), "a", &captures));
    EXPECT_EQ(captures.getCount(), 0);
    EXPECT_EQ(sp_RegexpMatch("b", "aBb"), 2);
}

TEST(RegExpMatches, NullCapturesAndEmptyList)
{
    EXPECT_TRUE(sp_RegExpMatches(arrayOf({"a", "b"}), "ab", nullptr));
    EXPECT_TRUE(sp_RegExpMatches(arrayOf({}), "ab", nullptr));
    EXPECT_FALSE(sp_RegExpMatches(arrayOf({"("}), "(", nullptr));
}

TEST(RegExpMatches, CapturesAreAppended)
{
    YArray<YString> captures;
    captures.add("old");
    EXPECT_TRUE(sp_RegExpMatches(arrayOf({"a"}), "a", &captures));
    ASSERT_EQ(captures.getCount(), 2);
    EXPECT_EQ(str(captures[0]), "old");
    EXPECT_EQ(str(captures[1]), "a");
}

// ---- sp_CompileFilter ----

TEST(CompileFilter, NameAndJoinedPatterns)
{
    YArray<YString> out;
    sp_CompileFilter("Text (all)|*.txt;*.log", &out, " ");
    ASSERT_EQ(out.getCount(), 1);
    EXPECT_EQ(str(out[0]), "Text [all] (*.txt *.log)");
}

TEST(CompileFilter, PairsAndOddLastField)
{
    YArray<YString> out;
    sp_CompileFilter("Netlists|*.cir;*.net|All files|*|Orphan", &out, ";");
    ASSERT_EQ(out.getCount(), 2);
    EXPECT_EQ(str(out[0]), "Netlists (*.cir;*.net)");
    EXPECT_EQ(str(out[1]), "All files (*)");
}

TEST(CompileFilter, NestedParenthesesAndNulls)
{
    YArray<YString> out;
    sp_CompileFilter("A ((b))|*.x", &out, nullptr);
    ASSERT_EQ(out.getCount(), 1);
    EXPECT_EQ(str(out[0]), "A [[b]] (*.x)");
    sp_CompileFilter(nullptr, &out, " ");
    sp_CompileFilter("", &out, " ");
    sp_CompileFilter("only", &out, " ");
    EXPECT_EQ(out.getCount(), 1);
    sp_CompileFilter("A|*.x", nullptr, " "); // nothing to append to
}

TEST(CompileFilter, TrailingSeparatorsAddNoField)
{
    YArray<YString> out;
    sp_CompileFilter("Text|*.txt;|", &out, " ");
    ASSERT_EQ(out.getCount(), 1);
    EXPECT_EQ(str(out[0]), "Text (*.txt)");
    sp_CompileFilter("A|;*.a", &out, "+");
    ASSERT_EQ(out.getCount(), 2);
    EXPECT_EQ(str(out[1]), "A (+*.a)") << "a leading empty pattern is kept";
}

TEST(CompileFilter, EmptyFieldsKept)
{
    YArray<YString> out;
    sp_CompileFilter("|*.a;;*.b", &out, ",");
    ASSERT_EQ(out.getCount(), 1);
    EXPECT_EQ(str(out[0]), " (*.a,,*.b)");
}

// ---- sp_ConvertToCString ----

TEST(ConvertToCString, EscapesFourCharacters)
{
    EXPECT_EQ(str(sp_ConvertToCString("a\\b\nc\td\"e")), "a\\\\b\\nc\\td\\\"e");
    EXPECT_EQ(str(sp_ConvertToCString("cr\r stays")), "cr\r stays");
    EXPECT_EQ(str(sp_ConvertToCString("")), "");
}

// ---- sp_EscapeString / sp_EscapeStringEncode ----

TEST(EscapeString, BlankOnlyWithSpaces)
{
    EXPECT_EQ(str(sp_EscapeString("a\\sb", true)), "a b");
    EXPECT_EQ(str(sp_EscapeString("a\\sb", false)), "asb");
}

TEST(EscapeString, Table)
{
    EXPECT_EQ(str(sp_EscapeString("\\\\\\f\\n\\r\\t", false)), "\\\f\n\r\t");
    EXPECT_EQ(str(sp_EscapeString("\\q\\\"", false)), "q\"");
    EXPECT_EQ(str(sp_EscapeString("end\\", false)), "end");
    EXPECT_EQ(str(sp_EscapeString("\\", true)), "");
    EXPECT_EQ(str(sp_EscapeString("plain", true)), "plain");
}

TEST(EscapeString, OtherEscapeCharacter)
{
    EXPECT_EQ(str(sp_EscapeString("a^sb^^c^n\\n", true, '^')), "a b^c\n\\n");
    EXPECT_EQ(str(sp_EscapeStringEncode("a b^c\n\\", true, '^')), "a^sb^^c^n\\");
}

TEST(EscapeString, TheEscapeCharacterItselfComesBeforeTheTable)
{
    EXPECT_EQ(str(sp_EscapeString("ann", false, 'n')), "an");
    EXPECT_EQ(str(sp_EscapeString("ant", false, 'n')), "a\t");
    EXPECT_EQ(str(sp_EscapeString("\\\\s", true)), "\\s") << "an escaped escape doesn't start another";
    EXPECT_EQ(str(sp_EscapeString("\\\\\\s", true)), "\\ ");
}

TEST(EscapeStringEncode, NulEscapeLeavesTheTextAlone)
{
    EXPECT_EQ(str(sp_EscapeStringEncode("a\tb c", true, '\0')), "a\tb c");
    EXPECT_EQ(str(sp_EscapeString("a\\tb", true, '\0')), "a\\tb");
}

TEST(EscapeStringEncode, BlankWithoutSpacesStaysAndRoundTrips)
{
    YString text("a b");
    YString encoded = sp_EscapeStringEncode(text, false);
    EXPECT_EQ(str(encoded), "a b");
    EXPECT_EQ(str(sp_EscapeString(encoded, false)), "a b");
    EXPECT_EQ(str(sp_EscapeString(encoded, true)), "a b");
}

TEST(EscapeStringEncode, Table)
{
    EXPECT_EQ(str(sp_EscapeStringEncode("\t\n\f\r\\ ", true)), "\\t\\n\\f\\r\\\\\\s");
    EXPECT_EQ(str(sp_EscapeStringEncode("\t\n\f\r\\ ", false)), "\\t\\n\\f\\r\\\\ ");
    EXPECT_EQ(str(sp_EscapeStringEncode("\v\"", true)), "\v\"");
}

TEST(EscapeStringEncode, RoundTrip)
{
    const char *samples[] = {"", "plain", "tab\there", "line\nbreak\r\n", "back\\slash\\", " lead and trail ",
                             "\\s literal"};
    for (const char *s : samples) {
        for (bool spaces : {false, true}) {
            YString back = sp_EscapeString(sp_EscapeStringEncode(s, spaces), spaces);
            EXPECT_EQ(str(back), s) << "spaces=" << spaces;
        }
    }
}

// ---- sp_ResolveWireTemplate ----

TEST(ResolveWireTemplate, EmptyTemplate)
{
    EXPECT_EQ(str(sp_ResolveWireTemplate("", "A", "3")), "A#3");
}

TEST(ResolveWireTemplate, Keys)
{
    EXPECT_EQ(str(sp_ResolveWireTemplate("%busname%_%wirenum%", "A", "3")), "A_3");
    EXPECT_EQ(str(sp_ResolveWireTemplate("%BusName%[%WIRENUM%]", "DATA", "7")), "DATA[7]");
    EXPECT_EQ(str(sp_ResolveWireTemplate("x%other%y", "A", "3")), "xy");
}

TEST(ResolveWireTemplate, PercentSigns)
{
    EXPECT_EQ(str(sp_ResolveWireTemplate("%wirenum%%%", "A", "3")), "3%");
    EXPECT_EQ(str(sp_ResolveWireTemplate("100%%", "A", "3")), "100%");
    EXPECT_EQ(str(sp_ResolveWireTemplate("%%%busname%", "A", "3")), "%A");
}

TEST(ResolveWireTemplate, TheTemplateIsReadLeftToRight)
{
    // After a key, "%%" is a percent sign in literal text, so the name that
    // follows is literal too, and the last "%" opens an empty key.
    EXPECT_EQ(str(sp_ResolveWireTemplate("%busname%%%wirenum%", "A", "3")), "A%wirenum");
    EXPECT_EQ(str(sp_ResolveWireTemplate("%busname%%wirenum%", "A", "3")), "A3");
    EXPECT_EQ(str(sp_ResolveWireTemplate("%%", "A", "3")), "%");
    EXPECT_EQ(str(sp_ResolveWireTemplate("%", "A", "3")), "");
    EXPECT_EQ(str(sp_ResolveWireTemplate("%busname%", "", "3")), "") << "an empty bus name is given as it is";
}

TEST(ResolveWireTemplate, OpenKeyAtEnd)
{
    EXPECT_EQ(str(sp_ResolveWireTemplate("n_%wirenum", "A", "3")), "n_3");
    EXPECT_EQ(str(sp_ResolveWireTemplate("n_%", "A", "3")), "n_");
    EXPECT_EQ(str(sp_ResolveWireTemplate("plain", "A", "3")), "plain");
}
