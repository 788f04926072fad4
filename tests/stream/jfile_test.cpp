// JFile, JFileBuffered (the safe save) and JFileBuf (whole files and
// built-in scripts in memory).
#include <kvsupport/jfile.h>

#include <kvsupport/dynfunc.h>
#include <kvsupport/kvstream.h>

#include "support/test_support.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QThread>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace {

QStringList entriesOf(const std::string &dir)
{
    return QDir(QString::fromStdString(dir)).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
}

// Runs the body with the current directory set to \p dir.
class CurrentDir {
public:
    explicit CurrentDir(const std::string &dir) : before(QDir::currentPath())
    {
        QDir::setCurrent(QString::fromStdString(dir));
    }
    ~CurrentDir() { QDir::setCurrent(before); }

private:
    QString before;
};

// The built-in scripts of these tests.
std::string askedName;
std::string askedExtra;
int scriptCalls = 0;

kvstream *testScripts(const char *name, const char *extra)
{
    ++scriptCalls;
    askedName = name;
    askedExtra = extra;
    if (askedName == "abc")
        return new kvstrstream(".tran 1n 10n\r\n.end\n");
    return nullptr;
}

} // namespace

// ------------------------------------------------------------------ JFile

TEST(JFile, OpenRemembersTheFullPath)
{
    std::string dir = kvtest::makeTempDir();
    kvtest::writeFile(dir + "/a.txt", "abc");
    JFile f;
    EXPECT_EQ(f.get(), nullptr);
    std::string dotted = dir + "/../" + QDir(QString::fromStdString(dir)).dirName().toStdString() + "/a.txt";
    ASSERT_NE(f.open(dotted.c_str(), "r"), nullptr);
    EXPECT_STREQ(f.getFilename().tocs(), (dir + "/a.txt").c_str());
    EXPECT_EQ(std::fgetc(f), 'a');
    f.close();
    EXPECT_EQ(f.get(), nullptr);
}

TEST(JFile, RelativeNameBecomesAbsolute)
{
    std::string dir = kvtest::makeTempDir();
    kvtest::writeFile(dir + "/rel.txt", "x");
    CurrentDir here(dir);
    JFile f("rel.txt", "r");
    ASSERT_NE(f.get(), nullptr);
    EXPECT_STREQ(f.getFilename().tocs(), (dir + "/rel.txt").c_str());
}

TEST(JFile, OpenOverAHeldStreamLeavesThatStreamOpen)
{
    std::string dir = kvtest::makeTempDir();
    JFile f((dir + "/first.txt").c_str(), "w");
    FILE *first = f.get();
    ASSERT_NE(first, nullptr);
    std::fputs("one", first);
    ASSERT_NE(f.open((dir + "/second.txt").c_str(), "w"), nullptr);
    EXPECT_NE(f.get(), first);
    EXPECT_STREQ(f.getFilename().tocs(), (dir + "/second.txt").c_str());
    // The first stream is the caller's to finish: still open, still buffered.
    EXPECT_EQ(kvtest::readFile(dir + "/first.txt"), "");
    EXPECT_GE(std::fputs(" two", first), 0);
    EXPECT_EQ(std::fclose(first), 0);
    EXPECT_EQ(kvtest::readFile(dir + "/first.txt"), "one two");
    // A failed open drops the held stream the same way, without closing it.
    FILE *second = f.get();
    EXPECT_EQ(f.open((dir + "/no/such.txt").c_str(), "w"), nullptr);
    EXPECT_EQ(f.get(), nullptr);
    EXPECT_STREQ(f.getFilename().tocs(), (dir + "/second.txt").c_str());
    EXPECT_GE(std::fputs("2", second), 0);
    EXPECT_EQ(std::fclose(second), 0);
    EXPECT_EQ(kvtest::readFile(dir + "/second.txt"), "2");
}

TEST(JFile, FailedOpenKeepsTheName)
{
    std::string dir = kvtest::makeTempDir();
    kvtest::writeFile(dir + "/a.txt", "abc");
    JFile f((dir + "/a.txt").c_str(), "r");
    YString name = f.getFilename();
    FILE *held = f.detach();
    ASSERT_NE(held, nullptr);
    std::fclose(held);
    EXPECT_EQ(f.open((dir + "/missing.txt").c_str(), "r"), nullptr);
    EXPECT_EQ(f.getFilename(), name);
    EXPECT_EQ(f.open(nullptr, "r"), nullptr);
    EXPECT_EQ(f.open((dir + "/a.txt").c_str(), nullptr), nullptr);
}

