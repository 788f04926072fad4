// JFile, JFileBuffered and JFileBuf: a named C stream, the safe save through
// a temporary file, and whole files in memory.
#include <kvsupport/jfile.h>

#include <kvsupport/dynfunc.h>
#include <kvsupport/encoding.h>
#include <kvsupport/kvstream.h>
#include <kvsupport/paths.h>
#include <kvsupport/sysinfo.h>

#include "core/text_util.h"
#include "stream/final_path.h"

#include <QFileInfo>
#include <QString>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Bound by the application that holds built-in scripts; null otherwise.
FindBuiltInScriptFunction findBuiltInScript = nullptr;
RegisterDynFuncCall findBuiltInScriptCall(&findBuiltInScript, "findBuiltInScript", __FILE__, __LINE__);

const long long kMaxBufferedFile = 2147483647LL;

bool pathExists(const YString &path)
{
    QFileInfo info(QString::fromUtf8(path.tocs()));
    return info.exists() || info.isSymLink();
}

bool removeFile(const YString &path)
{
    return !path.isEmpty() && std::remove(path.tocs()) == 0;
}

bool renameFile(const YString &from, const YString &to)
{
    return std::rename(from.tocs(), to.tocs()) == 0;
}

} // namespace

// ------------------------------------------------------------ shared stream

// The stream of a JFile or JFileBuffered and the number of objects that
// share it. Closing or detaching through any of them empties it for all.
struct JFileShared {
    FILE *file = nullptr;
    int users = 1;
};

namespace {

JFileShared *share(JFileShared *shared)
{
    ++shared->users;
    return shared;
}

// Drops one user; the last one closes a stream that is still open.
void leave(JFileShared *shared)
{
    if (--shared->users > 0)
        return;
    if (shared->file != nullptr)
        std::fclose(shared->file);
    delete shared;
}

} // namespace

// ------------------------------------------------------------------ JFile

JFile::JFile() : stream(new JFileShared) {}

JFile::JFile(const char *name, const char *mode) : stream(new JFileShared)
{
    open(name, mode);
}

JFile::JFile(const char *name, FILE *s) : stream(new JFileShared), filename(name)
{
    stream->file = s;
}

JFile::JFile(const JFile &other) : stream(share(other.stream)), filename(other.filename) {}

JFile &JFile::operator=(const JFile &other)
{
    if (this != &other && stream != other.stream) {
        leave(stream);
        stream = share(other.stream);
    }
    filename = other.filename;
    return *this;
}

JFile::~JFile()
{
    leave(stream);
}

FILE *JFile::get() const
{
    return stream->file;
}

FILE *JFile::open(const char *name, const char *mode)
{
    FILE *opened = name != nullptr && mode != nullptr && *name != 0 ? fopen_utf8(name, mode) : nullptr;
    if (stream->users > 1) { // a new stream isn't shared with the copies
        leave(stream);
        stream = new JFileShared;
    }
    stream->file = opened;
    if (opened != nullptr)
        filename = sp_GetFullPath(YString(name));
    return opened;
}

FILE *JFile::reopen(const char *mode)
{
    if (filename.isEmpty())
        return nullptr;
    YString name = filename;
    return open(name.tocs(), mode);
}

void JFile::close()
{
    if (stream->file != nullptr)
        std::fclose(stream->file);
    stream->file = nullptr;
}

bool JFile::attach(const JFile &other)
{
    if (stream->file != nullptr)
        return false;
    if (stream != other.stream) {
        leave(stream);
        stream = share(other.stream);
    }
    filename = other.filename;
    return true;
}

FILE *JFile::detach()
{
    FILE *s = stream->file;
    stream->file = nullptr;
    return s;
}

// ---------------------------------------------------------- JFileBuffered

JFileBuffered::JFileBuffered(const char *name, bool binary)
    : stream(new JFileShared), target(name), status(JFileBufferedOpenFailed)
{
    if (target.isEmpty())
        return;
    YString full = sp_IsRelativePath(target) ? sp_GetFullPath(target) : target;
    full = kv::detail::finalPathOf(full);
    YString dir = sp_GetDirFromPath(full.tocs());
    if (dir.isEmpty() && full.beginsWith(YString("/")))
        dir = "/";
    if (dir.isEmpty())
        return;
    temporary = sp_GetTempFile(dir);
    if (temporary.isEmpty())
        return;
    stream->file = fopen_utf8(temporary.tocs(), binary ? "wb" : "w");
    if (stream->file == nullptr) {
        removeFile(temporary);
        temporary = "";
        return;
    }
    status = JFileBufferedOk;
}

