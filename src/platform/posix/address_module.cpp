// The module of an address, through the dynamic loader.
#include "platform/address_module.h"

#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/auxv.h>
#include <unistd.h>

namespace kv {
namespace platform {

namespace {

std::string executablePath()
{
    char buffer[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n <= 0)
        return std::string();
    return std::string(buffer, static_cast<std::size_t>(n));
}

} // namespace

std::string addressModulePath(const void *address)
{
    Dl_info info{};
    if (address == nullptr || dladdr(address, &info) == 0)
        return std::string();
    // The main program is mapped under the name it was started by, which may
    // be relative or empty: ask the kernel for its real path instead.
    // The program headers of the executable lie inside its own mapping.
    Dl_info mainInfo{};
    const void *programHeaders = reinterpret_cast<const void *>(getauxval(AT_PHDR));
    bool isMain = programHeaders != nullptr && dladdr(programHeaders, &mainInfo) != 0 &&
                  mainInfo.dli_fbase == info.dli_fbase;
    if (isMain || info.dli_fname == nullptr || info.dli_fname[0] == 0)
        return executablePath();
    // A library loaded by a relative name keeps that name; registration runs
    // while it loads, so the working directory is still the one it was found in.
    if (info.dli_fname[0] != '/') {
        char resolved[PATH_MAX];
        if (realpath(info.dli_fname, resolved) != nullptr)
            return std::string(resolved);
    }
    return std::string(info.dli_fname);
}

} // namespace platform
} // namespace kv
