// The running UTF-8 detector. A state's units digit is the length of the
// sequence being read and its tens digit the bytes of it seen so far, plus
// one: 23 waits for the first continuation of a 3-byte sequence, 33 for the
// second, after which the next byte starts a character again.
#include <kvsupport/encoding.h>

namespace {

const int kCharacterStart = 1;
const int kNotUtf8 = 99;

} // namespace

void UTF8Detect::add(unsigned byte)
{
    if (state == kNotUtf8)
        return;
    const unsigned c = byte & 0xFF;
    if (state == kCharacterStart) {
        if (c < 0x80)
            return;
        int length = 0;
        if ((c & 0xE0) == 0xC0)
            length = 2;
        else if ((c & 0xF0) == 0xE0)
            length = 3;
        else if ((c & 0xF8) == 0xF0)
            length = 4;
        else if ((c & 0xFC) == 0xF8)
            length = 5;
        else if ((c & 0xFE) == 0xFC)
            length = 6;
        if (length == 0) {
            encoding = Utf8DetectNotUtf8;
            state = kNotUtf8;
        } else if (length >= 5) {
            encoding = Utf8DetectUtf8Extended;
            state = 20 + length;
        } else {
            if (encoding != Utf8DetectUtf8Extended)
                encoding = Utf8DetectUtf8;
            state = 20 + length;
        }
        return;
    }
    if ((c & 0xC0) != 0x80) {
        encoding = Utf8DetectNotUtf8;
        state = kNotUtf8;
        return;
    }
    const int seen = state / 10;   // continuation bytes seen before this one, plus two
    const int length = state % 10; // bytes of the sequence
    state = seen == length ? kCharacterStart : state + 10;
}
