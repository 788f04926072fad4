// Profile files: reading, the whole-file rewrite with its order rules, the
// cache's refresh, and processes sharing one file.
#include <kvsupport/profile.h>

#include <kvsupport/sysinfo.h>
#include <kvsupport/threads.h>

#include "support/test_support.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QThread>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

// A fresh file name in a fresh directory: the cache never saw it.
std::string freshFile(const std::string &text = std::string())
{
    std::string path = kvtest::makeTempDir("ini") + "/settings.ini";
    if (!text.empty())
        kvtest::writeFile(path, text);
    return path;
}

std::string get(const std::string &file, const char *section, const char *key)
{
    YString value;
    sp_GetPrivateProfileString(section, key, file.c_str(), &value);
    return value.tocs();
}

bool put(const std::string &file, const char *section, const char *key, const char *value)
{
    return sp_WritePrivateProfileString(file.c_str(), section, key, value);
}

std::vector<std::string> toVector(const YList<YString> &list)
{
    std::vector<std::string> out;
    for (const YString &s : list)
        out.push_back(s.tocs());
    return out;
}

std::string mutexNameOf(const std::string &path)
{
    return "kv_mutex_inifile_" + std::to_string(YString(path.c_str()).hashValue());
}

// Waits until the file's clock tick has surely passed, so that a change
// made now gets another time stamp than one made before.
void nextTick()
{
    QThread::msleep(20);
}

} // namespace

// ----------------------------------------------------------------- reading

TEST(Profile, ReadingAMissingFileGivesFalseAndCreatesNothing)
{
    std::string path = freshFile();
    YString value("stale");
    EXPECT_FALSE(sp_GetPrivateProfileString("s", "k", path.c_str(), &value));
    EXPECT_TRUE(value.isEmpty());
    EXPECT_FALSE(QFile::exists(QString::fromStdString(path)));
    YList<YString> names;
    EXPECT_FALSE(sp_GetProfileSectionNames(YString(path.c_str()), &names));
    EXPECT_FALSE(sp_GetProfileKeyNames(YString(path.c_str()), YString("s"), &names));
    EXPECT_EQ(sp_DeletePrivateProfileSection(YString(path.c_str()), YString("s")), 0);
    EXPECT_FALSE(QFile::exists(QString::fromStdString(path)));
}

TEST(Profile, BadArgumentsFail)
{
    std::string path = freshFile("[s]\nk=v\n");
    YString value;
    EXPECT_FALSE(sp_GetPrivateProfileString(nullptr, "k", path.c_str(), &value));
    EXPECT_FALSE(sp_GetPrivateProfileString("s", nullptr, path.c_str(), &value));
    EXPECT_FALSE(sp_GetPrivateProfileString("s", "k", nullptr, &value));
    EXPECT_FALSE(sp_GetPrivateProfileString("s", "k", "", &value));
    EXPECT_TRUE(sp_GetPrivateProfileString("s", "k", path.c_str(), nullptr));
    EXPECT_FALSE(put("", "s", "k", "v"));
    EXPECT_FALSE(sp_WritePrivateProfileString(nullptr, "s", "k", "v"));
    EXPECT_FALSE(put(path, nullptr, "k", "v"));
    EXPECT_FALSE(put(path, "s", nullptr, "v"));
    EXPECT_EQ(kvtest::readFile(path), "[s]\nk=v\n");
}

TEST(Profile, FileInAMissingDirectoryIsNeverMade)
{
    std::string path = kvtest::makeTempDir("ini") + "/no/such/dir/settings.ini";
    EXPECT_FALSE(put(path, "s", "k", "v"));
    EXPECT_EQ(get(path, "s", "k"), "");
    EXPECT_FALSE(QFile::exists(QString::fromStdString(path)));
}

TEST(Profile, KeysAndSectionsMatchIgnoringCase)
{
    std::string path = freshFile("[Options]\nEnableDebugLogging=1\n");
    EXPECT_EQ(get(path, "OPTIONS", "enabledebuglogging"), "1");
    EXPECT_TRUE(put(path, "options", "ENABLEDEBUGLOGGING", "2"));
    EXPECT_EQ(kvtest::readFile(path), "[Options]\nEnableDebugLogging=2\n");
}

TEST(Profile, QuotesAndOuterBlanksAreRemoved)
{
    std::string path = freshFile("[s]\nkey = \"a b\" \nother=x\n");
    EXPECT_EQ(get(path, "s", "key"), "a b");
    EXPECT_TRUE(put(path, "s", "other", "y"));
    EXPECT_EQ(kvtest::readFile(path), "[s]\nkey=a b\nother=y\n");
}

TEST(Profile, ValueWithOnlyOneQuoteKeepsIt)
{
    std::string path = freshFile("[s]\nk=\"open\n");
    EXPECT_EQ(get(path, "s", "k"), "\"open");
}

