// Tests of system information and the registry store. The registry is
// exercised across real processes (children re-run this binary).
#include <kvsupport/containers.h>
#include <kvsupport/sysinfo.h>
#include <kvsupport/threads.h>

#include "platform/os_name.h"
#include "platform/registry_store.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTimer>

#include <pwd.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>
#include <vector>

namespace {

std::vector<std::string> toVector(const YList<YString> &list)
{
    std::vector<std::string> out;
    for (const YString &s : list)
        out.push_back(s.tocs());
    return out;
}

std::string registryFile(const char *name)
{
    return std::string(std::getenv("XDG_CONFIG_HOME")) + "/kvsupport/registry/" + name;
}

// Sets an environment variable for the life of the object.
class EnvGuard {
public:
    EnvGuard(const char *name, const char *value) : name(name)
    {
        const char *old = std::getenv(name);
        had = old != nullptr;
        if (had)
            saved = old;
        if (value != nullptr)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~EnvGuard()
    {
        if (had)
            setenv(name.c_str(), saved.c_str(), 1);
        else
            unsetenv(name.c_str());
    }

private:
    std::string name;
    std::string saved;
    bool had = false;
};

void makeExecutable(const std::string &path, const std::string &script)
{
    kvtest::writeFile(path, script);
    chmod(path.c_str(), 0755);
}

} // namespace

// ------------------------------------------------------------- child bodies

// Writes args[2] as value args[1] of key args[0] (current user).
KVTEST_CHILD(registryWrite)
{
    return sp_WriteCurrentUserValue(args.value(0).toUtf8().constData(), args.value(1).toUtf8().constData(),
                                    args.value(2).toUtf8().constData())
               ? 0
               : 1;
}

// Exits 0 if value args[1] of key args[0] (current user) reads as args[2].
KVTEST_CHILD(registryExpect)
{
    YString value;
    if (!sp_ReadCurrentUserValue(args.value(0).toUtf8().constData(), args.value(1).toUtf8().constData(), &value))
        return 1;
    return args.value(2) == QString::fromUtf8(value.tocs()) ? 0 : 2;
}

// Writes args[2] values "w<args[1]>-<i>" into key args[0].
KVTEST_CHILD(registryWriteMany)
{
    int count = args.value(2).toInt();
    for (int i = 0; i < count; ++i) {
        QString name = QStringLiteral("w%1-%2").arg(args.value(1)).arg(i);
        if (!sp_WriteCurrentUserValue(args.value(0).toUtf8().constData(), name.toUtf8().constData(),
                                      QString::number(i).toUtf8().constData()))
            return 1;
    }
    return 0;
}

// Writes one console line.
KVTEST_CHILD(consoleLine)
{
    sp_WriteConsoleLine(args.value(0).toUtf8().constData());
    sp_WriteConsoleLine(nullptr);
    return 0;
}

// Exits 0 if the command line ends with the quoted arguments.
KVTEST_CHILD(commandLine)
{
    std::string line = sp_GetCommandLine().tocs();
    YList<YString> list;
    if (!sp_GetCommandLineArgs(&list) || list.getCount() != 1 + args.size())
        return 1;
    std::string tail = " \"a b\" x \"say \\\"hi\\\"\"";
    if (line.size() < tail.size() || line.compare(line.size() - tail.size(), tail.size(), tail) != 0)
        return 2;
    std::vector<std::string> v = toVector(list);
    return v[1] == "a b" && v[2] == "x" && v[3] == "say \"hi\"" ? 0 : 3;
}

// ------------------------------------------------------------- registry

TEST(Registry, WriteThenReadInEachRootSeparately)
{
    EXPECT_TRUE(sp_WriteCurrentUserValue("Software\\Roots", "v", "user"));
    EXPECT_TRUE(sp_WriteLocalMachineValue("Software\\Roots", "v", "machine"));
    EXPECT_TRUE(sp_WriteClassesRootValue("Software\\Roots", "v", "classes"));
    YString value;
    EXPECT_TRUE(sp_ReadCurrentUserValue("Software\\Roots", "v", &value));
    EXPECT_STREQ(value.tocs(), "user");
    EXPECT_TRUE(sp_ReadLocalMachineValue("Software\\Roots", "v", &value));
    EXPECT_STREQ(value.tocs(), "machine");
    EXPECT_TRUE(sp_ReadClassesRootValue("Software\\Roots", "v", &value));
    EXPECT_STREQ(value.tocs(), "classes");
    EXPECT_FALSE(sp_ReadCurrentUserValue("Software\\Roots", "missing", &value));
    EXPECT_STREQ(value.tocs(), "classes"); // untouched on failure
    EXPECT_FALSE(sp_ReadCurrentUserValue("Software\\NoSuchKey", "v", &value));
    EXPECT_FALSE(sp_ReadCurrentUserValue("Software\\Roots", "v", nullptr));
}

TEST(Registry, FilesArePrivateAndInTheConfigDirectory)
{
    ASSERT_TRUE(sp_WriteCurrentUserValue("Software\\Perm", "v", "1"));
    struct stat st;
    ASSERT_EQ(stat(registryFile("current-user.reg").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    ASSERT_EQ(stat(registryFile("").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    EXPECT_EQ(kvtest::readFile(registryFile("current-user.reg")).rfind("KVREGISTRY 1\n", 0), 0u);
}

TEST(Registry, KeysAndNamesIgnoreCaseAndKeepTheirFirstSpelling)
{
    sp_DeleteCurrentUserTree("Software\\CaseTest"); // a repeated run starts afresh
    bool created = false;
    ASSERT_TRUE(sp_WriteCurrentUserValue("Software\\CaseTest\\Inner", "Value", "1", &created));
    EXPECT_TRUE(created);
    ASSERT_TRUE(sp_WriteCurrentUserValue("SOFTWARE\\casetest\\INNER", "VALUE", "2", &created));
    EXPECT_FALSE(created);
    YString value;
    EXPECT_TRUE(sp_ReadCurrentUserValue("software\\CASETEST\\inner", "value", &value));
    EXPECT_STREQ(value.tocs(), "2");
    YList<YString> names;
    EXPECT_TRUE(sp_GetCurrentUserValueNames("Software\\CaseTest\\Inner", &names));
    EXPECT_EQ(toVector(names), std::vector<std::string>{"Value"});
    YList<YString> keys;
    EXPECT_TRUE(sp_GetCurrentUserSubKeyNames("software\\casetest", &keys));
    EXPECT_EQ(toVector(keys), std::vector<std::string>{"Inner"});
    // Unicode letters fold too.
    ASSERT_TRUE(sp_WriteCurrentUserValue("Software\\CaseTest", "\xC3\x84rger", "x")); // "Ärger"
    EXPECT_TRUE(sp_ReadCurrentUserValue("Software\\CaseTest", "\xC3\xA4RGER", &value));
    EXPECT_STREQ(value.tocs(), "x");
}

TEST(Registry, LocalMachineTellsWhetherTheKeyWasCreated)
{
    // A key of this process's own, so that a repeated run makes it afresh.
    const std::string key = "Software\\MachineMade\\" + std::to_string(getpid());
    bool created = false;
    ASSERT_TRUE(sp_WriteLocalMachineValue(key.c_str(), "v", "1", &created));
    EXPECT_TRUE(created);
    created = true;
    ASSERT_TRUE(sp_WriteLocalMachineValue(key.c_str(), "w", "2", &created));
    EXPECT_FALSE(created);
    YString value;
    EXPECT_TRUE(sp_ReadLocalMachineValue(key.c_str(), "w", &value));
    EXPECT_STREQ(value.tocs(), "2");
    EXPECT_TRUE(sp_DeleteLocalMachineValue(key.c_str(), "v"));
    EXPECT_FALSE(sp_ReadLocalMachineValue(key.c_str(), "v", &value));
    EXPECT_STREQ(value.tocs(), "2");
    EXPECT_FALSE(sp_DeleteLocalMachineValue(key.c_str(), "v"));
    // Nothing of this reached the current user's root.
    EXPECT_FALSE(sp_ReadCurrentUserValue(key.c_str(), "w", &value));
}

TEST(Registry, ParentsAreCreatedAndEmptyPartsIgnored)
{
    sp_DeleteCurrentUserTree("Software\\Deep");
    bool created = false;
    ASSERT_TRUE(sp_WriteCurrentUserValue("\\Software\\\\Deep\\A\\B\\", "v", "1", &created));
    EXPECT_TRUE(created);
    YList<YString> keys;
    EXPECT_TRUE(sp_GetCurrentUserSubKeyNames("Software\\Deep", &keys));
    EXPECT_EQ(toVector(keys), std::vector<std::string>{"A"});
    YString value;
    EXPECT_TRUE(sp_ReadCurrentUserValue("Software\\Deep\\A\\B", "v", &value));
    YList<YString> none;
    EXPECT_TRUE(sp_GetCurrentUserSubKeyNames("Software\\Deep\\A\\B", &none));
    EXPECT_EQ(none.getCount(), 0);
    EXPECT_FALSE(sp_GetCurrentUserSubKeyNames("Software\\Deep\\Nothing", &none));
    EXPECT_FALSE(sp_GetCurrentUserSubKeyNames("Software\\Deep", nullptr));
}

TEST(Registry, ValuesKeepEveryByte)
{
    const char *tricky[] = {"", "  spaces  ", "a=b", "[x]", "100%", "line\nnext\r\n", "tab\there",
                            "\xC2\xB5V", "\\back\\slash\\", "%41"};
    int i = 0;
    for (const char *text : tricky) {
        std::string name = "n" + std::to_string(i++) + "=[%]";
        ASSERT_TRUE(sp_WriteCurrentUserValue("Software\\Bytes", name.c_str(), text));
    }
    ASSERT_TRUE(sp_WriteCurrentUserValue("Software\\Bytes", "", "default"));
    i = 0;
    for (const char *text : tricky) {
        std::string name = "n" + std::to_string(i++) + "=[%]";
        YString value;
        ASSERT_TRUE(sp_ReadCurrentUserValue("Software\\Bytes", name.c_str(), &value));
        EXPECT_STREQ(value.tocs(), text);
    }
    YString value;
    EXPECT_TRUE(sp_ReadCurrentUserValue("Software\\Bytes", "", &value));
    EXPECT_STREQ(value.tocs(), "default");
}

TEST(Registry, DeleteValueKeyAndTree)
{
    sp_DeleteCurrentUserTree("Software\\Del");
    ASSERT_TRUE(sp_WriteCurrentUserValue("Software\\Del\\K", "v", "1"));
    ASSERT_TRUE(sp_WriteCurrentUserValue("Software\\Del\\K\\Child", "v", "1"));
    ASSERT_TRUE(sp_WriteCurrentUserValue("Software\\Del\\K!", "v", "sibling")); // sorts between
    ASSERT_TRUE(sp_WriteCurrentUserValue("Software\\Del\\K\\Child\\Deeper", "v", "1"));
    EXPECT_TRUE(sp_DeleteCurrentUserValue("Software\\Del\\K", "V"));
    EXPECT_FALSE(sp_DeleteCurrentUserValue("Software\\Del\\K", "v"));
    EXPECT_FALSE(sp_DeleteCurrentUserValue("Software\\Del\\Missing", "v"));
    YString value;
    EXPECT_FALSE(sp_ReadCurrentUserValue("Software\\Del\\K", "v", &value));
    EXPECT_FALSE(sp_DeleteCurrentUserKey("Software\\Del\\K")); // has a sub-key
    EXPECT_FALSE(sp_DeleteCurrentUserKey(""));                 // the root
    EXPECT_FALSE(sp_DeleteCurrentUserKey("Software\\Del\\Missing"));
    EXPECT_TRUE(sp_DeleteCurrentUserKey("Software\\Del\\K\\Child\\Deeper"));
    EXPECT_TRUE(sp_DeleteCurrentUserTree("software\\del\\k"));
    EXPECT_FALSE(sp_ReadCurrentUserValue("Software\\Del\\K\\Child", "v", &value));
    EXPECT_TRUE(sp_ReadCurrentUserValue("Software\\Del\\K!", "v", &value));
    YList<YString> keys;
    EXPECT_TRUE(sp_GetCurrentUserSubKeyNames("Software\\Del", &keys));
    EXPECT_EQ(toVector(keys), std::vector<std::string>{"K!"});
    EXPECT_FALSE(sp_DeleteCurrentUserTree("Software\\Del\\K"));
    EXPECT_TRUE(sp_DeleteLocalMachineValue("Software\\Roots", "v") ||
                sp_WriteLocalMachineValue("Software\\Roots", "v", "again"));
}

TEST(Registry, ValueNamesOfAnEmptyKeyGiveFalse)
{
    sp_DeleteCurrentUserTree("Software\\Names");
    ASSERT_TRUE(sp_WriteCurrentUserValue("Software\\Names\\Empty\\Sub", "v", "1"));
    YList<YString> names;
    EXPECT_FALSE(sp_GetCurrentUserValueNames("Software\\Names\\Empty", &names));
    EXPECT_EQ(names.getCount(), 0);
    EXPECT_FALSE(sp_GetCurrentUserValueNames("Software\\Names\\Missing", &names));
    ASSERT_TRUE(sp_WriteCurrentUserValue("Software\\Names", "b", "1"));
    ASSERT_TRUE(sp_WriteCurrentUserValue("Software\\Names", "a", "2"));
    names.append("kept");
    EXPECT_TRUE(sp_GetCurrentUserValueNames("Software\\Names", &names));
    EXPECT_EQ(toVector(names), (std::vector<std::string>{"kept", "b", "a"}));
    std::string longName(40000, 'x');
    ASSERT_TRUE(sp_WriteCurrentUserValue("Software\\Names\\Long", longName.c_str(), "1"));
    YList<YString> longNames;
    EXPECT_TRUE(sp_GetCurrentUserValueNames("Software\\Names\\Long", &longNames));
    ASSERT_EQ(longNames.getCount(), 1);
    EXPECT_EQ(toVector(longNames)[0].size(), 32767u);
}

TEST(Registry, ClassesRootSubKeys)
{
    ASSERT_TRUE(sp_WriteClassesRootValue(".kvx", "", "KvFile"));
    ASSERT_TRUE(sp_WriteClassesRootValue("KvFile\\shell\\open", "", "cmd"));
    YList<YString> keys;
    EXPECT_TRUE(sp_GetClassesRootSubKeyNames("", &keys));
    std::vector<std::string> v = toVector(keys);
    EXPECT_EQ(std::set<std::string>(v.begin(), v.end()).count(".kvx"), 1u);
    EXPECT_EQ(std::set<std::string>(v.begin(), v.end()).count("KvFile"), 1u);
    EXPECT_EQ(std::set<std::string>(v.begin(), v.end()).count("shell"), 0u);
}

TEST(Registry, UnreadableFileIsLeftAlone)
{
    std::string path = registryFile("local-machine.reg");
    ASSERT_TRUE(sp_WriteLocalMachineValue("Software\\Bad", "v", "1"));
    std::string good = kvtest::readFile(path);
    kvtest::writeFile(path, "not a registry\n[x]\n");
    YString value;
    EXPECT_FALSE(sp_ReadLocalMachineValue("Software\\Bad", "v", &value));
    EXPECT_FALSE(sp_WriteLocalMachineValue("Software\\Bad", "v", "2"));
    EXPECT_EQ(kvtest::readFile(path), "not a registry\n[x]\n");
    kvtest::writeFile(path, good);
    EXPECT_TRUE(sp_ReadLocalMachineValue("Software\\Bad", "v", &value));
    EXPECT_STREQ(value.tocs(), "1");
}

TEST(Registry, StoreFileForm)
{
    kv::registry::Store store;
    bool created = false;
    store.write("A\\B", "x=y", "1\n2", &created);
    std::string text = store.serialize();
    EXPECT_EQ(text, "KVREGISTRY 1\n[]\n[A]\n[A\\B]\nx%3Dy=1%0A2\n");
    kv::registry::Store again;
    ASSERT_TRUE(again.parse(text));
    EXPECT_EQ(again.serialize(), text);
    EXPECT_TRUE(again.parse(""));
    EXPECT_FALSE(again.parse("KVREGISTRY 2\n"));
    ASSERT_TRUE(again.parse("KVREGISTRY 1\r\n[a]\r\nbad%zz=%4\r\nnoequals\r\n"));
    QByteArray v;
    EXPECT_TRUE(again.read("A", "BAD%ZZ", &v));
    EXPECT_EQ(v, QByteArray("%4"));
}

TEST(Registry, OneProcessWritesAnotherReads)
{
    EXPECT_EQ(kvtest::runChild("registryWrite", {"Software\\Cross", "FromChild", "child value"}), 0);
    YString value;
    EXPECT_TRUE(sp_ReadCurrentUserValue("Software\\Cross", "fromchild", &value));
    EXPECT_STREQ(value.tocs(), "child value");
    ASSERT_TRUE(sp_WriteCurrentUserValue("Software\\Cross", "FromParent", "parent \xC2\xB5"));
    EXPECT_EQ(kvtest::runChild("registryExpect", {"software\\cross", "fromparent", QString::fromUtf8("parent \xC2\xB5")}), 0);
    EXPECT_EQ(kvtest::runChild("registryExpect", {"software\\cross", "nothing", ""}), 1);
}

TEST(Registry, ConcurrentWritersLoseNothing)
{
    sp_DeleteCurrentUserTree("Software\\Concurrent");
    const int writers = 4;
    const int each = 30;
    std::vector<std::unique_ptr<QProcess>> children;
    for (int w = 0; w < writers; ++w)
        children.push_back(kvtest::startChild("registryWriteMany",
                                              {"Software\\Concurrent", QString::number(w), QString::number(each)}));
    // This process writes at the same time.
    for (int i = 0; i < each; ++i)
        ASSERT_TRUE(sp_WriteCurrentUserValue("Software\\Concurrent", ("parent-" + std::to_string(i)).c_str(), "p"));
    for (auto &child : children) {
        ASSERT_TRUE(child->waitForFinished(60000));
        EXPECT_EQ(child->exitCode(), 0);
    }
    YList<YString> names;
    ASSERT_TRUE(sp_GetCurrentUserValueNames("Software\\Concurrent", &names));
    EXPECT_EQ(names.getCount(), (writers + 1) * each);
    for (int w = 0; w < writers; ++w)
        for (int i = 0; i < each; ++i) {
            YString value;
            std::string name = "w" + std::to_string(w) + "-" + std::to_string(i);
            ASSERT_TRUE(sp_ReadCurrentUserValue("Software\\Concurrent", name.c_str(), &value)) << name;
            EXPECT_EQ(std::string(value.tocs()), std::to_string(i));
        }
    // No temporary file is left behind.
    QDir dir(QString::fromStdString(registryFile("")));
    EXPECT_TRUE(dir.entryList({"*.tmp-*"}, QDir::Files).isEmpty());
}

// ------------------------------------------------------------- processor, memory, time

TEST(SysInfo, MemoryFigures)
{
    long long ram = sp_GetSystemRamSize();
    long long memTotalKb = 0;
    std::ifstream meminfo("/proc/meminfo");
    std::string key;
    while (meminfo >> key) {
        if (key == "MemTotal:") {
            meminfo >> memTotalKb;
            break;
        }
    }
    EXPECT_EQ(ram, memTotalKb * 1024);
    SystemMemoryInfo info;
    sp_GetSystemMemoryInfo(&info);
    EXPECT_EQ(info.totalPhysical, ram);
    EXPECT_GT(info.availablePhysical, 0);
    EXPECT_LE(info.availablePhysical, info.totalPhysical);
    EXPECT_EQ(info.totalVirtual, 1LL << 47);
    EXPECT_GT(info.availableVirtual, 0);
    EXPECT_LT(info.availableVirtual, info.totalVirtual);
    sp_GetSystemMemoryInfo(nullptr);
}

TEST(SysInfo, Clocks)
{
    timespec boot;
    clock_gettime(CLOCK_BOOTTIME, &boot);
    unsigned int expected = static_cast<unsigned int>(
        (static_cast<unsigned long long>(boot.tv_sec) * 1000ULL + boot.tv_nsec / 1000000) & 0xFFFFFFFFULL);
    unsigned int tick = sp_GetTickCount();
    EXPECT_LE(tick - expected, 1000u);
    double t0 = sp_GetPerfTime();
    sp_Sleep(50);
    double t1 = sp_GetPerfTime();
    EXPECT_GT(t0, 0);
    EXPECT_GE(t1 - t0, 0.049);
    EXPECT_LT(t1 - t0, 5.0);
    long long now = static_cast<long long>(time(nullptr)) + 11644473600LL;
    EXPECT_LE(std::llabs(sp_GetSystemTime() - now), 2);
}

namespace {

char *volatile gStackSink = nullptr;

// Each level keeps 8 KiB of stack that the compiler can't drop.
__attribute__((noinline)) unsigned int stackAvailDeeper(int depth)
{
    char pad[8192];
    gStackSink = pad;
    pad[depth] = static_cast<char>(depth);
    unsigned int r = depth == 0 ? sp_StackAvail() : stackAvailDeeper(depth - 1);
    gStackSink = pad;
    return r + static_cast<unsigned int>(gStackSink[depth] - depth);
}

} // namespace

TEST(SysInfo, StackAvailShrinksWithDepth)
{
    unsigned int here = sp_StackAvail();
    unsigned int deeper = stackAvailDeeper(4);
    EXPECT_GT(here, 0u);
    EXPECT_LT(deeper, here);
    EXPECT_GE(here - deeper, 4u * 8192u);
}

TEST(SysInfo, ProcessorArchitectureAndOs)
{
    EXPECT_STREQ(sp_GetProcessorArchitecture().tocs(), sizeof(void *) == 8 ? "x86" : "x64");
    EXPECT_EQ(sp_GetOs(), 2);
    struct utsname u;
    ASSERT_EQ(uname(&u), 0);
    EXPECT_STREQ(sp_GetOSClassName().tocs(), u.sysname);
    int major = -1, minor = -1, sp = -1;
    sp_GetOsVersion(&major, &minor, &sp);
    EXPECT_EQ(std::to_string(major) + "." + std::to_string(minor) + ".",
              std::string(u.release).substr(0, std::to_string(major).size() + std::to_string(minor).size() + 2));
    EXPECT_EQ(sp, 0);
    sp_GetOsVersion(nullptr, nullptr, nullptr);
    int reason = -1;
    EXPECT_TRUE(sp_IsSupportedPlatform(&reason));
    EXPECT_EQ(reason, 0);
    EXPECT_TRUE(sp_IsSupportedPlatform(nullptr));
}

TEST(SysInfo, OsNameFromReleaseText)
{
    using kv::platform::osNameFromRelease;
    EXPECT_EQ(osNameFromRelease("NAME=\"Debian\"\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n", 6, 1),
              "Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(osNameFromRelease("NAME=Arch\nVERSION='rolling'\n", 6, 1), "Arch rolling");
    EXPECT_EQ(osNameFromRelease("PRETTY_NAME=\"Say \\\"hi\\\"\"\n", 6, 1), "Say \"hi\"");
    EXPECT_EQ(osNameFromRelease("", 6, 1), "Linux version 6.1");
    EXPECT_EQ(osNameFromRelease("XPRETTY_NAME=no\n", 4, 19).rfind("Linux version ", 0), 0u);
    int major = 0, minor = 0;
    kv::platform::kernelVersionNumbers("6.1.0-18-amd64", &major, &minor);
    EXPECT_EQ(major, 6);
    EXPECT_EQ(minor, 1);
    kv::platform::kernelVersionNumbers("garbage", &major, &minor);
    EXPECT_EQ(major, 0);
    EXPECT_EQ(minor, 0);
    YString name = sp_GetOsName();
    EXPECT_FALSE(name.isEmpty());
    EXPECT_EQ(sp_GetOsName(), name);
}

TEST(SysInfo, SystemSpecString)
{
    std::string line = sp_GetSystemSpecString().tocs();
    std::string expected = std::string(sp_GetOsName().tocs()) + "/" + sp_GetOSClassName().tocs() + "/" +
                           sp_GetProcessorArchitecture().tocs() + "/" + std::to_string(sp_GetNumCores()) +
                           "/" + std::to_string(sp_GetNumPhysicalProcessors()) + "/" +
                           std::to_string(sp_GetNumLogicalProcessors()) + "/" +
                           std::to_string(sp_GetSystemRamSize() / (1024 * 1024)) + "MB/" +
                           sp_GetUserName().tocs();
    EXPECT_EQ(line, expected);
}

// ------------------------------------------------------------- session and environment

TEST(SysInfo, UserAndDisplay)
{
    struct passwd *pw = getpwuid(geteuid());
    ASSERT_NE(pw, nullptr);
    EXPECT_STREQ(sp_GetUserName().tocs(), pw->pw_name);
    EXPECT_EQ(sp_IsAdmin(), geteuid() == 0);
    {
        EnvGuard display("DISPLAY", ":7");
        EXPECT_STREQ(sp_GetDisplayName().tocs(), ":7");
    }
    EnvGuard noDisplay("DISPLAY", nullptr);
    EXPECT_STREQ(sp_GetDisplayName().tocs(), "");
}

TEST(SysInfo, Environment)
{
    EXPECT_TRUE(sp_SetEnv("KVTEST_ENV", "\xC2\xB5 value"));
    EXPECT_STREQ(sp_GetEnv("KVTEST_ENV").tocs(), "\xC2\xB5 value");
    EXPECT_STREQ(std::getenv("KVTEST_ENV"), "\xC2\xB5 value");
    EXPECT_TRUE(sp_SetEnv("KVTEST_ENV", ""));
    EXPECT_EQ(std::string(std::getenv("KVTEST_ENV")), "");
    EXPECT_TRUE(sp_SetEnv("KVTEST_ENV", nullptr));
    EXPECT_EQ(std::getenv("KVTEST_ENV"), nullptr);
    EXPECT_STREQ(sp_GetEnv("KVTEST_ENV").tocs(), "");
    EXPECT_FALSE(sp_SetEnv(nullptr, "x"));
    EXPECT_FALSE(sp_SetEnv("", "x"));
    EXPECT_FALSE(sp_SetEnv("A=B", "x"));
    EXPECT_STREQ(sp_GetEnv(nullptr).tocs(), "");
}

TEST(SysInfo, CommandLine)
{
    EXPECT_EQ(kvtest::runChild("commandLine", {"a b", "x", "say \"hi\""}), 0);
    YList<YString> args;
    EXPECT_FALSE(sp_GetCommandLineArgs(nullptr));
    ASSERT_TRUE(sp_GetCommandLineArgs(&args));
    ASSERT_GE(args.getCount(), 1);
    EXPECT_NE(std::string(sp_GetCommandLine().tocs()).find("kvsupport_tests"), std::string::npos);
}

TEST(SysInfo, ProgramsOnThePath)
{
    std::string dir = kvtest::makeTempDir("path");
    makeExecutable(dir + "/sh", "#!/bin/sh\n");
    makeExecutable(dir + "/xterm", "#!/bin/sh\n");
    kvtest::writeFile(dir + "/x-terminal-emulator", "not executable");
    {
        EnvGuard path("PATH", dir.c_str());
        EXPECT_EQ(std::string(sp_GetCommandProcessor().tocs()), dir + "/sh -c %command%");
        EXPECT_EQ(std::string(sp_GetTerminalEmulator().tocs()), dir + "/xterm");
        EXPECT_FALSE(sp_HaveOpenWebPage());
    }
    EnvGuard empty("PATH", "/nonexistent-kvtest");
    EXPECT_STREQ(sp_GetCommandProcessor().tocs(), "");
    EXPECT_STREQ(sp_GetTerminalEmulator().tocs(), "");
    EXPECT_FALSE(sp_OpenWebPage("http://example.com/"));
    EXPECT_FALSE(sp_NotifyFileAssociation());
}

TEST(SysInfo, OpenWebPageRunsTheOpener)
{
    std::string dir = kvtest::makeTempDir("open");
    std::string record = dir + "/opened.txt";
    makeExecutable(dir + "/xdg-open", "#!/bin/sh\nprintf '%s\\n' \"$1\" >> '" + record + "'\n");
    EnvGuard path("PATH", (dir + ":/usr/bin:/bin").c_str());
    EXPECT_TRUE(sp_HaveOpenWebPage());
    EXPECT_TRUE(sp_OpenWebPage("/some/page.html"));
    EXPECT_TRUE(sp_OpenWebPage("https://example.com/a?b=c"));
    EXPECT_FALSE(sp_OpenWebPage(""));
    EXPECT_FALSE(sp_OpenWebPage(nullptr));
    QElapsedTimer timer;
    timer.start();
    std::string text;
    while (timer.elapsed() < 10000) {
        text = kvtest::readFile(record);
        if (std::count(text.begin(), text.end(), '\n') >= 2)
            break;
        sp_Sleep(20);
    }
    EXPECT_NE(text.find("file:///some/page.html\n"), std::string::npos);
    EXPECT_NE(text.find("https://example.com/a?b=c\n"), std::string::npos);
}

TEST(SysInfo, SessionTests)
{
    {
        EnvGuard a("SSH_CONNECTION", nullptr), b("SSH_CLIENT", nullptr), c("SSH_TTY", nullptr);
        EXPECT_FALSE(sp_IsRemoteSession());
    }
    {
        EnvGuard a("SSH_CONNECTION", "10.0.0.1 5000 10.0.0.2 22");
        EXPECT_TRUE(sp_IsRemoteSession());
    }
    EXPECT_FALSE(sp_IsDebuggerPresent());
    errno = ENOENT;
    EXPECT_EQ(sp_GetLastError(), ENOENT);
    errno = 0;
    EXPECT_EQ(sp_GetLastError(), 0);
    sp_OutputDebugString(nullptr);
    sp_OutputDebugString("kvsupport test: debug output");
    EXPECT_EQ(sp_GetSysColour(0), 0x00FFFFFFu);
    EXPECT_EQ(sp_GetSysColour(1), 0x00000000u);
    EXPECT_EQ(sp_GetSysColour(5), 0x00000000u);
    MouseButtonState state{9, 9, 9};
    sp_MouseButtonDown(&state);
    EXPECT_EQ(state.button + state.shift + state.control, 0);
    sp_MouseButtonDown(nullptr);
}

TEST(SysInfo, ConsoleLine)
{
    auto child = kvtest::startChild("consoleLine", {"hello console"});
    ASSERT_TRUE(child->waitForFinished(10000));
    EXPECT_EQ(child->exitCode(), 0);
    EXPECT_EQ(child->readAllStandardOutput().toStdString(), "hello console\n");
}

TEST(SysInfo, ProcessNames)
{
    YList<YString> names;
    names.append("first");
    ASSERT_TRUE(sp_GetProcessNames(&names));
    std::vector<std::string> v = toVector(names);
    EXPECT_EQ(v[0], "first");
    EXPECT_GE(v.size(), 2u);
    EXPECT_NE(std::find(v.begin(), v.end(), "kvsupport_tests"), v.end());
    EXPECT_FALSE(sp_GetProcessNames(nullptr));
}

TEST(SysInfo, ModulesAndFilters)
{
    std::string lib = sp_GetRunningDllPath(reinterpret_cast<const void *>(&sp_GetOs)).tocs();
    EXPECT_NE(lib.find("/libkvsupport.so"), std::string::npos);
    EXPECT_EQ(sp_GetRunningDllPath(reinterpret_cast<const void *>(&registryFile)), YString(kvtest::selfPath().c_str()));
    EXPECT_STREQ(sp_GetRunningDllPath(nullptr).tocs(), "");
    EXPECT_STREQ(sp_GetSharedLibraryFilter().tocs(), "*.so");
}

// ------------------------------------------------------------- file information

TEST(FileInfo, SizesAndTimes)
{
    std::string dir = kvtest::makeTempDir("finfo");
    std::string path = dir + "/data.bin";
    kvtest::writeFile(path, std::string(1234, 'x'));
    EXPECT_EQ(sp_GetFileSize64(path.c_str()), 1234);
    struct timeval times[2] = {{1700000000, 250000}, {1700000000, 250000}};
    ASSERT_EQ(utimes(path.c_str(), times), 0);
    long long expected = (1700000000LL + 11644473600LL) * 10000000LL + 2500000LL;
    EXPECT_EQ(sp_GetFileModifiedTime(path.c_str()), expected);
    std::FILE *f = std::fopen(path.c_str(), "ab");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(sp_GetFileModifiedTime(f), expected);
    std::fputs("more", f); // still in the buffer
    EXPECT_EQ(sp_GetFileSize64(f), 1238);
    std::fclose(f);
    EXPECT_EQ(sp_GetFileSize64((dir + "/missing").c_str()), 0);
    EXPECT_EQ(sp_GetFileModifiedTime((dir + "/missing").c_str()), 0);
    EXPECT_EQ(sp_GetFileSize64(static_cast<const char *>(nullptr)), 0);
    EXPECT_EQ(sp_GetFileSize64(static_cast<std::FILE *>(nullptr)), 0);
    EXPECT_EQ(sp_GetFileModifiedTime(static_cast<std::FILE *>(nullptr)), 0);
    EXPECT_GT(sp_GetFreeDiskSpace(dir.c_str()), 0);
    EXPECT_EQ(sp_GetFreeDiskSpace((dir + "/missing").c_str()), 0);
}

TEST(FileInfo, LinksAndMoves)
{
    std::string dir = kvtest::makeTempDir("move");
    std::string a = dir + "/a.txt", b = dir + "/b.txt", link = dir + "/link";
    kvtest::writeFile(a, "A");
    kvtest::writeFile(b, "B");
    ASSERT_EQ(symlink(a.c_str(), link.c_str()), 0);
    EXPECT_TRUE(sp_IsLink(link.c_str()));
    EXPECT_FALSE(sp_IsLink(a.c_str()));
    EXPECT_FALSE(sp_IsLink((dir + "/missing").c_str()));
    EXPECT_FALSE(sp_IsLink(nullptr));
    EXPECT_FALSE(sp_MoveFile(a.c_str(), b.c_str())); // never replaces
    EXPECT_EQ(kvtest::readFile(a), "A");
    EXPECT_EQ(kvtest::readFile(b), "B");
    EXPECT_TRUE(sp_MoveFile(a.c_str(), (dir + "/c.txt").c_str()));
    EXPECT_EQ(kvtest::readFile(dir + "/c.txt"), "A");
    EXPECT_FALSE(sp_MoveFile(a.c_str(), (dir + "/d.txt").c_str()));
    EXPECT_FALSE(sp_MoveFile(nullptr, b.c_str()));
    // Across file systems, when the shared-memory folder is another one.
    struct stat s1, s2;
    std::string other = "/dev/shm/kvtest-move-" + std::to_string(getpid());
    if (stat(dir.c_str(), &s1) == 0 && stat("/dev/shm", &s2) == 0 && s1.st_dev != s2.st_dev) {
        EXPECT_TRUE(sp_MoveFile(b.c_str(), other.c_str()));
        EXPECT_EQ(kvtest::readFile(other), "B");
        EXPECT_NE(access(b.c_str(), F_OK), 0);
        unlink(other.c_str());
    }
}

TEST(FileInfo, SixtyFourBitPositions)
{
    std::string path = kvtest::makeTempDir("seek") + "/sparse.bin";
    std::FILE *f = std::fopen(path.c_str(), "w+b");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(sp_SeekFilePos(f, 5000000000LL, SEEK_SET), 0);
    EXPECT_EQ(sp_TellFilePos(f), 5000000000LL);
    EXPECT_EQ(sp_SeekFilePos(f, -1000000000LL, SEEK_CUR), 0);
    EXPECT_EQ(sp_TellFilePos(f), 4000000000LL);
    EXPECT_NE(sp_SeekFilePos(f, -1, SEEK_SET), 0);
    std::fclose(f);
    EXPECT_EQ(sp_SeekFilePos(nullptr, 0, SEEK_SET), -1);
    EXPECT_EQ(sp_TellFilePos(nullptr), -1);
}

TEST(FileInfo, VersionsFromLibraryNames)
{
    std::string dir = kvtest::makeTempDir("ver");
    kvtest::writeFile(dir + "/libfoo.so.1.2.3", "elf");
    ASSERT_EQ(symlink((dir + "/libfoo.so.1.2.3").c_str(), (dir + "/libfoo.so").c_str()), 0);
    kvtest::writeFile(dir + "/libbar.so.1.x", "elf");
    kvtest::writeFile(dir + "/program", "elf");
    YString version;
    EXPECT_TRUE(sp_GetFileVersion((dir + "/libfoo.so").c_str(), &version));
    EXPECT_STREQ(version.tocs(), "1.2.3.0");
    int v[4] = {-1, -1, -1, -1};
    EXPECT_TRUE(sp_GetFileVersion((dir + "/libfoo.so.1.2.3").c_str(), &v[0], &v[1], &v[2], &v[3]));
    EXPECT_EQ(v[0] * 1000 + v[1] * 100 + v[2] * 10 + v[3], 1230);
    EXPECT_TRUE(sp_GetFileVersion((dir + "/libfoo.so").c_str(), nullptr, nullptr, nullptr, nullptr));
    EXPECT_TRUE(sp_GetProductVersion((dir + "/libfoo.so").c_str(), &version));
    EXPECT_STREQ(version.tocs(), "1.2.3.0");
    EXPECT_FALSE(sp_GetFileVersion((dir + "/libbar.so.1.x").c_str(), &version));
    EXPECT_FALSE(sp_GetFileVersion((dir + "/program").c_str(), &version));
    EXPECT_FALSE(sp_GetFileVersion((dir + "/missing.so.1").c_str(), &version));
    EXPECT_FALSE(sp_GetFileVersion("", &version));
    EXPECT_FALSE(sp_GetFileVersion((dir + "/libfoo.so").c_str(), nullptr));
    YString description;
    EXPECT_FALSE(sp_GetFileVersionDescription((dir + "/libfoo.so").c_str(), &description));
}

// ------------------------------------------------------------- Qt helpers

TEST(QtHelpers, CaseSensitiveEquality)
{
    EXPECT_TRUE(equals("Path", "Path"));
    EXPECT_FALSE(equals("Path", "path"));
    EXPECT_TRUE(notEquals("Path", "path"));
    EXPECT_FALSE(notEquals("a", "a"));
    EXPECT_TRUE(pathEquals("/a/b", "/a/b"));
    EXPECT_FALSE(pathEquals("/a/B", "/a/b"));
}

TEST(QtHelpers, ChildSearch)
{
    QObject root;
    auto *one = new QObject(&root);
    one->setObjectName("one");
    auto *timer = new QTimer(one);
    timer->setObjectName("two");
    auto *other = new QTimer(&root);
    other->setObjectName("three");
    QList<QObject *> all = qtsp_QueryList(&root, "QTimer", nullptr, true, false);
    EXPECT_EQ(all, (QList<QObject *>{timer, other}));
    EXPECT_EQ(qtsp_QueryList(&root, "QTimer", nullptr, false, false), QList<QObject *>{other});
    EXPECT_EQ(qtsp_QueryList(&root, "QObject", "two", true, false), QList<QObject *>{timer});
    EXPECT_EQ(qtsp_QueryList(&root, nullptr, nullptr, true, false).size(), 3);
    EXPECT_EQ(qtsp_QueryList(&root, "QTimer", nullptr, true, true), QList<QObject *>{timer});
    EXPECT_TRUE(qtsp_QueryList(&root, "QWidget", nullptr, true, false).isEmpty());
    EXPECT_TRUE(qtsp_QueryList(nullptr, "QTimer", nullptr, true, false).isEmpty());
    EXPECT_EQ(qtsp_SearchChild(&root, "QTimer", nullptr, true), timer);
    EXPECT_EQ(qtsp_SearchChild(&root, "QTimer", "THREE", true), nullptr);
    EXPECT_EQ(qtsp_SearchChild(&root, nullptr, "three", false), other);
}

TEST(QtHelpers, Guid)
{
    QString a = QString::fromUtf8(sp_GetGUID().tocs());
    QString b = QString::fromUtf8(sp_GetGUID().tocs());
    QRegularExpression form("^\\{[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}\\}$");
    EXPECT_TRUE(form.match(a).hasMatch()) << a.toStdString();
    EXPECT_NE(a, b);
}
