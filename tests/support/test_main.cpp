// Entry point of the unit tests: isolates the environment, then either runs
// the tests or, when started as a child (KVTEST_CHILD set), that child's body.
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QStringList>

#include <atomic>
#include <fstream>
#include <sstream>
#include <cstdlib>
#include <map>
#include <unistd.h>

namespace kvtest {

namespace {

std::map<std::string, int (*)(const QStringList &)> &children()
{
    static std::map<std::string, int (*)(const QStringList &)> m;
    return m;
}

std::string &root()
{
    static std::string r;
    return r;
}

void setDir(const char *variable, const std::string &path, bool privateDir = false)
{
    QDir().mkpath(QString::fromStdString(path));
    if (privateDir)
        QFile::setPermissions(QString::fromStdString(path),
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    setenv(variable, path.c_str(), 1);
}

// Points HOME and the XDG directories into a temporary directory. A child
// inherits its parent's directory (KVTEST_ROOT) instead of making its own.
bool isolate()
{
    if (const char *inherited = std::getenv("KVTEST_ROOT")) {
        root() = inherited;
        return false;
    }
    std::string pattern = QDir::tempPath().toStdString() + "/kvsupport-test-XXXXXX";
    char *made = mkdtemp(&pattern[0]);
    if (made == nullptr) {
        std::perror("mkdtemp");
        std::exit(2);
    }
    root() = made;
    setenv("KVTEST_ROOT", made, 1);
    setDir("HOME", root() + "/home");
    setDir("XDG_CONFIG_HOME", root() + "/home/.config");
    setDir("XDG_DATA_HOME", root() + "/home/.local/share");
    setDir("XDG_CACHE_HOME", root() + "/home/.cache");
    setDir("XDG_STATE_HOME", root() + "/home/.local/state");
    setDir("XDG_RUNTIME_DIR", root() + "/runtime", true);
    setDir("TMPDIR", root() + "/tmp");
    setenv("TMP", (root() + "/tmp").c_str(), 1);
    setenv("TEMP", (root() + "/tmp").c_str(), 1);
    return true;
}

} // namespace

ChildRegistrar::ChildRegistrar(const char *name, int (*body)(const QStringList &))
{
    children()[name] = body;
}

std::string tempRoot()
{
    return root();
}

std::string makeTempDir(const std::string &prefix)
{
    static std::atomic<int> counter{0};
    std::string path = root() + "/tmp/" + prefix + "-" + std::to_string(getpid()) + "-" +
                       std::to_string(counter++);
    QDir().mkpath(QString::fromStdString(path));
    return path;
}

std::string readFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream all;
    all << in.rdbuf();
    return all.str();
}

bool writeFile(const std::string &path, const std::string &text)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    return static_cast<bool>(out);
}

std::string selfPath()
{
    return QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath().toStdString();
}

std::unique_ptr<QProcess> startChild(const std::string &name, const QStringList &args)
{
    auto p = std::make_unique<QProcess>();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("KVTEST_CHILD"), QString::fromStdString(name));
    p->setProcessEnvironment(env);
    p->start(QString::fromStdString(selfPath()), args);
    p->waitForStarted(10000);
    return p;
}

int runChild(const std::string &name, const QStringList &args, int timeoutMs)
{
    auto p = startChild(name, args);
    if (p->state() == QProcess::NotRunning && p->error() == QProcess::FailedToStart)
        return -1;
    if (!p->waitForFinished(timeoutMs)) {
        p->kill();
        p->waitForFinished(5000);
        return -1;
    }
    if (p->exitStatus() != QProcess::NormalExit)
        return -1;
    return p->exitCode();
}

} // namespace kvtest

int main(int argc, char **argv)
{
    bool owner = kvtest::isolate();
    if (const char *child = std::getenv("KVTEST_CHILD")) {
        auto it = kvtest::children().find(child);
        if (it == kvtest::children().end()) {
            std::fprintf(stderr, "unknown test child %s\n", child);
            return 3;
        }
        QStringList args;
        for (int i = 1; i < argc; ++i)
            args << QString::fromLocal8Bit(argv[i]);
        return it->second(args);
    }
    testing::InitGoogleTest(&argc, argv);
    int result = RUN_ALL_TESTS();
    if (owner)
        QDir(QString::fromStdString(kvtest::tempRoot())).removeRecursively();
    return result;
}