TEST(Profile, LookupWithEmptyKeyFindsACommentOfTheSection)
{
    std::string path = freshFile("[s]\n; note\nk=v\n");
    YString value("x");
    EXPECT_TRUE(sp_GetPrivateProfileString("s", "", path.c_str(), &value));
    EXPECT_TRUE(value.isEmpty());
    EXPECT_FALSE(sp_GetPrivateProfileString("s", "; note", path.c_str(), &value));
}

// --------------------------------------------------------------- rewriting

TEST(Profile, FirstWriteCreatesTheFile)
{
    std::string path = freshFile();
    EXPECT_TRUE(put(path, "Locations", "Models", "/opt/models"));
    EXPECT_EQ(kvtest::readFile(path), "[Locations]\nModels=/opt/models\n");
    EXPECT_EQ(get(path, "locations", "models"), "/opt/models");
}

TEST(Profile, ChangingOnlyTheCaseOfAValueRewritesTheFile)
{
    std::string path = freshFile("[s]\nk=Value\n");
    EXPECT_EQ(get(path, "s", "k"), "Value");
    EXPECT_TRUE(put(path, "s", "k", "VALUE"));
    EXPECT_EQ(kvtest::readFile(path), "[s]\nk=VALUE\n");
}

TEST(Profile, WritingTheSameValueTouchesNothing)
{
    std::string path = freshFile("[s]\n\n\nk = v\n");
    EXPECT_EQ(get(path, "s", "k"), "v");
    long long before = sp_GetFileModifiedTime(path.c_str());
    nextTick();
    EXPECT_TRUE(put(path, "s", "K", "v"));
    EXPECT_EQ(sp_GetFileModifiedTime(path.c_str()), before);
    EXPECT_EQ(kvtest::readFile(path), "[s]\n\n\nk = v\n");
    EXPECT_EQ(sp_GetProfileTimeStamp(YString(path.c_str())), before);
}

TEST(Profile, CommentBetweenSettingsStaysBetweenThem)
{
    std::string path = freshFile("[s]\na=1\n   ; note\nb=2\n");
    EXPECT_TRUE(put(path, "s", "c", "3"));
    EXPECT_EQ(kvtest::readFile(path), "[s]\na=1\n; note\nb=2\nc=3\n");
}

TEST(Profile, BracketLineThatDoesNotEndInABracketIsASetting)
{
    std::string path = freshFile("[s]\n[x]y\nk=v\n");
    YList<YString> names;
    ASSERT_TRUE(sp_GetProfileSectionNames(YString(path.c_str()), &names));
    EXPECT_EQ(toVector(names), std::vector<std::string>({"s"}));
    YString value("x");
    EXPECT_TRUE(sp_GetPrivateProfileString("s", "", path.c_str(), &value));
    EXPECT_TRUE(value.isEmpty());
    EXPECT_EQ(get(path, "s", "k"), "v");
    // Without "=" the line is the key "" with an empty value, written back
    // as such.
    EXPECT_TRUE(put(path, "s", "k", "w"));
    EXPECT_EQ(kvtest::readFile(path), "[s]\n=\nk=w\n");
}

TEST(Profile, HeaderNameEndsAtItsFirstClosingBracket)
{
    std::string path = freshFile("  [a]b]  \t\nk=v\n[ c ]\nj=w\n");
    YList<YString> names;
    ASSERT_TRUE(sp_GetProfileSectionNames(YString(path.c_str()), &names));
    EXPECT_EQ(toVector(names), std::vector<std::string>({"a", " c "}));
    EXPECT_EQ(get(path, "A", "k"), "v");
    EXPECT_EQ(get(path, " c ", "j"), "w");
    EXPECT_EQ(get(path, "c", "j"), "");
    EXPECT_TRUE(put(path, "a", "k", "x"));
    EXPECT_EQ(kvtest::readFile(path), "[a]\nk=x\n\n[ c ]\nj=w\n");
}

TEST(Profile, TextBeforeTheFirstHeaderDisappearsAtTheNextRewrite)
{
    std::string path = freshFile("stray=1\n; stray comment\n[s]\nk=v\n");
    EXPECT_EQ(get(path, "s", "k"), "v");
    EXPECT_EQ(get(path, "", "stray"), "");
    EXPECT_TRUE(put(path, "s", "k", "w"));
    EXPECT_EQ(kvtest::readFile(path), "[s]\nk=w\n");
}

TEST(Profile, RepeatedKeyReadsItsFirstValueAndLosesTheRest)
{
    std::string path = freshFile("[s]\nk=first\nother=1\nK=second\n");
    EXPECT_EQ(get(path, "s", "k"), "first");
    EXPECT_TRUE(put(path, "s", "other", "2"));
    EXPECT_EQ(kvtest::readFile(path), "[s]\nk=first\nother=2\n");
}

