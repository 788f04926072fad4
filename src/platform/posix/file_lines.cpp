// Line pieces by fgets, which scans the FILE's buffer a block at a time. The
// piece is prefilled with line feeds, so that the terminator that fgets puts
// after the last character read can be found even when the text itself holds
// NUL bytes.
#include "platform/file_lines.h"

#include <cstring>
#include <string.h>

namespace kv {
namespace platform {

LinePieceResult readLinePiece(std::FILE *file, char *out, int room, int *stored)
{
    *stored = 0;
    if (room <= 0)
        return LinePieceFull;
    std::memset(out, '\n', static_cast<std::size_t>(room) + 1);
    if (std::fgets(out, room + 1, file) == nullptr)
        return LinePieceEnd;
    std::size_t n = std::strlen(out);
    if (n > 0 && out[n - 1] == '\n') {
        *stored = static_cast<int>(n - 1);
        return LinePieceNewline;
    }
    if (n == static_cast<std::size_t>(room)) {
        *stored = room;
        return LinePieceFull;
    }
    // Short without a line feed: the end of the file, or NUL bytes in the
    // text. The last NUL is the terminator that fgets wrote.
    const char *terminator = static_cast<const char *>(memrchr(out, 0, static_cast<std::size_t>(room) + 1));
    std::size_t count = terminator != nullptr ? static_cast<std::size_t>(terminator - out) : n;
    if (count > 0 && out[count - 1] == '\n') {
        *stored = static_cast<int>(count - 1);
        return LinePieceNewline;
    }
    *stored = static_cast<int>(count);
    return count == static_cast<std::size_t>(room) ? LinePieceFull : LinePieceEnd;
}

} // namespace platform
} // namespace kv
