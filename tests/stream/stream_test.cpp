// The stream framework: devices (file, memory), kvstream with its decryption
// hook, base64 sections, line reading, and the YString stream forms.
#include <kvsupport/kvstream.h>
#include <kvsupport/message.h>

#include "support/test_support.h"

#include <gtest/gtest.h>

#include <QFile>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

ino_t inodeOf(const std::string &path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 ? st.st_ino : 0;
}

std::string tempFile(const std::string &name)
{
    return kvtest::makeTempDir("stream") + "/" + name;
}

// Writes \p bytes into a base64 section of a new file and returns its text.
std::string base64FileText(const std::string &bytes)
{
    std::string path = tempFile("b64.txt");
    {
        kvfstream out(path.c_str(), KvOpenOut | KvOpenBinary);
        out.openBase64();
        EXPECT_EQ(out.write(bytes.data(), static_cast<unsigned>(bytes.size())), bytes.size());
        out.closeBase64();
    }
    return kvtest::readFile(path);
}

} // namespace

// ---- a stream without a device ----

TEST(KvStream, WithoutBufferGivesTheDocumentedDefaults)
{
    kvstream s;
    EXPECT_FALSE(static_cast<bool>(s));
    EXPECT_FALSE(s.fail());
    EXPECT_FALSE(s.eof());
    EXPECT_FALSE(s.writeFailed());
    EXPECT_EQ(s.write("abc", 3), 0u);
    EXPECT_EQ(s.tellg(), -1);
    EXPECT_EQ(s.seekg(5), -1);
    EXPECT_EQ(s.seekg(5, 1), -1);
    EXPECT_EQ(s.get(), 0) << "0, not -1";
    char c = 'x';
    s.get(c);
    EXPECT_EQ(c, 0);
    char buffer[8];
    EXPECT_EQ(s.read(buffer, 8), 0u);
    EXPECT_EQ(s.takeAndWrite(new char[10], 10), 0u) << "the block is still freed";
    EXPECT_EQ(s.takeAndwriteSharedBlock(1, 2, 3), 0);
    YString line("kept");
    EXPECT_FALSE(s.getline(&line));
    EXPECT_TRUE(line.isEmpty());
    s.printf("%d", 5);
    s << "text" << 1 << 2.5 << 'c';
    s.close();
    s.openBase64();
    s.closeBase64();
    EXPECT_EQ(s.rdbuf(), nullptr);
    EXPECT_FALSE(YString("abc").save(s));
    YString kept("kept");
    EXPECT_EQ(kept.restore(s, 0), 0);
    EXPECT_EQ(kept.restoreLong(s), 0);
    EXPECT_STREQ(kept.tocs(), "kept");
}

// ---- open modes ----

TEST(OpenMode, TableIsTestedInOrder)
{
    EXPECT_STREQ(kv_OpenModeString(KvOpenIn), "r");
    EXPECT_STREQ(kv_OpenModeString(KvOpenIn | KvOpenAppend), "r") << "the first row wins";
    EXPECT_STREQ(kv_OpenModeString(KvOpenOut), "w");
    EXPECT_STREQ(kv_OpenModeString(KvOpenOut | KvOpenExisting), "w");
    EXPECT_STREQ(kv_OpenModeString(KvOpenOut | KvOpenAppend), "a");
    EXPECT_STREQ(kv_OpenModeString(KvOpenAppend), "a");
    EXPECT_STREQ(kv_OpenModeString(KvOpenIn | KvOpenOut), "w+");
    EXPECT_STREQ(kv_OpenModeString(KvOpenIn | KvOpenOut | KvOpenExisting), "r+");
    EXPECT_STREQ(kv_OpenModeString(KvOpenIn | KvOpenOut | KvOpenAppend), "a+");
    EXPECT_STREQ(kv_OpenModeString(0), "r");
    EXPECT_STREQ(kv_OpenModeString(KvOpenBinary), "r");
    EXPECT_STREQ(kv_OpenModeString(3 | KvOpenBinary | KvOpenReplace), "w+");
}

TEST(OpenMode, BinaryReadMode0x81ReadsBytesAsTheyAre)
{
    std::string path = tempFile("bin.dat");
    std::string bytes("a\r\nb\0\xff", 6);
    kvtest::writeFile(path, bytes);
    kvfstream in(path.c_str(), 0x81);
    ASSERT_TRUE(static_cast<bool>(in));
    char got[16];
    EXPECT_EQ(in.read(got, 16), 6u);
    EXPECT_EQ(std::string(got, 6), bytes);
    EXPECT_TRUE(in.eof());
}

TEST(OpenMode, Mode3TruncatesAndMode19DoesNot)
{
    std::string path = tempFile("rw.txt");
    kvtest::writeFile(path, "0123456789");
    {
        kvfstream s(path.c_str(), 19);
        ASSERT_TRUE(static_cast<bool>(s));
        EXPECT_EQ(s.get(), '0');
        s.seekg(2);
        s.write("ab", 2);
    }
    EXPECT_EQ(kvtest::readFile(path), "01ab456789");
    {
        kvfstream s(path.c_str(), 3);
        ASSERT_TRUE(static_cast<bool>(s));
        EXPECT_EQ(s.getFileSize(), 0);
        s.write("xy", 2);
        s.seekg(0);
        EXPECT_EQ(s.get(), 'x');
    }
    EXPECT_EQ(kvtest::readFile(path), "xy");
}

TEST(OpenMode, Mode19OnMissingFileFailsWithoutMakingIt)
{
    std::string path = tempFile("none.txt");
    kvfstream s(path.c_str(), 19);
    EXPECT_FALSE(static_cast<bool>(s));
    EXPECT_FALSE(QFile::exists(QString::fromStdString(path)));
}

TEST(OpenMode, AppendModesAddAtTheEnd)
{
    std::string path = tempFile("app.txt");
    kvtest::writeFile(path, "one\n");
    {
        kvfstream s(path.c_str(), KvOpenOut | KvOpenAppend);
        s << "two\n";
    }
    {
        kvfstream s(path.c_str(), KvOpenIn | KvOpenOut | KvOpenAppend);
        s << "three\n";
        s.seekg(0);
        YString line;
        EXPECT_TRUE(s.getline(&line));
        EXPECT_STREQ(line.tocs(), "one");
    }
    EXPECT_EQ(kvtest::readFile(path), "one\ntwo\nthree\n");
}

TEST(OpenMode, ReplaceRemovesTheOldFileFirstOnlyWhenTruncating)
{
    std::string path = tempFile("rep.txt");
    kvtest::writeFile(path, "old");
    kvtest::writeFile(path + ".keep", "");
    ino_t before = inodeOf(path);
    int pin = ::open(path.c_str(), O_RDONLY); // keeps the old inode alive
    {
        kvfstream s(path.c_str(), KvOpenOut | KvOpenReplace);
        ASSERT_TRUE(static_cast<bool>(s));
        s << "new";
    }
    EXPECT_NE(inodeOf(path), before);
    EXPECT_EQ(kvtest::readFile(path), "new");
    ino_t second = inodeOf(path);
    {
        kvfstream s(path.c_str(), KvOpenOut);
        s << "plain";
    }
    EXPECT_EQ(inodeOf(path), second) << "without KvOpenReplace the file is truncated in place";
    {
        kvfstream s(path.c_str(), KvOpenOut | KvOpenAppend | KvOpenReplace);
        s << "+";
    }
    EXPECT_EQ(inodeOf(path), second) << "append doesn't truncate, so nothing is removed";
    EXPECT_EQ(kvtest::readFile(path), "plain+");
    ::close(pin);
}

