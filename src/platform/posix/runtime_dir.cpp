// The per-user runtime directory on Linux.
#include "platform/runtime_dir.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace kv {
namespace platform {

namespace {

// True if \p path is an existing directory (not a link) owned by us; a mode
// wider than 0700 is narrowed.
bool isOurPrivateDir(const std::string &path)
{
    struct stat st;
    if (lstat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode) || st.st_uid != geteuid())
        return false;
    if ((st.st_mode & 077) != 0 && chmod(path.c_str(), 0700) != 0)
        return false;
    return true;
}

} // namespace

bool ensurePrivateDir(const std::string &path)
{
    if (path.empty())
        return false;
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        return false;
    return isOurPrivateDir(path);
}

std::string userRuntimeDir()
{
    const char *xdg = std::getenv("XDG_RUNTIME_DIR");
    if (xdg != nullptr && xdg[0] == '/') {
        struct stat st;
        std::string base(xdg);
        if (stat(base.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == geteuid()) {
            std::string dir = base + "/kvsupport";
            if (ensurePrivateDir(dir))
                return dir;
        }
    }
    std::string dir = "/tmp/kvsupport-" + std::to_string(static_cast<unsigned long>(geteuid()));
    return ensurePrivateDir(dir) ? dir : std::string();
}

} // namespace platform
} // namespace kv