TEST(Profile, NewSectionGoesToTheTopAndNewKeyToTheBottomOfItsSection)
{
    std::string path = freshFile("[a]\nx=1\n\n[b]\ny=2\n");
    EXPECT_TRUE(put(path, "a", "z", "3"));
    EXPECT_EQ(kvtest::readFile(path), "[a]\nx=1\nz=3\n\n[b]\ny=2\n");
    EXPECT_TRUE(put(path, "c", "w", "4"));
    EXPECT_EQ(kvtest::readFile(path), "[c]\nw=4\n\n[a]\nx=1\nz=3\n\n[b]\ny=2\n");
}

TEST(Profile, ValuesAreWrittenWithoutQuotes)
{
    std::string path = freshFile();
    EXPECT_TRUE(put(path, "s", "k", "\"quoted\" text = 1"));
    EXPECT_EQ(kvtest::readFile(path), "[s]\nk=\"quoted\" text = 1\n");
    EXPECT_EQ(get(path, "s", "k"), "\"quoted\" text = 1");
}

TEST(Profile, NullValueDeletesTheKey)
{
    std::string path = freshFile("[s]\na=1\nb=2\n");
    EXPECT_TRUE(put(path, "s", "a", nullptr));
    EXPECT_EQ(kvtest::readFile(path), "[s]\nb=2\n");
    EXPECT_EQ(get(path, "s", "a"), "");
    long long before = sp_GetFileModifiedTime(path.c_str());
    nextTick();
    EXPECT_TRUE(put(path, "s", "missing", nullptr));
    EXPECT_EQ(sp_GetFileModifiedTime(path.c_str()), before);
}

TEST(Profile, ManyValuesInOneRewrite)
{
    std::string path = freshFile("[s]\na=1\n");
    YList<NameValuePair> values;
    values.append(NameValuePair(YString("A"), YString("10")));
    values.append(NameValuePair(YString("b"), YString("20")));
    values.append(NameValuePair(YString("c"), YString("30")));
    EXPECT_TRUE(sp_WritePrivateProfileStrings(YString(path.c_str()), YString("s"), values));
    EXPECT_EQ(kvtest::readFile(path), "[s]\na=10\nb=20\nc=30\n");
    std::string fresh = freshFile();
    EXPECT_TRUE(sp_WritePrivateProfileStrings(YString(fresh.c_str()), YString("new"), values));
    EXPECT_EQ(kvtest::readFile(fresh), "[new]\nA=10\nb=20\nc=30\n");
}

TEST(Profile, EmptyValueIsASettingOfItsOwn)
{
    std::string path = freshFile("[s]\nk=\nquoted=\"\"\n");
    YString value("x");
    EXPECT_TRUE(sp_GetPrivateProfileString("s", "k", path.c_str(), &value));
    EXPECT_TRUE(value.isEmpty());
    EXPECT_TRUE(sp_GetPrivateProfileString("s", "quoted", path.c_str(), &value));
    EXPECT_TRUE(value.isEmpty());
    // Writing the empty value again changes nothing on disk.
    long long before = sp_GetFileModifiedTime(path.c_str());
    nextTick();
    EXPECT_TRUE(put(path, "s", "K", ""));
    EXPECT_EQ(sp_GetFileModifiedTime(path.c_str()), before);
    EXPECT_EQ(kvtest::readFile(path), "[s]\nk=\nquoted=\"\"\n");
    // An empty value is not a deletion: the key stays, written with "=".
    EXPECT_TRUE(put(path, "s", "new", ""));
    EXPECT_EQ(kvtest::readFile(path), "[s]\nk=\nquoted=\nnew=\n");
    EXPECT_TRUE(sp_GetPrivateProfileString("s", "new", path.c_str(), &value));
    EXPECT_TRUE(value.isEmpty());
}

TEST(Profile, OnlyTheFirstEqualsSignAndOnePairOfQuotesCount)
{
    std::string path = freshFile("[s]\n\tmy key\t =\t a=b \t\nq = \"\"x\"\"\nhalf=x\"\n");
    EXPECT_EQ(get(path, "s", "my key"), "a=b");
    EXPECT_EQ(get(path, "S", "MY KEY"), "a=b");
    EXPECT_EQ(get(path, "s", "q"), "\"x\"");
    EXPECT_EQ(get(path, "s", "half"), "x\"");
    EXPECT_TRUE(put(path, "s", "z", "1"));
    EXPECT_EQ(kvtest::readFile(path), "[s]\nmy key=a=b\nq=\"x\"\nhalf=x\"\nz=1\n");
}