TEST(OpenMode, ReplaceRemovesALinkEvenWhenItsTargetIsMissing)
{
    std::string dir = kvtest::makeTempDir("stream");
    std::string link = dir + "/link.txt";
    std::string target = dir + "/target.txt";
    ASSERT_EQ(::symlink(target.c_str(), link.c_str()), 0);
    {
        kvfstream s(link.c_str(), KvOpenOut | KvOpenReplace);
        ASSERT_TRUE(static_cast<bool>(s));
        s << "fresh";
    }
    struct stat st;
    ASSERT_EQ(::lstat(link.c_str(), &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode)) << "the link was removed and a new file made in its place";
    EXPECT_EQ(kvtest::readFile(link), "fresh");
    EXPECT_NE(::lstat(target.c_str(), &st), 0) << "nothing was written through the link";

    std::string live = dir + "/live.txt";
    kvtest::writeFile(target, "kept");
    ASSERT_EQ(::symlink(target.c_str(), live.c_str()), 0);
    {
        kvfstream s(live.c_str(), KvOpenOut | KvOpenReplace);
        ASSERT_TRUE(static_cast<bool>(s));
        s << "new";
    }
    EXPECT_EQ(kvtest::readFile(target), "kept") << "a live link is replaced the same way";
    EXPECT_EQ(kvtest::readFile(live), "new");
    {
        kvfstream s(link.c_str(), KvOpenOut);
        s << "plain";
    }
    EXPECT_EQ(kvtest::readFile(link), "plain");
}

TEST(OpenMode, ReplaceOfADirectoryOpensNothingAndKeepsIt)
{
    std::string dir = kvtest::makeTempDir("stream") + "/sub";
    ASSERT_EQ(::mkdir(dir.c_str(), 0700), 0);
    kvfstream s(dir.c_str(), KvOpenOut | KvOpenReplace);
    EXPECT_FALSE(static_cast<bool>(s));
    struct stat st;
    EXPECT_EQ(::stat(dir.c_str(), &st), 0);
}

TEST(OpenMode, EmptyOrNullNameOpensNothing)
{
    kvfstream a("", KvOpenOut);
    EXPECT_FALSE(static_cast<bool>(a));
    kvfstream b(static_cast<const char *>(nullptr), KvOpenIn);
    EXPECT_FALSE(static_cast<bool>(b));
    EXPECT_FALSE(b.open(nullptr, KvOpenIn, true)) << "a lock needs a name";
}

TEST(OpenMode, OpeningWithoutANameClosesWhatWasOpen)
{
    std::string path = tempFile("was.txt");
    kvtest::writeFile(path, "was open\n");
    kvfstream s(path.c_str(), KvOpenIn);
    ASSERT_TRUE(static_cast<bool>(s));
    EXPECT_FALSE(s.open("", KvOpenIn, false));
    EXPECT_FALSE(static_cast<bool>(s)) << "the old file is closed before the name is looked at";
    ASSERT_TRUE(s.open(path.c_str(), KvOpenIn, false));
    EXPECT_FALSE(s.open(nullptr, KvOpenIn, false));
    EXPECT_FALSE(static_cast<bool>(s));
    EXPECT_EQ(s.get(), -1);
}

TEST(OpenMode, AFailedOpenLeavesAClosedBuffer)
{
    std::string path = tempFile("open.txt");
    kvtest::writeFile(path, "text\n");
    kvfstream s(path.c_str(), KvOpenIn);
    ASSERT_TRUE(static_cast<bool>(s));
    std::string missing = kvtest::makeTempDir("stream") + "/no/such/file";
    EXPECT_FALSE(s.open(missing.c_str(), KvOpenIn, false));
    EXPECT_FALSE(static_cast<bool>(s));
    EXPECT_TRUE(s.eof());
    EXPECT_TRUE(s.fail());
}

// ---- locks on open ----

TEST(FileStreamLock, LockedElsewhereLeavesTheBufferAsItWas)
{
    std::string dir = kvtest::makeTempDir("stream");
    std::string first = dir + "/first.txt";
    std::string second = dir + "/second.txt";
    kvtest::writeFile(first, "first\n");
    kvtest::writeFile(second, "second\n");
    FileLock other;
    ASSERT_TRUE(other.lock(second.c_str()));
    kvfstream s(first.c_str(), KvOpenIn);
    ASSERT_TRUE(static_cast<bool>(s));
    EXPECT_FALSE(s.open(second.c_str(), KvOpenIn, true));
    ASSERT_TRUE(static_cast<bool>(s)) << "the first file is still open";
    YString line;
    EXPECT_TRUE(s.getline(&line));
    EXPECT_STREQ(line.tocs(), "first");
}

TEST(FileStreamLock, LockIsHeldWhileOpenAndGivenUpByClose)
{
    std::string path = tempFile("doc.txt");
    kvfstream s(path.c_str(), KvOpenOut, true);
    ASSERT_TRUE(static_cast<bool>(s));
    auto *device = dynamic_cast<kvfbuf *>(s.rdbuf());
    ASSERT_NE(device, nullptr);
    EXPECT_TRUE(device->getLock().locked());
    FileLock other;
    EXPECT_FALSE(other.lock(path.c_str()));
    EXPECT_EQ(other.getError(), FileLockInUse);
    s.close();
    EXPECT_FALSE(QFile::exists(QString::fromStdString(path + ".lck")));
    EXPECT_TRUE(other.lock(path.c_str()));
}

TEST(FileStreamLock, AFileThatDoesNotOpenKeepsNoLock)
{
    std::string path = kvtest::makeTempDir("stream") + "/missing/doc.txt";
    std::string dir = kvtest::makeTempDir("stream");
    kvfstream s;
    EXPECT_FALSE(s.open((dir + "/absent.txt").c_str(), KvOpenIn, true));
    EXPECT_FALSE(QFile::exists(QString::fromStdString(dir + "/absent.txt.lck")));
    FileLock other;
    EXPECT_TRUE(other.lock((dir + "/absent.txt").c_str()));
    EXPECT_FALSE(s.open(path.c_str(), KvOpenOut, true)) << "no directory for the lock file either";
}

TEST(FileStreamLock, ReopeningWithoutLockGivesUpTheLock)
{
    std::string path = tempFile("doc.txt");
    kvfstream s(path.c_str(), KvOpenOut, true);
    ASSERT_TRUE(static_cast<bool>(s));
    ASSERT_TRUE(s.open(path.c_str(), KvOpenIn, false));
    FileLock other;
    EXPECT_TRUE(other.lock(path.c_str()));
}

// ---- kvfbuf on a closed file ----

TEST(FileBuffer, ClosedBufferAnswersSafely)
{
    kvfbuf b;
    EXPECT_FALSE(static_cast<bool>(b));
    EXPECT_TRUE(b.eof());
    EXPECT_TRUE(b.fail());
    EXPECT_EQ(b.get(), -1);
    char buf[4];
    EXPECT_EQ(b.read(buf, 4), 0u);
    EXPECT_EQ(b.write("ab", 2), 0u);
    EXPECT_FALSE(b.writeFailed());
    EXPECT_EQ(b.seekg(10), 0);
    EXPECT_EQ(b.seekg(10, 2), 0);
    EXPECT_EQ(b.tellg(), -1);
    EXPECT_EQ(b.fd(), -1);
    EXPECT_EQ(b.getFileSize(), 0);
    EXPECT_EQ(b.detach(), nullptr);
    b.put('x');
    b.flush();
    b.openBase64();
    EXPECT_EQ(b.write("ab", 2), 0u);
    b.closeBase64();
    b.close();
    b.close();
}

TEST(FileBuffer, DetachGivesTheFileWithoutClosing)
{
    std::string path = tempFile("d.txt");
    kvtest::writeFile(path, "abc");
    kvfbuf b;
    ASSERT_TRUE(b.open(path.c_str(), KvOpenIn, false));
    EXPECT_GE(b.fd(), 0);
    EXPECT_EQ(b.getFileSize(), 3);
    FILE *f = b.detach();
    ASSERT_NE(f, nullptr);
    EXPECT_FALSE(static_cast<bool>(b));
    EXPECT_EQ(std::fgetc(f), 'a');
    std::fclose(f);
}

TEST(FileBuffer, SeekWhenceAndPositions)
{
    std::string path = tempFile("s.txt");
    kvtest::writeFile(path, "0123456789");
    kvfstream s(path.c_str(), KvOpenIn);
    EXPECT_EQ(s.seekg(3), 0);
    EXPECT_EQ(s.tellg(), 3);
    EXPECT_EQ(s.seekg(2, 1), 0);
    EXPECT_EQ(s.tellg(), 5);
    EXPECT_EQ(s.seekg(-1, 2), 0);
    EXPECT_EQ(s.get(), '9');
    EXPECT_EQ(s.seekg(-4, 7), 0) << "any other whence is from the end";
    EXPECT_EQ(s.get(), '6');
    EXPECT_EQ(s.seekg(-100, 0), -1);
}

