// Machine, session and process facts on Linux, from /proc, /etc/os-release
// and the C library.
#include "platform/system_facts.h"
#include "platform/posix/fd_io.h"

#include <dirent.h>
#include <fcntl.h>
#include <dlfcn.h>
#include <pthread.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace kv {
namespace platform {

namespace {

// Whole content of a small text file (up to 1 MiB); empty if unreadable.
std::string readSmallFile(const char *path)
{
    std::string out;
    std::FILE *f = std::fopen(path, "re");
    if (f == nullptr)
        return out;
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0 && out.size() < (1u << 20))
        out.append(buffer, n);
    std::fclose(f);
    return out;
}

// The number after "<key>:" in a /proc status-style text, 0 if absent.
long long fieldValue(const std::string &text, const char *key)
{
    std::string pattern = std::string("\n") + key + ":";
    std::string::size_type at = ("\n" + text).find(pattern);
    if (at == std::string::npos)
        return 0;
    return std::strtoll(text.c_str() + at + pattern.size() - 1, nullptr, 10);
}

// 100 ns units from 1601 to 1970.
constexpr long long kEpochDelta100ns = 116444736000000000LL;

long long fileTimeOf(const struct stat &st)
{
    return kEpochDelta100ns + static_cast<long long>(st.st_mtim.tv_sec) * 10000000LL +
           st.st_mtim.tv_nsec / 100;
}

} // namespace

MemoryFacts memoryFacts()
{
    MemoryFacts m;
    std::string meminfo = readSmallFile("/proc/meminfo");
    m.totalPhysical = fieldValue(meminfo, "MemTotal") * 1024;
    m.availablePhysical = fieldValue(meminfo, "MemAvailable") * 1024;
    if (m.totalPhysical == 0) {
        long pages = sysconf(_SC_PHYS_PAGES);
        long avail = sysconf(_SC_AVPHYS_PAGES);
        long size = sysconf(_SC_PAGESIZE);
        m.totalPhysical = pages > 0 && size > 0 ? static_cast<long long>(pages) * size : 0;
        m.availablePhysical = avail > 0 && size > 0 ? static_cast<long long>(avail) * size : 0;
    }
    // The user part of the address space: 128 TiB on a 64-bit system with
    // four-level page tables, unless a limit is set.
    m.totalVirtual = sizeof(void *) == 8 ? (1LL << 47) : 0xC0000000LL;
    struct rlimit limit;
    if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
        static_cast<long long>(limit.rlim_cur) < m.totalVirtual)
        m.totalVirtual = static_cast<long long>(limit.rlim_cur);
    long long used = fieldValue(readSmallFile("/proc/self/status"), "VmSize") * 1024;
    m.availableVirtual = used < m.totalVirtual ? m.totalVirtual - used : 0;
    return m;
}

unsigned long long millisecondsSinceBoot()
{
    timespec ts;
    if (clock_gettime(CLOCK_BOOTTIME, &ts) != 0 && clock_gettime(CLOCK_MONOTONIC, &ts) != 0)
        return 0;
    return static_cast<unsigned long long>(ts.tv_sec) * 1000ULL +
           static_cast<unsigned long long>(ts.tv_nsec / 1000000);
}

bool monotonicSeconds(double *seconds)
{
    timespec ts;
    if (clock_gettime(CLOCK_MONOTONIC, &ts) != 0)
        return false;
    *seconds = static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
    return true;
}

long long secondsSinceEpoch()
{
    timespec ts;
    if (clock_gettime(CLOCK_REALTIME, &ts) != 0)
        return 0;
    return static_cast<long long>(ts.tv_sec);
}

unsigned long stackBytesBelow()
{
    pthread_attr_t attr;
    if (pthread_getattr_np(pthread_self(), &attr) != 0)
        return 0;
    void *low = nullptr;
    size_t size = 0;
    int r = pthread_attr_getstack(&attr, &low, &size);
    pthread_attr_destroy(&attr);
    char here = 0;
    auto position = reinterpret_cast<std::uintptr_t>(&here);
    auto bottom = reinterpret_cast<std::uintptr_t>(low);
    if (r != 0 || position < bottom)
        return 0;
    return static_cast<unsigned long>(position - bottom);
}

bool narrowProcessOnWideSystem()
{
    struct utsname u;
    if (sizeof(void *) != 4 || uname(&u) != 0)
        return false;
    return std::strstr(u.machine, "64") != nullptr;
}

void kernelRelease(std::string *name, std::string *release)
{
    struct utsname u;
    if (uname(&u) != 0) {
        name->clear();
        release->clear();
        return;
    }
    *name = u.sysname;
    *release = u.release;
}

std::string osReleaseText()
{
    std::string text = readSmallFile("/etc/os-release");
    return text.empty() ? readSmallFile("/usr/lib/os-release") : text;
}

