// FileLock (the ".lck" companion file, held for the life of its holder) and
// the open-failure diagnosis with its messages.
#include <kvsupport/filelock.h>
#include <kvsupport/sysinfo.h>

#include "support/test_support.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace {

bool exists(const std::string &path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

ino_t inodeOf(const std::string &path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 ? st.st_ino : 0;
}

std::string expectedOwnerLine()
{
    char host[256] = {0};
    gethostname(host, sizeof host - 1);
    return std::string(sp_GetUserName().tocs()) + "@" + host + "\r\n";
}

} // namespace

TEST(FileLock, FreshObjectIsUnlockedWithoutNameOrError)
{
    FileLock lock;
    EXPECT_FALSE(lock.locked());
    EXPECT_EQ(lock.getError(), FileLockNoError);
    EXPECT_TRUE(lock.lockFileName().isEmpty());
}

TEST(FileLock, LockMakesCompanionFileWithOwnerLine)
{
    std::string dir = kvtest::makeTempDir("lock");
    std::string doc = dir + "/design.sch";
    {
        FileLock lock;
        ASSERT_TRUE(lock.lock(doc.c_str()));
        EXPECT_TRUE(lock.locked());
        EXPECT_EQ(lock.getError(), FileLockNoError);
        EXPECT_STREQ(lock.lockFileName().tocs(), (doc + ".lck").c_str());
        EXPECT_FALSE(sp_GetUserName().isEmpty());
        EXPECT_EQ(kvtest::readFile(doc + ".lck"), expectedOwnerLine()) << "user name, '@', machine, CR LF";
        struct stat st;
        ASSERT_EQ(::stat((doc + ".lck").c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0600u);
        EXPECT_FALSE(exists(doc)) << "the document itself is not touched";
    }
    EXPECT_FALSE(exists(doc + ".lck")) << "the destructor removes the lock file";
}

TEST(FileLock, SameNameTwiceRecreatesTheFile)
{
    std::string dir = kvtest::makeTempDir("lock");
    std::string lck = dir + "/a.txt.lck";
    FileLock lock;
    ASSERT_TRUE(lock.lock((dir + "/a.txt").c_str()));
    kvtest::writeFile(lck + ".marker", "x"); // keeps the old inode number from being reused at once
    std::ofstream(lck, std::ios::app) << "junk";
    ino_t first = inodeOf(lck);
    int keep = ::open(lck.c_str(), O_RDONLY); // pins the first inode
    ASSERT_GE(keep, 0);
    ASSERT_TRUE(lock.lock((dir + "/a.txt").c_str()));
    EXPECT_NE(inodeOf(lck), first) << "deleted and made again";
    EXPECT_EQ(kvtest::readFile(lck).find("junk"), std::string::npos);
    ::close(keep);
    EXPECT_TRUE(lock.locked());
}

TEST(FileLock, SecondNameGivesUpFirstLockAndDeletesItsFile)
{
    std::string dir = kvtest::makeTempDir("lock");
    FileLock lock;
    ASSERT_TRUE(lock.lock((dir + "/one").c_str()));
    ASSERT_TRUE(exists(dir + "/one.lck"));
    ASSERT_TRUE(lock.lock((dir + "/two").c_str()));
    EXPECT_FALSE(exists(dir + "/one.lck"));
    EXPECT_TRUE(exists(dir + "/two.lck"));
    FileLock other;
    EXPECT_TRUE(other.lock((dir + "/one").c_str())) << "the first lock is free again";
}

TEST(FileLock, UnlockOnUnlockedObjectDoesNothingAndRelockTakesSameName)
{
    std::string dir = kvtest::makeTempDir("lock");
    FileLock lock;
    lock.unlock();
    EXPECT_FALSE(lock.locked());
    ASSERT_TRUE(lock.lock((dir + "/n").c_str()));
    lock.unlock();
    EXPECT_FALSE(lock.locked());
    EXPECT_FALSE(exists(dir + "/n.lck"));
    EXPECT_STREQ(lock.lockFileName().tocs(), (dir + "/n.lck").c_str()) << "the name stays";
    lock.unlock();
    ASSERT_TRUE(lock.relock());
    EXPECT_TRUE(exists(dir + "/n.lck"));
}

TEST(FileLock, StaleLockFileDoesNotStopLock)
{
    std::string dir = kvtest::makeTempDir("lock");
    kvtest::writeFile(dir + "/doc.lck", "somebody@elsewhere\r\n");
    FileLock lock;
    ASSERT_TRUE(lock.lock((dir + "/doc").c_str()));
    EXPECT_EQ(kvtest::readFile(dir + "/doc.lck").find("elsewhere"), std::string::npos) << "emptied and rewritten";
}

TEST(FileLock, SecondHolderInSameProcessIsRefused)
{
    std::string dir = kvtest::makeTempDir("lock");
    FileLock first;
    FileLock second;
    ASSERT_TRUE(first.lock((dir + "/doc").c_str()));
    EXPECT_FALSE(second.lock((dir + "/doc").c_str()));
    EXPECT_EQ(second.getError(), FileLockInUse);
    EXPECT_FALSE(second.locked());
}

TEST(FileLock, FailedHolderDoesNotDeleteTheHeldFileOnDestruction)
{
    std::string dir = kvtest::makeTempDir("lock");
    FileLock first;
    ASSERT_TRUE(first.lock((dir + "/doc").c_str()));
    {
        FileLock second;
        EXPECT_FALSE(second.lock((dir + "/doc").c_str()));
    }
    EXPECT_TRUE(exists(dir + "/doc.lck"));
    FileLock third;
    EXPECT_FALSE(third.lock((dir + "/doc").c_str())) << "still held by the first";
}

TEST(FileLock, DestructorOfNeverLockedObjectWithNameRemovesStaleFile)
{
    std::string dir = kvtest::makeTempDir("lock");
    {
        FileLock lock;
        ASSERT_TRUE(lock.lock((dir + "/doc").c_str()));
        lock.unlock();
        kvtest::writeFile(dir + "/doc.lck", "stale");
    }
    EXPECT_FALSE(exists(dir + "/doc.lck"));
}

TEST(FileLock, MissingDirectoryIsOtherError)
{
    std::string dir = kvtest::makeTempDir("lock");
    FileLock lock;
    EXPECT_FALSE(lock.lock((dir + "/no/such/dir/doc").c_str()));
    EXPECT_EQ(lock.getError(), FileLockOtherError);
    EXPECT_FALSE(lock.locked());
}

TEST(FileLock, CopyEndsTheLockForOthersWhenTheFirstGoes)
{
    std::string dir = kvtest::makeTempDir("lock");
    std::string doc = dir + "/doc";
    auto original = std::make_unique<FileLock>();
    ASSERT_TRUE(original->lock(doc.c_str()));
    FileLock copy(*original);
    EXPECT_TRUE(copy.locked());
    original.reset();
    EXPECT_FALSE(exists(doc + ".lck"));
    FileLock other;
    ASSERT_TRUE(other.lock(doc.c_str()));
    copy.unlock();
    EXPECT_TRUE(exists(doc + ".lck")) << "the copy never removes another holder's file";
    FileLock third;
    EXPECT_FALSE(third.lock(doc.c_str()));
    EXPECT_EQ(third.getError(), FileLockInUse);
}

// Holds the lock of args[0] until its standard input closes.
KVTEST_CHILD(filelock_hold)
{
    FileLock lock;
    if (!lock.lock(args.value(0).toUtf8().constData()))
        return 10 + lock.getError();
    std::printf("locked\n");
    std::fflush(stdout);
    char line[16];
    while (std::fgets(line, sizeof line, stdin) != nullptr) {
    }
    return 0;
}

// Tries the lock of args[0] once and reports getError() as its exit code.
KVTEST_CHILD(filelock_try)
{
    FileLock lock;
    bool ok = lock.lock(args.value(0).toUtf8().constData());
    return ok ? 100 : lock.getError();
}

TEST(FileLockProcesses, LiveHolderInAnotherProcessRefusesTheLock)
{
    std::string doc = kvtest::makeTempDir("lock") + "/shared.cir";
    auto holder = kvtest::startChild("filelock_hold", {QString::fromStdString(doc)});
    ASSERT_TRUE(holder->waitForReadyRead(20000));
    ASSERT_EQ(holder->readAllStandardOutput().trimmed(), QByteArray("locked"));

    FileLock mine;
    EXPECT_FALSE(mine.lock(doc.c_str()));
    EXPECT_EQ(mine.getError(), FileLockInUse);
    EXPECT_TRUE(exists(doc + ".lck"));

    holder->closeWriteChannel();
    ASSERT_TRUE(holder->waitForFinished(20000));
    EXPECT_EQ(holder->exitCode(), 0);
    EXPECT_FALSE(exists(doc + ".lck")) << "the holder removed its file";
    EXPECT_TRUE(mine.relock());
}

TEST(FileLockProcesses, HolderInThisProcessRefusesAnotherProcess)
{
    std::string doc = kvtest::makeTempDir("lock") + "/mine.cir";
    FileLock mine;
    ASSERT_TRUE(mine.lock(doc.c_str()));
    EXPECT_EQ(kvtest::runChild("filelock_try", {QString::fromStdString(doc)}), int(FileLockInUse));
    mine.unlock();
    EXPECT_EQ(kvtest::runChild("filelock_try", {QString::fromStdString(doc)}), 100);
}

TEST(FileLockProcesses, LockOfAKilledHolderIsNoLock)
{
    std::string doc = kvtest::makeTempDir("lock") + "/crash.cir";
    auto holder = kvtest::startChild("filelock_hold", {QString::fromStdString(doc)});
    ASSERT_TRUE(holder->waitForReadyRead(20000));
    holder->kill();
    ASSERT_TRUE(holder->waitForFinished(20000));
    EXPECT_TRUE(exists(doc + ".lck")) << "the dead holder left its file behind";
    FileLock mine;
    EXPECT_TRUE(mine.lock(doc.c_str()));
    EXPECT_EQ(mine.getError(), FileLockNoError);
}

// ---- sp_CheckFileOpen ----

TEST(CheckFileOpen, EmptyNameIsFalse)
{
    EXPECT_FALSE(sp_CheckFileOpen("", GfnOpenRead));
    EXPECT_FALSE(sp_CheckFileOpen("", GfnOpenNew));
    EXPECT_FALSE(sp_CheckFileOpen("", GfnOpenAppend));
}

TEST(CheckFileOpen, AppendOnMissingFileLeavesNoneBehind)
{
    std::string path = kvtest::makeTempDir("chk") + "/new.txt";
    EXPECT_TRUE(sp_CheckFileOpen(path.c_str(), GfnOpenAppend));
    EXPECT_FALSE(exists(path));
    EXPECT_TRUE(sp_CheckFileOpen(path.c_str(), GfnOpenNew));
    EXPECT_FALSE(exists(path));
}

TEST(CheckFileOpen, ALinkToAMissingFileIsLeftAsItWas)
{
    std::string dir = kvtest::makeTempDir("chk");
    std::string link = dir + "/link.txt";
    std::string target = dir + "/target.txt";
    ASSERT_EQ(::symlink(target.c_str(), link.c_str()), 0);
    for (GfnOpenMode mode : {GfnOpenAppend, GfnOpenNew}) {
        EXPECT_TRUE(sp_CheckFileOpen(link.c_str(), mode)) << mode;
        struct stat st;
        EXPECT_EQ(::lstat(link.c_str(), &st), 0) << "the link stays, mode " << mode;
        EXPECT_TRUE(S_ISLNK(st.st_mode)) << mode;
        EXPECT_FALSE(exists(target)) << "the file made through the link is removed, mode " << mode;
    }
    FileOpenForensic reason = FileOpenMissing;
    EXPECT_TRUE(sp_FileOpenForensic(link.c_str(), GfnOpenNew, &reason));
    EXPECT_EQ(reason, FileOpenNameTaken);
    EXPECT_FALSE(exists(target));
    struct stat st;
    EXPECT_EQ(::lstat(link.c_str(), &st), 0);
}

TEST(CheckFileOpen, AppendOnExistingFileKeepsContents)
{
    std::string path = kvtest::makeTempDir("chk") + "/old.txt";
    kvtest::writeFile(path, "R1 1 0 1k\n");
    EXPECT_TRUE(sp_CheckFileOpen(path.c_str(), GfnOpenAppend));
    EXPECT_EQ(kvtest::readFile(path), "R1 1 0 1k\n");
}

TEST(CheckFileOpen, NewOnExistingFileIsFalse)
{
    std::string path = kvtest::makeTempDir("chk") + "/old.txt";
    kvtest::writeFile(path, "x");
    EXPECT_FALSE(sp_CheckFileOpen(path.c_str(), GfnOpenNew));
    EXPECT_EQ(kvtest::readFile(path), "x");
}

TEST(CheckFileOpen, ReadModesAndOddValues)
{
    std::string dir = kvtest::makeTempDir("chk");
    kvtest::writeFile(dir + "/r.txt", "x");
    EXPECT_TRUE(sp_CheckFileOpen((dir + "/r.txt").c_str(), GfnOpenRead));
    EXPECT_FALSE(sp_CheckFileOpen((dir + "/missing").c_str(), GfnOpenRead));
    EXPECT_TRUE(sp_CheckFileOpen((dir + "/r.txt").c_str(), GfnOpenMode(1)));
    EXPECT_FALSE(sp_CheckFileOpen((dir + "/missing").c_str(), GfnOpenMode(2)));
    EXPECT_FALSE(exists(dir + "/missing"));
    EXPECT_FALSE(sp_CheckFileOpen((dir + "/no/dir/f").c_str(), GfnOpenAppend));
    EXPECT_FALSE(sp_CheckFileOpen(dir.c_str(), GfnOpenAppend)) << "a directory can't be written";
}

// ---- sp_FileOpenForensic and its messages ----

namespace {

YString messageFor(const std::string &name, GfnOpenMode mode)
{
    YString message("unchanged");
    EXPECT_TRUE(sp_FileOpenForensicMsg(name.c_str(), mode, &message));
    return message;
}

FileOpenForensic reasonFor(const std::string &name, GfnOpenMode mode)
{
    FileOpenForensic reason = FileOpenInternalError;
    EXPECT_TRUE(sp_FileOpenForensic(name.c_str(), mode, &reason));
    return reason;
}

} // namespace

TEST(FileOpenForensic, MissingFileForRead)
{
    std::string path = kvtest::makeTempDir("fo") + "/gone.cir";
    EXPECT_EQ(reasonFor(path, GfnOpenRead), FileOpenMissing);
    EXPECT_STREQ(messageFor(path, GfnOpenRead).tocs(), ("The file " + path + " does not exist").c_str());
}

TEST(FileOpenForensic, ModeOneIsInternalError)
{
    std::string path = kvtest::makeTempDir("fo") + "/x";
    EXPECT_EQ(reasonFor(path, GfnOpenMode(1)), FileOpenInternalError);
    EXPECT_STREQ(messageFor(path, GfnOpenMode(1)).tocs(), "Internal error");
    EXPECT_STREQ(messageFor(path, GfnOpenMode(2)).tocs(), "Internal error");
    EXPECT_STREQ(messageFor(path, GfnOpenAppend).tocs(), "Internal error");
}

TEST(FileOpenForensic, ReadableFileIsProbablyInUse)
{
    std::string path = kvtest::makeTempDir("fo") + "/busy.cir";
    kvtest::writeFile(path, "x");
    EXPECT_STREQ(messageFor(path, GfnOpenRead).tocs(),
                 ("The file " + path +
                  " cannot be opened for read possibly because it is in use by another process")
                     .c_str());
}

TEST(FileOpenForensic, NewOnTakenNameSaysSoAndLeavesItAlone)
{
    std::string path = kvtest::makeTempDir("fo") + "/taken.cir";
    kvtest::writeFile(path, "keep");
    EXPECT_STREQ(
        messageFor(path, GfnOpenNew).tocs(),
        ("The file " + path + " cannot be opened because another file of the same name already exists").c_str());
    EXPECT_EQ(kvtest::readFile(path), "keep");
}

TEST(FileOpenForensic, NewOnFreeNameInExistingDirectoryLeavesNoFile)
{
    std::string path = kvtest::makeTempDir("fo") + "/free.cir";
    EXPECT_EQ(reasonFor(path, GfnOpenNew), FileOpenNameTaken) << "an open works, so the name must be taken";
    EXPECT_FALSE(exists(path));
}

TEST(FileOpenForensic, WriteInMissingDirectory)
{
    std::string path = kvtest::makeTempDir("fo") + "/none/out.raw";
    EXPECT_EQ(reasonFor(path, GfnOpenWrite), FileOpenNoDirectory);
    EXPECT_STREQ(messageFor(path, GfnOpenWrite).tocs(),
                 ("The file " + path + " cannot be opened because its directory does not exist").c_str());
    EXPECT_EQ(reasonFor(path, GfnOpenNew), FileOpenNoDirectory);
}

TEST(FileOpenForensic, WriteOfMissingFileInExistingDirectory)
{
    std::string path = kvtest::makeTempDir("fo") + "/out.raw";
    EXPECT_STREQ(
        messageFor(path, GfnOpenWrite).tocs(),
        ("The file " + path + " cannot be opened for write possibly because of insufficient directory privilege")
            .c_str());
}

TEST(FileOpenForensic, WritableExistingFileIsProbablyInUse)
{
    std::string path = kvtest::makeTempDir("fo") + "/out.raw";
    kvtest::writeFile(path, "x");
    EXPECT_STREQ(messageFor(path, GfnOpenWrite).tocs(),
                 ("The file " + path +
                  " cannot be opened for write possibly because it is in use by another process")
                     .c_str());
}

TEST(FileOpenForensic, EmptyNameMessageHasNoName)
{
    EXPECT_STREQ(messageFor("", GfnOpenRead).tocs(), "The file  does not exist");
    FileOpenForensic reason = FileOpenMissing;
    EXPECT_TRUE(sp_FileOpenForensic("", GfnOpenRead, nullptr));
    EXPECT_TRUE(sp_FileOpenForensic("", GfnOpenRead, &reason));
    EXPECT_EQ(reason, FileOpenMissing);
    EXPECT_TRUE(sp_FileOpenForensicMsg("", GfnOpenRead, nullptr));
}

// The privilege cases need a user without rights: as root, a child process
// drops to an unprivileged user and reports each answer through its code.
KVTEST_CHILD(forensic_unprivileged)
{
    if (setgid(65534) != 0 || setuid(65534) != 0)
        return 90;
    std::string dir = args.value(0).toStdString();
    FileOpenForensic r = FileOpenInternalError;
    sp_FileOpenForensic((dir + "/secret").c_str(), GfnOpenRead, &r);
    if (r != FileOpenReadDenied)
        return 1;
    sp_FileOpenForensic((dir + "/secret").c_str(), GfnOpenWrite, &r);
    if (r != FileOpenWriteDenied)
        return 2;
    sp_FileOpenForensic((dir + "/absent").c_str(), GfnOpenWrite, &r);
    if (r != FileOpenDirectoryDenied)
        return 3;
    YString m;
    sp_FileOpenForensicMsg((dir + "/secret").c_str(), GfnOpenRead, &m);
    if (m != YString(("The file " + dir + "/secret cannot be opened for read because of insufficient privilege").c_str()))
        return 4;
    sp_FileOpenForensicMsg((dir + "/secret").c_str(), GfnOpenWrite, &m);
    if (m != YString(("The file " + dir + "/secret cannot be opened for write because of insufficient privilege").c_str()))
        return 5;
    FileLock lock;
    if (lock.lock((dir + "/secret").c_str()) || lock.getError() != FileLockAccessDenied)
        return 6;
    if (sp_CheckFileOpen((dir + "/secret").c_str(), GfnOpenRead))
        return 7;
    return 0;
}

TEST(FileOpenForensic, PrivilegeCasesAsAnUnprivilegedUser)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to switch to an unprivileged user";
    std::string dir = kvtest::makeTempDir("priv");
    // Let the unprivileged user reach the directory (but not write in it).
    for (std::string p = dir; p.size() > 1 && p != "/tmp"; p = p.substr(0, p.rfind('/'))) {
        struct stat st;
        if (::stat(p.c_str(), &st) == 0)
            ::chmod(p.c_str(), (st.st_mode & 07777) | 0011);
        if (p == kvtest::tempRoot())
            break;
    }
    ::chmod(dir.c_str(), 0755);
    kvtest::writeFile(dir + "/secret", "x");
    ::chmod((dir + "/secret").c_str(), 0600);
    EXPECT_EQ(kvtest::runChild("forensic_unprivileged", {QString::fromStdString(dir)}), 0);
}