TEST(Profile, SemicolonAfterAValueIsPartOfTheValue)
{
    std::string path = freshFile("[s]\nk=v ; not a comment\n \t \n\t;\ttabbed comment\nj = \"x\" ; y\n");
    EXPECT_EQ(get(path, "s", "k"), "v ; not a comment");
    EXPECT_EQ(get(path, "s", "j"), "\"x\" ; y"); // the quotes don't enclose the whole value
    EXPECT_TRUE(put(path, "s", "z", "1"));
    EXPECT_EQ(kvtest::readFile(path), "[s]\nk=v ; not a comment\n;\ttabbed comment\nj=\"x\" ; y\nz=1\n");
}

TEST(Profile, CarriageReturnsVanishAndCommentsKeepTheirTrailingBlanks)
{
    std::string path = freshFile("\r\n[s]\r\n  ; note  \r\nk = v\r\n\r\n[t]\r\nj=2\r\n");
    EXPECT_EQ(get(path, "s", "k"), "v");
    EXPECT_EQ(get(path, "t", "j"), "2");
    EXPECT_TRUE(put(path, "t", "j", "3"));
    EXPECT_EQ(kvtest::readFile(path), "[s]\n; note  \nk=v\n\n[t]\nj=3\n");
}

TEST(Profile, DeletingAKeyIgnoresCaseAndKeepsTheSectionHeader)
{
    std::string path = freshFile("[Main]\n; only a comment and one key\nKey=1\n\n[other]\nx=2\n");
    EXPECT_TRUE(put(path, "MAIN", "kEY", nullptr));
    EXPECT_EQ(kvtest::readFile(path), "[Main]\n; only a comment and one key\n\n[other]\nx=2\n");
    EXPECT_EQ(get(path, "main", "key"), "");
    EXPECT_TRUE(put(path, "other", "X", nullptr));
    EXPECT_EQ(kvtest::readFile(path), "[Main]\n; only a comment and one key\n\n[other]\n");
    YList<YString> keys;
    ASSERT_TRUE(sp_GetProfileKeyNames(YString(path.c_str()), YString("other"), &keys));
    EXPECT_EQ(keys.getCount(), 0);
}

TEST(Profile, ANewKeyInAnExistingSectionKeepsTheSectionsCaseAndPlace)
{
    std::string path = freshFile("[First]\na=1\n\n[Second]\nb=2\n");
    EXPECT_TRUE(put(path, "second", "C", "3"));
    EXPECT_EQ(kvtest::readFile(path), "[First]\na=1\n\n[Second]\nb=2\nC=3\n");
    YList<YString> names;
    ASSERT_TRUE(sp_GetProfileSectionNames(YString(path.c_str()), &names));
    EXPECT_EQ(toVector(names), std::vector<std::string>({"First", "Second"}));
}

TEST(Profile, SectionNamedTwiceIsWrittenTwiceWithAllItsEntries)
{
    // Both headers name one section, so each is followed by all its entries.
    std::string path = freshFile("[b]\nx=1\n[a]\ny=2\n[B]\nz=3\n");
    EXPECT_TRUE(put(path, "a", "y", "20"));
    EXPECT_EQ(kvtest::readFile(path), "[b]\nx=1\nz=3\n\n[a]\ny=20\n\n[B]\nx=1\nz=3\n");
    EXPECT_EQ(sp_DeletePrivateProfileSection(YString(path.c_str()), YString("b")), 2);
    EXPECT_EQ(kvtest::readFile(path), "[a]\ny=20\n");
    YList<YString> names;
    ASSERT_TRUE(sp_GetProfileSectionNames(YString(path.c_str()), &names));
    EXPECT_EQ(toVector(names), std::vector<std::string>({"a"}));
}

TEST(Profile, ManyValuesThatAreAllInPlaceTouchNothing)
{
    std::string path = freshFile("[s]\n; keep\na = 1\nb=2\n");
    EXPECT_EQ(get(path, "s", "a"), "1");
    YList<NameValuePair> values;
    values.append(NameValuePair(YString("A"), YString("1")));
    values.append(NameValuePair(YString("b"), YString("2")));
    long long before = sp_GetFileModifiedTime(path.c_str());
    nextTick();
    EXPECT_TRUE(sp_WritePrivateProfileStrings(YString(path.c_str()), YString("S"), values));
    EXPECT_EQ(sp_GetFileModifiedTime(path.c_str()), before);
    EXPECT_EQ(kvtest::readFile(path), "[s]\n; keep\na = 1\nb=2\n");
    values.append(NameValuePair(YString("c"), YString("")));
    EXPECT_TRUE(sp_WritePrivateProfileStrings(YString(path.c_str()), YString("S"), values));
    EXPECT_EQ(kvtest::readFile(path), "[s]\n; keep\na=1\nb=2\nc=\n");
}

