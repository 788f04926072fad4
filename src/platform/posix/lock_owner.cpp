// The machine's name for lock files: the host name.
#include "platform/lock_owner.h"

#include <unistd.h>

namespace kv {
namespace platform {

std::string lockMachineName()
{
    char host[256] = {0};
    if (gethostname(host, sizeof host - 1) != 0)
        return std::string();
    return std::string(host);
}

} // namespace platform
} // namespace kv
