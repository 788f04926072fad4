// System information: the machine, the session, the program and its files.
#include <kvsupport/sysinfo.h>

#include <kvsupport/containers.h>
#include <kvsupport/threads.h>

#include "platform/os_name.h"
#include "platform/system_facts.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QObject>
#include <QProcess>
#include <QStandardPaths>
#include <QUuid>

#include <climits>
#include <cstdlib>
#include <string>

namespace fact = kv::platform;

// ------------------------------------------------------------- processor, memory, time

long long sp_GetSystemRamSize()
{
    return fact::memoryFacts().totalPhysical;
}

void sp_GetSystemMemoryInfo(SystemMemoryInfo *info)
{
    if (info == nullptr)
        return;
    fact::MemoryFacts m = fact::memoryFacts();
    info->totalVirtual = m.totalVirtual;
    info->availableVirtual = m.availableVirtual;
    info->totalPhysical = m.totalPhysical;
    info->availablePhysical = m.availablePhysical;
}

unsigned int sp_GetTickCount()
{
    return static_cast<unsigned int>(fact::millisecondsSinceBoot() & 0xFFFFFFFFULL);
}

double sp_GetPerfTime()
{
    static const bool available = [] {
        double s;
        return fact::monotonicSeconds(&s);
    }();
    double seconds = 0;
    if (!available || !fact::monotonicSeconds(&seconds))
        return 0;
    return seconds;
}

long long sp_GetSystemTime()
{
    return fact::secondsSinceEpoch() + 11644473600LL; // 1601 to 1970
}

unsigned int sp_StackAvail()
{
    unsigned long bytes = fact::stackBytesBelow();
    return bytes > UINT_MAX ? UINT_MAX : static_cast<unsigned int>(bytes);
}

YString sp_GetProcessorArchitecture()
{
    return fact::narrowProcessOnWideSystem() ? "x64" : "x86";
}

// ------------------------------------------------------------- operating system

namespace {

void kernelNumbers(int *major, int *minor)
{
    std::string name, release;
    fact::kernelRelease(&name, &release);
    fact::kernelVersionNumbers(release, major, minor);
}

} // namespace

int sp_GetOs()
{
    return 2;
}

YString sp_GetOSClassName()
{
    std::string name, release;
    fact::kernelRelease(&name, &release);
    return name.c_str();
}

void sp_GetOsVersion(int *major, int *minor, int *servicePack)
{
    int ma = 0, mi = 0;
    kernelNumbers(&ma, &mi);
    if (major != nullptr)
        *major = ma;
    if (minor != nullptr)
        *minor = mi;
    if (servicePack != nullptr)
        *servicePack = 0;
}

YString sp_GetOsName()
{
    static const std::string name = [] {
        int major = 0, minor = 0;
        kernelNumbers(&major, &minor);
        return fact::osNameFromRelease(fact::osReleaseText(), major, minor);
    }();
    return name.c_str();
}

bool sp_IsSupportedPlatform(int *reason)
{
    if (reason != nullptr)
        *reason = 0;
    int major = 0, minor = 0;
    kernelNumbers(&major, &minor);
    return major > 3 || (major == 3 && minor >= 2);
}

YString sp_GetSystemSpecString()
{
    static const std::string line = [] {
        int sp = 0;
        sp_GetOsVersion(nullptr, nullptr, &sp);
        std::string s = sp_GetOsName().tocs();
        if (sp != 0)
            s += ".SP" + std::to_string(sp);
        s += std::string("/") + sp_GetOSClassName().tocs();
        s += std::string("/") + sp_GetProcessorArchitecture().tocs();
        s += "/" + std::to_string(sp_GetNumCores());
        s += "/" + std::to_string(sp_GetNumPhysicalProcessors());
        s += "/" + std::to_string(sp_GetNumLogicalProcessors());
        s += "/" + std::to_string(sp_GetSystemRamSize() / (1024 * 1024)) + "MB";
        s += std::string("/") + sp_GetUserName().tocs();
        return s;
    }();
    return line.c_str();
}

// ------------------------------------------------------------- session and environment

YString sp_GetUserName()
{
    std::string name = fact::userName();
    if (name.size() > 256)
        name.resize(256);
    return name.c_str();
}

YString sp_GetDisplayName()
{
    return sp_GetEnv("DISPLAY");
}

YString sp_GetEnv(const char *name)
{
    std::string value;
    return fact::getEnvironment(name, &value) ? YString(value.c_str()) : YString();
}

bool sp_SetEnv(const char *name, const char *value)
{
    return fact::setEnvironment(name, value);
}

