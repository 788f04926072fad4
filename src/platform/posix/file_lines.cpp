// Line pieces with one lock of the FILE per call and getc_unlocked inside.
#include "platform/file_lines.h"

#include <stdio.h>

namespace kv {
namespace platform {

LinePieceResult readLinePiece(std::FILE *file, char *out, int room, int *stored)
{
    int n = 0;
    LinePieceResult end = LinePieceFull;
    flockfile(file);
    while (n < room) {
        int c = getc_unlocked(file);
        if (c == EOF) {
            end = LinePieceEnd;
            break;
        }
        if (c == '\n') {
            end = LinePieceNewline;
            break;
        }
        out[n++] = static_cast<char>(c);
    }
    funlockfile(file);
    *stored = n;
    return end;
}

} // namespace platform
} // namespace kv
