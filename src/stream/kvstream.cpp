// kvstream: delegation to the device, text conveniences, and the decryption
// hook that reads protected lines through an EncryptInterface.
#include <kvsupport/containers.h>
#include <kvsupport/kvstream.h>

#include "format/c_format.h"
#include "platform/file_lines.h"

#include <cstring>
#include <typeinfo>

namespace {

const char encryptedMark[] = "?@@";
const int decryptRoom = 512;
const int lineChunk = 511;

} // namespace

EncryptInterface::~EncryptInterface() = default;

kvstream::kvstream(kvbuf *b)
    : lineEncrypted(false), queue(nullptr), charCount(0), encryptReturn(0), encrypt(nullptr), buffer(b),
      ownsBuffer(true), ownsQueue(true)
{
}

kvstream::kvstream(const kvstream &other)
    : lineEncrypted(other.lineEncrypted), queue(other.queue), charCount(other.charCount),
      encryptReturn(other.encryptReturn), encrypt(other.encrypt), buffer(other.buffer), ownsBuffer(false),
      ownsQueue(false)
{
}

kvstream &kvstream::operator=(const kvstream &other)
{
    if (this == &other)
        return *this;
    releaseOwned();
    lineEncrypted = other.lineEncrypted;
    queue = other.queue;
    charCount = other.charCount;
    encryptReturn = other.encryptReturn;
    encrypt = other.encrypt;
    buffer = other.buffer;
    ownsBuffer = false;
    ownsQueue = false;
    return *this;
}

kvstream::~kvstream()
{
    releaseOwned();
}

void kvstream::releaseOwned()
{
    if (ownsBuffer)
        delete buffer;
    if (ownsQueue)
        delete queue;
    buffer = nullptr;
    queue = nullptr;
}

void kvstream::setBuffer(kvbuf *newBuffer)
{
    if (ownsBuffer)
        delete buffer;
    buffer = newBuffer;
    ownsBuffer = true;
}

void kvstream::makeBuffer()
{
    setBuffer(nullptr);
}

void kvstream::openBase64()
{
    if (buffer != nullptr)
        buffer->openBase64();
}

void kvstream::closeBase64()
{
    if (buffer != nullptr)
        buffer->closeBase64();
}

kvstream::operator bool() const
{
    return buffer != nullptr && static_cast<bool>(*buffer);
}

bool kvstream::fail() const
{
    return buffer != nullptr && buffer->fail();
}

bool kvstream::eof() const
{
    if (buffer == nullptr)
        return false;
    if (encrypt != nullptr)
        return (queue == nullptr || queue->isEmpty()) && buffer->eof();
    return buffer->eof();
}

void kvstream::close()
{
    if (buffer != nullptr)
        buffer->close();
}

bool kvstream::writeFailed() const
{
    return buffer != nullptr && buffer->writeFailed();
}

int kvstream::seekg(long long position)
{
    return buffer != nullptr ? buffer->seekg(position) : -1;
}

int kvstream::seekg(long long offset, int whence)
{
    return buffer != nullptr ? buffer->seekg(offset, whence) : -1;
}

long long kvstream::tellg()
{
    return buffer != nullptr ? buffer->tellg() : -1;
}

unsigned kvstream::write(const char *data, unsigned n)
{
    return buffer != nullptr ? buffer->write(data, n) : 0;
}

unsigned kvstream::takeAndWrite(const char *data, unsigned n)
{
    if (buffer == nullptr) {
        delete[] data;
        return 0;
    }
    return buffer->takeAndWrite(data, n);
}

long long kvstream::takeAndwriteSharedBlock(int token, long long blockId, long long size)
{
    return buffer != nullptr ? buffer->takeAndwriteSharedBlock(token, blockId, size) : 0;
}

// Reads the device into the queue up to and including a line feed; true if
// the device ended first (or already was at its end).
bool kvstream::fillLine()
{
    if (buffer->eof())
        return true;
    for (;;) {
        int c = buffer->get();
        if (c == -1)
            return true;
        ++charCount;
        queue->add(static_cast<char>(c));
        if (c == '\n')
            return false;
    }
}

int kvstream::get()
{
    if (buffer == nullptr)
        return 0;
    if (encrypt == nullptr) {
        ++charCount;
        return buffer->get();
    }
    for (;;) {
        if (!queue->isEmpty())
            return static_cast<unsigned char>(queue->pop());
        bool last = fillLine();
        if (queue->getLength() < 3 || std::memcmp(**queue, encryptedMark, 3) != 0) {
            if (lineEncrypted)
                encrypt->encryptedSectionEnded();
            lineEncrypted = false;
        } else {
            lineEncrypted = true;
            if (encryptReturn == 0) {
                char out[decryptRoom + 1] = {0};
                int outLength = 0;
                encryptReturn = encrypt->decrypt(**queue, out, &outLength);
                if (encryptReturn == 0) {
                    queue->flush();
                    outLength = outLength < 0 ? 0 : outLength > decryptRoom ? decryptRoom : outLength;
                    for (int i = 0; i < outLength; ++i)
                        queue->add(out[i]);
                }
            }
        }
        if (last)
            break;
    }
    if (!queue->isEmpty())
        return static_cast<unsigned char>(queue->pop());
    return -1;
}