namespace {

std::string quoteArgument(const std::string &arg)
{
    if (!arg.empty() && arg.find_first_of(" \t\"") == std::string::npos)
        return arg;
    std::string out = "\"";
    for (char c : arg) {
        if (c == '"')
            out += '\\';
        out += c;
    }
    return out + "\"";
}

} // namespace

YString sp_GetCommandLine()
{
    std::string line;
    for (const std::string &arg : fact::commandLineArgs()) {
        if (!line.empty())
            line += ' ';
        line += quoteArgument(arg);
    }
    return line.c_str();
}

bool sp_GetCommandLineArgs(YList<YString> *args)
{
    if (args == nullptr)
        return false;
    for (const std::string &arg : fact::commandLineArgs())
        args->append(arg.c_str());
    return true;
}

YString sp_GetCommandProcessor()
{
    std::string shell = fact::findOnPath("sh");
    return shell.empty() ? YString() : YString((shell + " -c %command%").c_str());
}

YString sp_GetTerminalEmulator()
{
    std::string terminal = fact::findOnPath("x-terminal-emulator");
    if (terminal.empty())
        terminal = fact::findOnPath("xterm");
    return terminal.c_str();
}

bool sp_IsAdmin()
{
    return fact::isPrivilegedUser();
}

bool sp_IsDebuggerPresent()
{
    return fact::debuggerAttached();
}

bool sp_IsRemoteSession()
{
    return !sp_GetEnv("SSH_CONNECTION").isEmpty() || !sp_GetEnv("SSH_CLIENT").isEmpty() ||
           !sp_GetEnv("SSH_TTY").isEmpty();
}

int sp_GetLastError()
{
    return fact::lastErrorNumber();
}

void sp_OutputDebugString(const char *text)
{
    if (text != nullptr)
        fact::debugOutput(text);
}

void sp_WriteConsoleLine(const char *text)
{
    if (text != nullptr)
        fact::writeConsoleLine(text);
}

bool sp_GetProcessNames(YList<YString> *names)
{
    std::vector<std::string> found;
    if (names == nullptr || !fact::processNames(&found))
        return false;
    for (const std::string &name : found)
        names->append(name.c_str());
    return true;
}

unsigned int sp_GetSysColour(int which)
{
    switch (which) {
    case 0:
        return 0x00FFFFFFu; // window: white
    case 1:
        return 0x00000000u; // window text: black
    default:
        return 0x00000000u; // desktop: black
    }
}

void sp_MouseButtonDown(MouseButtonState *state)
{
    if (state != nullptr)
        *state = MouseButtonState{0, 0, 0};
}

bool sp_UseImperialUnits()
{
    return QLocale::system().measurementSystem() != QLocale::MetricSystem;
}

bool sp_HaveOpenWebPage()
{
    return !fact::findOnPath("xdg-open").empty();
}

