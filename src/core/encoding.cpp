// Text encodings: UTF-8, wide and QString forms of one text, local and
// code-page conversions through Qt's codecs, and the UTF-8 file functions.
// Code pages are in encoding_codepage.cpp, the UTF-8 detector in
// encoding_detect.cpp.
#include <kvsupport/encoding.h>

#include <kvsupport/containers.h>

#include "core/code_page.h"
#include "core/text_util.h"
#include "platform/file_calls.h"

#include <QTextCodec>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

template <class T> T *heapCopy(const T *source, std::size_t count)
{
    T *copy = static_cast<T *>(std::malloc((count + 1) * sizeof(T)));
    if (copy == nullptr)
        kv::detail::outOfMemory("UTFString");
    std::memcpy(copy, source, count * sizeof(T));
    copy[count] = 0;
    return copy;
}

std::size_t wideLength(const wchar_t *text)
{
    std::size_t n = 0;
    while (text[n] != 0)
        ++n;
    return n;
}

// The wide form of \p text: UTF-32 here, since wchar_t is 4 bytes.
wchar_t *wideFromQString(const QString &text)
{
    const QVector<uint> ucs4 = text.toUcs4();
    wchar_t *wide = static_cast<wchar_t *>(std::malloc((static_cast<std::size_t>(ucs4.size()) + 1) * sizeof(wchar_t)));
    if (wide == nullptr)
        kv::detail::outOfMemory("UTFString");
    for (int i = 0; i < ucs4.size(); ++i)
        wide[i] = static_cast<wchar_t>(ucs4[i]);
    wide[ucs4.size()] = 0;
    return wide;
}

// QString of wide text; a value that is no Unicode scalar (a surrogate or
// one above U+10FFFF) becomes U+FFFD.
QString qstringFromWide(const wchar_t *text, std::size_t n)
{
    QString out;
    out.reserve(static_cast<int>(n));
    for (std::size_t i = 0; i < n; ++i) {
        const auto c = static_cast<std::uint32_t>(text[i]);
        const bool scalar = c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
        if (!scalar) {
            out.append(QChar(QChar::ReplacementCharacter));
        } else if (QChar::requiresSurrogates(c)) {
            out.append(QChar(QChar::highSurrogate(c)));
            out.append(QChar(QChar::lowSurrogate(c)));
        } else {
            out.append(QChar(static_cast<ushort>(c)));
        }
    }
    return out;
}

} // namespace

UTFString::UTFString(const char *text) : wide(nullptr), narrow(nullptr)
{
    if (text == nullptr)
        return;
    narrow = heapCopy(text, std::strlen(text));
    wide = wideFromQString(QString::fromUtf8(text));
}

UTFString::UTFString(const wchar_t *text) : wide(nullptr), narrow(nullptr)
{
    if (text == nullptr)
        return;
    const std::size_t n = wideLength(text);
    wide = heapCopy(text, n);
    const QByteArray utf8 = qstringFromWide(text, n).toUtf8();
    narrow = heapCopy(utf8.constData(), static_cast<std::size_t>(utf8.size()));
}

UTFString::UTFString(const UTFString &other) : wide(nullptr), narrow(nullptr)
{
    *this = other;
}

UTFString &UTFString::operator=(const UTFString &other)
{
    if (this == &other)
        return *this;
    wchar_t *newWide = other.wide != nullptr ? heapCopy(other.wide, wideLength(other.wide)) : nullptr;
    char *newNarrow = other.narrow != nullptr ? heapCopy(other.narrow, std::strlen(other.narrow)) : nullptr;
    std::free(wide);
    std::free(narrow);
    wide = newWide;
    narrow = newNarrow;
    return *this;
}

UTFString::~UTFString()
{
    std::free(wide);
    std::free(narrow);
}

Tocs::Tocs(const QString &text) : bytes(new QByteArray(text.toUtf8())) {}

Tocs::Tocs(const Tocs &other) : bytes(new QByteArray(*other.bytes)) {}

Tocs &Tocs::operator=(const Tocs &other)
{
    *bytes = *other.bytes;
    return *this;
}

Tocs::~Tocs()
{
    delete bytes;
}

Tocs::operator const char *() const
{
    return bytes->constData();
}