void kvstream::get(char &c)
{
    c = static_cast<char>(get());
}

unsigned kvstream::read(char *out, unsigned n)
{
    if (buffer == nullptr || out == nullptr)
        return 0;
    if (encrypt == nullptr)
        return buffer->read(out, n);
    unsigned done = 0;
    while (done < n) {
        int c = get();
        if (c == -1)
            break;
        out[done++] = static_cast<char>(c);
    }
    return done;
}

int kvstream::read(YString *text, bool isLong)
{
    if (text == nullptr)
        return 0;
    return isLong ? text->restoreLong(*this) : text->restore(*this, 0);
}

bool kvstream::write(const YString &text, bool isLong)
{
    return isLong ? text.saveLong(*this) : text.save(*this);
}

void kvstream::getline(char *line, int size)
{
    if (line == nullptr)
        return;
    for (int i = 0; i < size; ++i) {
        int c = get();
        if (c == '\n' || c == -1 || (c & 0xFF) == 0xFF) {
            line[i] = 0;
            return;
        }
        line[i] = static_cast<char>(c);
    }
}

// getline on a plain file device without decryption: the same steps as the
// character loop below, a piece of up to 511 characters per call.
// The first piece replaces the text in place, so that a string that owns its
// block reuses it from line to line.
bool kvstream::getlineFromFile(YString *line, FILE *file)
{
    char chunk[lineChunk + 1];
    bool first = true;
    for (;;) {
        int stored = 0;
        kv::platform::LinePieceResult end = kv::platform::readLinePiece(file, chunk, lineChunk, &stored);
        charCount += stored + (end == kv::platform::LinePieceFull ? 0 : 1);
        if (end == kv::platform::LinePieceEnd) {
            if (first)
                *line = "";
            return false;
        }
        chunk[stored] = 0;
        if (first)
            *line = chunk;
        else
            *line &= chunk;
        first = false;
        if (end == kv::platform::LinePieceNewline)
            return true;
    }
}

bool kvstream::getline(YString *line)
{
    if (line == nullptr)
        return false;
    if (buffer != nullptr && encrypt == nullptr && typeid(*buffer) == typeid(kvfbuf)) {
        FILE *file = static_cast<kvfbuf *>(buffer)->getFile();
        if (file != nullptr && !buffer->eof())
            return getlineFromFile(line, file);
    }
    *line = "";
    if (buffer == nullptr || eof())
        return false;
    char chunk[lineChunk + 1];
    int used = 0;
    for (int c = get(); c != -1; c = get()) {
        if (c == '\n') {
            chunk[used] = 0;
            *line &= chunk;
            return true;
        }
        chunk[used++] = static_cast<char>(c);
        if (used == lineChunk) {
            chunk[used] = 0;
            *line &= chunk;
            used = 0;
        }
    }
    return false;
}

void kvstream::printf(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    vprintf(format, args);
    va_end(args);
}

void kvstream::vprintf(const char *format, va_list args)
{
    if (buffer == nullptr || format == nullptr)
        return;
    YString text;
    text.sprintf(format, args);
    buffer->write(text.tocs(), static_cast<unsigned>(text.length()));
}

kvstream &kvstream::operator<<(char c)
{
    write(&c, 1);
    return *this;
}

kvstream &kvstream::operator<<(int value)
{
    char text[16];
    int n = kv::detail::formatC(text, sizeof text, "%d", value);
    write(text, static_cast<unsigned>(n));
    return *this;
}

kvstream &kvstream::operator<<(double value)
{
    char text[64];
    int n = kv::detail::formatC(text, sizeof text, "%g", value);
    write(text, static_cast<unsigned>(n));
    return *this;
}

kvstream &kvstream::operator<<(const char *text)
{
    if (text == nullptr)
        text = "(null)";
    write(text, static_cast<unsigned>(std::strlen(text)));
    return *this;
}

int kvstream::getCharCount() const
{
    if (encrypt != nullptr && !lineEncrypted && queue != nullptr)
        return charCount - queue->getLength();
    return charCount;
}

void kvstream::setAllowEncryption(EncryptInterface *e)
{
    encrypt = e;
    if (ownsQueue)
        delete queue;
    queue = new CharQueue(80);
    ownsQueue = true;
}

void kvstream::transferBuffer(kvstream *from, kvstream *to)
{
    if (from == nullptr || to == nullptr || from == to)
        return;
    bool owned = from->ownsBuffer;
    to->setBuffer(from->buffer);
    to->ownsBuffer = owned;
    from->buffer = nullptr;
    from->makeBuffer();
}