TEST(JFile, StreamConstructorKeepsTheNameAsGiven)
{
    std::string dir = kvtest::makeTempDir();
    FILE *raw = std::fopen((dir + "/b.txt").c_str(), "w");
    ASSERT_NE(raw, nullptr);
    JFile f("some/relative/name", raw);
    EXPECT_EQ(f.get(), raw);
    EXPECT_STREQ(f.getFilename().tocs(), "some/relative/name");
}

TEST(JFile, ReopenUsesTheRememberedName)
{
    JFile empty;
    EXPECT_EQ(empty.reopen("r"), nullptr);
    std::string dir = kvtest::makeTempDir();
    JFile f((dir + "/c.txt").c_str(), "w");
    ASSERT_NE(f.get(), nullptr);
    std::fputs("written", f);
    f.close();
    ASSERT_NE(f.reopen("r"), nullptr);
    char text[16] = {0};
    ASSERT_NE(std::fgets(text, sizeof text, f), nullptr);
    EXPECT_STREQ(text, "written");
}

TEST(JFile, AttachOnlyWithoutAStream)
{
    std::string dir = kvtest::makeTempDir();
    kvtest::writeFile(dir + "/a.txt", "a");
    kvtest::writeFile(dir + "/b.txt", "b");
    JFile a((dir + "/a.txt").c_str(), "r");
    JFile b((dir + "/b.txt").c_str(), "r");
    FILE *before = a.get();
    EXPECT_FALSE(a.attach(b));
    EXPECT_EQ(a.get(), before);
    EXPECT_STREQ(a.getFilename().tocs(), (dir + "/a.txt").c_str());

    JFile c;
    EXPECT_TRUE(c.attach(b));
    EXPECT_EQ(c.get(), b.get());
    EXPECT_EQ(c.getFilename(), b.getFilename());
    EXPECT_EQ(std::fgetc(c), 'b');
    c.close(); // closes the shared stream once, for both
    EXPECT_EQ(c.get(), nullptr);
    EXPECT_EQ(b.get(), nullptr);
}

TEST(JFile, CopiesShareOneStreamThatIsClosedOnce)
{
    std::string dir = kvtest::makeTempDir();
    kvtest::writeFile(dir + "/a.txt", "ab");
    JFile a((dir + "/a.txt").c_str(), "r");
    {
        JFile copy(a);
        EXPECT_EQ(copy.get(), a.get());
        EXPECT_EQ(copy.getFilename(), a.getFilename());
    } // the copy going leaves the stream to the original
    ASSERT_NE(a.get(), nullptr);
    EXPECT_EQ(std::fgetc(a), 'a');
    JFile b;
    b = a;
    FILE *taken = b.detach();
    EXPECT_EQ(a.get(), nullptr);
    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(std::fgetc(taken), 'b');
    std::fclose(taken);
    // A new open of a copy doesn't disturb the others.
    JFile c(a);
    EXPECT_NE(c.open((dir + "/a.txt").c_str(), "r"), nullptr);
    EXPECT_EQ(a.get(), nullptr);
}

// ---------------------------------------------------------- JFileBuffered

TEST(JFileBuffered, MissingDirectoryGivesOpenFailed)
{
    std::string dir = kvtest::makeTempDir();
    JFileBuffered f((dir + "/no/such/dir/x.txt").c_str(), false);
    EXPECT_EQ(f.getStatus(), JFileBufferedOpenFailed);
    EXPECT_EQ(static_cast<FILE *>(f), nullptr);
    EXPECT_EQ(f.close(), JFileBufferedNotOpen);
    EXPECT_FALSE(QDir(QString::fromStdString(dir + "/no")).exists());
}

TEST(JFileBuffered, EmptyOrNullNameGivesOpenFailed)
{
    std::string dir = kvtest::makeTempDir();
    CurrentDir here(dir);
    for (const char *name : {static_cast<const char *>(nullptr), ""}) {
        JFileBuffered f(name, false);
        EXPECT_EQ(f.getStatus(), JFileBufferedOpenFailed);
        EXPECT_EQ(static_cast<FILE *>(f), nullptr);
        EXPECT_TRUE(f.getTemporary().isEmpty());
        f.failed();
        EXPECT_EQ(f.close(), JFileBufferedNotOpen);
    }
    EXPECT_EQ(entriesOf(dir), QStringList());
}

