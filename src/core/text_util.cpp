#include "core/text_util.h"

#include "platform/memory_pages.h"

#include <string>

namespace kv {
namespace detail {

void outOfMemory(const char *where)
{
    std::string why = std::string("out of memory in ") + (where != nullptr ? where : "?");
    platform::fatalStop(why.c_str());
}

} // namespace detail
} // namespace kv