TEST(FileBuffer, PositionsAreSixtyFourBit)
{
    std::string path = tempFile("big.dat");
    const long long far = 5LL * 1024 * 1024 * 1024 + 7;
    {
        kvfstream s(path.c_str(), KvOpenOut | KvOpenBinary);
        ASSERT_EQ(s.seekg(far), 0);
        EXPECT_EQ(s.tellg(), far);
        EXPECT_EQ(s.write("Z", 1), 1u);
        EXPECT_EQ(s.tellg(), far + 1);
    }
    kvfstream s(path.c_str(), KvOpenIn | KvOpenBinary);
    EXPECT_EQ(s.getFileSize(), far + 1);
    ASSERT_EQ(s.seekg(-1, 2), 0);
    EXPECT_EQ(s.tellg(), far);
    EXPECT_EQ(s.get(), 'Z');
    ::unlink(path.c_str());
}

TEST(FileBuffer, WriteAtWritesThereAndComesBack)
{
    std::string path = tempFile("w.txt");
    kvfstream s(path.c_str(), KvOpenIn | KvOpenOut);
    s << "hello world";
    EXPECT_EQ(s.rdbuf()->writeAt(0, "J", 1), 1u);
    EXPECT_EQ(s.tellg(), 11);
    s << "!";
    s.close();
    EXPECT_EQ(kvtest::readFile(path), "Jello world!");
}

TEST(FileBuffer, TakeAndWriteWritesAndOwnsTheBlock)
{
    std::string path = tempFile("t.txt");
    {
        kvfstream s(path.c_str(), KvOpenOut);
        char *block = new char[5];
        std::memcpy(block, "block", 5);
        EXPECT_EQ(s.takeAndWrite(block, 5), 5u);
        EXPECT_EQ(s.rdbuf()->writeSync("+sync", 5), 5u);
        EXPECT_EQ(s.takeAndwriteSharedBlock(1, 1, 10), 0) << "no shared heap to take a block from";
    }
    EXPECT_EQ(kvtest::readFile(path), "block+sync");
}

TEST(FileStream, GetsAndNumbersInTheCLocale)
{
    std::string path = tempFile("n.txt");
    kvtest::writeFile(path, "first line\nsecond\n 42 -3.5e2 x");
    const char *previous = std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
    kvfstream s(path.c_str(), KvOpenIn);
    char line[64];
    ASSERT_NE(s.gets(line, sizeof line), nullptr);
    EXPECT_STREQ(line, "first line");
    ASSERT_NE(s.gets(line, sizeof line), nullptr);
    EXPECT_STREQ(line, "second");
    int i = 0;
    double d = 0;
    s >> i >> d;
    EXPECT_EQ(i, 42);
    EXPECT_EQ(d, -350.0);
    int unchanged = 7;
    s >> unchanged;
    EXPECT_EQ(unchanged, 7) << "no number: the value stays";
    EXPECT_EQ(s.gets(line, 0), nullptr);
    if (previous != nullptr)
        std::setlocale(LC_NUMERIC, "C");
    kvfstream closed;
    EXPECT_EQ(closed.gets(line, sizeof line), nullptr);
    closed >> i;
    EXPECT_EQ(closed.getFileSize(), 0);
}

TEST(FileStream, FromAnOpenFileAndOpenFileReplacesTheBuffer)
{
    std::string path = tempFile("f.txt");
    kvtest::writeFile(path, "xyz");
    FILE *f = std::fopen(path.c_str(), "r");
    kvfstream s(f);
    EXPECT_EQ(s.get(), 'x');
    FILE *g = std::fopen(path.c_str(), "r");
    s.open(g);
    EXPECT_EQ(s.get(), 'x');
    EXPECT_EQ(s.getFileSize(), 3);
}

// ---- text output ----

TEST(TextOutput, OperatorsAndPrintfAreByteExact)
{
    std::string path = tempFile("o.txt");
    const char *previous = std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
    {
        kvfstream s(path.c_str(), KvOpenOut | KvOpenBinary);
        const char *none = nullptr;
        s << none << ' ' << -12 << ' ' << 2.5 << ' ' << 1e20 << ' ' << "end";
        s.printf("|%5.2f|%s|%d\n", 3.14159, "x", 7);
        s.put('!');
        s.flush();
        EXPECT_FALSE(s.writeFailed());
    }
    if (previous != nullptr)
        std::setlocale(LC_NUMERIC, "C");
    EXPECT_EQ(kvtest::readFile(path), "(null) -12 2.5 1e+20 end| 3.14|x|7\n!");
}

TEST(TextOutput, NumbersFollowPercentDAndPercentG)
{
    kvstrstream s;
    s << 0.1 << ' ' << 1e-5 << ' ' << 123456789.0 << ' ' << -0.0 << ' ' << 100000.0 << ' ' << 1000000.0;
    s << ' ' << (-2147483647 - 1) << ' ' << 0;
    EXPECT_EQ(std::string(s.getString()), "0.1 1e-05 1.23457e+08 -0 100000 1e+06 -2147483648 0");
}

// ---- memory device ----

TEST(StringBuffer, EofTurnsTrueOnlyOnTheReadAfterTheLast)
{
    kvstrstream s("ab");
    EXPECT_EQ(s.get(), 'a');
    EXPECT_EQ(s.get(), 'b');
    EXPECT_FALSE(s.eof()) << "after the last byte";
    EXPECT_EQ(s.get(), -1);
    EXPECT_TRUE(s.eof());
    s.write("c", 1);
    EXPECT_FALSE(s.eof()) << "a write clears the end flag";
    EXPECT_EQ(s.get(), 'c');
}

TEST(StringBuffer, ReadSetsTheEndFlagBeforeReading)
{
    kvstrstream s("abc");
    char buf[8];
    EXPECT_EQ(s.read(buf, 8), 3u);
    EXPECT_FALSE(s.eof());
    EXPECT_EQ(s.read(buf, 8), 0u);
    EXPECT_TRUE(s.eof());
    EXPECT_EQ(s.rdbuf()->read(buf, 0x7FFFFFFF), 0u);
    EXPECT_EQ(s.rdbuf()->write("x", 0x7FFFFFFF), 0u);
}

TEST(StringBuffer, ByteFFLooksLikeTheEnd)
{
    kvstrstream s("a\xff" "b");
    EXPECT_EQ(s.get(), 'a');
    EXPECT_EQ(s.get(), -1);
    EXPECT_FALSE(s.eof());
    EXPECT_EQ(s.get(), 'b');
}

TEST(StringBuffer, BytesAbove127ComeBackSigned)
{
    kvstrstream s("\x80\xfe" "a");
    EXPECT_EQ(s.get(), -128);
    EXPECT_EQ(s.get(), -2);
    EXPECT_EQ(s.get(), 'a');
    EXPECT_FALSE(s.eof());
    kvstrstream d("\x80\xfe\n");
    struct Unused : EncryptInterface {
        int decrypt(const char *, char *, int *) override { return 1; }
        void encryptedSectionEnded() override {}
    } hook;
    d.setAllowEncryption(&hook);
    EXPECT_EQ(d.get(), 0x80) << "the queue of decoded lines gives 0 to 255";
    EXPECT_EQ(d.get(), 0xfe);
    EXPECT_EQ(d.get(), '\n');
    EXPECT_EQ(d.get(), -1);
}

TEST(StringBuffer, AnOversizedWriteStillClearsTheEndFlag)
{
    kvstrstream s("a");
    EXPECT_EQ(s.get(), 'a');
    EXPECT_EQ(s.get(), -1);
    ASSERT_TRUE(s.eof());
    EXPECT_EQ(s.rdbuf()->write("x", 0x80000000u), 0u);
    EXPECT_FALSE(s.eof());
    EXPECT_EQ(s.getNumBytes(), 1) << "nothing was added";
    EXPECT_EQ(s.rdbuf()->write(nullptr, 3), 0u);
    EXPECT_EQ(s.getNumBytes(), 1);
}

TEST(StringBuffer, ConstructorsKeepNulBytes)
{
    kvstrstream a(static_cast<const char *>(nullptr));
    EXPECT_EQ(a.getNumBytes(), 0);
    EXPECT_STREQ(a.getString(), "");
    kvstrstream b("a\0b", 3);
    EXPECT_EQ(b.getNumBytes(), 3);
    EXPECT_EQ(std::memcmp(b.getString(), "a\0b", 4), 0) << "terminated after the bytes";
    EXPECT_TRUE(static_cast<bool>(b));
    EXPECT_FALSE(b.fail());
}

