// The memory device: bytes in a CharQueue, read from its read position.
#include <kvsupport/containers.h>
#include <kvsupport/kvstream.h>

#include <cstring>

namespace {

const unsigned countLimit = 0x7FFFFFFFu;
const long long lowestPosition = -2147483647LL;
const long long highestPosition = 2147483646LL;

} // namespace

kvstrbuf::kvstrbuf() : atEnd(false), bytes(new CharQueue(80)) {}

kvstrbuf::~kvstrbuf()
{
    delete bytes;
}

int kvstrbuf::get()
{
    atEnd = bytes->getReadPosition() == bytes->Buf::getLength();
    if (atEnd)
        return -1;
    return static_cast<signed char>(bytes->pop());
}

unsigned kvstrbuf::read(char *buffer, unsigned n)
{
    if (n >= countLimit)
        return 0;
    atEnd = bytes->getReadPosition() == bytes->Buf::getLength();
    int waiting = bytes->getLength();
    if (buffer == nullptr || waiting <= 0)
        return 0;
    unsigned take = n < static_cast<unsigned>(waiting) ? n : static_cast<unsigned>(waiting);
    std::memcpy(buffer, **bytes, take);
    bytes->setReadPosition(bytes->getReadPosition() + static_cast<int>(take));
    return take;
}

unsigned kvstrbuf::write(const char *data, unsigned n)
{
    atEnd = false;
    if (n >= countLimit || data == nullptr)
        return 0;
    for (unsigned i = 0; i < n; ++i)
        bytes->add(data[i]);
    return n;
}

int kvstrbuf::seekg(long long position)
{
    return seekg(position, 0);
}

int kvstrbuf::seekg(long long offset, int whence)
{
    if (offset < lowestPosition || offset > highestPosition)
        return -1;
    long long base = whence == 0 ? 0 : whence == 1 ? bytes->getReadPosition() : bytes->Buf::getLength();
    long long target = base + offset;
    long long length = bytes->Buf::getLength();
    target = target < 0 ? 0 : target > length ? length : target;
    bytes->setReadPosition(static_cast<int>(target));
    return static_cast<int>(target);
}

long long kvstrbuf::tellg()
{
    return bytes->getReadPosition();
}

void kvstrbuf::flush()
{
    bytes->Buf::flush();
}

int kvstrbuf::getNumBytes() const
{
    return bytes->Buf::getLength();
}

const char *kvstrbuf::getString() const
{
    return bytes->get();
}