TEST(Profile, DeletingTheOnlySectionLeavesAnEmptyFile)
{
    std::string path = freshFile("; before\n[only]\n; c\nk=v\n");
    EXPECT_EQ(sp_DeletePrivateProfileSection(YString(path.c_str()), YString("ONLY")), 2);
    EXPECT_TRUE(QFile::exists(QString::fromStdString(path)));
    EXPECT_EQ(kvtest::readFile(path), "");
    YList<YString> names;
    names.append(YString("stale"));
    ASSERT_TRUE(sp_GetProfileSectionNames(YString(path.c_str()), &names));
    EXPECT_EQ(names.getCount(), 0);
}

TEST(Profile, KeyDeletedAndSetAgainGoesToTheBottomOfItsSection)
{
    std::string path = freshFile("[s]\na=1\n; about b\nb=2\n");
    EXPECT_TRUE(put(path, "s", "a", nullptr));
    EXPECT_EQ(kvtest::readFile(path), "[s]\n; about b\nb=2\n");
    EXPECT_TRUE(put(path, "s", "A", "3"));
    EXPECT_EQ(kvtest::readFile(path), "[s]\n; about b\nb=2\nA=3\n");
    // A changed value keeps its place.
    EXPECT_TRUE(put(path, "s", "b", "4"));
    EXPECT_EQ(kvtest::readFile(path), "[s]\n; about b\nb=4\nA=3\n");
}

TEST(Profile, ManyValuesWithARepeatedNameKeepTheLastValueOnce)
{
    std::string path = freshFile("[s]\nx=0\n");
    YList<NameValuePair> values;
    values.append(NameValuePair(YString("k"), YString("1")));
    values.append(NameValuePair(YString("K"), YString("2")));
    values.append(NameValuePair(YString("x"), YString("0")));
    EXPECT_TRUE(sp_WritePrivateProfileStrings(YString(path.c_str()), YString("s"), values));
    EXPECT_EQ(kvtest::readFile(path), "[s]\nx=0\nk=2\n");
}

TEST(Profile, NoValuesForAMissingFileMakeNoFile)
{
    std::string path = freshFile();
    YList<NameValuePair> none;
    EXPECT_FALSE(sp_WritePrivateProfileStrings(YString(path.c_str()), YString("s"), none));
    EXPECT_FALSE(QFile::exists(QString::fromStdString(path)));
    EXPECT_FALSE(put(path, "s", "k", nullptr));
    EXPECT_FALSE(QFile::exists(QString::fromStdString(path)));
}

TEST(Profile, ArbitraryTextReadsAndRewritesWithoutHarm)
{
    const std::vector<std::string> pieces = {"[a]", "[B]", "[]", "[", "]", "k=v", "K = \"x\"", "=", "; c", " ",
                                             "\t", "\r", "\n", "\n", "\n", "x", "\"", "[a]b]", "j=", "\x01",
                                             "\xff", "\xc3\xa9", std::string(300, 'w'), std::string(1, '\0')};
    const unsigned pieceCount = static_cast<unsigned>(pieces.size());
    std::mt19937 random(3600);
    for (int round = 0; round < 150; ++round) {
        std::string text;
        int length = static_cast<int>(random() % 40);
        for (int i = 0; i < length; ++i)
            text += pieces[random() % pieceCount];
        std::string path = freshFile(text);
        kvtest::writeFile(path, text); // also when empty
        YList<YString> names;
        ASSERT_TRUE(sp_GetProfileSectionNames(YString(path.c_str()), &names)) << round;
        get(path, "a", "k");
        ASSERT_TRUE(put(path, "zz", "key", "val")) << round;
        EXPECT_EQ(get(path, "ZZ", "KEY"), "val") << round;
        std::string written = kvtest::readFile(path);
        ASSERT_EQ(written.rfind("[zz]\nkey=val\n", 0), 0u) << round << ": " << written;
        EXPECT_EQ(sp_DeletePrivateProfileSection(YString(path.c_str()), YString("zz")), 1) << round;
        EXPECT_EQ(kvtest::readFile(path).find("[zz]"), std::string::npos) << round;
        EXPECT_EQ(get(path, "zz", "key"), "") << round;
    }
}

// ------------------------------------------------------- names and sections

TEST(Profile, KeyNamesAreAddedAtTheHeadOfTheList)
{
    std::string path = freshFile("[s]\n; comment\nalpha=1\nbeta=2\n[t]\ngamma=3\n");
    YList<YString> keys;
    keys.append(YString("kept"));
    ASSERT_TRUE(sp_GetProfileKeyNames(YString(path.c_str()), YString("S"), &keys));
    std::vector<std::string> got = toVector(keys);
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got.back(), "kept");
    std::sort(got.begin(), got.end() - 1);
    EXPECT_EQ(got, std::vector<std::string>({"alpha", "beta", "kept"}));
    EXPECT_FALSE(sp_GetProfileKeyNames(YString(path.c_str()), YString("none"), &keys));
    EXPECT_EQ(keys.getCount(), 3);
}