TEST(StringBuffer, SeekClampsAndChecksBounds)
{
    kvstrstream s("0123456789");
    EXPECT_EQ(s.seekg(4), 4);
    EXPECT_EQ(s.tellg(), 4);
    EXPECT_EQ(s.get(), '4');
    EXPECT_EQ(s.seekg(-5), 0);
    EXPECT_EQ(s.seekg(50), 10);
    EXPECT_EQ(s.seekg(2147483646LL), 10);
    EXPECT_EQ(s.seekg(2147483647LL), -1);
    EXPECT_EQ(s.seekg(-2147483647LL), 0);
    EXPECT_EQ(s.seekg(-2147483648LL), -1);
    EXPECT_EQ(s.tellg(), 0);
    EXPECT_EQ(s.seekg(3, 0), 3);
    EXPECT_EQ(s.seekg(2, 1), 5);
    EXPECT_EQ(s.seekg(-1, 2), 9);
    EXPECT_EQ(s.get(), '9');
    EXPECT_EQ(s.seekg(-20, 1), 0);
    EXPECT_EQ(s.seekg(1, 2), 10);
    EXPECT_EQ(s.seekg(3000000000LL, 1), -1);
}

TEST(StringBuffer, FlushKeepsTheReadPositionSoGetGivesZero)
{
    kvstrstream s("abc");
    EXPECT_EQ(s.get(), 'a');
    EXPECT_EQ(s.get(), 'b');
    s.flush();
    EXPECT_EQ(s.getNumBytes(), 0);
    EXPECT_STREQ(s.getString(), "");
    EXPECT_EQ(s.get(), 0) << "past the length after a flush: 0, not -1";
    EXPECT_EQ(s.get(), -1);
    s << "xy";
    EXPECT_EQ(s.get(), 'x');
}

TEST(StringBuffer, WriteAtAppendsAndKeepsTheReadPosition)
{
    kvstrstream s("abc");
    EXPECT_EQ(s.get(), 'a');
    EXPECT_EQ(s.rdbuf()->writeAt(0, "X", 1), 1u);
    EXPECT_EQ(std::string(s.getString()), "abcX") << "a memory device always adds at the end";
    EXPECT_EQ(s.tellg(), 1);
    EXPECT_EQ(s.get(), 'b');
}

TEST(StringBuffer, GrowsPastItsFirst80Bytes)
{
    kvstrstream s;
    std::string text;
    for (int i = 0; i < 1000; ++i)
        text += static_cast<char>('a' + i % 26);
    s << text.c_str();
    EXPECT_EQ(s.getNumBytes(), 1000);
    EXPECT_EQ(std::string(s.getString()), text);
}

// ---- line reading ----

TEST(GetLine, LastLineWithoutLineFeedIsNotDelivered)
{
    kvstrstream s("one\ntwo\nlast");
    YString line;
    EXPECT_TRUE(s.getline(&line));
    EXPECT_STREQ(line.tocs(), "one");
    EXPECT_TRUE(s.getline(&line));
    EXPECT_STREQ(line.tocs(), "two");
    EXPECT_FALSE(s.getline(&line));
    EXPECT_TRUE(line.isEmpty());
    EXPECT_FALSE(s.getline(&line));
}

TEST(GetLine, FileWithLastLineWithoutLineFeed)
{
    std::string path = tempFile("l.txt");
    kvtest::writeFile(path, "R1 1 0 1k\r\n\nC1 1 0 1u");
    kvfstream s(path.c_str(), KvOpenIn | KvOpenBinary);
    YString line("x");
    EXPECT_TRUE(s.getline(&line));
    EXPECT_STREQ(line.tocs(), "R1 1 0 1k\r") << "carriage returns are the caller's";
    EXPECT_TRUE(s.getline(&line));
    EXPECT_STREQ(line.tocs(), "");
    EXPECT_FALSE(s.getline(&line));
    EXPECT_STREQ(line.tocs(), "");
    EXPECT_FALSE(s.getline(&line));
}

TEST(GetLine, LongLinesAreWholeAndAnUnendedTailKeepsWhole511Chunks)
{
    std::string longLine(1500, 'q');
    std::string tail(1100, 't');
    kvstrstream s((longLine + "\n" + tail).c_str());
    YString line;
    EXPECT_TRUE(s.getline(&line));
    EXPECT_EQ(std::string(line.tocs()), longLine);
    EXPECT_FALSE(s.getline(&line));
    EXPECT_EQ(line.length(), 1022) << "two whole chunks of 511";
}

TEST(GetLine, AnUnendedTailIsKeptOnlyFromAWhole511Characters)
{
    std::string path = tempFile("tail.txt");
    for (int length : {510, 511, 512}) {
        std::string tail(static_cast<std::size_t>(length), 'z');
        kvtest::writeFile(path, "x\n" + tail);
        kvfstream file(path.c_str(), KvOpenIn | KvOpenBinary);
        kvstrstream memory(("x\n" + tail).c_str());
        for (kvstream *s : {static_cast<kvstream *>(&file), static_cast<kvstream *>(&memory)}) {
            YString line;
            ASSERT_TRUE(s->getline(&line));
            EXPECT_STREQ(line.tocs(), "x");
            EXPECT_FALSE(s->getline(&line));
            EXPECT_EQ(line.length(), length < 511 ? 0 : 511) << "tail of " << length;
        }
    }
}

TEST(GetLine, ALineOfExactly511CharactersIsWhole)
{
    std::string text(511, 'k');
    kvstrstream s((text + "\n" + text + "\n").c_str());
    YString line;
    ASSERT_TRUE(s.getline(&line));
    EXPECT_EQ(std::string(line.tocs()), text);
    ASSERT_TRUE(s.getline(&line));
    EXPECT_EQ(std::string(line.tocs()), text) << "the string is emptied first";
    EXPECT_FALSE(s.getline(&line));
}

TEST(GetLine, EmptyStreamAndNullLine)
{
    kvstrstream s;
    YString line("x");
    EXPECT_FALSE(s.getline(&line));
    EXPECT_TRUE(line.isEmpty());
    EXPECT_FALSE(s.getline(static_cast<YString *>(nullptr)));
}

TEST(GetLineChars, StopsAtLineFeedByteFFOrEnd)
{
    std::string path = tempFile("c.txt");
    kvtest::writeFile(path, std::string("ab\ncd\xff" "ef", 8));
    kvfstream s(path.c_str(), KvOpenIn | KvOpenBinary);
    char line[16];
    std::memset(line, '#', sizeof line);
    s.getline(line, 16);
    EXPECT_STREQ(line, "ab");
    s.getline(line, 16);
    EXPECT_STREQ(line, "cd");
    s.getline(line, 16);
    EXPECT_STREQ(line, "ef");
}

TEST(GetLineChars, FullBufferHasNoTerminatorAndSizeZeroDoesNothing)
{
    kvstrstream s("abcdef\n");
    char line[8];
    std::memset(line, '#', sizeof line);
    s.getline(line, 0);
    EXPECT_EQ(line[0], '#');
    s.getline(line, 3);
    EXPECT_EQ(std::string(line, 4), "abc#");
    s.getline(line, 8);
    EXPECT_STREQ(line, "def");
    s.getline(nullptr, 8);
}

// ---- decryption hook ----

namespace {

// Decrypts "?@@<text>" to the text upper-cased with a marker, fails on a
// line containing "BAD", and counts what happens.
class TestDecryptor : public EncryptInterface {
public:
    int decrypt(const char *line, char *out, int *outLength) override {
        ++calls;
        lastLine = line;
        if (std::strstr(line, "BAD") != nullptr)
            return 17;
        std::string text = std::string("<") + (line + 3);
        for (char &c : text)
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        std::memcpy(out, text.data(), text.size());
        *outLength = static_cast<int>(text.size());
        return 0;
    }
    void encryptedSectionEnded() override { ++ended; }
    int calls = 0;
    int ended = 0;
    std::string lastLine;
};

// Returns an absurd output length, which must be cut to the 512 given.
class OversizeDecryptor : public EncryptInterface {
public:
    int decrypt(const char *, char *out, int *outLength) override {
        std::memset(out, 'z', 512);
        *outLength = 100000;
        return 0;
    }
    void encryptedSectionEnded() override {}
};

std::string readAll(kvstream &s)
{
    std::string all;
    for (int c = s.get(); c != -1; c = s.get())
        all += static_cast<char>(c);
    return all;
}

} // namespace

