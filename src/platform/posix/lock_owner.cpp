// User and machine names for lock files: the password database entry of the
// effective user (else $USER), and the host name.
#include "platform/lock_owner.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace kv {
namespace platform {

std::string lockUserName()
{
    std::vector<char> scratch(16384);
    struct passwd entry;
    struct passwd *found = nullptr;
    std::string name;
    if (getpwuid_r(geteuid(), &entry, scratch.data(), scratch.size(), &found) == 0 && found != nullptr &&
        found->pw_name != nullptr)
        name = found->pw_name;
    else if (const char *user = std::getenv("USER"))
        name = user;
    if (name.size() > 256)
        name.resize(256);
    return name;
}

std::string lockMachineName()
{
    char host[256] = {0};
    if (gethostname(host, sizeof host - 1) != 0)
        return std::string();
    return std::string(host);
}

} // namespace platform
} // namespace kv
