// The machine named in a lock file, for a person who finds it. Implemented
// in posix/.
#ifndef KVSUPPORT_PLATFORM_LOCK_OWNER_H
#define KVSUPPORT_PLATFORM_LOCK_OWNER_H

#include <string>

namespace kv {
namespace platform {

/// A stable name of this machine (its host name); empty when unknown.
std::string lockMachineName();

} // namespace platform
} // namespace kv

#endif
