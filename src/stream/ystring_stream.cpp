// The forms of a YString stored in a kvstream: a little-endian signed length
// (16-bit, cut at 32767 bytes, or 32-bit) followed by the bytes.
#include <kvsupport/containers.h>
#include <kvsupport/kvstream.h>
#include <kvsupport/ystring.h>

#include "core/text_util.h"

#include <cstring>
#include <vector>

namespace {

bool saveWithLength(const YString &text, kvstream &stream, unsigned lengthBytes, int cap)
{
    kvbuf *device = stream.rdbuf();
    if (device == nullptr)
        return false;
    int length = text.length();
    if (cap > 0 && length > cap)
        length = cap;
    char field[4];
    if (lengthBytes == 2)
        kv::detail::storeLE16(field, static_cast<std::uint16_t>(length));
    else
        kv::detail::storeLE32(field, static_cast<std::uint32_t>(length));
    bool whole = device->write(field, lengthBytes) == lengthBytes;
    if (length > 0)
        whole = device->write(text.tocs(), static_cast<unsigned>(length)) == static_cast<unsigned>(length) && whole;
    return whole;
}

// True if decoded characters of a decrypting stream are still waiting.
bool decodedWaiting(kvstream &stream)
{
    return stream.encryptionAllowed() && !stream.eof();
}

// Reads \p length bytes in pieces, so that a false length can't demand a
// huge block up front; false if the text is cut short.
bool readText(kvstream &stream, long long length, std::vector<char> &text)
{
    const long long piece = 65536;
    for (long long done = 0; done < length;) {
        long long step = length - done < piece ? length - done : piece;
        text.resize(static_cast<std::size_t>(done + step));
        unsigned got = stream.read(text.data() + done, static_cast<unsigned>(step));
        done += got;
        if (got != static_cast<unsigned>(step))
            return false;
    }
    text.push_back(0);
    return true;
}

int restoreWithLength(YString &target, kvstream &stream, unsigned lengthBytes, int maxLength)
{
    kvbuf *device = stream.rdbuf();
    if (device == nullptr)
        return 0;
    char field[4] = {0};
    unsigned got = stream.read(field, lengthBytes);
    if (!static_cast<bool>(*device) || got != lengthBytes)
        return 0;
    if (device->eof() && !decodedWaiting(stream))
        return 0;
    long long length = lengthBytes == 2 ? static_cast<std::int16_t>(kv::detail::loadLE16(field))
                                        : static_cast<std::int32_t>(kv::detail::loadLE32(field));
    if (maxLength != 0 && length > maxLength)
        return 0;
    if (length <= 0) {
        target = "";
        return 1;
    }
    std::vector<char> text;
    if (!readText(stream, length, text))
        return 0;
    target = YString(text.data(), static_cast<int>(length));
    return 1;
}

} // namespace

bool YString::save(kvstream &stream) const
{
    return saveWithLength(*this, stream, 2, 32767);
}

int YString::restore(kvstream &stream, int maxLength)
{
    return restoreWithLength(*this, stream, 2, maxLength);
}

bool YString::saveLong(kvstream &stream) const
{
    return saveWithLength(*this, stream, 4, 0);
}

int YString::restoreLong(kvstream &stream)
{
    return restoreWithLength(*this, stream, 4, 0);
}