TEST(JFileBuffered, NewTargetAppearsOnlyAtClose)
{
    std::string dir = kvtest::makeTempDir();
    std::string target = dir + "/new.txt";
    JFileBuffered f(target.c_str(), true);
    ASSERT_EQ(f.getStatus(), JFileBufferedOk);
    ASSERT_NE(static_cast<FILE *>(f), nullptr);
    EXPECT_EQ(f.getTarget(), YString(target.c_str()));
    std::string temporary = f.getTemporary().tocs();
    EXPECT_EQ(temporary.rfind(dir + "/kv$", 0), 0u) << temporary;
    std::fputs("line 1\nline 2\n", f);
    EXPECT_FALSE(QFile::exists(QString::fromStdString(target)));
    EXPECT_EQ(f.close(), JFileBufferedOk);
    EXPECT_EQ(kvtest::readFile(target), "line 1\nline 2\n");
    EXPECT_EQ(entriesOf(dir), QStringList({"new.txt"}));
    EXPECT_EQ(f.close(), JFileBufferedNotOpen);
}

TEST(JFileBuffered, ExistingTargetIsReplacedWithNoBackupLeft)
{
    std::string dir = kvtest::makeTempDir();
    std::string target = dir + "/x.txt";
    kvtest::writeFile(target, "old contents\n");
    JFileBuffered f(target.c_str(), false);
    std::fputs("new contents\n", f);
    EXPECT_EQ(kvtest::readFile(target), "old contents\n");
    EXPECT_EQ(f.close(), JFileBufferedOk);
    EXPECT_EQ(kvtest::readFile(target), "new contents\n");
    EXPECT_EQ(entriesOf(dir), QStringList({"x.txt"}));
}

TEST(JFileBuffered, EarlierBackupStaysAndTheNextNameIsUsed)
{
    std::string dir = kvtest::makeTempDir();
    std::string target = dir + "/x.txt";
    kvtest::writeFile(target, "old");
    kvtest::writeFile(dir + "/x-original.txt", "left by an earlier failure");
    {
        JFileBuffered f(target.c_str(), false);
        std::fputs("new", f);
    } // leaving scope commits
    EXPECT_EQ(kvtest::readFile(target), "new");
    EXPECT_EQ(kvtest::readFile(dir + "/x-original.txt"), "left by an earlier failure");
    EXPECT_EQ(entriesOf(dir), QStringList({"x-original.txt", "x.txt"}));
}

TEST(JFileBuffered, TakenBackupNamesAreSkipped)
{
    std::string dir = kvtest::makeTempDir();
    std::string target = dir + "/x.txt";
    kvtest::writeFile(target, "old");
    kvtest::writeFile(dir + "/x-original.txt", "earlier");
    ASSERT_TRUE(QDir().mkpath(QString::fromStdString(dir + "/x-original-1.txt/inside")));
    JFileBuffered f(target.c_str(), false);
    std::fputs("new", f);
    EXPECT_EQ(f.close(), JFileBufferedOk);
    EXPECT_EQ(kvtest::readFile(target), "new");
    EXPECT_EQ(kvtest::readFile(dir + "/x-original.txt"), "earlier");
    EXPECT_TRUE(QDir(QString::fromStdString(dir + "/x-original-1.txt/inside")).exists());
    EXPECT_FALSE(QFile::exists(QString::fromStdString(dir + "/x-original-2.txt")));
}

TEST(JFileBuffered, AfterThousandTakenNamesTheLastIsUsedAndMayFail)
{
    std::string dir = kvtest::makeTempDir();
    std::string target = dir + "/x.txt";
    kvtest::writeFile(target, "old");
    kvtest::writeFile(dir + "/x-original.txt", "earlier");
    for (int n = 1; n <= 1000; ++n)
        ASSERT_TRUE(QDir().mkpath(QString::fromStdString(dir + "/x-original-" + std::to_string(n) + ".txt/d")));
    JFileBuffered f(target.c_str(), false);
    std::fputs("new", f);
    // x-original-1000.txt is a directory that isn't empty: the target can't
    // be moved there, so it stays as it was.
    EXPECT_EQ(f.close(), JFileBufferedRenameFailed);
    EXPECT_EQ(kvtest::readFile(target), "old");
    EXPECT_EQ(entriesOf(dir), QStringList({"x-original.txt", "x.txt"}));
}