namespace {

// The texts of toCs hash by h = h * 0x1003F + byte over their bytes taken
// as signed, kept to 31 bits.
struct Utf8BytesTraits {
    static unsigned int hash(const QByteArray &bytes)
    {
        unsigned int h = 0;
        for (char c : bytes)
            h = h * 0x1003Fu + static_cast<unsigned int>(static_cast<int>(static_cast<signed char>(c)));
        return h & 0x7FFFFFFFu;
    }
    static bool equal(const QByteArray &a, const QByteArray &b) { return a == b; }
};

using TextTable = YHashTable<QByteArray, Utf8BytesTraits>;

// Made on first use and never destroyed, so that its texts outlive every
// other static object too.
TextTable &keptTexts()
{
    static TextTable *table = new TextTable(101, 2);
    return *table;
}

} // namespace

const char *toCs(const QString &text)
{
    TextTable &table = keptTexts();
    const QByteArray bytes = text.toUtf8();
    if (table.find(bytes) == nullptr)
        table.add(bytes);
    const QByteArray *kept = table.find(bytes);
    return kept != nullptr ? kept->constData() : "";
}

QString toQs(const YString &text)
{
    return QString::fromUtf8(text.tocs());
}

YString toYs(const QString &text)
{
    return YString(text.toUtf8().constData());
}

YString sp_ConvertFromLocal(const char *text)
{
    if (text == nullptr)
        return YString();
    return YString(QString::fromLocal8Bit(text).toUtf8().constData());
}

YString sp_ConvertFromUtf8(const char *text)
{
    if (text == nullptr)
        return YString();
    return YString(QString::fromUtf8(text).toLocal8Bit().constData());
}

YString sp_AutoConvertToUtf8(const YString &text)
{
    const char *bytes = text.tocs();
    const int length = text.length();
    QTextCodec *utf8 = QTextCodec::codecForName("UTF-8");
    QTextCodec::ConverterState state;
    utf8->toUnicode(bytes, length, &state);
    // A sequence cut off at the end stays in the state as "remaining"; it is
    // as invalid as a wrong byte.
    if (state.invalidChars == 0 && state.remainingChars == 0)
        return text;
    return YString(QTextCodec::codecForLocale()->toUnicode(bytes, length).toUtf8().constData());
}

YString sp_AutoConvertToUtf8(const char *text)
{
    if (text == nullptr)
        return YString();
    return sp_AutoConvertToUtf8(YString(text));
}

void sp_ConvertMBCSBlock_to_UTF8(const char *text, int length, YVector<char> *out, int codePage)
{
    if (out == nullptr)
        return;
    QTextCodec *codec = kv::detail::codecForCodePage(codePage);
    if (text == nullptr || length < 0 || codec == nullptr) {
        out->resize(0);
        return;
    }
    const QByteArray utf8 = codec->toUnicode(text, length).toUtf8();
    out->resize(static_cast<unsigned int>(utf8.size()));
    if (utf8.size() > 0)
        std::memcpy(out->data, utf8.constData(), static_cast<std::size_t>(utf8.size()));
}

bool sp_SetLocaleEncoding(const YString &name)
{
    if (kv::detail::stricmp(name.tocs(), "default") == 0) {
        QTextCodec::setCodecForLocale(nullptr);
        return true;
    }
    QTextCodec *codec = QTextCodec::codecForName(name.tocs());
    if (codec == nullptr)
        return false;
    QTextCodec::setCodecForLocale(codec);
    return true;
}

FILE *fopen_utf8(const char *name, const char *mode)
{
    if (name == nullptr || mode == nullptr)
        return nullptr;
    return kv::platform::openFile(name, mode);
}

FILE *fopen_utf8(const char *name, const char *mode, bool denyWrite)
{
    if (!denyWrite)
        return fopen_utf8(name, mode);
    if (name == nullptr || mode == nullptr)
        return nullptr;
    return kv::platform::openFileDenyWrite(name, mode);
}

int fopen_s_utf8(FILE **file, const char *name, const char *mode)
{
    if (file == nullptr)
        return EINVAL;
    *file = nullptr;
    if (name == nullptr || mode == nullptr)
        return EINVAL;
    errno = 0;
    *file = kv::platform::openFile(name, mode);
    if (*file != nullptr)
        return 0;
    return errno != 0 ? errno : EINVAL;
}

int rename_utf8(const char *from, const char *to)
{
    if (from == nullptr || to == nullptr)
        return -1;
    return kv::platform::renameFile(from, to);
}

int unlink_utf8(const char *name)
{
    if (name == nullptr)
        return -1;
    return kv::platform::unlinkFile(name);
}

int stat_utf8(const char *name, Stat64 *status)
{
    if (name == nullptr || status == nullptr)
        return -1;
    return kv::platform::statFile(name, status);
}
