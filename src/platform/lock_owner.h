// Who holds a lock: the text a lock file carries for a person who finds it.
// Implemented in posix/.
#ifndef KVSUPPORT_PLATFORM_LOCK_OWNER_H
#define KVSUPPORT_PLATFORM_LOCK_OWNER_H

#include <string>

namespace kv {
namespace platform {

/// The name of the user running this process (up to 256 characters); empty
/// when the system can't tell.
std::string lockUserName();

/// A stable name of this machine (its host name); empty when unknown.
std::string lockMachineName();

} // namespace platform
} // namespace kv

#endif
