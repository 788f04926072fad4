// Reading a line from a C file in one call, without taking the file's lock
// for every character. Implemented in posix/.
#ifndef KVSUPPORT_PLATFORM_FILE_LINES_H
#define KVSUPPORT_PLATFORM_FILE_LINES_H

#include <cstdio>

namespace kv {
namespace platform {

/// How readLinePiece stopped.
enum LinePieceResult {
    LinePieceFull = 0,    ///< \p room characters stored, no line feed yet
    LinePieceNewline = 1, ///< a line feed was read (and not stored)
    LinePieceEnd = 2      ///< the end of the file (or an error) was met
};

/// Reads characters of \p file into \p out until a line feed, the end, or
/// \p room characters; sets \p *stored to the number stored (the line feed
/// is consumed but not stored). \p out must have room + 1 bytes; the piece
/// is terminated after the stored characters.
LinePieceResult readLinePiece(std::FILE *file, char *out, int room, int *stored);

} // namespace platform
} // namespace kv

#endif