TEST(Decryption, PlainFileReadsAsNormalLineByLineWithCorrectCount)
{
    kvstrstream s("ab\ncd\n");
    TestDecryptor d;
    s.setAllowEncryption(&d);
    EXPECT_TRUE(s.encryptionAllowed());
    EXPECT_EQ(s.getCharCount(), 0);
    EXPECT_EQ(s.get(), 'a');
    EXPECT_EQ(s.getCharCount(), 1) << "3 taken, 2 still waiting";
    EXPECT_EQ(s.get(), 'b');
    EXPECT_EQ(s.get(), '\n');
    EXPECT_EQ(s.getCharCount(), 3);
    EXPECT_EQ(s.get(), 'c');
    EXPECT_EQ(s.getCharCount(), 4);
    EXPECT_EQ(readAll(s), "d\n");
    EXPECT_EQ(s.getCharCount(), 6);
    EXPECT_TRUE(s.eof());
    EXPECT_EQ(d.calls, 0);
    EXPECT_FALSE(s.lineIsEncrypted());
    EXPECT_EQ(s.getEncryptReturn(), 0);
}

TEST(Decryption, WithoutHookEveryGetCounts)
{
    kvstrstream s("abc");
    EXPECT_EQ(s.get(), 'a');
    EXPECT_EQ(s.getCharCount(), 1);
    readAll(s);
    EXPECT_EQ(s.getCharCount(), 4) << "the get that found the end counts too";
    s.clearCount();
    EXPECT_EQ(s.getCharCount(), 0);
    char buf[4];
    s.seekg(0);
    EXPECT_EQ(s.read(buf, 4), 3u);
    EXPECT_EQ(s.getCharCount(), 0) << "read goes straight to the device";
}

TEST(Decryption, EncryptedLinesAreReplacedAndTheEndIsNotified)
{
    kvstrstream s("plain\n?@@secret\n?@@more\nafter\n");
    TestDecryptor d;
    s.setAllowEncryption(&d);
    YString line;
    ASSERT_TRUE(s.getline(&line));
    EXPECT_STREQ(line.tocs(), "plain");
    EXPECT_FALSE(s.lineIsEncrypted());
    ASSERT_TRUE(s.getline(&line));
    EXPECT_STREQ(line.tocs(), "<SECRET");
    EXPECT_TRUE(s.lineIsEncrypted());
    EXPECT_EQ(d.lastLine, "?@@secret\n");
    EXPECT_EQ(s.getCharCount(), 6 + 10) << "an encrypted line counts what was read";
    ASSERT_TRUE(s.getline(&line));
    EXPECT_STREQ(line.tocs(), "<MORE");
    EXPECT_EQ(d.ended, 0);
    ASSERT_TRUE(s.getline(&line));
    EXPECT_STREQ(line.tocs(), "after");
    EXPECT_EQ(d.ended, 1);
    EXPECT_FALSE(s.lineIsEncrypted());
    EXPECT_FALSE(s.getline(&line));
    EXPECT_EQ(d.calls, 2);
}

TEST(Decryption, AfterAFailureLinesComeThroughUndecoded)
{
    kvstrstream s("?@@ok\n?@@BAD\n?@@again\n");
    TestDecryptor d;
    s.setAllowEncryption(&d);
    EXPECT_EQ(readAll(s), "<OK\n?@@BAD\n?@@again\n");
    EXPECT_EQ(s.getEncryptReturn(), 17);
    EXPECT_EQ(d.calls, 2) << "no line is passed to decrypt after the failure";
    EXPECT_FALSE(s.lineIsEncrypted()) << "the end of the data ends the encrypted section";
    EXPECT_EQ(d.ended, 1);
}

TEST(Decryption, LastLineWithoutLineFeedAndShortLines)
{
    kvstrstream s("?@\n?@@x");
    TestDecryptor d;
    s.setAllowEncryption(&d);
    EXPECT_EQ(readAll(s), "?@\n<X");
    EXPECT_TRUE(s.eof());
}

TEST(Decryption, GetLineDropsAnUnendedLastLine)
{
    kvstrstream s("?@@a\nplain\ntail");
    TestDecryptor d;
    s.setAllowEncryption(&d);
    YString line;
    ASSERT_TRUE(s.getline(&line));
    EXPECT_STREQ(line.tocs(), "<A");
    ASSERT_TRUE(s.getline(&line));
    EXPECT_STREQ(line.tocs(), "plain");
    EXPECT_FALSE(s.getline(&line));
    EXPECT_STREQ(line.tocs(), "");
    EXPECT_TRUE(s.eof());
    EXPECT_FALSE(s.getline(&line));
    EXPECT_EQ(s.getCharCount(), 15) << "every character taken, none waiting";
}

TEST(Decryption, GetLineCharsStopsAtByteFFFromTheQueue)
{
    std::string path = tempFile("ff.txt");
    kvtest::writeFile(path, std::string("ab\xff" "cd\n", 6));
    kvfstream s(path.c_str(), KvOpenIn | KvOpenBinary);
    TestDecryptor d;
    s.setAllowEncryption(&d);
    char line[16];
    s.getline(line, 16);
    EXPECT_STREQ(line, "ab") << "the queue gives 0xFF as 255, which ends the line";
    s.getline(line, 16);
    EXPECT_STREQ(line, "cd");
    EXPECT_EQ(s.getCharCount(), 6);
}

TEST(Decryption, OversizedOutputIsCutTo512)
{
    kvstrstream s("?@@x\n");
    OversizeDecryptor d;
    s.setAllowEncryption(&d);
    EXPECT_EQ(readAll(s), std::string(512, 'z'));
}

TEST(Decryption, ReadGoesThroughGetAndEofWaitsForTheQueue)
{
    std::string path = tempFile("e.txt");
    kvtest::writeFile(path, "?@@abc\nxyz\n");
    kvfstream s(path.c_str(), KvOpenIn);
    TestDecryptor d;
    s.setAllowEncryption(&d);
    char buf[32];
    EXPECT_EQ(s.read(buf, 3), 3u);
    EXPECT_EQ(std::string(buf, 3), "<AB");
    EXPECT_EQ(s.read(buf, 32), 6u);
    EXPECT_EQ(std::string(buf, 6), "C\nxyz\n");
    EXPECT_TRUE(s.eof());
}

TEST(Decryption, EofWaitsForTheQueueOnAMemoryDevice)
{
    kvstrstream s("ab");
    TestDecryptor d;
    s.setAllowEncryption(&d);
    EXPECT_EQ(s.get(), 'a');
    EXPECT_TRUE(s.rdbuf()->eof()) << "the whole unended line was taken";
    EXPECT_FALSE(s.eof()) << "'b' still waits in the queue";
    EXPECT_EQ(s.getCharCount(), 1);
    EXPECT_EQ(s.get(), 'b');
    EXPECT_TRUE(s.eof());
    EXPECT_EQ(s.get(), -1);
    EXPECT_EQ(s.getCharCount(), 2) << "with the hook, the end itself is not counted";
}

TEST(Decryption, TurningItOffAgainReadsDirectly)
{
    kvstrstream s("?@@a\n");
    TestDecryptor d;
    s.setAllowEncryption(&d);
    s.setAllowEncryption(nullptr);
    EXPECT_FALSE(s.encryptionAllowed());
    EXPECT_EQ(readAll(s), "?@@a\n");
}

// ---- transferBuffer ----

