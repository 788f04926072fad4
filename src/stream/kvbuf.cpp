// The device base class and the C-file device (without its base64 section,
// which lives in base64_section.cpp).
#include <kvsupport/encoding.h>
#include <kvsupport/kvstream.h>
#include <kvsupport/sysinfo.h>

#include "platform/file_number.h"
#include "stream/base64_state.h"
#include "stream/shared_block_source.h"

#include <QFileInfo>

#include <cstring>

// ---- shared block source ----

namespace kv {
namespace detail {

namespace {
const SharedBlockSource *installedSource = nullptr;
}

void setSharedBlockSource(const SharedBlockSource *source)
{
    installedSource = source;
}

const SharedBlockSource *sharedBlockSource()
{
    return installedSource;
}

} // namespace detail
} // namespace kv

// ---- kvbuf ----

kvbuf::~kvbuf() = default;

void kvbuf::close() {}

bool kvbuf::fail()
{
    return false;
}

void kvbuf::put(char c)
{
    write(&c, 1);
}

unsigned kvbuf::writeSync(const char *data, unsigned n)
{
    return write(data, n);
}

unsigned kvbuf::takeAndWrite(const char *data, unsigned n)
{
    unsigned written = writeSync(data, n);
    delete[] data;
    return written;
}

unsigned kvbuf::writeAt(long long position, const char *data, unsigned n)
{
    long long back = tellg();
    seekg(position);
    unsigned written = write(data, n);
    seekg(back);
    return written;
}

long long kvbuf::takeAndwriteSharedBlock(int token, long long blockId, long long size)
{
    const kv::detail::SharedBlockSource *source = kv::detail::sharedBlockSource();
    const char *data = nullptr;
    long long blockSize = 0;
    void *heap = nullptr;
    if (source == nullptr || !source->take(token, blockId, &data, &blockSize, &heap))
        return 0;
    long long n = size < blockSize ? size : blockSize;
    if (n < 0)
        n = 0;
    if (n > 0xFFFFFFFFLL)
        n = 0xFFFFFFFFLL;
    long long written = writeSync(data, static_cast<unsigned>(n));
    source->finish(heap, blockId);
    return written;
}

int kvbuf::seekg(long long)
{
    return -1;
}

int kvbuf::seekg(long long, int)
{
    return -1;
}

long long kvbuf::tellg()
{
    return -1;
}

void kvbuf::flush() {}

bool kvbuf::writeFailed() const
{
    return false;
}

void kvbuf::openBase64() {}

void kvbuf::closeBase64() {}

// ---- open modes ----

const char *kv_OpenModeString(int mode)
{
    if ((mode & 3) == 1)
        return "r";
    if ((mode & 11) == 2)
        return "w";
    if ((mode & 9) == 8)
        return "a";
    if ((mode & 27) == 3)
        return "w+";
    if ((mode & 27) == 19)
        return "r+";
    if ((mode & 9) == 9)
        return "a+";
    return "r";
}

// ---- kvfbuf ----

kvfbuf::kvfbuf() : file(nullptr), base64(nullptr), failedWrite(false) {}

kvfbuf::kvfbuf(FILE *f) : file(f), base64(nullptr), failedWrite(false) {}

kvfbuf::~kvfbuf()
{
    close();
}

void kvfbuf::closeFile(bool keepLock)
{
    if (file != nullptr && std::fclose(file) != 0)
        failedWrite = true;
    file = nullptr;
    delete base64;
    base64 = nullptr;
    if (!keepLock && fileLock.locked())
        fileLock.unlock();
}

void kvfbuf::close()
{
    closeFile(false);
}

void kvfbuf::adopt(FILE *f)
{
    closeFile(false);
    file = f;
}

FILE *kvfbuf::detach()
{
    FILE *f = file;
    file = nullptr;
    delete base64;
    base64 = nullptr;
    return f;
}

namespace {

// True if the name is taken, also by a link whose target is missing: such a
// link is replaced like any other entry, rather than followed by the open.
bool pathExists(const char *name)
{
    QFileInfo entry(QString::fromUtf8(name));
    return entry.exists() || entry.isSymLink();
}

} // namespace

bool kvfbuf::open(const char *name, int mode, bool lock)
{
    bool hasName = name != nullptr && *name != 0;
    if (lock && (!hasName || !fileLock.lock(YString(name))))
        return false;
    closeFile(lock);
    const char *how = kv_OpenModeString(mode);
    bool truncates = how[0] == 'w';
    if (truncates && (mode & KvOpenReplace) != 0 && hasName && pathExists(name)) {
        unlink_utf8(name);
        if (pathExists(name)) {
            if (fileLock.locked())
                fileLock.unlock();
            return false;
        }
    }
    char fopenMode[4] = {0};
    std::strcpy(fopenMode, how);
    if ((mode & KvOpenBinary) != 0)
        std::strcat(fopenMode, "b");
    if (hasName)
        file = fopen_utf8(name, fopenMode);
    if (file == nullptr && fileLock.locked())
        fileLock.unlock(); // no file, so nothing to hold the lock for
    return file != nullptr;
}

int kvfbuf::fd()
{
    return kv::platform::fileNumber(file);
}

bool kvfbuf::eof()
{
    return file == nullptr || std::feof(file) != 0;
}

bool kvfbuf::fail()
{
    return file == nullptr || std::ferror(file) != 0;
}

int kvfbuf::get()
{
    return file != nullptr ? std::fgetc(file) : -1;
}

unsigned kvfbuf::read(char *buffer, unsigned n)
{
    if (file == nullptr || buffer == nullptr)
        return 0;
    if (base64 != nullptr)
        return readBase64(buffer, n);
    return static_cast<unsigned>(std::fread(buffer, 1, n, file));
}

unsigned kvfbuf::writeFile(const char *data, unsigned n)
{
    // After a failed write the C library may still take bytes into its
    // buffer and count them, though they can never reach the file: a file
    // in error takes nothing more, so no count claims bytes it lost.
    if (std::ferror(file) != 0) {
        if (n != 0)
            failedWrite = true;
        return 0;
    }
    unsigned written = static_cast<unsigned>(std::fwrite(data, 1, n, file));
    if (written != n)
        failedWrite = true;
    return written;
}

unsigned kvfbuf::write(const char *data, unsigned n)
{
    if (file == nullptr)
        return 0;
    if (data == nullptr) {
        if (n != 0)
            failedWrite = true;
        return 0;
    }
    if (base64 != nullptr)
        return writeBase64(data, n);
    return writeFile(data, n);
}

void kvfbuf::put(char c)
{
    if (file == nullptr)
        return;
    if (base64 != nullptr) {
        writeBase64(&c, 1);
    } else if (std::ferror(file) != 0 || std::fputc(static_cast<unsigned char>(c), file) == EOF) {
        failedWrite = true;
    }
}

int kvfbuf::seekg(long long position)
{
    return file != nullptr ? sp_SeekFilePos(file, position, SEEK_SET) : 0;
}

int kvfbuf::seekg(long long offset, int whence)
{
    if (file == nullptr)
        return 0;
    int origin = whence == 0 ? SEEK_SET : whence == 1 ? SEEK_CUR : SEEK_END;
    return sp_SeekFilePos(file, offset, origin);
}

long long kvfbuf::tellg()
{
    return file != nullptr ? sp_TellFilePos(file) : -1;
}

void kvfbuf::flush()
{
    if (file != nullptr && std::fflush(file) != 0)
        failedWrite = true;
}

long long kvfbuf::getFileSize() const
{
    return file != nullptr ? sp_GetFileSize64(file) : 0;
}
