// Path algebra, file tests, temporary names, listing, walking, copying and
// deletion of directory trees.
#include <kvsupport/paths.h>

#include "stream/paths_internal.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string str(const YString &s)
{
    return s.tocs();
}

void writeFile(const std::string &path, const std::string &content = "data")
{
    ASSERT_TRUE(kvtest::writeFile(path, content)) << path;
}

bool exists(const std::string &path)
{
    struct stat st;
    return ::lstat(path.c_str(), &st) == 0;
}

std::vector<std::string> listOf(const YList<YString> &list)
{
    std::vector<std::string> out;
    for (const YString &s : list)
        out.push_back(s.tocs());
    return out;
}

std::set<std::string> setOf(const YList<YString> &list)
{
    std::set<std::string> out;
    for (const YString &s : list)
        out.insert(s.tocs());
    return out;
}

PathName split(const char *path)
{
    PathName p;
    p.drive = "junk";
    p.dir = "junk";
    p.name = "junk";
    p.ext = "junk";
    sp_SplitPath(path, &p);
    return p;
}

void expectSplit(const char *path, const char *dir, const char *name, const char *ext)
{
    PathName p = split(path);
    EXPECT_EQ(str(p.drive), "") << path;
    EXPECT_EQ(str(p.dir), dir) << path;
    EXPECT_EQ(str(p.name), name) << path;
    EXPECT_EQ(str(p.ext), ext) << path;
}

bool runningAsRoot()
{
    return ::geteuid() == 0;
}

// Records every call a tree operation makes, and stops after a given number
// of steps when asked to.
class RecordingProgress : public ProgressObject {
public:
    explicit RecordingProgress(int abortAfterSteps = -1) : abortAfter(abortAfterSteps) {}
    void step(int count) override
    {
        calls.push_back("step " + std::to_string(count));
        steps += count;
    }
    void setTotal(int t) override
    {
        calls.push_back("setTotal " + std::to_string(t));
        total = t;
    }
    void start() override { calls.push_back("start"); }
    bool isAborted() override { return abortAfter >= 0 && steps >= abortAfter; }
    void setItem(const YString &name) override
    {
        calls.push_back(std::string("item ") + name.tocs());
        items.push_back(name.tocs());
    }

    int abortAfter;
    int steps = 0;
    int total = -1;
    std::vector<std::string> calls;
    std::vector<std::string> items;
};

} // namespace

// ---- Splitting and joining ----

TEST(SplitPath, FourParts)
{
    expectSplit("/home/user/circuit.cir", "/home/user/", "circuit", ".cir");
    expectSplit("circuit.cir", "", "circuit", ".cir");
    expectSplit("/home/user/", "/home/user/", "", "");
    expectSplit("/home/user/Makefile", "/home/user/", "Makefile", "");
    expectSplit("archive.tar.gz", "", "archive.tar", ".gz");
    expectSplit("/dir.d/file", "/dir.d/", "file", "");
    expectSplit("/x/.hidden", "/x/", "", ".hidden");
    expectSplit("name.", "", "name", ".");
    expectSplit("a//b", "a//", "b", "");
    expectSplit("..", "", ".", ".");
    expectSplit("", "", "", "");
}

TEST(SplitPath, WindowsStyleInputIsOneName)
{
    expectSplit("C:\\dir\\file.txt", "", "C:\\dir\\file", ".txt");
    expectSplit("\\\\server\\share", "", "\\\\server\\share", "");
    expectSplit("C:/dir/file.txt", "C:/dir/", "file", ".txt");
}

TEST(SplitPath, ComponentLimitsInUtf16Units)
{
    std::string dir256 = "/" + std::string(254, 'd') + "/"; // 256 units
    std::string name256(256, 'n');
    std::string ext256 = "." + std::string(255, 'e');
    expectSplit((dir256 + name256 + ext256).c_str(), dir256.c_str(), name256.c_str(), ext256.c_str());
    expectSplit(("/" + dir256 + "x").c_str(), "", "", "");    // dir of 257
    expectSplit((name256 + "n.c").c_str(), "", "", "");      // name of 257
    expectSplit(("x" + ext256 + "e").c_str(), "", "", ""); // ext of 257
}

TEST(SplitPath, Utf8CountsAsUtf16)
{
    // 128 two-byte characters are 128 units: fits although 256 bytes long.
    std::string e;
    for (int i = 0; i < 200; ++i)
        e += "\xC3\xA9";
    expectSplit(e.c_str(), "", e.c_str(), "");
    // 129 four-byte characters are 258 units: too long.
    std::string smile;
    for (int i = 0; i < 129; ++i)
        smile += "\xF0\x9F\x98\x80";
    expectSplit(smile.c_str(), "", "", "");
    // Bytes that are not UTF-8 count one unit each, as their replacements do.
    std::string stray(250, '\xF2');
    expectSplit(stray.c_str(), "", stray.c_str(), "");
}

TEST(SplitPath, NullOutputIsIgnored)
{
    sp_SplitPath("/a/b.c", nullptr);
    // Nothing was kept from the ignored call: the next split is whole.
    expectSplit("/a/b.c", "/a/", "b", ".c");
}

TEST(MakePath, JoinsTheFourParts)
{
    PathName p;
    p.dir = "/a/b/";
    p.name = "file";
    p.ext = ".txt";
    EXPECT_EQ(str(sp_MakePath(p)), "/a/b/file.txt");
    for (const char *path : {"/x/y.z", "rel/dir/", "C:\\w\\n.e", "..", "/.a", "a.b.c"})
        EXPECT_EQ(str(sp_MakePath(split(path))), path);
}

TEST(GetFileName, NameExtensionAndLimits)
{
    EXPECT_EQ(str(sp_GetFileName("/a/b/c.txt")), "c.txt");
    EXPECT_EQ(str(sp_GetFileName("/a/b/")), "");
    EXPECT_EQ(str(sp_GetFileName(std::string(255, 'n').c_str())), std::string(255, 'n'));
    EXPECT_EQ(str(sp_GetFileName(std::string(256, 'n').c_str())), "");
    std::string longDir = "/" + std::string(300, 'd') + "/f.c"; // the directory doesn't matter
    EXPECT_EQ(str(sp_GetFileName(longDir.c_str())), "f.c");
}

TEST(GetFileExt, ExtensionWithDot)
{
    EXPECT_EQ(str(sp_GetFileExt("/a/b.c/d.lib")), ".lib");
    EXPECT_EQ(str(sp_GetFileExt("/a/b.c/d")), "");
    EXPECT_EQ(str(sp_CrackSharedLibraryName("/usr/lib/libfoo.so")), "libfoo");
    EXPECT_EQ(str(sp_CrackSharedLibraryName("plugin")), "plugin");
}

TEST(GetDirFromPath, DirectoryWithoutTrailingSeparator)
{
    EXPECT_EQ(str(sp_GetDirFromPath(nullptr)), "");
    EXPECT_EQ(str(sp_GetDirFromPath("/a/b/c.txt")), "/a/b");
    EXPECT_EQ(str(sp_GetDirFromPath("a//b")), "a");
    EXPECT_EQ(str(sp_GetDirFromPath("file.txt")), "");
    // A root directory gives the bare drive, which is empty here.
    EXPECT_EQ(str(sp_GetDirFromPath("/")), "");
    EXPECT_EQ(str(sp_GetDirFromPath("/file")), "");
}