TEST(TransferBuffer, FromGetsAFreshEmptyBufferOfItsKind)
{
    std::string path = tempFile("tr.txt");
    kvfstream from(path.c_str(), KvOpenOut);
    kvfstream to;
    kvbuf *device = from.rdbuf();
    kvstream::transferBuffer(&from, &to);
    EXPECT_EQ(to.rdbuf(), device);
    ASSERT_NE(from.rdbuf(), nullptr);
    EXPECT_NE(dynamic_cast<kvfbuf *>(from.rdbuf()), nullptr);
    EXPECT_FALSE(static_cast<bool>(from)) << "closed";
    to << "moved";
    to.close();
    EXPECT_EQ(kvtest::readFile(path), "moved");

    kvstrstream a("abc");
    kvstrstream b("zz");
    kvstream::transferBuffer(&a, &b);
    EXPECT_STREQ(b.getString(), "abc");
    EXPECT_EQ(a.getNumBytes(), 0);
    EXPECT_NE(dynamic_cast<kvstrbuf *>(a.rdbuf()), nullptr);

    kvstream plain(new kvstrbuf);
    kvstrstream target;
    kvstream::transferBuffer(&plain, &target);
    EXPECT_EQ(plain.rdbuf(), nullptr) << "a plain kvstream gets none";
    kvstream::transferBuffer(&target, &target);
    kvstream::transferBuffer(nullptr, &target);
    EXPECT_NE(target.rdbuf(), nullptr);
}

TEST(StreamCopy, ACopySharesTheDeviceAndTheOwnerStaysLast)
{
    kvstrstream owner("abc");
    {
        kvstream copy(owner);
        EXPECT_EQ(copy.rdbuf(), owner.rdbuf());
        EXPECT_EQ(copy.get(), 'a');
    }
    EXPECT_EQ(owner.get(), 'b') << "the copy's end left the device alone";
}

// ---- base64 sections ----

TEST(Base64, FourZeroBytes)
{
    EXPECT_EQ(base64FileText(std::string(4, '\0')), "AAAAAA==");
}

TEST(Base64, PaddingOfOneAndTwoBytes)
{
    EXPECT_EQ(base64FileText("M"), "TQ==");
    EXPECT_EQ(base64FileText("Ma"), "TWE=");
    EXPECT_EQ(base64FileText("Man"), "TWFu");
    EXPECT_EQ(base64FileText(""), "");
}

TEST(Base64, ABlockOf3000BytesIs50LinesOf80)
{
    std::string bytes;
    for (int i = 0; i < 3000; ++i)
        bytes += static_cast<char>(i * 7 + 3);
    std::string text = base64FileText(bytes);
    ASSERT_EQ(text.size(), 50u * 81u);
    for (int line = 0; line < 50; ++line) {
        EXPECT_EQ(text[static_cast<std::size_t>(line * 81 + 80)], '\n');
        EXPECT_EQ(text.substr(static_cast<std::size_t>(line * 81), 80).find('\n'), std::string::npos);
    }
}

TEST(Base64, LineCounterRestartsWithEachBlock)
{
    std::string bytes(3000 + 63, 'A');
    std::string text = base64FileText(bytes);
    ASSERT_EQ(text.size(), 50u * 81u + 84u + 1u);
    std::string second = text.substr(50 * 81);
    EXPECT_EQ(second[80], '\n');
    EXPECT_EQ(second.substr(81), "QUFB");
}

TEST(Base64, RoundTripThroughSeveralBlocksAndSmallWrites)
{
    std::string bytes;
    for (int i = 0; i < 10007; ++i)
        bytes += static_cast<char>((i * 131) ^ (i >> 3));
    std::string path = tempFile("rt.txt");
    {
        kvfstream out(path.c_str(), KvOpenOut | KvOpenBinary);
        out << "header\n";
        out.openBase64();
        for (std::size_t i = 0; i < bytes.size(); i += 1000)
            out.write(bytes.data() + i, static_cast<unsigned>(std::min<std::size_t>(1000, bytes.size() - i)));
        out.rdbuf()->put('!');
        out.closeBase64();
        out << "\n.trailer\n";
    }
    kvfstream in(path.c_str(), KvOpenIn | KvOpenBinary);
    YString line;
    ASSERT_TRUE(in.getline(&line));
    EXPECT_STREQ(line.tocs(), "header");
    in.openBase64();
    std::vector<char> got(bytes.size() + 100);
    EXPECT_EQ(in.read(got.data(), static_cast<unsigned>(bytes.size())), bytes.size());
    char last[10];
    EXPECT_EQ(in.read(last, 10), 1u) << "a short count ends the section";
    EXPECT_EQ(last[0], '!');
    in.closeBase64();
    EXPECT_EQ(std::string(got.data(), bytes.size()), bytes);
    ASSERT_TRUE(in.getline(&line));
    EXPECT_STREQ(line.tocs(), ".trailer") << "decoding stopped at the '.' and put it back";
}

TEST(Base64, ReadingSkipsWhiteSpaceAndStopsAtAnInvalidCharacter)
{
    std::string path = tempFile("ws.txt");
    kvtest::writeFile(path, "TW\r\n Fu\tTW\nFu.rest");
    kvfstream in(path.c_str(), KvOpenIn | KvOpenBinary);
    in.openBase64();
    char buf[16];
    EXPECT_EQ(in.read(buf, 16), 6u);
    EXPECT_EQ(std::string(buf, 6), "ManMan");
    in.closeBase64();
    EXPECT_EQ(in.get(), '.') << "the invalid character is put back";
}

TEST(Base64, PaddedGroupEndsThePassAndAGroupCutShortGivesNothing)
{
    std::string path = tempFile("pad.txt");
    kvtest::writeFile(path, "TQ==TWFu");
    kvfstream in(path.c_str(), KvOpenIn | KvOpenBinary);
    in.openBase64();
    char buf[16];
    EXPECT_EQ(in.read(buf, 16), 1u);
    EXPECT_EQ(buf[0], 'M');
    EXPECT_EQ(in.read(buf, 16), 3u) << "the next read goes on after the padding";
    EXPECT_EQ(std::string(buf, 3), "Man");
    in.closeBase64();

    kvtest::writeFile(path, "TWFuTW");
    kvfstream cut(path.c_str(), KvOpenIn | KvOpenBinary);
    cut.openBase64();
    EXPECT_EQ(cut.read(buf, 16), 3u);
    EXPECT_EQ(cut.read(buf, 16), 0u);
}

TEST(Base64, BytesAbove127AreInvalid)
{
    std::string path = tempFile("hi.txt");
    kvtest::writeFile(path, "TWFu\xc3\xa9");
    kvfstream in(path.c_str(), KvOpenIn | KvOpenBinary);
    in.openBase64();
    char buf[8];
    EXPECT_EQ(in.read(buf, 8), 3u);
    in.closeBase64();
    EXPECT_EQ(in.get(), 0xc3);
}

TEST(Base64, OpeningASecondSectionEndsTheFirst)
{
    std::string path = tempFile("two.txt");
    {
        kvfstream out(path.c_str(), KvOpenOut | KvOpenBinary);
        out.openBase64();
        out.write("M", 1);
        out.openBase64();
        out.write("a", 1);
        out.closeBase64();
        out.closeBase64();
    }
    EXPECT_EQ(kvtest::readFile(path), "TQ==YQ==");
}

TEST(Base64, PadInTheThirdPlaceDropsOnlyTheSecondByte)
{
    std::string path = tempFile("odd.txt");
    kvtest::writeFile(path, "TQ=BTWFu");
    kvfstream in(path.c_str(), KvOpenIn | KvOpenBinary);
    in.openBase64();
    char buf[16];
    ASSERT_EQ(in.read(buf, 16), 2u) << "first byte, no second, a third from 'B', and the pass ends";
    EXPECT_EQ(buf[0], 'M');
    EXPECT_EQ(buf[1], '\x01');
    EXPECT_EQ(in.read(buf, 16), 3u);
    EXPECT_EQ(std::string(buf, 3), "Man");
}

TEST(Base64, TheFirstByteOfAGroupAlwaysComesOut)
{
    std::string path = tempFile("pads.txt");
    kvtest::writeFile(path, "====TQ==");
    kvfstream in(path.c_str(), KvOpenIn | KvOpenBinary);
    in.openBase64();
    char buf[16] = {1, 1};
    ASSERT_EQ(in.read(buf, 16), 1u) << "a group of four pads still gives its first byte";
    EXPECT_EQ(buf[0], '\0');
    ASSERT_EQ(in.read(buf, 16), 1u);
    EXPECT_EQ(buf[0], 'M');
    EXPECT_EQ(in.read(buf, 16), 0u);
}

