// The base64 section of a kvfbuf: 3000-byte blocks, encoded with a line feed
// after every 80 characters, and decoded a block at a time.
#include <kvsupport/kvstream.h>

#include "stream/base64_state.h"

#include <cstring>

namespace {

const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Six bits of a table value; '=' (and anything else out of range) counts 0.
unsigned bits(unsigned char v)
{
    return v < 64 ? v : 0;
}

// Encoded text is gathered here and written in chunks under 1000 bytes.
class EncodedOutput {
public:
    explicit EncodedOutput(FILE *f) : file(f), used(0), failed(false) {}
    void add(const char *text, int n)
    {
        if (used + n > static_cast<int>(sizeof chunk) - 1)
            drain();
        std::memcpy(chunk + used, text, static_cast<std::size_t>(n));
        used += n;
    }
    bool drain()
    {
        if (used > 0 && std::fwrite(chunk, 1, static_cast<std::size_t>(used), file) != static_cast<std::size_t>(used))
            failed = true;
        used = 0;
        return !failed;
    }

private:
    FILE *file;
    char chunk[999];
    int used;
    bool failed;
};

} // namespace

Base64State::Base64State() : readAvailable(0), writePending(0), readPosition(0)
{
    std::memset(table, invalid, sizeof table);
    for (unsigned i = 0; i < 64; ++i)
        table[static_cast<unsigned char>(alphabet[i])] = static_cast<unsigned char>(i);
    table[static_cast<unsigned char>('=')] = pad;
    table[static_cast<unsigned char>(' ')] = space;
    table[static_cast<unsigned char>('\t')] = space;
    table[static_cast<unsigned char>('\n')] = space;
    table[static_cast<unsigned char>('\r')] = space;
    std::memset(readBuffer, 0, sizeof readBuffer);
    std::memset(writeBuffer, 0, sizeof writeBuffer);
}

void kvfbuf::openBase64()
{
    closeBase64();
    base64 = new Base64State;
}

void kvfbuf::closeBase64()
{
    if (base64 == nullptr)
        return;
    if (file != nullptr && base64->writePending > 0)
        encodeBase64(base64->writeBuffer, base64->writePending);
    delete base64;
    base64 = nullptr;
}

void kvfbuf::encodeBase64(const unsigned char *data, unsigned n)
{
    EncodedOutput out(file);
    int column = 0;
    for (unsigned i = 0; i < n; i += 3) {
        unsigned left = n - i;
        unsigned b0 = data[i];
        unsigned b1 = left > 1 ? data[i + 1] : 0;
        unsigned b2 = left > 2 ? data[i + 2] : 0;
        char group[4] = {alphabet[b0 >> 2], alphabet[((b0 & 3) << 4) | (b1 >> 4)],
                         left > 1 ? alphabet[((b1 & 15) << 2) | (b2 >> 6)] : '=',
                         left > 2 ? alphabet[b2 & 63] : '='};
        out.add(group, 4);
        column += 4;
        if (column == 80) {
            out.add("\n", 1);
            column = 0;
        }
    }
    if (!out.drain())
        failedWrite = true;
}

unsigned kvfbuf::writeBase64(const char *data, unsigned n)
{
    Base64State &s = *base64;
    for (unsigned done = 0; done < n;) {
        unsigned take = Base64State::blockSize - s.writePending;
        if (take > n - done)
            take = n - done;
        std::memcpy(s.writeBuffer + s.writePending, data + done, take);
        s.writePending += take;
        done += take;
        if (s.writePending == Base64State::blockSize) {
            encodeBase64(s.writeBuffer, s.writePending);
            s.writePending = 0;
        }
    }
    return n;
}

unsigned kvfbuf::decodeBase64()
{
    Base64State &s = *base64;
    s.readAvailable = 0;
    s.readPosition = 0;
    while (s.readAvailable < Base64State::blockSize) {
        unsigned char v[4];
        int got = 0;
        while (got < 4) {
            int c = std::fgetc(file);
            if (c == EOF)
                break;
            unsigned char t = s.table[c];
            if (t == Base64State::space)
                continue;
            if (t == Base64State::invalid) {
                std::ungetc(c, file);
                break;
            }
            v[got++] = t;
        }
        if (got < 4)
            break;
        unsigned char *out = s.readBuffer + s.readAvailable;
        out[0] = static_cast<unsigned char>((bits(v[0]) << 2) | (bits(v[1]) >> 4));
        unsigned count = 1;
        if (v[2] != Base64State::pad)
            out[count++] = static_cast<unsigned char>(((bits(v[1]) & 15) << 4) | (bits(v[2]) >> 2));
        if (v[3] != Base64State::pad)
            out[count++] = static_cast<unsigned char>(((bits(v[2]) & 3) << 6) | bits(v[3]));
        s.readAvailable += count;
        if (v[2] == Base64State::pad || v[3] == Base64State::pad)
            break;
    }
    return s.readAvailable;
}

unsigned kvfbuf::readBase64(char *buffer, unsigned n)
{
    Base64State &s = *base64;
    unsigned done = 0;
    bool shortPass = false;
    for (;;) {
        unsigned take = s.readAvailable - s.readPosition;
        if (take > n - done)
            take = n - done;
        std::memcpy(buffer + done, s.readBuffer + s.readPosition, take);
        s.readPosition += take;
        done += take;
        if (done == n || shortPass)
            return done;
        unsigned got = decodeBase64();
        if (got == 0)
            return done;
        shortPass = got < Base64State::blockSize;
    }
}