TEST(JFileBuffered, NewFileThatCantBeMovedInLeavesTheOldOneInTheBackup)
{
    std::string dir = kvtest::makeTempDir();
    std::string target = dir + "/x.txt";
    kvtest::writeFile(target, "old");
    kvtest::writeFile(dir + "/x-original.txt", "earlier");
    JFileBuffered f(target.c_str(), false);
    ASSERT_EQ(f.getStatus(), JFileBufferedOk);
    std::fputs("new", f);
    // The temporary file vanishes under the open stream: the writes still
    // succeed, the old file is moved aside, and the new one is not there
    // to take its place.
    ASSERT_EQ(std::remove(f.getTemporary().tocs()), 0);
    EXPECT_EQ(f.close(), JFileBufferedLeftBackup);
    EXPECT_FALSE(QFile::exists(QString::fromStdString(target)));
    EXPECT_EQ(kvtest::readFile(dir + "/x-original-1.txt"), "old");
    EXPECT_EQ(kvtest::readFile(dir + "/x-original.txt"), "earlier");
    EXPECT_EQ(entriesOf(dir), QStringList({"x-original-1.txt", "x-original.txt"}));
    EXPECT_EQ(f.close(), JFileBufferedNotOpen);
}

TEST(JFileBuffered, BackupNameKeepsTheExtensionAfterTheLastDot)
{
    // A save whose new file can't be moved in shows the backup's name.
    struct Case {
        const char *target;
        const char *backup;
    };
    const Case cases[] = {{"notes", "notes-original"}, {"a.b.txt", "a.b-original.txt"}};
    for (const Case &c : cases) {
        std::string dir = kvtest::makeTempDir();
        std::string target = dir + "/" + c.target;
        kvtest::writeFile(target, "old");
        JFileBuffered f(target.c_str(), false);
        ASSERT_EQ(f.getStatus(), JFileBufferedOk);
        ASSERT_EQ(std::remove(f.getTemporary().tocs()), 0);
        EXPECT_EQ(f.close(), JFileBufferedLeftBackup) << c.target;
        EXPECT_EQ(entriesOf(dir), QStringList({c.backup})) << c.target;
        EXPECT_EQ(kvtest::readFile(dir + "/" + c.backup), "old") << c.target;
    }
}

TEST(JFileBuffered, NewFileThatCantBeMovedInWithNoOldFileGivesRenameFailed)
{
    std::string dir = kvtest::makeTempDir();
    std::string target = dir + "/fresh.txt";
    JFileBuffered f(target.c_str(), true);
    ASSERT_EQ(f.getStatus(), JFileBufferedOk);
    std::fputs("new", f);
    ASSERT_EQ(std::remove(f.getTemporary().tocs()), 0);
    EXPECT_EQ(f.close(), JFileBufferedRenameFailed);
    EXPECT_EQ(entriesOf(dir), QStringList());
}

TEST(JFileBuffered, LinkedTargetKeepsItsLink)
{
    std::string links = kvtest::makeTempDir();
    std::string files = kvtest::makeTempDir();
    kvtest::writeFile(files + "/real.txt", "old");
    ASSERT_TRUE(QFile::link(QString::fromStdString(files + "/real.txt"), QString::fromStdString(links + "/link.txt")));
    JFileBuffered f((links + "/link.txt").c_str(), false);
    EXPECT_EQ(std::string(f.getTemporary().tocs()).rfind(files + "/", 0), 0u);
    std::fputs("new", f);
    EXPECT_EQ(f.close(), JFileBufferedOk);
    EXPECT_TRUE(QFileInfo(QString::fromStdString(links + "/link.txt")).isSymLink());
    EXPECT_EQ(kvtest::readFile(files + "/real.txt"), "new");
    EXPECT_EQ(entriesOf(files), QStringList({"real.txt"}));
    EXPECT_EQ(entriesOf(links), QStringList({"link.txt"}));
}

TEST(JFileBuffered, WriteErrorLeavesTargetAndNoTemporary)
{
    std::string dir = kvtest::makeTempDir();
    std::string target = dir + "/keep.txt";
    kvtest::writeFile(target, "precious");
    JFileBuffered f(target.c_str(), false);
    std::fputs("half", f);
    std::fgetc(f); // reading a stream open only for writing sets its error state
    ASSERT_NE(std::ferror(f), 0);
    EXPECT_EQ(f.close(), JFileBufferedWriteFailed);
    EXPECT_EQ(kvtest::readFile(target), "precious");
    EXPECT_EQ(entriesOf(dir), QStringList({"keep.txt"}));
}