TEST(Base64, OnlyBlankTabLineFeedAndReturnAreSkipped)
{
    std::string path = tempFile("ff.txt");
    kvtest::writeFile(path, "TWFu\fTWFu");
    kvfstream in(path.c_str(), KvOpenIn | KvOpenBinary);
    in.openBase64();
    char buf[16];
    EXPECT_EQ(in.read(buf, 16), 3u);
    in.closeBase64();
    EXPECT_EQ(in.get(), '\f') << "a form feed is invalid and is put back";
    kvtest::writeFile(path, "TW\vFu");
    kvfstream vt(path.c_str(), KvOpenIn | KvOpenBinary);
    vt.openBase64();
    EXPECT_EQ(vt.read(buf, 16), 0u) << "a group cut short by an invalid character gives nothing";
}

TEST(Base64, SmallReadsAcrossBlocksGiveTheSameBytes)
{
    std::string bytes;
    for (int i = 0; i < 7001; ++i)
        bytes += static_cast<char>(i * 37 + (i >> 5));
    std::string path = tempFile("small.txt");
    kvtest::writeFile(path, base64FileText(bytes) + "#");
    kvfstream in(path.c_str(), KvOpenIn | KvOpenBinary);
    in.openBase64();
    std::string got;
    char piece[7];
    unsigned n = 0;
    while ((n = in.read(piece, sizeof piece)) == sizeof piece)
        got.append(piece, n);
    got.append(piece, n);
    EXPECT_EQ(got.size(), bytes.size());
    EXPECT_EQ(got, bytes);
    EXPECT_EQ(n, static_cast<unsigned>(7001 % 7)) << "the short count is the end of the section";
    in.closeBase64();
    EXPECT_EQ(in.get(), '#');
}

TEST(Base64, ExactlyOneBlockReadsWholeThenNothing)
{
    std::string bytes(3000, '\x5a');
    std::string path = tempFile("one.txt");
    kvtest::writeFile(path, base64FileText(bytes));
    kvfstream in(path.c_str(), KvOpenIn | KvOpenBinary);
    in.openBase64();
    std::vector<char> got(4000);
    EXPECT_EQ(in.read(got.data(), 4000), 3000u);
    EXPECT_EQ(std::string(got.data(), 3000), bytes);
    EXPECT_EQ(in.read(got.data(), 10), 0u);
}

TEST(Base64, PendingBlockIsNotWrittenByCloseAlone)
{
    std::string path = tempFile("lost.txt");
    kvfstream out(path.c_str(), KvOpenOut);
    out.openBase64();
    out.write("abc", 3);
    out.close();
    EXPECT_EQ(kvtest::readFile(path), "");
}

TEST(Base64, GetIgnoresTheSection)
{
    std::string path = tempFile("g.txt");
    kvtest::writeFile(path, "TWFu");
    kvfstream in(path.c_str(), KvOpenIn);
    in.openBase64();
    EXPECT_EQ(in.get(), 'T');
    in.openBase64();
    char buf[4];
    EXPECT_EQ(in.read(buf, 4), 0u) << "'WFu' is a group cut short";
}

// ---- YString stream forms ----

TEST(YStringStreamForm, SaveWritesA16BitLengthAndCutsAt32767)
{
    kvstrstream s;
    EXPECT_TRUE(YString("abc").save(s));
    EXPECT_EQ(s.getNumBytes(), 5);
    EXPECT_EQ(std::string(s.getString(), 5), std::string("\x03\x00" "abc", 5));
    kvstrstream big;
    std::string text(40000, 'k');
    EXPECT_TRUE(YString(text.c_str()).save(big));
    EXPECT_EQ(big.getNumBytes(), 2 + 32767);
    EXPECT_EQ(std::string(big.getString(), 2), std::string("\xff\x7f", 2));
    YString back;
    EXPECT_EQ(back.restore(big, 0), 1);
    EXPECT_EQ(back.length(), 32767);
}

TEST(YStringStreamForm, TheCutIsAt32767Exactly)
{
    std::string text(32768, 'a');
    text[32766] = 'y';
    text[32767] = 'z';
    kvstrstream cut;
    EXPECT_TRUE(YString(text.c_str()).save(cut));
    EXPECT_EQ(cut.getNumBytes(), 2 + 32767);
    YString back;
    ASSERT_EQ(back.restore(cut, 0), 1);
    ASSERT_EQ(back.length(), 32767);
    EXPECT_EQ(back.tocs()[32766], 'y') << "the first 32767 bytes are kept";
    kvstrstream whole;
    EXPECT_TRUE(YString(text.c_str(), 32767).save(whole));
    EXPECT_EQ(whole.getNumBytes(), 2 + 32767);
    EXPECT_EQ(std::string(whole.getString(), 2), std::string("\xff\x7f", 2));
    YString limited("keep");
    EXPECT_EQ(limited.restore(whole, 32766), 0) << "32767 exceeds a limit of 32766";
    EXPECT_STREQ(limited.tocs(), "keep");
}

TEST(YStringStreamForm, SaveReportsADeviceThatTakesNothing)
{
    kvfstream closed;
    EXPECT_FALSE(YString("abc").save(closed));
    EXPECT_FALSE(YString("").save(closed));
    EXPECT_FALSE(YString("abc").saveLong(closed));
    EXPECT_FALSE(closed.write(YString("abc"), false));
    kvstrstream s;
    EXPECT_TRUE(YString("").save(s));
    EXPECT_TRUE(YString("").saveLong(s));
    EXPECT_EQ(std::string(s.getString(), 6), std::string(6, '\0')) << "a length and no text";
    YString a("x");
    EXPECT_EQ(s.read(&a, false), 1);
    EXPECT_STREQ(a.tocs(), "");
    EXPECT_EQ(s.read(static_cast<YString *>(nullptr), false), 0);
}

TEST(YStringStreamForm, SaveGoesThroughTheDeviceSoABase64SectionHoldsIt)
{
    std::string path = tempFile("ys64.txt");
    {
        kvfstream out(path.c_str(), KvOpenOut | KvOpenBinary);
        out.openBase64();
        EXPECT_TRUE(YString("abc").save(out));
        out.closeBase64();
        out << "\n.end\n";
    }
    EXPECT_EQ(kvtest::readFile(path), "AwBhYmM=\n.end\n");
    kvfstream in(path.c_str(), KvOpenIn | KvOpenBinary);
    in.openBase64();
    YString back;
    EXPECT_EQ(back.restore(in, 0), 1);
    EXPECT_STREQ(back.tocs(), "abc");
    in.closeBase64();
    YString line;
    EXPECT_TRUE(in.getline(&line));
    EXPECT_STREQ(line.tocs(), "");
    EXPECT_TRUE(in.getline(&line));
    EXPECT_STREQ(line.tocs(), ".end");
}

TEST(YStringStreamForm, RestoreRulesAndLimit)
{
    kvstrstream s;
    YString("hello").save(s);
    YString("").save(s);
    YString("toolong").save(s);
    YString a("x");
    EXPECT_EQ(a.restore(s, 5), 1);
    EXPECT_STREQ(a.tocs(), "hello");
    EXPECT_EQ(a.restore(s, 5), 1);
    EXPECT_STREQ(a.tocs(), "");
    YString b("keep");
    EXPECT_EQ(b.restore(s, 5), 0) << "7 exceeds the limit";
    EXPECT_STREQ(b.tocs(), "keep");
}

TEST(YStringStreamForm, NegativeLengthIsEmptyAndShortTextFails)
{
    kvstrstream neg(std::string("\xff\xff" "zz", 4).c_str(), 4);
    YString a("x");
    EXPECT_EQ(a.restore(neg, 0), 1);
    EXPECT_STREQ(a.tocs(), "");
    kvstrstream cut(std::string("\x09\x00" "abc", 5).c_str(), 5);
    YString b("keep");
    EXPECT_EQ(b.restore(cut, 0), 0);
    EXPECT_STREQ(b.tocs(), "keep");
    kvstrstream half("\x05", 1);
    EXPECT_EQ(b.restore(half, 0), 0);
    EXPECT_STREQ(b.tocs(), "keep");
}

TEST(YStringStreamForm, AtTheEndOfAFileRestoreFails)
{
    std::string path = tempFile("ys.bin");
    {
        kvfstream out(path.c_str(), KvOpenOut | KvOpenBinary);
        EXPECT_TRUE(YString("net").save(out));
        EXPECT_TRUE(YString("longer form").saveLong(out));
    }
    EXPECT_EQ(kvtest::readFile(path), std::string("\x03\x00net\x0b\x00\x00\x00longer form", 20));
    kvfstream in(path.c_str(), KvOpenIn | KvOpenBinary);
    YString a;
    EXPECT_EQ(in.read(&a, false), 1);
    EXPECT_STREQ(a.tocs(), "net");
    EXPECT_EQ(in.read(&a, true), 1);
    EXPECT_STREQ(a.tocs(), "longer form");
    YString keep("keep");
    EXPECT_EQ(keep.restore(in, 0), 0);
    EXPECT_STREQ(keep.tocs(), "keep");
}