TEST(Profile, SectionNamesInFileOrderWithDuplicates)
{
    std::string path = freshFile("[b]\nx=1\n[a]\ny=2\n[B]\nz=3\n");
    YList<YString> names;
    names.append(YString("cleared"));
    ASSERT_TRUE(sp_GetProfileSectionNames(YString(path.c_str()), &names));
    EXPECT_EQ(toVector(names), std::vector<std::string>({"b", "a", "B"}));
    EXPECT_EQ(get(path, "b", "z"), "3");
}

TEST(Profile, DeletingASectionRemovesItsEntriesAndComments)
{
    std::string path = freshFile("[a]\nx=1\n; about b\n\n[b]\n; c1\ny=2\nz=3\n\n[c]\nw=4\n");
    EXPECT_EQ(sp_DeletePrivateProfileSection(YString(path.c_str()), YString("B")), 3);
    EXPECT_EQ(kvtest::readFile(path), "[a]\nx=1\n; about b\n\n[c]\nw=4\n");
    EXPECT_EQ(get(path, "b", "y"), "");
}

TEST(Profile, DeletingAMissingSectionChangesNothing)
{
    std::string text = "[a]\n\nx = 1\n";
    std::string path = freshFile(text);
    EXPECT_EQ(get(path, "a", "x"), "1");
    long long before = sp_GetFileModifiedTime(path.c_str());
    nextTick();
    EXPECT_EQ(sp_DeletePrivateProfileSection(YString(path.c_str()), YString("zz")), 0);
    EXPECT_EQ(kvtest::readFile(path), text);
    EXPECT_EQ(sp_GetFileModifiedTime(path.c_str()), before);
}

// ------------------------------------------------------------------ refresh

TEST(Profile, ForeignChangeIsSeenAtTheNextCall)
{
    std::string path = freshFile("[s]\nk=1\n");
    EXPECT_EQ(get(path, "s", "k"), "1");
    nextTick();
    kvtest::writeFile(path, "[s]\nk=2\n");
    EXPECT_EQ(get(path, "s", "k"), "2");
}

TEST(Profile, FileDeletedBehindTheCachesBackReadsEmpty)
{
    std::string path = freshFile("[s]\nk=1\n");
    EXPECT_EQ(get(path, "s", "k"), "1");
    QFile::remove(QString::fromStdString(path));
    EXPECT_EQ(get(path, "s", "k"), "");
    EXPECT_TRUE(put(path, "s", "j", "2"));
    EXPECT_EQ(kvtest::readFile(path), "[s]\nj=2\n");
}

TEST(Profile, TimeStampPollMarksTheFileForLoading)
{
    std::string path = freshFile("[s]\nk=1\n");
    EXPECT_EQ(get(path, "s", "k"), "1");
    long long first = sp_GetProfileTimeStamp(YString(path.c_str()));
    EXPECT_EQ(first, sp_GetFileModifiedTime(path.c_str()));
    EXPECT_GT(first, 0);
    nextTick();
    kvtest::writeFile(path, "[s]\nk=22\n");
    long long second = sp_GetProfileTimeStamp(YString(path.c_str()));
    EXPECT_GT(second, first);
    EXPECT_EQ(sp_GetProfileTimeStamp(YString(path.c_str())), second);
    EXPECT_EQ(get(path, "s", "k"), "22");
    EXPECT_EQ(sp_GetProfileTimeStamp(YString("")), 0);
}

TEST(Profile, TwoSpellingsOfOnePathShareOneCacheEntry)
{
    std::string path = freshFile("[s]\nk=1\n");
    std::string dir = path.substr(0, path.rfind('/'));
    std::string other = dir + "/./../" + dir.substr(dir.rfind('/') + 1) + "//settings.ini";
    EXPECT_TRUE(put(other, "s", "k", "2"));
    EXPECT_EQ(get(path, "s", "k"), "2");
}