JFileBuffered::JFileBuffered(const JFileBuffered &other)
    : stream(share(other.stream)), target(other.target), temporary(other.temporary), status(other.status)
{
}

JFileBuffered::~JFileBuffered()
{
    if (stream->file != nullptr)
        close();
    leave(stream);
}

JFileBuffered::operator FILE *() const
{
    return stream->file;
}

void JFileBuffered::failed()
{
    if (stream->file == nullptr)
        return;
    std::fclose(stream->file);
    stream->file = nullptr;
    removeFile(temporary);
}

JFileBufferedStatus JFileBuffered::close()
{
    FILE *file = stream->file;
    if (file == nullptr)
        return JFileBufferedNotOpen;
    bool bad = std::fflush(file) != 0;
    bad = std::ferror(file) != 0 || bad;
    bad = std::fclose(file) != 0 || bad;
    stream->file = nullptr;
    if (bad) {
        removeFile(temporary);
        return JFileBufferedWriteFailed;
    }
    return replaceTarget();
}

// The first free name of "<dir><name>-original<ext>",
// "<dir><name>-original-1<ext>", ... up to n = 1000, which is used as it
// stands.
YString JFileBuffered::backupName(const YString &destination) const
{
    PathName parts;
    sp_SplitPath(destination, &parts);
    YString base = parts.drive;
    base &= parts.dir;
    base &= parts.name;
    base &= "-original";
    YString candidate = base;
    candidate &= parts.ext;
    for (int n = 1; n <= 1000 && pathExists(candidate); ++n) {
        candidate = base;
        candidate &= "-";
        candidate &= YString(n);
        candidate &= parts.ext;
    }
    return candidate;
}

// A target that is a symbolic link is replaced in the file it names.
JFileBufferedStatus JFileBuffered::replaceTarget()
{
    const YString destination = kv::detail::finalPathOf(target);
    FILE *probe = fopen_utf8(destination.tocs(), "r");
    if (probe == nullptr) {
        if (renameFile(temporary, destination))
            return JFileBufferedOk;
        removeFile(temporary);
        return JFileBufferedRenameFailed;
    }
    std::fclose(probe);
    YString backup = backupName(destination);
    if (!renameFile(destination, backup)) {
        removeFile(temporary);
        return JFileBufferedRenameFailed;
    }
    if (!renameFile(temporary, destination)) {
        removeFile(temporary);
        return JFileBufferedLeftBackup;
    }
    removeFile(backup);
    return JFileBufferedOk;
}

// ---------------------------------------------------------------- JFileBuf

JFileBuf::JFileBuf() : data(nullptr), size(0) {}

JFileBuf::JFileBuf(const char *name, bool text) : data(nullptr), size(0)
{
    open(name, text);
}

JFileBuf::~JFileBuf()
{
    close();
}

void JFileBuf::close()
{
    std::free(data);
    data = nullptr;
    size = 0;
}

// Reads the built-in script named by the name part of \p name. The stream is
// read in blocks up to its end or failure.
bool JFileBuf::openInternal(const char *name)
{
    if (findBuiltInScript == nullptr)
        return false;
    PathName parts;
    sp_SplitPath(YString(name), &parts);
    kvstream *script = findBuiltInScript(parts.name.tocs(), "");
    if (script == nullptr)
        return false;
    Buf bytes(4096);
    char block[4096];
    for (;;) {
        unsigned n = script->read(block, sizeof block);
        if (n == 0 || n > sizeof block)
            break;
        bytes.append(block, static_cast<int>(n));
    }
    delete script;
    close();
    size = static_cast<unsigned int>(bytes.getLength());
    data = bytes.detach();
    return true;
}

const char *JFileBuf::open(const char *name, bool text)
{
    if (name == nullptr)
        return data;
    if (kv::detail::strnicmp(name, "INTERNAL:", 9) == 0) {
        openInternal(name + 9);
        return data;
    }
    close();
    long long fileSize = sp_GetFileSize64(name);
    if (fileSize < 0 || fileSize >= kMaxBufferedFile)
        return nullptr;
    FILE *file = fopen_utf8(name, text ? "r" : "rb", true);
    if (file == nullptr)
        return nullptr;
    data = static_cast<char *>(std::malloc(static_cast<std::size_t>(fileSize) + 1));
    if (data != nullptr) {
        std::size_t got = std::fread(data, 1, static_cast<std::size_t>(fileSize), file);
        if (std::ferror(file) != 0) {
            std::free(data);
            data = nullptr;
        } else {
            size = static_cast<unsigned int>(got);
        }
    }
    std::fclose(file);
    return data;
}