namespace {

// True if \p text starts with a URL scheme ("http:", "file:", ...).
bool hasScheme(const std::string &text)
{
    std::string::size_type colon = text.find(':');
    if (colon == std::string::npos || colon < 2)
        return false;
    for (std::string::size_type i = 0; i < colon; ++i) {
        char c = text[i];
        bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        if (!letter && (i == 0 || !((c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.')))
            return false;
    }
    return true;
}

} // namespace

bool sp_OpenWebPage(const char *url)
{
    std::string opener = fact::findOnPath("xdg-open");
    if (url == nullptr || url[0] == 0 || opener.empty())
        return false;
    std::string target = hasScheme(url) ? std::string(url) : "file://" + std::string(url);
    return QProcess::startDetached(QString::fromStdString(opener), {QString::fromUtf8(target.c_str())});
}

bool sp_NotifyFileAssociation()
{
    std::string tool = fact::findOnPath("update-desktop-database");
    if (tool.empty())
        return false;
    QString dir = QStandardPaths::writableLocation(QStandardPaths::ApplicationsLocation);
    return QProcess::startDetached(QString::fromStdString(tool), {dir});
}

YString sp_GetRunningDllPath(const void *address)
{
    return fact::modulePathOf(address).c_str();
}

YString sp_GetSharedLibraryFilter()
{
    return "*.so";
}

// ------------------------------------------------------------- file information

long long sp_GetFileModifiedTime(const char *name)
{
    long long t = 0;
    return fact::fileModifiedTime(name, &t) ? t : 0;
}

long long sp_GetFileModifiedTime(std::FILE *file)
{
    long long t = 0;
    return fact::fileModifiedTime(file, &t) ? t : 0;
}

long long sp_GetFileSize64(const char *name)
{
    long long size = 0;
    return fact::fileSize(name, &size) ? size : 0;
}

long long sp_GetFileSize64(std::FILE *file)
{
    long long size = 0;
    return fact::fileSize(file, &size) ? size : 0;
}

long long sp_GetFreeDiskSpace(const char *path)
{
    long long bytes = 0;
    return fact::freeDiskSpace(path, &bytes) ? bytes : 0;
}

bool sp_IsLink(const char *name)
{
    return fact::isSymbolicLink(name);
}

bool sp_MoveFile(const char *from, const char *to)
{
    bool crossDevice = false;
    if (fact::renameNoReplace(from, to, &crossDevice))
        return true;
    QString source = QString::fromUtf8(from != nullptr ? from : "");
    QString target = QString::fromUtf8(to != nullptr ? to : "");
    if (!crossDevice || !QFileInfo(source).isFile() || !QFile::copy(source, target))
        return false;
    if (QFile::remove(source))
        return true;
    QFile::remove(target); // never leave the file in two places
    return false;
}

int sp_SeekFilePos(std::FILE *file, long long position, int whence)
{
    return fact::seekFileRaw(file, position, whence);
}

long long sp_TellFilePos(std::FILE *file)
{
    return fact::tellFileRaw(file);
}

// ------------------------------------------------------------- version resources

namespace {

// The numbers after ".so." in the real name of \p file, four of them.
bool versionFromName(const YString &file, int v[4])
{
    QFileInfo info(QString::fromUtf8(file.tocs()));
    QString real = info.canonicalFilePath();
    if (file.isEmpty() || real.isEmpty())
        return false;
    QString name = QFileInfo(real).fileName();
    int at = name.lastIndexOf(QStringLiteral(".so."));
    if (at < 0)
        return false;
    QStringList parts = name.mid(at + 4).split(QLatin1Char('.'));
    if (parts.size() > 4)
        return false;
    for (int i = 0; i < 4; ++i) {
        bool ok = true;
        v[i] = i < parts.size() ? parts[i].toInt(&ok) : 0;
        if (!ok || v[i] < 0)
            return false;
    }
    return true;
}

} // namespace

bool sp_GetFileVersion(const YString &file, int *major, int *minor, int *build, int *revision)
{
    int v[4];
    if (!versionFromName(file, v))
        return false;
    int *out[4] = {major, minor, build, revision};
    for (int i = 0; i < 4; ++i)
        if (out[i] != nullptr)
            *out[i] = v[i];
    return true;
}

bool sp_GetFileVersion(const YString &file, YString *version)
{
    int v[4];
    if (version == nullptr || !versionFromName(file, v))
        return false;
    version->sprintf("%d.%d.%d.%d", v[0], v[1], v[2], v[3]);
    return true;
}

bool sp_GetProductVersion(const YString &file, YString *version)
{
    return sp_GetFileVersion(file, version);
}

bool sp_GetFileVersionDescription(const YString &, YString *)
{
    return false;
}

// ------------------------------------------------------------- Qt helpers

bool equals(const QString &a, const QString &b)
{
    return a.compare(b, Qt::CaseSensitive) == 0;
}

bool notEquals(const QString &a, const QString &b)
{
    return !equals(a, b);
}

bool pathEquals(const QString &a, const QString &b)
{
    return equals(a, b);
}

namespace {

bool matches(const QObject *o, const char *className, const char *objectName)
{
    if (className != nullptr && className[0] != 0) {
        bool ok = qstrcmp(className, "QWidget") == 0 ? o->isWidgetType() : o->inherits(className);
        if (!ok)
            return false;
    }
    return objectName == nullptr || objectName[0] == 0 ||
           o->objectName() == QString::fromUtf8(objectName);
}

// Depth-first walk; false once the first match was wanted and found.
bool collect(const QObject *parent, const char *className, const char *objectName, bool recursive,
             bool firstOnly, QList<QObject *> *out)
{
    for (QObject *child : parent->children()) {
        if (matches(child, className, objectName)) {
            out->append(child);
            if (firstOnly)
                return false;
        }
        if (recursive && !collect(child, className, objectName, recursive, firstOnly, out))
            return false;
    }
    return true;
}

} // namespace

QList<QObject *> qtsp_QueryList(const QObject *parent, const char *className, const char *objectName,
                                bool recursive, bool firstOnly)
{
    QList<QObject *> out;
    if (parent != nullptr)
        collect(parent, className, objectName, recursive, firstOnly, &out);
    return out;
}

QObject *qtsp_SearchChild(const QObject *parent, const char *className, const char *objectName,
                          bool recursive)
{
    QList<QObject *> found = qtsp_QueryList(parent, className, objectName, recursive, true);
    return found.isEmpty() ? nullptr : found.first();
}

YString sp_GetGUID()
{
    return QUuid::createUuid().toString().toUtf8().constData();
}
