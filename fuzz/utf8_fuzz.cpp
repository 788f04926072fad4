// Fuzzes the UTF-8 detector and the automatic conversion to UTF-8. Any bytes
// must give a defined result, and the two must agree where they can: text
// the detector calls ASCII or UTF-8 with no cut-off sequence and no overlong
// or surrogate form comes back unchanged, and every result is valid UTF-8.
#include <kvsupport/encoding.h>

#include <QString>

#include <cstdint>
#include <cstring>
#include <string>

namespace {

// True for text that Qt's strict decoder accepts.
bool strictUtf8(const std::string &text)
{
    const QByteArray bytes(text.data(), static_cast<int>(text.size()));
    return QString::fromUtf8(bytes).toUtf8() == bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string text(reinterpret_cast<const char *>(data), size);
    text = text.c_str(); // up to the first NUL, as a YString holds it

    UTF8Detect detector;
    for (unsigned char c : text)
        detector.add(c);
    const UTF8DetectEncoding encoding = detector.getEncoding();
    if (encoding == Utf8DetectAscii) {
        for (unsigned char c : text)
            if (c >= 0x80)
                __builtin_trap();
    }
    detector.reset();
    if (detector.getEncoding() != Utf8DetectAscii)
        __builtin_trap();

    const YString converted = sp_AutoConvertToUtf8(text.c_str());
    const std::string out(converted.tocs());
    if (strictUtf8(text)) {
        if (out != text || encoding == Utf8DetectNotUtf8 || encoding == Utf8DetectUtf8Extended)
            __builtin_trap();
    }
    if (!strictUtf8(out))
        __builtin_trap();

    UTFString both(text.c_str());
    UTFString back(both.getWide());
    if (std::strlen(back.get()) == 0 && !text.empty())
        __builtin_trap();
    return 0;
}