TEST(JFileBuffered, FailedThenDestructorDoNothingMore)
{
    std::string dir = kvtest::makeTempDir();
    std::string target = dir + "/keep.txt";
    kvtest::writeFile(target, "precious");
    {
        JFileBuffered f(target.c_str(), false);
        std::fputs("discarded", f);
        f.failed();
        EXPECT_EQ(static_cast<FILE *>(f), nullptr);
        EXPECT_EQ(f.close(), JFileBufferedNotOpen);
        f.failed();
    }
    EXPECT_EQ(kvtest::readFile(target), "precious");
    EXPECT_EQ(entriesOf(dir), QStringList({"keep.txt"}));
}

TEST(JFileBuffered, CopyHandsTheSaveOnAndItCommitsOnce)
{
    std::string dir = kvtest::makeTempDir();
    std::string target = dir + "/x.txt";
    kvtest::writeFile(target, "old");
    {
        JFileBuffered first(target.c_str(), false);
        JFileBuffered second(first);
        EXPECT_EQ(static_cast<FILE *>(second), static_cast<FILE *>(first));
        std::fputs("new", second);
        EXPECT_EQ(second.close(), JFileBufferedOk);
        EXPECT_EQ(static_cast<FILE *>(first), nullptr);
        EXPECT_EQ(first.close(), JFileBufferedNotOpen);
    }
    EXPECT_EQ(kvtest::readFile(target), "new");
    EXPECT_EQ(entriesOf(dir), QStringList({"x.txt"}));
}

TEST(JFileBuffered, RelativeTargetUsesTheCurrentDirectory)
{
    std::string dir = kvtest::makeTempDir();
    CurrentDir here(dir);
    JFileBuffered f("rel.txt", false);
    ASSERT_EQ(f.getStatus(), JFileBufferedOk);
    EXPECT_EQ(std::string(f.getTemporary().tocs()).rfind(dir + "/", 0), 0u);
    std::fputs("r", f);
    EXPECT_EQ(f.close(), JFileBufferedOk);
    EXPECT_EQ(kvtest::readFile(dir + "/rel.txt"), "r");
}

KVTEST_CHILD(saveAndHang)
{
    if (args.size() != 2)
        return 2;
    JFileBuffered f(args[0].toUtf8().constData(), true);
    if (f.getStatus() != JFileBufferedOk)
        return 3;
    std::string block(1 << 20, 'n');
    for (int i = 0; i < 4; ++i)
        std::fwrite(block.data(), 1, block.size(), f);
    std::fflush(f);
    QFile marker(args[1]);
    marker.open(QIODevice::WriteOnly);
    marker.close();
    for (;;)
        QThread::msleep(100);
}

TEST(JFileBuffered, SaveKilledHalfWayLeavesTheOldFileIntact)
{
    std::string dir = kvtest::makeTempDir();
    std::string work = dir + "/work";
    ASSERT_TRUE(QDir().mkpath(QString::fromStdString(work)));
    std::string target = work + "/design.net";
    std::string old = "* the old design\nR1 a b 1k\n";
    kvtest::writeFile(target, old);
    std::string marker = dir + "/marker";
    auto child = kvtest::startChild("saveAndHang", {QString::fromStdString(target), QString::fromStdString(marker)});
    for (int i = 0; i < 300 && !QFile::exists(QString::fromStdString(marker)); ++i)
        QThread::msleep(20);
    ASSERT_TRUE(QFile::exists(QString::fromStdString(marker)));
    child->kill(); // SIGKILL in the middle of the save
    child->waitForFinished(10000);
    EXPECT_EQ(kvtest::readFile(target), old);
    QStringList left = entriesOf(work);
    EXPECT_EQ(left.size(), 2); // the target and the dead writer's temporary file
    EXPECT_TRUE(left.contains("design.net"));
    for (const QString &name : left) {
        if (name != "design.net")
            QFile::remove(QString::fromStdString(work + "/") + name);
    }
}

// --------------------------------------------------------------- JFileBuf

