// fileno, the descriptor under a C file.
#include "platform/file_number.h"

#include <stdio.h>

namespace kv {
namespace platform {

int fileNumber(std::FILE *file)
{
    return file != nullptr ? fileno(file) : -1;
}

} // namespace platform
} // namespace kv
