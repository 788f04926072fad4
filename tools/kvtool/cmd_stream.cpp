// kvtool stream, lock and openfail: the stream framework, file locks and the
// open-failure diagnosis from a shell.
#include "command.h"

#include <kvsupport/filelock.h>
#include <kvsupport/kvstream.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

int streamLines(const char *path)
{
    kvfstream in(path, KvOpenIn | KvOpenBinary);
    if (!in)
        return kvtool::fail(1, std::string("cannot open ") + path);
    YString line;
    int lines = 0;
    while (in.getline(&line)) {
        std::printf("%s\n", line.tocs());
        ++lines;
    }
    std::fprintf(stderr, "%d lines, %d characters taken\n", lines, in.getCharCount());
    return 0;
}

int copyBase64(const char *from, const char *to, bool encode)
{
    kvfstream in(from, KvOpenIn | KvOpenBinary);
    kvfstream out(to, KvOpenOut | KvOpenBinary);
    if (!in || !out)
        return kvtool::fail(1, std::string("cannot open ") + (!in ? from : to));
    (encode ? out : in).openBase64();
    std::vector<char> block(65536);
    for (;;) {
        unsigned n = in.read(block.data(), static_cast<unsigned>(block.size()));
        out.write(block.data(), n);
        if (n < block.size())
            break;
    }
    (encode ? out : in).closeBase64();
    out.close();
    return out.writeFailed() ? kvtool::fail(1, std::string("writing ") + to + " failed") : 0;
}

} // namespace

KVTOOL_COMMAND(stream, "stream lines FILE | stream b64-write IN OUT | stream b64-read IN OUT",
               "read FILE line by line through kvfstream::getline (a last line without a line feed\n"
               "is not delivered), or copy IN into a base64 section of OUT, or a section back")
(int argc, char **argv)
{
    if (argc == 3 && std::strcmp(argv[1], "lines") == 0)
        return streamLines(argv[2]);
    if (argc == 4 && std::strcmp(argv[1], "b64-write") == 0)
        return copyBase64(argv[2], argv[3], true);
    if (argc == 4 && std::strcmp(argv[1], "b64-read") == 0)
        return copyBase64(argv[2], argv[3], false);
    return kvtool::fail(2, "usage: kvtool stream lines FILE | b64-write IN OUT | b64-read IN OUT");
}

KVTOOL_COMMAND(lock, "lock FILE",
               "take the lock of FILE (FILE.lck) and hold it until standard input ends")
(int argc, char **argv)
{
    if (argc != 2)
        return kvtool::fail(2, "usage: kvtool lock FILE");
    FileLock lock;
    if (!lock.lock(argv[1])) {
        static const char *why[] = {"no error", "in use", "access denied", "other error"};
        return kvtool::fail(1, std::string("cannot lock ") + argv[1] + ": " + why[lock.getError()]);
    }
    std::printf("locked %s\n", lock.lockFileName().tocs());
    std::fflush(stdout);
    char line[256];
    while (std::fgets(line, sizeof line, stdin) != nullptr) {
    }
    return 0;
}

KVTOOL_COMMAND(openfail, "openfail FILE read|new|append|write",
               "say whether FILE opens in that mode, and if not, why")
(int argc, char **argv)
{
    if (argc != 3)
        return kvtool::fail(2, "usage: kvtool openfail FILE read|new|append|write");
    static const struct {
        const char *name;
        GfnOpenMode mode;
    } modes[] = {{"read", GfnOpenRead}, {"new", GfnOpenNew}, {"append", GfnOpenAppend}, {"write", GfnOpenWrite}};
    for (const auto &m : modes) {
        if (std::strcmp(argv[2], m.name) != 0)
            continue;
        // Writing is tested by appending, which leaves the file as it is.
        GfnOpenMode test = m.mode == GfnOpenWrite ? GfnOpenAppend : m.mode;
        if (sp_CheckFileOpen(argv[1], test)) {
            std::printf("The file %s opens for %s\n", argv[1], m.name);
            return 0;
        }
        YString message;
        sp_FileOpenForensicMsg(argv[1], m.mode, &message);
        std::printf("%s\n", message.tocs());
        return 1;
    }
    return kvtool::fail(2, std::string("unknown mode ") + argv[2]);
}