std::string userName()
{
    long hint = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(hint > 0 ? static_cast<size_t>(hint) : 16384);
    struct passwd pw;
    struct passwd *found = nullptr;
    if (getpwuid_r(geteuid(), &pw, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
        found->pw_name != nullptr)
        return found->pw_name;
    const char *env = std::getenv("USER");
    return env != nullptr ? env : "";
}

bool isPrivilegedUser()
{
    return geteuid() == 0;
}

bool debuggerAttached()
{
    return fieldValue(readSmallFile("/proc/self/status"), "TracerPid") != 0;
}

int lastErrorNumber()
{
    return errno;
}

void debugOutput(const char *text)
{
    syslog(LOG_USER | LOG_DEBUG, "%s", text);
}

bool writeConsoleLine(const char *text)
{
    std::string line = std::string(text) + "\n";
    return writeFully(STDOUT_FILENO, line.data(), line.size());
}

bool processNames(std::vector<std::string> *out)
{
    DIR *dir = opendir("/proc");
    if (dir == nullptr)
        return false;
    while (dirent *entry = readdir(dir)) {
        const char *name = entry->d_name;
        if (name[0] < '0' || name[0] > '9' || std::strspn(name, "0123456789") != std::strlen(name))
            continue;
        std::string comm = readSmallFile(("/proc/" + std::string(name) + "/comm").c_str());
        while (!comm.empty() && comm.back() == '\n')
            comm.pop_back();
        out->push_back(comm.empty() ? std::string("<unknown>") : comm);
    }
    closedir(dir);
    return true;
}

std::string modulePathOf(const void *address)
{
    Dl_info info;
    if (address == nullptr || dladdr(address, &info) == 0 || info.dli_fname == nullptr)
        return std::string();
    char resolved[PATH_MAX];
    if (realpath(info.dli_fname, resolved) != nullptr)
        return resolved;
    return info.dli_fname;
}

std::vector<std::string> commandLineArgs()
{
    std::vector<std::string> args;
    std::string all = readSmallFile("/proc/self/cmdline");
    std::string::size_type start = 0;
    while (start < all.size()) {
        std::string::size_type end = all.find('\0', start);
        if (end == std::string::npos)
            end = all.size();
        args.push_back(all.substr(start, end - start));
        start = end + 1;
    }
    return args;
}

bool getEnvironment(const char *name, std::string *value)
{
    const char *v = name != nullptr ? std::getenv(name) : nullptr;
    if (v == nullptr)
        return false;
    *value = v;
    return true;
}

bool setEnvironment(const char *name, const char *value)
{
    if (name == nullptr || name[0] == 0 || std::strchr(name, '=') != nullptr)
        return false;
    return value != nullptr ? setenv(name, value, 1) == 0 : unsetenv(name) == 0;
}

std::string findOnPath(const char *program)
{
    const char *path = std::getenv("PATH");
    if (program == nullptr || program[0] == 0 || path == nullptr)
        return std::string();
    std::string all(path);
    std::string::size_type start = 0;
    while (start <= all.size()) {
        std::string::size_type end = all.find(':', start);
        if (end == std::string::npos)
            end = all.size();
        std::string dir = all.substr(start, end - start);
        std::string candidate = (dir.empty() ? std::string(".") : dir) + "/" + program;
        struct stat st;
        if (stat(candidate.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(candidate.c_str(), X_OK) == 0)
            return candidate;
        start = end + 1;
    }
    return std::string();
}

bool fileModifiedTime(const char *path, long long *time)
{
    struct stat st;
    if (path == nullptr || stat(path, &st) != 0)
        return false;
    *time = fileTimeOf(st);
    return true;
}

bool fileModifiedTime(std::FILE *file, long long *time)
{
    struct stat st;
    if (file == nullptr || fstat(fileno(file), &st) != 0)
        return false;
    *time = fileTimeOf(st);
    return true;
}

bool fileSize(const char *path, long long *size)
{
    struct stat st;
    if (path == nullptr || stat(path, &st) != 0)
        return false;
    *size = static_cast<long long>(st.st_size);
    return true;
}

bool fileSize(std::FILE *file, long long *size)
{
    struct stat st;
    if (file == nullptr)
        return false;
    std::fflush(file); // count what is still buffered
    if (fstat(fileno(file), &st) != 0)
        return false;
    *size = static_cast<long long>(st.st_size);
    return true;
}

bool freeDiskSpace(const char *path, long long *bytes)
{
    struct statvfs vfs;
    if (path == nullptr || statvfs(path, &vfs) != 0)
        return false;
    *bytes = static_cast<long long>(vfs.f_bavail) * static_cast<long long>(vfs.f_frsize);
    return true;
}

bool isSymbolicLink(const char *path)
{
    struct stat st;
    return path != nullptr && lstat(path, &st) == 0 && S_ISLNK(st.st_mode);
}

bool renameNoReplace(const char *from, const char *to, bool *crossDevice)
{
    *crossDevice = false;
    if (from == nullptr || to == nullptr)
        return false;
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0)
        return true;
    if (errno == EXDEV) {
        *crossDevice = true;
        return false;
    }
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    // A file system without the no-replace flag: test, then rename.
    struct stat st;
    if (lstat(to, &st) == 0)
        return false;
    if (rename(from, to) == 0)
        return true;
    *crossDevice = errno == EXDEV;
    return false;
}

int seekFileRaw(std::FILE *file, long long position, int whence)
{
    if (file == nullptr)
        return -1;
    return fseeko(file, static_cast<off_t>(position), whence);
}

long long tellFileRaw(std::FILE *file)
{
    if (file == nullptr)
        return -1;
    return static_cast<long long>(ftello(file));
}

} // namespace platform
} // namespace kv
