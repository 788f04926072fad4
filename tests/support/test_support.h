// Shared support for the unit tests.
//
// Isolation: before any test runs, HOME and the XDG directories point into a
// fresh temporary directory, which is removed at the end, so no test touches
// the real user's files or settings.
//
// Child processes: a test that needs a second process re-runs this binary.
// Define the child's body with KVTEST_CHILD(name) { ...; return exitCode; }
// and start it with kvtest::runChild(name, args) (waits for it) or
// kvtest::startChild(name, args) (returns the running QProcess).
#ifndef KVTEST_TEST_SUPPORT_H
#define KVTEST_TEST_SUPPORT_H

#include <QProcess>
#include <QStringList>

#include <functional>
#include <memory>
#include <string>

namespace kvtest {

/// The temporary directory that HOME points at for this run.
std::string tempRoot();

/// A fresh empty directory under tempRoot(), unique per call.
std::string makeTempDir(const std::string &prefix = "t");

/// The whole content of the file at \p path (empty if it cannot be read).
std::string readFile(const std::string &path);

/// Replaces the file at \p path with \p text; false if it cannot be written.
bool writeFile(const std::string &path, const std::string &text);

/// Path of this test binary.
std::string selfPath();

/// Registers a child body; used through KVTEST_CHILD.
struct ChildRegistrar {
    ChildRegistrar(const char *name, int (*body)(const QStringList &args));
};

/// Starts the child \p name with \p args; the process is running on return
/// (or failed to start). Its standard output and error are kept separate.
std::unique_ptr<QProcess> startChild(const std::string &name, const QStringList &args = {});

/// Runs the child \p name to its end and returns its exit code (-1 if it did
/// not start, crashed or took longer than \p timeoutMs).
int runChild(const std::string &name, const QStringList &args = {}, int timeoutMs = 60000);

} // namespace kvtest

#define KVTEST_CHILD(name)                                                                         \
    static int kvtestChild_##name(const QStringList &args);                                      \
    static ::kvtest::ChildRegistrar kvtestChildRegistrar_##name(#name, &kvtestChild_##name);     \
    static int kvtestChild_##name(const QStringList &args)

#endif