TEST(ConvertForms, IdentitiesOnThisPlatform)
{
    EXPECT_EQ(str(sp_ConvertLocalToUnix("/a/b\\c")), "/a/b\\c");
    EXPECT_EQ(str(sp_ConvertUnixToLocal("/a/b\\c")), "/a/b\\c");
    std::string longPath = std::string(280, 'x') + "/tail\\end";
    EXPECT_EQ(str(sp_ConvertLocalToUnix(longPath.c_str())), longPath);
    EXPECT_EQ(str(sp_ConvertUnixToLocal(longPath.c_str())), longPath);
}

TEST(CleanPath, DotsAndSeparators)
{
    EXPECT_EQ(str(sp_CleanPath("/a/./b/../c/")), "/a/c");
    EXPECT_EQ(str(sp_CleanPath("a//b///c")), "a/b/c");
    EXPECT_EQ(str(sp_CleanPath("a/../..")), "..");
    EXPECT_EQ(str(sp_CleanPath("")), "");
    EXPECT_EQ(str(sp_CleanPath("/")), "/");
}

TEST(CleanPath, KeepsAServerPrefix)
{
    EXPECT_EQ(str(sp_CleanPath("//server/share/../x")), "//server/x");
    EXPECT_EQ(str(sp_CleanPath("//server//share/")), "//server/share");
    EXPECT_EQ(str(sp_CleanPath("///x")), "/x");
}

TEST(GetFullPath, AbsoluteAgainstCurrentDirectory)
{
    std::string dir = kvtest::makeTempDir("full");
    SaveDirectory guard;
    ASSERT_EQ(sp_ChangeDir(dir.c_str()), 0);
    std::string cwd = str(sp_GetCwd());
    EXPECT_EQ(str(sp_GetFullPath("x/y.txt")), cwd + "/x/y.txt");
    EXPECT_EQ(str(sp_GetFullPath("x/../y/")), cwd + "/y/");
    EXPECT_EQ(str(sp_GetFullPath("/abs/./p")), "/abs/p");
    EXPECT_EQ(str(sp_GetFullPath("")), "");
    std::string p260 = "/" + std::string(259, 'p');
    EXPECT_EQ(str(sp_GetFullPath(p260.c_str())), p260);
    EXPECT_EQ(str(sp_GetFullPath((p260 + "q").c_str())), "");
}

TEST(IsRelativePath, ByQFileInfo)
{
    EXPECT_TRUE(sp_IsRelativePath("a/b"));
    EXPECT_TRUE(sp_IsRelativePath("C:\\x"));
    EXPECT_FALSE(sp_IsRelativePath("/a"));
    EXPECT_FALSE(sp_IsRelativePath("//server/share"));
}

// ---- Tests and simple actions ----

TEST(ExistFileAndDir, KindsOfNames)
{
    std::string dir = kvtest::makeTempDir("exist");
    std::string file = dir + "/plain file \xC3\xA9.txt";
    writeFile(file);
    ASSERT_EQ(::symlink(file.c_str(), (dir + "/lfile").c_str()), 0);
    ASSERT_EQ(::symlink(dir.c_str(), (dir + "/ldir").c_str()), 0);
    ASSERT_EQ(::symlink((dir + "/nowhere").c_str(), (dir + "/ldead").c_str()), 0);

    EXPECT_TRUE(sp_ExistFile(file.c_str()));
    EXPECT_FALSE(sp_ExistDir(file.c_str()));
    EXPECT_TRUE(sp_ExistDir(dir.c_str()));
    EXPECT_FALSE(sp_ExistFile(dir.c_str()));
    EXPECT_TRUE(sp_ExistFile((dir + "/lfile").c_str()));
    EXPECT_TRUE(sp_ExistDir((dir + "/ldir").c_str()));
    EXPECT_FALSE(sp_ExistFile((dir + "/ldead").c_str()));
    EXPECT_FALSE(sp_ExistDir((dir + "/ldead").c_str()));
    EXPECT_FALSE(sp_ExistFile((dir + "/missing").c_str()));
    EXPECT_FALSE(sp_ExistDir((dir + "/missing").c_str()));
    EXPECT_FALSE(sp_ExistFile(nullptr));
    EXPECT_FALSE(sp_ExistFile(""));
    EXPECT_FALSE(sp_ExistDir(""));
}

TEST(MakeDirRemoveDir, OneLevel)
{
    std::string dir = kvtest::makeTempDir("mk");
    EXPECT_TRUE(sp_MakeDir((dir + "/one").c_str()));
    EXPECT_FALSE(sp_MakeDir((dir + "/one").c_str()));
    EXPECT_FALSE(sp_MakeDir((dir + "/two/three").c_str()));
    writeFile(dir + "/one/f");
    EXPECT_FALSE(sp_RemoveDir((dir + "/one").c_str()));
    ::unlink((dir + "/one/f").c_str());
    EXPECT_TRUE(sp_RemoveDir((dir + "/one").c_str()));
    EXPECT_FALSE(sp_RemoveDir((dir + "/one").c_str()));
    EXPECT_FALSE(sp_MakeDir(""));
    EXPECT_FALSE(sp_RemoveDir(""));
}

TEST(CopyFile, CopiesBytes)
{
    std::string dir = kvtest::makeTempDir("copy");
    std::string content("bin\0ary\r\n\xFF", 11);
    content += std::string(200000, 'z');
    writeFile(dir + "/from", content);
    EXPECT_TRUE(sp_CopyFile((dir + "/from").c_str(), (dir + "/to \xC3\xA9").c_str(), false));
    EXPECT_EQ(kvtest::readFile(dir + "/to \xC3\xA9"), content);
}

TEST(CopyFile, OverwriteRule)
{
    std::string dir = kvtest::makeTempDir("copyow");
    writeFile(dir + "/from", "new");
    writeFile(dir + "/to", "old");
    EXPECT_FALSE(sp_CopyFile((dir + "/from").c_str(), (dir + "/to").c_str(), false));
    EXPECT_EQ(kvtest::readFile(dir + "/to"), "old");
    EXPECT_TRUE(sp_CopyFile((dir + "/from").c_str(), (dir + "/to").c_str(), true));
    EXPECT_EQ(kvtest::readFile(dir + "/to"), "new");
}

