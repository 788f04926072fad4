// Which loaded module (executable or shared library) holds an address.
// Implemented in posix/.
#ifndef KVSUPPORT_PLATFORM_ADDRESS_MODULE_H
#define KVSUPPORT_PLATFORM_ADDRESS_MODULE_H

#include <string>

namespace kv {
namespace platform {

/// Path of the module whose mapping holds \p address: a shared library's
/// file, or the executable's for addresses in the main program. Empty when
/// no module holds the address.
std::string addressModulePath(const void *address);

} // namespace platform
} // namespace kv

#endif