TEST(YStringStreamForm, LongFormHasNoCutAndAHugeFalseLengthFailsCleanly)
{
    kvstrstream s;
    std::string text(40000, 'L');
    EXPECT_TRUE(s.write(YString(text.c_str()), true));
    EXPECT_EQ(s.getNumBytes(), 40004);
    YString back;
    EXPECT_EQ(s.read(&back, true), 1);
    EXPECT_EQ(back.length(), 40000);
    kvstrstream lie(std::string("\xff\xff\xff\x7f" "ab", 6).c_str(), 6);
    YString keep("keep");
    EXPECT_EQ(keep.restoreLong(lie), 0);
    EXPECT_STREQ(keep.tocs(), "keep");
}

TEST(YStringStreamForm, RestoreThroughDecryptionUsesTheQueue)
{
    kvstrstream s(std::string("\x02\x00hi\n", 5).c_str(), 5);
    TestDecryptor d;
    s.setAllowEncryption(&d);
    YString a;
    EXPECT_EQ(a.restore(s, 0), 1) << "the buffer is at its end but the queue still holds the text";
    EXPECT_STREQ(a.tocs(), "hi");
}

// ---- write failures ----

// Writes 64 KiB blocks under a file size limit of 100000 bytes and reports
// through its exit code whether every count and flag was right.
KVTEST_CHILD(stream_full_device)
{
    std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = {100000, 100000};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
        return 90;
    std::string path = args.value(0).toStdString();
    std::vector<char> block(65536, 'w');
    long long reported = 0;
    {
        kvfstream out(path.c_str(), KvOpenOut | KvOpenBinary);
        if (!out)
            return 91;
        unsigned first = out.write(block.data(), 65536);
        if (first != 65536 || out.writeFailed())
            return 1;
        unsigned second = out.write(block.data(), 65536);
        if (second != 100000 - 65536 || !out.writeFailed())
            return 2;
        unsigned third = out.write(block.data(), 65536);
        if (third != 0 || !out.writeFailed())
            return 3;
        reported = first + second + third;
        out.close();
        if (!out.writeFailed())
            return 4;
    }
    struct stat st;
    if (::stat(path.c_str(), &st) != 0 || st.st_size != reported)
        return 5;
    // Small writes are buffered: the failure shows by the flush at the latest.
    std::string small = path + ".small";
    kvfstream out(small.c_str(), KvOpenOut | KvOpenBinary);
    for (int i = 0; i < 300; ++i)
        out.write(block.data(), 1000);
    out.flush();
    if (!out.writeFailed())
        return 6;
    // A base64 section that can't be written is reported too.
    std::string encoded = path + ".b64";
    kvfstream b64(encoded.c_str(), KvOpenOut | KvOpenBinary);
    b64.openBase64();
    for (int i = 0; i < 60; ++i)
        b64.write(block.data(), 65536);
    b64.closeBase64();
    b64.flush();
    if (!b64.writeFailed())
        return 7;
    return 0;
}

TEST(WriteFailure, FullDeviceIsReportedAndNothingUnwrittenIsCounted)
{
    std::string path = tempFile("full.dat");
    EXPECT_EQ(kvtest::runChild("stream_full_device", {QString::fromStdString(path)}), 0);
}

// ---- message-handler streams and boxed text ----

TEST(HandlerStream, TextGoesToTheHandlerAsPrintfOutput)
{
    auto *collector = new StringMessageHandler;
    YRef<MessageHandler> handler(collector);
    {
        kvstdstream s(handler);
        s << "abc";
        s.printf("%d-%s", 5, "x");
        s << 1.5;
        EXPECT_TRUE(static_cast<bool>(s));
        EXPECT_FALSE(s.eof());
        EXPECT_FALSE(s.fail());
        EXPECT_EQ(s.get(), 0);
        char buf[4];
        EXPECT_EQ(s.read(buf, 4), 0u);
        EXPECT_EQ(s.tellg(), -1);
        EXPECT_EQ(s.seekg(0), -1);
        EXPECT_EQ(s.write("n\0m", 3), 3u) << "the count given comes back";
    }
    ASSERT_EQ(collector->getStrings().getCount(), 4);
    EXPECT_STREQ(collector->getStrings().at(0).tocs(), "abc");
    EXPECT_STREQ(collector->getStrings().at(1).tocs(), "5-x");
    EXPECT_STREQ(collector->getStrings().at(2).tocs(), "1.5");
    EXPECT_STREQ(collector->getStrings().at(3).tocs(), "n") << "the text stops at a NUL";
    EXPECT_EQ(collector->getPrintfCount(), 4);
    EXPECT_EQ(collector->getErrorCount(), 0);
}

TEST(HandlerStream, HtmlFormCountsAsPrintfToo)
{
    auto *collector = new StringMessageHandler;
    YRef<MessageHandler> handler(collector);
    kvstdstream_html s(handler);
    s << "<b>x</b>";
    ASSERT_EQ(collector->getStrings().getCount(), 1);
    EXPECT_STREQ(collector->getStrings().at(0).tocs(), "<b>x</b>");
    EXPECT_EQ(collector->getPrintfCount(), 1);
}

TEST(HandlerStream, DefaultHandlerAndEmptyHandler)
{
    kvstdstream s;
    EXPECT_EQ(s.write("abc", 3), 3u);
    kvstdstream_html h;
    EXPECT_EQ(h.write("abc", 3), 3u);
    kvstdstream none{YRef<MessageHandler>()};
    EXPECT_EQ(none.write("abc", 3), 0u) << "no handler, nothing written";
}

TEST(StreamBoxedText, StreamFormsWriteTheBoxByteExactly)
{
    kvstrstream s;
    sp_PrintBoxEdge(s, 12);
    sp_PrintSides(s, 12);
    sp_PrintLineCentred(s, "ab", 12);
    EXPECT_EQ(std::string(s.getString()), "************\n"
                                          "***      ***\n"
                                          "***  ab  ***\n");
    kvstrstream box;
    sp_PrintBoxedText(box, "ab\ncde\n", 13);
    EXPECT_EQ(std::string(box.getString()), "*************\n"
                                            "***       ***\n"
                                            "***   ab  ***\n"
                                            "***  cde  ***\n"
                                            "***       ***\n"
                                            "*************\n");
}

TEST(StreamBoxedText, NoTestForTheConsoleAndNothingWithoutDevice)
{
    auto *collector = new StringMessageHandler;
    YRef<MessageHandler> handler(collector);
    kvstdstream s(handler);
    sp_PrintBoxEdge(s, 3);
    ASSERT_EQ(collector->getStrings().getCount(), 2);
    EXPECT_STREQ(collector->getStrings().at(0).tocs(), "***");
    kvstream none;
    sp_PrintBoxedText(none, "x", 20);
    sp_PrintLineCentred(none, nullptr, 20);
}

TEST(GetLine, FileAndMemoryDevicesGiveTheSameLinesAndCounts)
{
    std::string text = "first\n\n" + std::string(1200, 'w') + "\nmid\0dle\n" + std::string(530, 'e');
    text[7 + 1200 + 4] = '\0';
    std::string path = tempFile("same.txt");
    kvtest::writeFile(path, text);
    kvfstream file(path.c_str(), KvOpenIn | KvOpenBinary);
    kvstrstream memory(text.data(), static_cast<int>(text.size()));
    for (int i = 0; i < 7; ++i) {
        YString a("a");
        YString b("b");
        bool fromFile = file.getline(&a);
        bool fromMemory = memory.getline(&b);
        EXPECT_EQ(fromFile, fromMemory) << "line " << i;
        EXPECT_STREQ(a.tocs(), b.tocs()) << "line " << i;
        EXPECT_EQ(file.getCharCount(), memory.getCharCount()) << "line " << i;
    }
    EXPECT_EQ(file.getCharCount(), static_cast<int>(text.size()) + 1) << "the get that met the end counts";
}