TEST(Profile, RewriteKeepsTheFilesPermissions)
{
    std::string path = freshFile("[s]\nk=1\n");
    QString name = QString::fromStdString(path);
    QFile::setPermissions(name, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    QFile::Permissions before = QFile::permissions(name);
    EXPECT_TRUE(before & QFile::ReadOther);
    EXPECT_TRUE(put(path, "s", "k", "2"));
    EXPECT_EQ(QFile::permissions(name), before);
    EXPECT_EQ(kvtest::readFile(path), "[s]\nk=2\n");
}

TEST(Profile, FileReachedThroughALinkKeepsTheLink)
{
    std::string real = freshFile("[s]\nk=1\n");
    std::string link = kvtest::makeTempDir("ini") + "/link.ini";
    ASSERT_TRUE(QFile::link(QString::fromStdString(real), QString::fromStdString(link)));
    EXPECT_EQ(get(link, "s", "k"), "1");
    EXPECT_TRUE(put(link, "s", "k", "2"));
    EXPECT_TRUE(QFileInfo(QString::fromStdString(link)).isSymLink());
    EXPECT_EQ(kvtest::readFile(real), "[s]\nk=2\n");
}

// ---------------------------------------------------------------- processes

KVTEST_CHILD(profileWrite)
{
    if (args.size() != 4)
        return 2;
    return sp_WritePrivateProfileString(args[0].toUtf8().constData(), args[1].toUtf8().constData(),
                                        args[2].toUtf8().constData(), args[3].toUtf8().constData())
               ? 0
               : 1;
}

// A rewrite that can't reach the disk: the writer still answers true (the
// file exists) and keeps the new value in memory, while the file keeps the
// old text. As root the child drops to an unprivileged user first.
KVTEST_CHILD(profileUnwritableDirectory)
{
    if (args.size() != 1)
        return 2;
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0))
        return 90;
    std::string path = args[0].toStdString();
    if (get(path, "s", "k") != "old")
        return 3;
    if (!put(path, "s", "k", "new"))
        return 4;
    if (get(path, "s", "k") != "new")
        return 5;
    if (kvtest::readFile(path) != "[s]\nk=old\n")
        return 6;
    if (!put(path, "s", "j", "more") || get(path, "s", "j") != "more" || kvtest::readFile(path) != "[s]\nk=old\n")
        return 7;
    return 0;
}

TEST(ProfileProcesses, RewriteThatCantReachTheDiskKeepsMemoryAndTheOldFile)
{
    std::string dir = kvtest::makeTempDir("ro");
    if (geteuid() == 0) {
        // Let the unprivileged user reach the directory (but not write in it).
        for (std::string p = dir; p.size() > 1 && p != "/tmp"; p = p.substr(0, p.rfind('/'))) {
            struct stat st;
            if (::stat(p.c_str(), &st) == 0)
                ::chmod(p.c_str(), (st.st_mode & 07777) | 0011);
            if (p == kvtest::tempRoot())
                break;
        }
    }
    std::string path = dir + "/settings.ini";
    kvtest::writeFile(path, "[s]\nk=old\n");
    ::chmod(path.c_str(), 0644);
    ::chmod(dir.c_str(), 0555);
    EXPECT_EQ(kvtest::runChild("profileUnwritableDirectory", {QString::fromStdString(path)}), 0);
    ::chmod(dir.c_str(), 0755);
    EXPECT_EQ(kvtest::readFile(path), "[s]\nk=old\n");
    EXPECT_EQ(QDir(QString::fromStdString(dir)).entryList(QDir::Files | QDir::Hidden), QStringList({"settings.ini"}));
}

TEST(ProfileProcesses, SecondProcessSeesTheFirstsChange)
{
    std::string path = freshFile("[s]\nk=mine\n");
    EXPECT_EQ(get(path, "s", "k"), "mine");
    EXPECT_EQ(kvtest::runChild("profileWrite", {QString::fromStdString(path), "s", "k", "theirs"}), 0);
    EXPECT_EQ(get(path, "s", "k"), "theirs");
    EXPECT_TRUE(put(path, "s", "j", "also mine"));
    EXPECT_EQ(kvtest::readFile(path), "[s]\nk=theirs\nj=also mine\n");
}

TEST(ProfileProcesses, SameSizeChangeInTheSameClockTickIsSeen)
{
    // Every rewrite leaves a later time stamp than the file had, so a
    // change of the same size made at once is not missed.
    std::string path = freshFile();
    EXPECT_TRUE(put(path, "s", "k", "1"));
    EXPECT_EQ(get(path, "s", "k"), "1");
    EXPECT_EQ(kvtest::runChild("profileWrite", {QString::fromStdString(path), "s", "k", "2"}), 0);
    EXPECT_EQ(get(path, "s", "k"), "2");
    EXPECT_TRUE(put(path, "s", "k", "3"));
    EXPECT_EQ(kvtest::runChild("profileWrite", {QString::fromStdString(path), "s", "j", "4"}), 0);
    EXPECT_EQ(kvtest::readFile(path), "[s]\nk=3\nj=4\n");
}

