// The file and memory streams.
#include <kvsupport/kvstream.h>

#include "platform/c_scan.h"

#include <cstring>

namespace {

// The device of a new file stream. The asynchronous file device is not part
// of this build yet, so both kinds get the synchronous one.
kvfbuf *newFileBuffer(bool /*async*/)
{
    return new kvfbuf;
}

} // namespace

// ---- kvfstream ----

kvfstream::kvfstream(bool async) : kvstream(newFileBuffer(async)) {}

kvfstream::kvfstream(const char *name, int mode, bool lock, bool async) : kvstream(newFileBuffer(async))
{
    open(name, mode, lock);
}

kvfstream::kvfstream(FILE *file, bool async) : kvstream(newFileBuffer(async))
{
    kvfbuf *device = fileBuffer();
    if (file != nullptr)
        device->adopt(file);
}

kvfbuf *kvfstream::fileBuffer() const
{
    return dynamic_cast<kvfbuf *>(rdbuf());
}

bool kvfstream::open(const char *name, int mode, bool lock)
{
    kvfbuf *device = fileBuffer();
    return device != nullptr && device->open(name, mode, lock);
}

void kvfstream::open(FILE *file)
{
    setBuffer(new kvfbuf(file));
}

void kvfstream::makeBuffer()
{
    setBuffer(new kvfbuf);
}

void kvfstream::put(char c)
{
    if (rdbuf() != nullptr)
        rdbuf()->put(c);
}

// Guarded like every other operation, so that a stream without a device
// never faults here.
void kvfstream::flush()
{
    if (rdbuf() != nullptr)
        rdbuf()->flush();
}

char *kvfstream::gets(char *line, int size)
{
    kvfbuf *device = fileBuffer();
    FILE *file = device != nullptr ? device->getFile() : nullptr;
    if (file == nullptr || line == nullptr || size <= 0)
        return nullptr;
    if (std::fgets(line, size, file) == nullptr)
        return nullptr;
    std::size_t n = std::strlen(line);
    if (n > 0 && line[n - 1] == '\n')
        line[n - 1] = 0;
    return line;
}

kvfstream &kvfstream::operator>>(int &value)
{
    kvfbuf *device = fileBuffer();
    int read = 0;
    if (device != nullptr && kv::platform::scanIntC(device->getFile(), &read) == 1)
        value = read;
    return *this;
}

kvfstream &kvfstream::operator>>(double &value)
{
    kvfbuf *device = fileBuffer();
    double read = 0;
    if (device != nullptr && kv::platform::scanDoubleC(device->getFile(), &read) == 1)
        value = read;
    return *this;
}

long long kvfstream::getFileSize() const
{
    kvfbuf *device = fileBuffer();
    return device != nullptr ? device->getFileSize() : 0;
}

// ---- kvstrstream ----

kvstrstream::kvstrstream() : kvstream(new kvstrbuf) {}

kvstrstream::kvstrstream(const char *text) : kvstream(new kvstrbuf)
{
    if (text != nullptr)
        write(text, static_cast<unsigned>(std::strlen(text)));
}

kvstrstream::kvstrstream(const char *text, int length) : kvstream(new kvstrbuf)
{
    if (text != nullptr && length > 0)
        write(text, static_cast<unsigned>(length));
}

kvstrbuf *kvstrstream::stringBuffer() const
{
    return dynamic_cast<kvstrbuf *>(rdbuf());
}

void kvstrstream::flush()
{
    if (kvstrbuf *device = stringBuffer())
        device->flush();
}

int kvstrstream::getNumBytes() const
{
    kvstrbuf *device = stringBuffer();
    return device != nullptr ? device->getNumBytes() : 0;
}

const char *kvstrstream::getString() const
{
    kvstrbuf *device = stringBuffer();
    return device != nullptr ? device->getString() : "";
}

void kvstrstream::makeBuffer()
{
    setBuffer(new kvstrbuf);
}
