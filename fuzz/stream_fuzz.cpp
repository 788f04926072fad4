// Fuzzes the stream readers: base64 sections read from any bytes, getline in
// both forms with and without the decryption hook, and the stored-string
// forms. Nothing may crash, hang or read out of bounds, and a base64 section
// written from the input must read back unchanged.
#include <kvsupport/kvstream.h>
#include <kvsupport/ystring.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Decrypts by reversing the line; fails on a line holding '!', and gives odd
// output lengths chosen by the line's length.
class FuzzDecryptor : public EncryptInterface {
public:
    int decrypt(const char *line, char *out, int *outLength) override
    {
        std::size_t n = std::strlen(line);
        if (std::strchr(line, '!') != nullptr)
            return 3;
        std::size_t take = n < 512 ? n : 512;
        for (std::size_t i = 0; i < take; ++i)
            out[i] = line[n - 1 - i];
        switch (n % 4) {
        case 0: *outLength = static_cast<int>(take); break;
        case 1: *outLength = -5; break;
        case 2: *outLength = 100000; break;
        default: *outLength = 0; break;
        }
        return 0;
    }
    void encryptedSectionEnded() override { ++ended; }
    int ended = 0;
};

FILE *memoryFile(const uint8_t *data, size_t size)
{
    if (size == 0)
        return nullptr;
    return fmemopen(const_cast<uint8_t *>(data), size, "rb");
}

void readBase64Section(const uint8_t *data, size_t size, unsigned chunk)
{
    FILE *file = memoryFile(data, size);
    if (file == nullptr)
        return;
    kvfstream in(file);
    in.openBase64();
    std::vector<char> out(chunk);
    for (int rounds = 0; rounds < 10000; ++rounds) {
        if (in.read(out.data(), chunk) < chunk)
            break;
    }
    in.closeBase64();
    YString line;
    while (in.getline(&line)) {
    }
}

void readLines(const uint8_t *data, size_t size, bool decrypt, int lineSize)
{
    FuzzDecryptor decryptor;
    kvstrstream s(reinterpret_cast<const char *>(data), static_cast<int>(size));
    if (decrypt)
        s.setAllowEncryption(&decryptor);
    std::vector<char> line(static_cast<std::size_t>(lineSize));
    s.getline(line.data(), lineSize);
    YString text;
    while (s.getline(&text))
        (void)s.getCharCount();
    YString stored("x");
    s.seekg(0);
    stored.restore(s, 0);
    stored.restoreLong(s);
}

void decryptFile(const uint8_t *data, size_t size)
{
    FILE *file = memoryFile(data, size);
    if (file == nullptr)
        return;
    FuzzDecryptor decryptor;
    kvfstream in(file);
    in.setAllowEncryption(&decryptor);
    char buffer[64];
    while (in.read(buffer, sizeof buffer) == sizeof buffer) {
    }
}

// A file device and a memory device must give the same lines and counts
// (the memory device reads 0xFF as the end, so such input is left out).
void compareDevices(const uint8_t *data, size_t size)
{
    if (std::memchr(data, 0xFF, size) != nullptr)
        return;
    FILE *file = memoryFile(data, size);
    if (file == nullptr)
        return;
    kvfstream fromFile(file);
    kvstrstream fromMemory(reinterpret_cast<const char *>(data), static_cast<int>(size));
    for (;;) {
        YString a, b;
        bool gotA = fromFile.getline(&a);
        bool gotB = fromMemory.getline(&b);
        if (gotA != gotB || a != b || fromFile.getCharCount() != fromMemory.getCharCount())
            std::abort();
        if (!gotA)
            break;
    }
}

void roundTrip(const uint8_t *data, size_t size)
{
    std::vector<char> room(size * 2 + 64);
    FILE *file = fmemopen(room.data(), room.size(), "w+b");
    if (file == nullptr)
        return;
    kvfstream s(file);
    s.openBase64();
    if (s.write(reinterpret_cast<const char *>(data), static_cast<unsigned>(size)) != size)
        std::abort();
    s.closeBase64();
    s.flush();
    s.seekg(0);
    s.openBase64();
    std::vector<char> back(size + 1);
    unsigned got = s.read(back.data(), static_cast<unsigned>(size + 1));
    if (got != size || std::memcmp(back.data(), data, size) != 0)
        std::abort();
    s.closeBase64();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const unsigned pick = data[0];
    ++data;
    --size;
    readBase64Section(data, size, 1 + (pick & 0x3F) * 97);
    readLines(data, size, (pick & 0x40) != 0, static_cast<int>(pick & 0x1F));
    decryptFile(data, size);
    compareDevices(data, size);
    if (size <= 20000)
        roundTrip(data, size);
    return 0;
}