TEST(JFileBuf, ReadsTheWholeFile)
{
    std::string dir = kvtest::makeTempDir();
    std::string bytes("a\0b\r\nc\xff", 7);
    kvtest::writeFile(dir + "/bin", bytes);
    JFileBuf buf((dir + "/bin").c_str(), false);
    ASSERT_NE(buf.get(), nullptr);
    EXPECT_EQ(buf.getSize(), 7u);
    EXPECT_EQ(std::string(buf.get(), buf.getSize()), bytes);
    buf.close();
    EXPECT_EQ(buf.get(), nullptr);
    EXPECT_EQ(buf.getSize(), 0u);
}

TEST(JFileBuf, TextModeReadsTheSameBytesOnThisPlatform)
{
    // Files here have one line-end form: text mode doesn't shorten CR LF.
    std::string dir = kvtest::makeTempDir();
    kvtest::writeFile(dir + "/crlf.txt", "a\r\nb\r\n");
    JFileBuf buf((dir + "/crlf.txt").c_str(), true);
    ASSERT_NE(static_cast<const char *>(buf), nullptr);
    EXPECT_EQ(buf.getSize(), 6u);
}

TEST(JFileBuf, EmptyFileGivesDataOfSizeZero)
{
    std::string dir = kvtest::makeTempDir();
    kvtest::writeFile(dir + "/empty", "");
    JFileBuf buf((dir + "/empty").c_str(), false);
    EXPECT_NE(buf.get(), nullptr);
    EXPECT_EQ(buf.getSize(), 0u);
}

TEST(JFileBuf, MissingFileOrDirectoryGivesNull)
{
    std::string dir = kvtest::makeTempDir();
    JFileBuf buf;
    EXPECT_EQ(buf.open((dir + "/missing").c_str(), false), nullptr);
    EXPECT_EQ(buf.open(dir.c_str(), false), nullptr);
    EXPECT_EQ(buf.open(nullptr, false), nullptr);
    kvtest::writeFile(dir + "/x", "x");
    ASSERT_NE(buf.open((dir + "/x").c_str(), false), nullptr);
    EXPECT_EQ(buf.open((dir + "/missing").c_str(), false), nullptr); // the old data are freed
    EXPECT_EQ(buf.getSize(), 0u);
}

TEST(JFileBuf, FileOf2GiBOrMoreGivesNull)
{
    std::string dir = kvtest::makeTempDir();
    QFile big(QString::fromStdString(dir + "/big"));
    ASSERT_TRUE(big.open(QIODevice::WriteOnly));
    ASSERT_TRUE(big.resize(2147483647LL)); // sparse: no blocks written
    big.close();
    JFileBuf buf((dir + "/big").c_str(), false);
    EXPECT_EQ(buf.get(), nullptr);
    EXPECT_EQ(buf.getSize(), 0u);
    QFile::remove(QString::fromStdString(dir + "/big"));
}

TEST(JFileBuf, InternalNameWithoutScriptsChangesNothingAndReadsNoFile)
{
    std::string dir = kvtest::makeTempDir();
    CurrentDir here(dir);
    kvtest::writeFile(dir + "/INTERNAL:abc.kvscr", "a file that must not be read");
    kvtest::writeFile(dir + "/real", "real");
    JFileBuf buf("real", false);
    ASSERT_NE(buf.get(), nullptr);
    scriptCalls = 0;
    EXPECT_EQ(std::string(buf.open("INTERNAL:abc.kvscr", false), buf.getSize()), "real");
    EXPECT_EQ(scriptCalls, 0);
}

TEST(JFileBuf, InternalNameReadsTheBuiltInScript)
{
    std::string dir = kvtest::makeTempDir();
    CurrentDir here(dir);
    kvtest::writeFile(dir + "/INTERNAL:abc.kvscr", "a file that must not be read");
    RegisterDynFuncDef scripts("findBuiltInScript", testScripts, __FILE__, __LINE__);
    scriptCalls = 0;
    JFileBuf buf("internal:abc.kvscr", true);
    EXPECT_EQ(scriptCalls, 1);
    EXPECT_EQ(askedName, "abc");
    EXPECT_EQ(askedExtra, "");
    ASSERT_NE(buf.get(), nullptr);
    EXPECT_EQ(std::string(buf.get(), buf.getSize()), ".tran 1n 10n\r\n.end\n");

    // An unknown script leaves the data as they were.
    EXPECT_EQ(std::string(buf.open("INTERNAL:scripts/other.kvscr", false), buf.getSize()),
              ".tran 1n 10n\r\n.end\n");
    EXPECT_EQ(askedName, "other");
}