TEST(CopyFile, WithoutOverwriteALinkToAMissingFileIsNotWrittenThrough)
{
    std::string dir = kvtest::makeTempDir("copylink");
    writeFile(dir + "/from", "new");
    ASSERT_EQ(::symlink((dir + "/elsewhere").c_str(), (dir + "/to").c_str()), 0);
    EXPECT_FALSE(sp_CopyFile((dir + "/from").c_str(), (dir + "/to").c_str(), false));
    EXPECT_FALSE(exists(dir + "/elsewhere"));
    struct stat st;
    ASSERT_EQ(::lstat((dir + "/to").c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
}

TEST(CopyFile, FailuresCreateNothingAndLoseNothing)
{
    std::string dir = kvtest::makeTempDir("copyfail");
    EXPECT_FALSE(sp_CopyFile((dir + "/missing").c_str(), (dir + "/to").c_str(), true));
    EXPECT_FALSE(exists(dir + "/to"));
    ::mkdir((dir + "/sub").c_str(), 0755);
    EXPECT_FALSE(sp_CopyFile((dir + "/sub").c_str(), (dir + "/to").c_str(), true));
    EXPECT_FALSE(exists(dir + "/to"));
    writeFile(dir + "/self", "keep me");
    ASSERT_EQ(::symlink((dir + "/self").c_str(), (dir + "/alias").c_str()), 0);
    EXPECT_FALSE(sp_CopyFile((dir + "/self").c_str(), (dir + "/self").c_str(), true));
    EXPECT_FALSE(sp_CopyFile((dir + "/alias").c_str(), (dir + "/self").c_str(), true));
    EXPECT_EQ(kvtest::readFile(dir + "/self"), "keep me");
    EXPECT_FALSE(sp_CopyFile((dir + "/self").c_str(), (dir + "/nodir/x").c_str(), true));
}

TEST(ChangeDir, ResultCodes)
{
    std::string dir = kvtest::makeTempDir("cd");
    writeFile(dir + "/file");
    SaveDirectory guard;
    EXPECT_EQ(sp_ChangeDir((" \t" + dir).c_str()), 0);
    EXPECT_EQ(str(sp_GetCwd()), str(sp_ResolvePath(dir.c_str())));
    EXPECT_EQ(sp_ChangeDir((dir + "/missing").c_str()), 1);
    EXPECT_EQ(sp_ChangeDir((dir + "/file").c_str()), 1);
    EXPECT_EQ(sp_ChangeDir(nullptr), 1);
    EXPECT_EQ(sp_ChangeDir(""), 1);
    EXPECT_EQ(str(sp_GetCwd()), str(sp_ResolvePath(dir.c_str())));
}

TEST(ChangeDrive, NoDrivesHere)
{
    EXPECT_FALSE(sp_ChangeDrive("C:"));
    EXPECT_FALSE(sp_ChangeDrive("c:\\dir"));
    EXPECT_FALSE(sp_ChangeDrive("C"));
    EXPECT_FALSE(sp_ChangeDrive(""));
}

TEST(SaveDirectory, RestoresTheWorkingDirectory)
{
    std::string dir = kvtest::makeTempDir("save");
    YString before = sp_GetCwd();
    {
        SaveDirectory guard;
        EXPECT_EQ(str(guard.saved), str(before));
        ASSERT_EQ(sp_ChangeDir(dir.c_str()), 0);
        EXPECT_NE(str(sp_GetCwd()), str(before));
    }
    EXPECT_EQ(str(sp_GetCwd()), str(before));
}

// ---- Temporary names ----

TEST(GetTempFile, CreatesAnEmptyUniqueFile)
{
    YString a = sp_GetTempFile();
    YString b = sp_GetTempFile();
    ASSERT_FALSE(a.isEmpty());
    EXPECT_NE(str(a), str(b));
    EXPECT_TRUE(sp_ExistFile(a.tocs()));
    EXPECT_EQ(kvtest::readFile(str(a)), "");
    EXPECT_EQ(str(sp_GetFileName(a)).rfind("kv$", 0), 0u);
    EXPECT_EQ(str(sp_GetDirFromPath(a.tocs())), QDir::tempPath().toStdString());
    ::unlink(a.tocs());
    ::unlink(b.tocs());
}

TEST(GetTempFile, InAGivenDirectory)
{
    std::string dir = kvtest::makeTempDir("tmpf dir");
    YString made = sp_GetTempFile(dir.c_str());
    ASSERT_FALSE(made.isEmpty());
    EXPECT_EQ(str(sp_GetDirFromPath(made.tocs())), dir);
    EXPECT_TRUE(sp_ExistFile(made.tocs()));
    EXPECT_EQ(str(sp_GetTempFile((dir + "/missing").c_str())), "");
}

TEST(GetTemporaryFileName, NameInTheTemporaryDirectory)
{
    std::string tmp = QDir::tempPath().toStdString();
    YString name = sp_GetTemporaryFileName("/some/where/result.raw");
    EXPECT_EQ(str(name), tmp + "/result.raw");
    EXPECT_FALSE(exists(str(name)));
    EXPECT_EQ(str(sp_GetTemporaryFileName("")), "");
    EXPECT_EQ(str(sp_GetTemporaryFileName("/dir/")), "");
    EXPECT_EQ(str(sp_GetTemporaryFileName(".ext")), tmp + "/.ext");
}

TEST(ResolveFilename, SuppliesAMissingExtension)
{
    EXPECT_EQ(str(sp_ResolveFilename("Netlists (*.cir;*.net)", "design.sp", nullptr)), "design.sp");
    EXPECT_EQ(str(sp_ResolveFilename("Netlists (*.cir;*.net)", "design", nullptr)), "design.cir");
    EXPECT_EQ(str(sp_ResolveFilename("Netlists (*.cir;*.net)", "design", "lib")), "design.lib");
    EXPECT_EQ(str(sp_ResolveFilename("Netlists (*.cir;*.net)", "design", "")), "design.cir");
    EXPECT_EQ(str(sp_ResolveFilename("No pattern", "design", nullptr)), "design");
    EXPECT_EQ(str(sp_ResolveFilename("All (*)", "design", nullptr)), "design");
    EXPECT_EQ(str(sp_ResolveFilename("", "dir.d/design", nullptr)), "dir.d/design");
}

// ---- Relative paths and identity ----

TEST(RelativePath, EqualDirectoriesGiveDot)
{
    EXPECT_EQ(str(sp_RelativePath("/a/b", "/a/b")), ".");
    EXPECT_EQ(str(sp_RelativePath("/a/b/", "/a/./b")), ".");
}

TEST(RelativePath, EmptyBaseGivesThePath)
{
    EXPECT_EQ(str(sp_RelativePath("/a/b/c.txt", "")), "/a/b/c.txt");
    EXPECT_EQ(str(sp_RelativePath("/a/./b/", "")), "/a/b");
}

TEST(RelativePath, UpAndDown)
{
    EXPECT_EQ(str(sp_RelativePath("/a/b/c/d.txt", "/a/b")), "c/d.txt");
    EXPECT_EQ(str(sp_RelativePath("/a/b", "/a/b/c/d")), "../..");
    EXPECT_EQ(str(sp_RelativePath("/a/x/y", "/a/b/c")), "../../x/y");
    EXPECT_EQ(str(sp_RelativePath("/x", "/a")), "../x");
    EXPECT_EQ(str(sp_RelativePath("/my dir/\xC3\xA9t\xC3\xA9", "/my dir")), "\xC3\xA9t\xC3\xA9");
}

TEST(RelativePath, CaseCountsLikeFileNames)
{
    EXPECT_EQ(str(sp_RelativePath("/a/B/c", "/a/b")), "../B/c");
    EXPECT_EQ(str(sp_RelativePath("/A", "/a")), "../A");
}

TEST(RelativePath, ServerPaths)
{
    EXPECT_EQ(str(sp_RelativePath("//srv/share1/x", "//srv/share2/y")), "//srv/share1/x");
    EXPECT_EQ(str(sp_RelativePath("//srv1/share/x", "//srv2/share/x")), "//srv1/share/x");
    EXPECT_EQ(str(sp_RelativePath("//srv/share/x/y", "//srv/share/z")), "../x/y");
    EXPECT_EQ(str(sp_RelativePath("//srv/share/x", "/srv/share")), "//srv/share/x");
    EXPECT_EQ(str(sp_RelativePath("/srv/share/x", "//srv/share")), "/srv/share/x");
}

TEST(RelativePath, WindowsStyleNamesAreNotMangled)
{
    EXPECT_EQ(str(sp_RelativePath("C:\\dir\\file.txt", "C:\\dir")), "../C:\\dir\\file.txt");
    EXPECT_EQ(str(sp_RelativePath("base/C:\\x", "base")), "C:\\x");
}

TEST(RelativePath, LongSharedComponent)
{
    const std::string longName(1500, 'n');
    EXPECT_EQ(str(sp_RelativePath(("/" + longName + "/x").c_str(), ("/" + longName).c_str())), "x");
    EXPECT_EQ(str(sp_RelativePath(("/" + longName + "/x").c_str(), ("/" + longName + "/y").c_str())),
              "../x");
    EXPECT_EQ(str(sp_RelativePath(("/" + longName).c_str(), ("/" + longName + "/y/z").c_str())), "../..");
}

TEST(ComparePaths, TextAndIdentity)
{
    std::string dir = kvtest::makeTempDir("cmp");
    writeFile(dir + "/f");
    writeFile(dir + "/g");
    ASSERT_EQ(::symlink((dir + "/f").c_str(), (dir + "/soft").c_str()), 0);
    ASSERT_EQ(::link((dir + "/f").c_str(), (dir + "/hard").c_str()), 0);
    EXPECT_TRUE(sp_ComparePaths((dir + "/f").c_str(), (dir + "/f").c_str()));
    EXPECT_TRUE(sp_ComparePaths((dir + "/f").c_str(), (dir + "/./f").c_str()));
    EXPECT_TRUE(sp_ComparePaths((dir + "/f").c_str(), (dir + "/soft").c_str()));
    EXPECT_TRUE(sp_ComparePaths((dir + "/hard").c_str(), (dir + "/f").c_str()));
    EXPECT_TRUE(sp_ComparePaths(dir.c_str(), (dir + "/").c_str()));
    EXPECT_FALSE(sp_ComparePaths((dir + "/f").c_str(), (dir + "/g").c_str()));
    EXPECT_FALSE(sp_ComparePaths((dir + "/f").c_str(), (dir + "/F").c_str()));
    EXPECT_FALSE(sp_ComparePaths((dir + "/f").c_str(), (dir + "/missing").c_str()));
    EXPECT_FALSE(sp_ComparePaths((dir + "/m1").c_str(), (dir + "/m2").c_str()));
    EXPECT_TRUE(sp_ComparePaths((dir + "/missing").c_str(), (dir + "/missing").c_str()));
}

// ---- Listing ----

TEST(ListDirectory, ReversedAndAppended)
{
    std::string dir = kvtest::makeTempDir("list");
    writeFile(dir + "/a");
    writeFile(dir + "/b");
    ::mkdir((dir + "/subdir").c_str(), 0755);
    QStringList qtOrder = QDir(QString::fromStdString(dir)).entryList(QStringList("*"), QDir::Files, QDir::Unsorted);
    ASSERT_EQ(qtOrder.size(), 2);

    YList<YString> out;
    out.append("before");
    sp_ListDirectory((dir + "/*").c_str(), &out, false, true);
    std::vector<std::string> expected{qtOrder[1].toStdString(), qtOrder[0].toStdString(), "before"};
    EXPECT_EQ(listOf(out), expected);
}

TEST(ListDirectory, FullPathsAndFilters)
{
    std::string dir = kvtest::makeTempDir("listf");
    for (const char *n : {"one.cir", "TWO.CIR", "three.lib", ".hidden.cir", "with space.cir"})
        writeFile(dir + "/" + n);
    YList<YString> bare;
    sp_ListDirectory((dir + "/*.cir").c_str(), &bare, false, false);
    EXPECT_EQ(setOf(bare), (std::set<std::string>{"one.cir", "TWO.CIR", ".hidden.cir", "with space.cir"}));
    YList<YString> filtered;
    sp_ListDirectory((dir + "/t*").c_str(), &filtered, true, true);
    EXPECT_EQ(setOf(filtered), (std::set<std::string>{dir + "/TWO.CIR", dir + "/three.lib"}));
    YList<YString> escaped;
    sp_ListDirectory((dir + "/with?space.*").c_str(), &escaped, false, false);
    EXPECT_EQ(setOf(escaped), (std::set<std::string>{"with space.cir"}));
}

TEST(ListDirectory, RelativeSpecAndNothingCases)
{
    std::string dir = kvtest::makeTempDir("listrel");
    writeFile(dir + "/\xC3\xA9t\xC3\xA9.txt");
    SaveDirectory guard;
    ASSERT_EQ(sp_ChangeDir(dir.c_str()), 0);
    YList<YString> out;
    sp_ListDirectory("*.txt", &out, false, true);
    EXPECT_EQ(listOf(out), std::vector<std::string>{"\xC3\xA9t\xC3\xA9.txt"});
    YList<YString> none;
    sp_ListDirectory("", &none, false, true);
    sp_ListDirectory((dir + "/missing/*").c_str(), &none, false, true);
    sp_ListDirectory("*", nullptr, false, true);
    EXPECT_EQ(none.getCount(), 0);
}

TEST(ListDirectory, RootDirectoryIsTheRootNotTheCurrentOne)
{
    std::string dir = kvtest::makeTempDir("listroot");
    writeFile(dir + "/only-here-kvtest");
    SaveDirectory guard;
    ASSERT_EQ(sp_ChangeDir(dir.c_str()), 0);
    YList<YString> out;
    sp_ListDirectory("/*", &out, true, false);
    std::set<std::string> expected;
    for (const QString &n : QDir("/").entryList(QDir::Files | QDir::Hidden))
        expected.insert("/" + n.toStdString());
    EXPECT_EQ(setOf(out), expected);
    EXPECT_EQ(setOf(out).count(dir + "/only-here-kvtest"), 0u);
}

TEST(ListDirectory, UnreadableDirectoryGivesNothing)
{
    if (runningAsRoot())
        GTEST_SKIP() << "root reads every directory, so an unreadable one can't be made";
    std::string dir = kvtest::makeTempDir("listnr");
    writeFile(dir + "/f");
    ::chmod(dir.c_str(), 0);
    YList<YString> out;
    sp_ListDirectory((dir + "/*").c_str(), &out, false, true);
    ::chmod(dir.c_str(), 0755);
    EXPECT_EQ(out.getCount(), 0);
}

// ---- Walking and searching ----

TEST(DescendDirectories, EveryDirectoryBelowTheRoot)
{
    std::string dir = kvtest::makeTempDir("desc");
    for (const char *d : {"/a", "/a/a1", "/a/a1/deep", "/b", "/b/sp ace", "/.hid"})
        ::mkdir((dir + d).c_str(), 0755);
    writeFile(dir + "/a/file");
    YList<YString> out;
    out.append("before");
    sp_DescendDirectories(dir.c_str(), &out);
    std::set<std::string> expected{"before"};
    for (const char *d : {"/a", "/a/a1", "/a/a1/deep", "/b", "/b/sp ace", "/.hid"})
        expected.insert(dir + d);
    EXPECT_EQ(setOf(out), expected);
    EXPECT_EQ(listOf(out).back(), "before");
    // Every directory stands before its parent.
    std::vector<std::string> order = listOf(out);
    auto pos = [&order](const std::string &s) { return std::find(order.begin(), order.end(), s) - order.begin(); };
    EXPECT_LT(pos(dir + "/a/a1/deep"), pos(dir + "/a/a1"));
    EXPECT_LT(pos(dir + "/a/a1"), pos(dir + "/a"));
}

TEST(DescendDirectories, LinksAreNotEnteredSoCyclesEnd)
{
    std::string dir = kvtest::makeTempDir("desccyc");
    ::mkdir((dir + "/a").c_str(), 0755);
    ASSERT_EQ(::symlink(dir.c_str(), (dir + "/a/up").c_str()), 0);
    ASSERT_EQ(::symlink((dir + "/a").c_str(), (dir + "/side").c_str()), 0);
    YList<YString> out;
    sp_DescendDirectories(dir.c_str(), &out);
    EXPECT_EQ(listOf(out), std::vector<std::string>{dir + "/a"});
}

TEST(DescendDirectories, DeepTree)
{
    std::string dir = kvtest::makeTempDir("descdeep");
    std::string path = dir;
    for (int i = 0; i < 60; ++i) {
        path += "/level " + std::to_string(i);
        ASSERT_EQ(::mkdir(path.c_str(), 0755), 0);
    }
    YList<YString> out;
    sp_DescendDirectories(dir.c_str(), &out);
    EXPECT_EQ(out.getCount(), 60);
    EXPECT_EQ(str(*out.first()), path);
}

TEST(DescendDirectories, UnreadableDirectoryIsLeftOut)
{
    if (runningAsRoot())
        GTEST_SKIP() << "root reads every directory, so an unreadable one can't be made";
    std::string dir = kvtest::makeTempDir("descnr");
    ::mkdir((dir + "/closed").c_str(), 0755);
    ::mkdir((dir + "/closed/inner").c_str(), 0755);
    ::mkdir((dir + "/open").c_str(), 0755);
    ::chmod((dir + "/closed").c_str(), 0);
    YList<YString> out;
    sp_DescendDirectories(dir.c_str(), &out);
    ::chmod((dir + "/closed").c_str(), 0755);
    EXPECT_EQ(setOf(out), (std::set<std::string>{dir + "/open"}));
}

TEST(SearchDirectories, AbsoluteArgumentIsReturnedUntested)
{
    YList<YString> dirs;
    EXPECT_EQ(str(sp_SearchDirectories("/no/such/dir/../file.lib", dirs)), "/no/such/file.lib");
}

TEST(SearchDirectories, FirstHitWins)
{
    std::string one = kvtest::makeTempDir("search1");
    std::string two = kvtest::makeTempDir("search2");
    ::mkdir((two + "/models").c_str(), 0755);
    writeFile(two + "/x.lib");
    writeFile(one + "/x.lib");
    writeFile(two + "/models/m.lib");
    YList<YString> dirs;
    dirs.append((one + "/missing").c_str());
    dirs.append((two + "//").c_str());
    dirs.append(one.c_str());
    EXPECT_EQ(str(sp_SearchDirectories("x.lib", dirs)), two + "/x.lib");
    EXPECT_EQ(str(sp_SearchDirectories("models/m.lib", dirs)), two + "/models/m.lib");
    EXPECT_EQ(str(sp_SearchDirectories("nothing.lib", dirs)), "");
    EXPECT_EQ(str(sp_SearchDirectories("", dirs)), "");
}

// ---- Making, copying and deleting trees ----

TEST(MakeTree, MakesEveryLevel)
{
    std::string dir = kvtest::makeTempDir("tree");
    EXPECT_TRUE(sp_MakeTree((dir + "/a/b c/\xC3\xA9/d").c_str()));
    EXPECT_TRUE(sp_ExistDir((dir + "/a/b c/\xC3\xA9/d").c_str()));
    EXPECT_TRUE(sp_MakeTree((dir + "/a/b c/").c_str()));
    EXPECT_FALSE(sp_MakeTree(""));
    SaveDirectory guard;
    ASSERT_EQ(sp_ChangeDir(dir.c_str()), 0);
    EXPECT_TRUE(sp_MakeTree("rel/ative"));
    EXPECT_TRUE(sp_ExistDir((dir + "/rel/ative").c_str()));
}

TEST(MakeTree, StopsAtTheFirstFailureKeepingWhatWasMade)
{
    std::string dir = kvtest::makeTempDir("treefail");
    ::mkdir((dir + "/a").c_str(), 0755);
    writeFile(dir + "/a/blocker", "keep");
    EXPECT_FALSE(sp_MakeTree((dir + "/a/blocker/x/y").c_str()));
    EXPECT_FALSE(exists(dir + "/a/blocker/x"));
    EXPECT_EQ(kvtest::readFile(dir + "/a/blocker"), "keep");
    // A name too long for the file system fails after two levels were made.
    std::string tooLong(300, 'n');
    EXPECT_FALSE(sp_MakeTree((dir + "/made1/made2/" + tooLong + "/x").c_str()));
    EXPECT_TRUE(sp_ExistDir((dir + "/made1/made2").c_str()));
    EXPECT_FALSE(exists(dir + "/made1/made2/" + tooLong));
}

TEST(MakeTree, NoAttemptAtTheServerLevel)
{
    EXPECT_FALSE(sp_MakeTree("//kvtestserver/share/dir"));
    EXPECT_FALSE(exists("/kvtestserver"));
}

TEST(CopyTree, CopiesEverything)
{
    std::string src = kvtest::makeTempDir("csrc");
    std::string dst = kvtest::makeTempDir("cdst") + "/new dest/\xC3\xA9";
    ::mkdir((src + "/sub").c_str(), 0755);
    ::mkdir((src + "/sub/deeper").c_str(), 0755);
    ::mkdir((src + "/empty").c_str(), 0755);
    writeFile(src + "/top.txt", "top");
    writeFile(src + "/.dot", "dot");
    writeFile(src + "/sub/with space.cir", "cir");
    writeFile(src + "/sub/deeper/d\xC3\xA9.lib", "lib");
    EXPECT_EQ(sp_CopyTree(src.c_str(), dst.c_str()), CopyTreeOk);
    EXPECT_EQ(kvtest::readFile(dst + "/top.txt"), "top");
    EXPECT_EQ(kvtest::readFile(dst + "/.dot"), "dot");
    EXPECT_EQ(kvtest::readFile(dst + "/sub/with space.cir"), "cir");
    EXPECT_EQ(kvtest::readFile(dst + "/sub/deeper/d\xC3\xA9.lib"), "lib");
    EXPECT_TRUE(sp_ExistDir((dst + "/empty").c_str()));
}

TEST(CopyTree, IntoAnExistingEmptyDirectory)
{
    std::string src = kvtest::makeTempDir("cesrc");
    std::string dst = kvtest::makeTempDir("cedst");
    writeFile(src + "/f", "f");
    EXPECT_EQ(sp_CopyTree(src.c_str(), dst.c_str()), CopyTreeOk);
    EXPECT_EQ(kvtest::readFile(dst + "/f"), "f");
}

TEST(CopyTree, DestinationNotEmpty)
{
    std::string src = kvtest::makeTempDir("cnsrc");
    writeFile(src + "/f");
    std::string dst = kvtest::makeTempDir("cndst");
    ::mkdir((dst + "/only a directory").c_str(), 0755);
    EXPECT_EQ(sp_CopyTree(src.c_str(), dst.c_str()), CopyTreeDestNotEmpty);
    std::string dot = kvtest::makeTempDir("cndot");
    writeFile(dot + "/.hidden");
    EXPECT_EQ(sp_CopyTree(src.c_str(), dot.c_str()), CopyTreeDestNotEmpty);
    EXPECT_FALSE(exists(dst + "/f"));
}

TEST(CopyTree, NoSourceAndFailedDestination)
{
    std::string dir = kvtest::makeTempDir("cfail");
    EXPECT_EQ(sp_CopyTree((dir + "/missing").c_str(), (dir + "/to").c_str()), CopyTreeNoSource);
    EXPECT_FALSE(exists(dir + "/to"));
    writeFile(dir + "/file");
    ::mkdir((dir + "/src").c_str(), 0755);
    EXPECT_EQ(sp_CopyTree((dir + "/file").c_str(), (dir + "/to").c_str()), CopyTreeNoSource);
    EXPECT_EQ(sp_CopyTree((dir + "/src").c_str(), (dir + "/file/to").c_str()), CopyTreeFailed);
}

TEST(CopyTree, RelativeSourceAndDestination)
{
    std::string dir = kvtest::makeTempDir("crel");
    ::mkdir((dir + "/src").c_str(), 0755);
    ::mkdir((dir + "/src/in").c_str(), 0755);
    writeFile(dir + "/src/in/f", "x");
    writeFile(dir + "/src/top", "t");
    SaveDirectory guard;
    ASSERT_EQ(sp_ChangeDir(dir.c_str()), 0);
    EXPECT_EQ(sp_CopyTree("src", "dst"), CopyTreeOk);
    EXPECT_EQ(kvtest::readFile(dir + "/dst/in/f"), "x");
    EXPECT_EQ(kvtest::readFile(dir + "/dst/top"), "t");
    EXPECT_EQ(sp_CopyTree("./src/", "dst2/"), CopyTreeOk);
    EXPECT_EQ(kvtest::readFile(dir + "/dst2/top"), "t");
    EXPECT_EQ(kvtest::readFile(dir + "/dst2/in/f"), "x");
    // Nothing was made beside the two copies.
    EXPECT_EQ(QDir(QString::fromStdString(dir)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size(), 3);
}

TEST(CopyTree, UnreadableFileFailsItsDirectory)
{
    if (runningAsRoot())
        GTEST_SKIP() << "root reads every file, so an unreadable one can't be made";
    // A directory with a failure counts as failed even if some of its files
    // were copied; only another directory copied without failure makes the
    // run partial.
    std::string src = kvtest::makeTempDir("cpsrc");
    std::string dst = kvtest::makeTempDir("cpdst") + "/out";
    writeFile(src + "/good", "g");
    writeFile(src + "/secret", "s");
    ::chmod((src + "/secret").c_str(), 0);
    EXPECT_EQ(sp_CopyTree(src.c_str(), dst.c_str()), CopyTreeFailed);
    EXPECT_EQ(kvtest::readFile(dst + "/good"), "g");
    EXPECT_FALSE(exists(dst + "/secret"));

    ::mkdir((src + "/fine").c_str(), 0755);
    writeFile(src + "/fine/f", "f");
    EXPECT_EQ(sp_CopyTree(src.c_str(), (dst + "2").c_str()), CopyTreePartial);
    EXPECT_EQ(kvtest::readFile(dst + "2/fine/f"), "f");
    EXPECT_EQ(kvtest::readFile(dst + "2/good"), "g");
}

TEST(CopyTree, IntoItsOwnSubdirectoryEnds)
{
    std::string src = kvtest::makeTempDir("cself");
    writeFile(src + "/f", "f");
    EXPECT_EQ(sp_CopyTree(src.c_str(), (src + "/copy").c_str()), CopyTreeOk);
    EXPECT_EQ(kvtest::readFile(src + "/copy/f"), "f");
}

TEST(CopyTree, LinkedDirectoriesAreNotFollowed)
{
    std::string outside = kvtest::makeTempDir("coutside");
    writeFile(outside + "/big", "outside");
    std::string src = kvtest::makeTempDir("clink");
    ASSERT_EQ(::symlink(outside.c_str(), (src + "/link").c_str()), 0);
    ASSERT_EQ(::symlink(src.c_str(), (src + "/loop").c_str()), 0);
    writeFile(src + "/f", "f");
    std::string dst = kvtest::makeTempDir("clinkdst") + "/d";
    EXPECT_EQ(sp_CopyTree(src.c_str(), dst.c_str()), CopyTreeOk);
    EXPECT_EQ(kvtest::readFile(dst + "/f"), "f");
    EXPECT_FALSE(exists(dst + "/link"));
}

TEST(DeleteFilesFromDir, NothingToDoOnAnEmptyDirectory)
{
    std::string dir = kvtest::makeTempDir("dfempty");
    ::mkdir((dir + "/sub").c_str(), 0755);
    EXPECT_EQ(sp_DeleteFilesFromDir(dir.c_str(), nullptr), CopyTreeNothingToDo);
    RecordingProgress stop(0);
    EXPECT_EQ(sp_DeleteFilesFromDir(dir.c_str(), &stop), CopyTreeAborted);
    RecordingProgress go;
    EXPECT_EQ(sp_DeleteFilesFromDir(dir.c_str(), &go), CopyTreeNothingToDo);
    EXPECT_TRUE(go.calls.empty());
    EXPECT_EQ(sp_DeleteFilesFromDir((dir + "/missing").c_str(), nullptr), CopyTreeNothingToDo);
}

TEST(DeleteFilesFromDir, DeletesFilesKeepsDirectories)
{
    std::string dir = kvtest::makeTempDir("dffiles");
    ::mkdir((dir + "/sub").c_str(), 0755);
    writeFile(dir + "/sub/inner");
    writeFile(dir + "/a");
    writeFile(dir + "/b c");
    RecordingProgress progress;
    EXPECT_EQ(sp_DeleteFilesFromDir(dir.c_str(), &progress), CopyTreeOk);
    EXPECT_FALSE(exists(dir + "/a"));
    EXPECT_FALSE(exists(dir + "/b c"));
    EXPECT_TRUE(exists(dir + "/sub/inner"));
    EXPECT_EQ(progress.steps, 2);
    EXPECT_EQ(std::set<std::string>(progress.items.begin(), progress.items.end()),
              (std::set<std::string>{"a", "b c"}));
    ASSERT_EQ(progress.calls.size(), 4u);
    EXPECT_EQ(progress.calls[0], "step 1");
    EXPECT_EQ(progress.calls[1].rfind("item ", 0), 0u);
}

TEST(DeleteFilesFromDir, AbortStopsAtOnce)
{
    std::string dir = kvtest::makeTempDir("dfabort");
    for (const char *n : {"a", "b", "c"})
        writeFile(dir + "/" + n);
    RecordingProgress progress(1);
    EXPECT_EQ(sp_DeleteFilesFromDir(dir.c_str(), &progress), CopyTreeAborted);
    int left = 0;
    for (const char *n : {"a", "b", "c"})
        left += exists(dir + "/" + n);
    EXPECT_EQ(left, 2);
    EXPECT_TRUE(progress.items.empty());
}

TEST(DeleteFilesFromDir, ReadOnlyDirectoryFails)
{
    if (runningAsRoot())
        GTEST_SKIP() << "root may remove files from any directory";
    std::string dir = kvtest::makeTempDir("dfro");
    writeFile(dir + "/a");
    ::chmod(dir.c_str(), 0555);
    CopyTreeErr result = sp_DeleteFilesFromDir(dir.c_str(), nullptr);
    ::chmod(dir.c_str(), 0755);
    EXPECT_EQ(result, CopyTreeFailed);
    EXPECT_TRUE(exists(dir + "/a"));
}

TEST(DeleteTree, RemovesEverythingWithProgress)
{
    std::string root = kvtest::makeTempDir("dt") + "/tree root";
    std::string deep = root;
    for (int i = 0; i < 20; ++i)
        deep += "/d" + std::to_string(i);
    ASSERT_TRUE(sp_MakeTree(deep.c_str()));
    writeFile(root + "/top");
    writeFile(root + "/.hidden");
    writeFile(deep + "/\xC3\xA9");
    ASSERT_EQ(::symlink("/nonexistent/target", (root + "/dangling").c_str()), 0);
    RecordingProgress progress;
    EXPECT_EQ(sp_DeleteTree(root.c_str(), &progress), CopyTreeOk);
    EXPECT_FALSE(exists(root));
    ASSERT_GE(progress.calls.size(), 2u);
    EXPECT_EQ(progress.calls[0], "start");
    EXPECT_EQ(progress.calls[1], "setTotal " + std::to_string(4 + 21));
    EXPECT_EQ(progress.steps, 25);
    EXPECT_EQ(progress.items.back(), "tree root");
}

TEST(DeleteTree, LinksAreRemovedTheirTargetsKept)
{
    std::string outside = kvtest::makeTempDir("dtout");
    writeFile(outside + "/precious", "keep");
    std::string root = kvtest::makeTempDir("dtlink");
    ::mkdir((root + "/sub").c_str(), 0755);
    ASSERT_EQ(::symlink(outside.c_str(), (root + "/sub/dirlink").c_str()), 0);
    ASSERT_EQ(::symlink((outside + "/precious").c_str(), (root + "/filelink").c_str()), 0);
    EXPECT_EQ(sp_DeleteTree(root.c_str(), nullptr), CopyTreeOk);
    EXPECT_FALSE(exists(root));
    EXPECT_EQ(kvtest::readFile(outside + "/precious"), "keep");
}

TEST(DeleteTree, RootOfTheFileSystemIsRefused)
{
    // Only the predicate is tried here: a test must never risk the real thing.
    using kv::detail::isFileSystemRoot;
    EXPECT_TRUE(isFileSystemRoot("/"));
    EXPECT_TRUE(isFileSystemRoot("//"));
    EXPECT_FALSE(isFileSystemRoot(""));
    EXPECT_FALSE(isFileSystemRoot("/tmp"));
    EXPECT_EQ(str(sp_ResolvePath("/tmp/..")), "/");
}

TEST(DeleteTree, NoSource)
{
    std::string dir = kvtest::makeTempDir("dtns");
    writeFile(dir + "/file");
    EXPECT_EQ(sp_DeleteTree((dir + "/missing").c_str(), nullptr), CopyTreeNoSource);
    EXPECT_EQ(sp_DeleteTree((dir + "/file").c_str(), nullptr), CopyTreeNoSource);
    EXPECT_TRUE(exists(dir + "/file"));
}

TEST(DeleteTree, AbortLeavesTheRest)
{
    std::string root = kvtest::makeTempDir("dtabort");
    writeFile(root + "/a");
    writeFile(root + "/b");
    ::mkdir((root + "/sub").c_str(), 0755);
    RecordingProgress progress(1);
    EXPECT_EQ(sp_DeleteTree(root.c_str(), &progress), CopyTreeAborted);
    EXPECT_TRUE(exists(root + "/sub"));
    EXPECT_TRUE(exists(root));
}

TEST(DeleteTree, ADirectoryIsRemovedThenAsksForAbortThenCounts)
{
    // Each directory is removed first, then the progress object is asked,
    // and only then is the step counted and the item named. With an abort
    // after one step, the root is removed as well, but the stop comes before
    // its step and its name.
    std::string root = kvtest::makeTempDir("dtorder") + "/root";
    ASSERT_EQ(::mkdir(root.c_str(), 0755), 0);
    ASSERT_EQ(::mkdir((root + "/sub").c_str(), 0755), 0);
    RecordingProgress progress(1);
    EXPECT_EQ(sp_DeleteTree(root.c_str(), &progress), CopyTreeAborted);
    EXPECT_FALSE(exists(root + "/sub"));
    EXPECT_FALSE(exists(root));
    EXPECT_EQ(progress.calls, (std::vector<std::string>{"start", "setTotal 2", "step 1", "item sub"}));
}

TEST(DeleteTree, UnreadableSubdirectoryGivesPartial)
{
    if (runningAsRoot())
        GTEST_SKIP() << "root reads every directory, so an unreadable one can't be made";
    std::string root = kvtest::makeTempDir("dtnr");
    ::mkdir((root + "/closed").c_str(), 0755);
    writeFile(root + "/closed/inside");
    writeFile(root + "/open");
    ::chmod((root + "/closed").c_str(), 0);
    CopyTreeErr result = sp_DeleteTree(root.c_str(), nullptr);
    ::chmod((root + "/closed").c_str(), 0755);
    EXPECT_EQ(result, CopyTreePartial);
    EXPECT_FALSE(exists(root + "/open"));
    EXPECT_TRUE(exists(root + "/closed/inside"));
}

TEST(DirectoryIsWriteable, ProbesAndCleansUp)
{
    std::string dir = kvtest::makeTempDir("wr");
    EXPECT_TRUE(sp_DirectoryIsWriteable(dir.c_str()));
    EXPECT_TRUE(QDir(QString::fromStdString(dir)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).isEmpty());
    EXPECT_FALSE(sp_DirectoryIsWriteable((dir + "/missing").c_str()));
}

TEST(DirectoryIsWriteable, SkipsTakenProbeNames)
{
    std::string dir = kvtest::makeTempDir("wrtaken");
    writeFile(dir + "/$Temp$", "one");
    writeFile(dir + "/$temp$_0", "two");
    EXPECT_TRUE(sp_DirectoryIsWriteable(dir.c_str()));
    EXPECT_EQ(kvtest::readFile(dir + "/$Temp$"), "one");
    EXPECT_EQ(kvtest::readFile(dir + "/$temp$_0"), "two");
    EXPECT_FALSE(exists(dir + "/$temp$_1"));
    // With "$temp$_1" taken by a directory, the probe can't be made: that
    // shows the probe's name was "$temp$_1" and not another.
    ::mkdir((dir + "/$temp$_1").c_str(), 0755);
    EXPECT_FALSE(sp_DirectoryIsWriteable(dir.c_str()));
    EXPECT_EQ(kvtest::readFile(dir + "/$Temp$"), "one");
}

TEST(DirectoryIsWriteable, TakenProbeNamesIgnoreCase)
{
    // "$TEMP$" takes the name "$Temp$" although the file system tells the
    // two apart, so the probe is "$temp$_0"; with that name held by a
    // directory the probe can't be made, which shows the name it chose.
    std::string dir = kvtest::makeTempDir("wrcase");
    writeFile(dir + "/$TEMP$", "upper");
    ::mkdir((dir + "/$temp$_0").c_str(), 0755);
    EXPECT_FALSE(sp_DirectoryIsWriteable(dir.c_str()));
    EXPECT_FALSE(exists(dir + "/$Temp$"));
    EXPECT_EQ(kvtest::readFile(dir + "/$TEMP$"), "upper");
    std::string free = kvtest::makeTempDir("wrcasefree");
    ::mkdir((free + "/$temp$_0").c_str(), 0755);
    EXPECT_TRUE(sp_DirectoryIsWriteable(free.c_str())) << "without the file, \"$Temp$\" is the probe";
    EXPECT_FALSE(exists(free + "/$Temp$"));
}

TEST(DirectoryIsWriteable, ReadOnlyDirectory)
{
    if (runningAsRoot())
        GTEST_SKIP() << "root may write into any directory";
    std::string dir = kvtest::makeTempDir("wrro");
    ::chmod(dir.c_str(), 0555);
    bool writeable = sp_DirectoryIsWriteable(dir.c_str());
    ::chmod(dir.c_str(), 0755);
    EXPECT_FALSE(writeable);
}

// ---- Platform name services ----

TEST(PlatformNames, ShortLongVolume)
{
    EXPECT_EQ(str(sp_GetShortPathName("/a b/c")), "/a b/c");
    EXPECT_EQ(str(sp_GetLongPathName("/a b/c")), "/a b/c");
    EXPECT_EQ(str(sp_GetVolumeName("/")), "");
}

TEST(PlatformNames, UncPath)
{
    bool unc = false;
    EXPECT_EQ(str(sp_GetUNCPath("//srv/share/x", &unc)), "//srv/share/x");
    EXPECT_TRUE(unc);
    EXPECT_EQ(str(sp_GetUNCPath("/local/x", &unc)), "/local/x");
    EXPECT_FALSE(unc);
    EXPECT_EQ(str(sp_GetUNCPath("rel", nullptr)), "rel");
}

TEST(PlatformNames, DriveType)
{
    std::string dir = kvtest::makeTempDir("drive");
    writeFile(dir + "/f");
    EXPECT_EQ(sp_GetDriveType((dir + "/missing").c_str()), KvDriveNoRoot);
    EXPECT_EQ(sp_GetDriveType((dir + "/f").c_str()), KvDriveNoRoot);
    KvDriveType t = sp_GetDriveType(dir.c_str());
    EXPECT_TRUE(t == KvDriveLocal || t == KvDriveRam || t == KvDriveRemote) << t;
    EXPECT_EQ(sp_GetDriveType("/dev/shm"), sp_ExistDir("/dev/shm") ? KvDriveRam : KvDriveNoRoot);
}

TEST(PlatformNames, ResolvePath)
{
    std::string dir = kvtest::makeTempDir("resolve");
    ::mkdir((dir + "/real").c_str(), 0755);
    writeFile(dir + "/real/f");
    ASSERT_EQ(::symlink((dir + "/real").c_str(), (dir + "/link").c_str()), 0);
    std::string canonical = str(sp_ResolvePath(dir.c_str()));
    ASSERT_FALSE(canonical.empty());
    EXPECT_EQ(str(sp_ResolvePath((dir + "/link/./f").c_str())), canonical + "/real/f");
    EXPECT_EQ(str(sp_ResolvePath((dir + "/link/../real").c_str())), canonical + "/real");
    EXPECT_EQ(str(sp_ResolvePath((dir + "/missing").c_str())), "");
    EXPECT_EQ(str(sp_ResolvePath(nullptr)), "");
    EXPECT_EQ(str(sp_ResolvePath("")), "");
}

TEST(CompatiblePathName, QualifyingPathIsKept)
{
    EXPECT_EQ(str(sp_GetCompatiblePathName("/usr/lib/x.so")), "/usr/lib/x.so");
    EXPECT_EQ(str(sp_GetCompatiblePathName("")), "");
    // No short names here: an offending component stays, separators are kept.
    EXPECT_EQ(str(sp_GetCompatiblePathName("/my dir/x/")), "/my dir/x/");
    EXPECT_EQ(str(sp_GetCompatiblePathName("//srv/my share")), "//srv/my share");
    EXPECT_EQ(str(sp_GetPathWithNoSpaces("/usr/lib/\xC3\xA9")), "/usr/lib/\xC3\xA9");
}

TEST(CompatiblePathName, ShortensOnlyOffendingComponents)
{
    using kv::detail::compatiblePath;
    EXPECT_EQ(str(compatiblePath("/dir/long name/x/", "/DIR/LONGNA~1/X/", false)), "/dir/LONGNA~1/x/");
    EXPECT_EQ(str(compatiblePath("//srv/my share/f", "//SRV/MYSHAR~1/F", false)), "//srv/MYSHAR~1/f");
    EXPECT_EQ(str(compatiblePath("rel/\xC3\xA9t\xC3\xA9", "REL/ETE~1", false)), "rel/ETE~1");
    EXPECT_EQ(str(compatiblePath("a/b c", "A/BC~1", false)), "a/BC~1");
    EXPECT_EQ(str(compatiblePath("/a b/c", "/AB~1/C/D", false)), "/AB~1/C/D"); // counts differ
}

TEST(PathWithNoSpaces, DropsPrefixAndTrailingSeparator)
{
    using kv::detail::compatiblePath;
    EXPECT_EQ(str(compatiblePath("/a b/c/", "/AB~1/C/", true)), "AB~1/c");
    EXPECT_EQ(str(compatiblePath("/tab\there/\xC3\xA9", "/TABHER~1/E~1", true)), "TABHER~1/\xC3\xA9");
    EXPECT_EQ(str(compatiblePath("/plain/\xC3\xA9", "/PLAIN/E~1", true)), "/plain/\xC3\xA9");
}