KVTEST_CHILD(profileWriteMany)
{
    if (args.size() != 3)
        return 2;
    std::string file = args[0].toStdString();
    std::string prefix = args[1].toStdString();
    int rounds = args[2].toInt();
    for (int round = 0; round < rounds; ++round) {
        for (int k = 0; k < 4; ++k) {
            std::string key = prefix + std::to_string(k);
            std::string value = prefix + "-round-" + std::to_string(round);
            if (!sp_WritePrivateProfileString(file.c_str(), "shared", key.c_str(), value.c_str()))
                return 1;
        }
    }
    return 0;
}

TEST(ProfileProcesses, TwoWritersOfDifferentKeysKeepEveryLastValue)
{
    std::string path = freshFile("[shared]\n; written by two processes\n");
    const int rounds = 60;
    auto a = kvtest::startChild("profileWriteMany", {QString::fromStdString(path), "alpha", QString::number(rounds)});
    auto b = kvtest::startChild("profileWriteMany", {QString::fromStdString(path), "beta", QString::number(rounds)});
    ASSERT_TRUE(a->waitForFinished(120000));
    ASSERT_TRUE(b->waitForFinished(120000));
    EXPECT_EQ(a->exitCode(), 0);
    EXPECT_EQ(b->exitCode(), 0);
    std::string last = "-round-" + std::to_string(rounds - 1);
    for (const char *prefix : {"alpha", "beta"}) {
        for (int k = 0; k < 4; ++k) {
            std::string key = prefix + std::to_string(k);
            EXPECT_EQ(get(path, "shared", key.c_str()), prefix + last) << key;
        }
    }
    EXPECT_NE(kvtest::readFile(path).find("; written by two processes\n"), std::string::npos);
}

KVTEST_CHILD(profileHoldMutex)
{
    if (args.size() != 2)
        return 2;
    YSystemMutex mutex(YString(args[0].toUtf8().constData()));
    if (!mutex.wait(5000))
        return 1;
    QFile marker(args[1]);
    marker.open(QIODevice::WriteOnly);
    marker.close();
    for (;;)
        QThread::msleep(100);
}

TEST(ProfileProcesses, HeldMutexKeepsMemoryAndDelaysTheWrite)
{
    std::string path = freshFile("[s]\nk=old\n");
    EXPECT_EQ(get(path, "s", "k"), "old");
    std::string marker = path + ".held";
    auto holder = kvtest::startChild("profileHoldMutex",
                                     {QString::fromStdString(mutexNameOf(path)), QString::fromStdString(marker)});
    for (int i = 0; i < 250 && !QFile::exists(QString::fromStdString(marker)); ++i)
        QThread::msleep(20);
    ASSERT_TRUE(QFile::exists(QString::fromStdString(marker)));
    nextTick();
    kvtest::writeFile(path, "[s]\nk=new\n");
    // The read can't take the mutex within 100 ms: memory stays.
    EXPECT_EQ(get(path, "s", "k"), "old");
    // The write waits up to 1000 ms, then leaves its change in memory.
    EXPECT_TRUE(put(path, "s", "j", "pending"));
    EXPECT_EQ(kvtest::readFile(path), "[s]\nk=new\n");
    holder->kill();
    holder->waitForFinished(10000);
    // The holder died holding the mutex: it is taken over, the foreign file
    // wins over the memory that never reached the disk.
    EXPECT_EQ(get(path, "s", "k"), "new");
    EXPECT_EQ(get(path, "s", "j"), "");
    QFile::remove(QString::fromStdString(marker));
}

KVTEST_CHILD(profileRewriteForever)
{
    if (args.size() != 1)
        return 2;
    std::string file = args[0].toStdString();
    for (int i = 0;; ++i) {
        std::string value(200000 + (i % 7) * 1000, static_cast<char>('a' + i % 26));
        sp_WritePrivateProfileString(file.c_str(), "big", "value", value.c_str());
    }
}

TEST(ProfileProcesses, WriterKilledDuringARewriteLeavesAWholeFile)
{
    std::string path = freshFile("[keep]\nimportant=yes\n");
    auto writer = kvtest::startChild("profileRewriteForever", {QString::fromStdString(path)});
    QThread::msleep(400);
    writer->kill();
    writer->waitForFinished(10000);
    std::string text = kvtest::readFile(path);
    ASSERT_NE(text.find("[keep]\nimportant=yes\n"), std::string::npos) << text.substr(0, 200);
    size_t start = text.find("[big]\nvalue=");
    if (start != std::string::npos) {
        std::string line = text.substr(start + 12);
        ASSERT_FALSE(line.empty());
        ASSERT_EQ(line.back(), '\n');
        line.pop_back();
        size_t end = line.find('\n');
        std::string value = line.substr(0, end);
        EXPECT_EQ(value.size() % 1000, 0u);
        EXPECT_GE(value.size(), 200000u);
        EXPECT_EQ(value.find_first_not_of(value[0]), std::string::npos);
    }
    EXPECT_EQ(get(path, "keep", "important"), "yes");
}
