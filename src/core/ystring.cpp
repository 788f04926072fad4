// YString and TempString: the reference-counted text value.
//
// A block is a signed 32-bit count followed by the NUL-terminated text. The
// count is read and written through memcpy so that the char storage is never
// accessed through an int lvalue.
#include <kvsupport/ystring.h>
#include <kvsupport/containers.h>

#include "core/text_util.h"
#include "format/c_format.h"

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kCountBytes = 4;

// The shared empty string. Its count is touched with relaxed atomics so that
// threads sharing the empty string never race; the value carries no meaning.
alignas(8) char g_nullBlock[8] = {1, 0, 0, 0, 0, 0, 0, 0};

inline std::int32_t countOf(const char *block)
{
    std::int32_t v;
    std::memcpy(&v, block, sizeof v);
    return v;
}

inline void setCount(char *block, std::int32_t v)
{
    std::memcpy(block, &v, sizeof v);
}

inline std::int32_t *nullCount()
{
    return reinterpret_cast<std::int32_t *>(g_nullBlock);
}

inline void incRef(char *block)
{
    if (block == g_nullBlock)
        __atomic_fetch_add(nullCount(), 1, __ATOMIC_RELAXED);
    else
        setCount(block, countOf(block) + 1);
}

// Decrements; frees a real block whose count reaches 0.
inline void decRef(char *block)
{
    if (block == g_nullBlock) {
        __atomic_fetch_sub(nullCount(), 1, __ATOMIC_RELAXED);
        return;
    }
    std::int32_t c = countOf(block) - 1;
    setCount(block, c);
    if (c == 0)
        std::free(block);
}

// A new block of n + 5 bytes holding \p n bytes of \p text, count 1.
char *newBlock(const char *text, std::size_t n)
{
    char *b = static_cast<char *>(std::malloc(n + 5));
    if (b == nullptr)
        kv::detail::outOfMemory("YString");
    setCount(b, 1);
    if (n != 0)
        std::memcpy(b + kCountBytes, text, n);
    b[kCountBytes + n] = 0;
    return b;
}

inline int textLength(const char *block)
{
    return static_cast<int>(std::strlen(block + kCountBytes));
}

template <typename T> char *numberBlock(T value)
{
    char buf[32];
    auto r = std::to_chars(buf, buf + sizeof buf, value);
    return newBlock(buf, static_cast<std::size_t>(r.ptr - buf));
}

} // namespace

char YString::ErrorChar = 0;

YStringStream::~YStringStream() = default;

// ---------------------------------------------------------------------------
// Construction and release

YString::YString() : block(g_nullBlock)
{
    incRef(block);
}

YString::YString(const YString &other) : block(other.block)
{
    incRef(block);
}

YString::YString(const TempString &temp) : block(temp.block)
{
    delete const_cast<TempString *>(&temp);
}

YString::YString(const char *text) : block(g_nullBlock)
{
    if (text != nullptr && *text != 0)
        block = newBlock(text, std::strlen(text));
}

YString::YString(const char *text, int n) : block(g_nullBlock)
{
    if (text == nullptr || n <= 0)
        return;
    std::size_t k = strnlen(text, static_cast<std::size_t>(n));
    block = static_cast<char *>(std::malloc(static_cast<std::size_t>(n) + 5));
    if (block == nullptr)
        kv::detail::outOfMemory("YString");
    setCount(block, 1);
    std::memcpy(block + kCountBytes, text, k);
    std::memset(block + kCountBytes + k, 0, static_cast<std::size_t>(n) - k + 1);
}

YString::YString(int value) : block(numberBlock(value)) {}

YString::YString(unsigned int value) : block(numberBlock(static_cast<int>(value))) {}

YString::YString(double value) : block(nullptr)
{
    char buf[64];
    int n = kv::detail::formatC(buf, sizeof buf, "%.12g", value);
    block = newBlock(buf, n > 0 ? static_cast<std::size_t>(n) : 0);
}

YString::YString(long long value) : block(numberBlock(static_cast<unsigned long long>(value))) {}

YString::~YString()
{
    decRef(block);
}

void YString::release()
{
    decRef(block);
    block = g_nullBlock;
}

bool YString::nullBlock() const
{
    return block == g_nullBlock;
}

// Installs a freshly made block with count 1, releasing the old one.
void YString::setOwned(char *fresh)
{
    decRef(block);
    block = fresh;
}

// Room for a text of \p length: a sole owner's real block is resized, any
// other block is left to its other owners and a new one is made.
void YString::makeRoom(int length)
{
    std::size_t bytes = static_cast<std::size_t>(length) + 5;
    if (!nullBlock() && countOf(block) == 1) {
        char *b = static_cast<char *>(std::realloc(block, bytes));
        if (b == nullptr)
            kv::detail::outOfMemory("YString");
        block = b;
    } else {
        char *b = static_cast<char *>(std::malloc(bytes));
        if (b == nullptr)
            kv::detail::outOfMemory("YString");
        decRef(block);
        block = b;
        setCount(block, 1);
    }
    block[kCountBytes] = 0;
}

// Gives this string a block of its own (the null block always counts as
// shared, so that it is never written through).
void YString::makePrivate()
{
    if (nullBlock() || countOf(block) != 1) {
        char *b = newBlock(tocs(), static_cast<std::size_t>(length()));
        decRef(block);
        block = b;
    }
}

// ---------------------------------------------------------------------------
// Assignment

YString &YString::operator=(const YString &other)
{
    incRef(other.block);
    decRef(block);
    block = other.block;
    return *this;
}

YString &YString::operator=(const char *text)
{
    if (text == nullptr || *text == 0) {
        if (!nullBlock())
            release();
        return *this;
    }
    std::size_t newLength = std::strlen(text);
    if (!nullBlock() && countOf(block) == 1) {
        std::size_t oldLength = std::strlen(block + kCountBytes);
        if (newLength > oldLength) {
            char *b = static_cast<char *>(std::realloc(block, newLength + 5));
            if (b == nullptr)
                kv::detail::outOfMemory("YString");
            block = b;
            std::memmove(block + kCountBytes, text, newLength + 1);
        } else {
            // The text may lie inside our own block: move it first, shrink after.
            std::memmove(block + kCountBytes, text, newLength + 1);
            char *b = static_cast<char *>(std::realloc(block, newLength + 5));
            if (b != nullptr)
                block = b;
        }
        return *this;
    }
    char *b = newBlock(text, newLength);
    decRef(block);
    block = b;
    return *this;
}

YString &YString::operator&=(const YString &other)
{
    return *this = YString(concat(other.tocs()));
}

YString &YString::operator&=(const char *text)
{
    return *this = YString(concat(text));
}

// ---------------------------------------------------------------------------
// Access

char &YString::operator[](int i)
{
    makePrivate();
    int len = length();
    if (i < 0 || i > len)
        return ErrorChar;
    return block[kCountBytes + i];
}

void YString::unique()
{
    if (!isEmpty() && (nullBlock() || countOf(block) != 1))
        makePrivate();
}

int YString::getRefCount() const
{
    if (nullBlock())
        return __atomic_load_n(nullCount(), __ATOMIC_RELAXED);
    return countOf(block);
}

int YString::getBlockBytes() const
{
    return length() + 4;
}

int YString::length() const
{
    return textLength(block);
}

char *YString::copy() const
{
    std::size_t n = std::strlen(tocs());
    char *p = static_cast<char *>(std::malloc(n + 1));
    if (p == nullptr)
        kv::detail::outOfMemory("YString");
    std::memcpy(p, tocs(), n + 1);
    return p;
}

char *YString::detach()
{
    char *result;
    if (!nullBlock() && countOf(block) < 2) {
        std::memmove(block, block + kCountBytes, std::strlen(block + kCountBytes) + 1);
        result = block;
    } else {
        result = copy();
        decRef(block);
    }
    block = g_nullBlock;
    return result;
}

// ---------------------------------------------------------------------------
// Comparison and search

int YString::compare(const YString &other, CaseMatch match) const
{
    if (match != ExactCase)
        return kv::detail::stricmp(tocs(), other.tocs());
    int r = std::strcmp(tocs(), other.tocs()); // compares as unsigned char
    return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

bool sp_CaseSensitiveFiles()
{
    return true;
}

int YString::comparePath(const YString &other) const
{
    return sp_CaseSensitiveFiles() ? compare(other, ExactCase) : kv::detail::stricmp(tocs(), other.tocs());
}

bool YString::pathEqual(const YString &other) const
{
    return comparePath(other) == 0;
}

bool YString::beginsWith(const YString &other) const
{
    int n = other.length();
    if (n > length())
        return false;
    return std::strncmp(tocs(), other.tocs(), static_cast<std::size_t>(n)) == 0;
}

bool YString::endsWith(const YString &other) const
{
    int n = other.length();
    int len = length();
    if (n > len)
        return false;
    return kv::detail::stricmp(tocs() + (len - n), other.tocs()) == 0;
}

bool YString::endsWithNumber() const
{
    int len = length();
    if (len == 0)
        return false;
    char c = tocs()[len - 1];
    return c >= '0' && c <= '9';
}

int YString::hasPrefix(const char *prefix) const
{
    if (prefix == nullptr || *prefix == 0)
        return 0;
    std::size_t n = std::strlen(prefix);
    return std::strncmp(tocs(), prefix, n) == 0 ? static_cast<int>(n) : 0;
}

int YString::hasPrefix(const YString &prefix) const
{
    return hasPrefix(prefix.tocs());
}

int YString::first(char c) const
{
    const char *t = tocs();
    const char *p = std::strchr(t, c);
    return p != nullptr ? static_cast<int>(p - t) : length();
}

int YString::lastChar() const
{
    int len = length();
    return len == 0 ? 0 : static_cast<int>(static_cast<signed char>(tocs()[len - 1]));
}

int YString::findIndex(const char *s, int start) const
{
    if (start < 0)
        start = 0;
    int len = length();
    if (s == nullptr || *s == 0)
        return start <= len ? start : -1;
    int n = static_cast<int>(std::strlen(s));
    const char *t = tocs();
    for (int i = start; i + n <= len; ++i) {
        if (kv::detail::strnicmp(t + i, s, static_cast<std::size_t>(n)) == 0)
            return i + n;
    }
    return -1;
}

int YString::lastIndexOf(const char *s) const
{
    int len = length();
    if (s == nullptr || *s == 0)
        return len;
    int n = static_cast<int>(std::strlen(s));
    const char *t = tocs();
    for (int i = len - n; i >= 0; --i) {
        if (kv::detail::strnicmp(t + i, s, static_cast<std::size_t>(n)) == 0)
            return i;
    }
    return -1;
}

// ---------------------------------------------------------------------------
// Hashes

namespace {

// h = h * 0x1003F + c over the text, four characters per step: the powers of
// the multiplier break the chain of dependent multiplications, and the
// result is the same in 32-bit arithmetic.
template <typename Map> std::uint32_t polyHash(const char *text, Map map)
{
    constexpr std::uint32_t m1 = 0x1003Fu, m2 = m1 * m1, m3 = m2 * m1, m4 = m2 * m2;
    std::size_t n = std::strlen(text);
    std::uint32_t h = 0;
    std::size_t i = 0;
    for (; i + 4 <= n; i += 4)
        h = h * m4 + map(text[i]) * m3 + map(text[i + 1]) * m2 + map(text[i + 2]) * m1 + map(text[i + 3]);
    for (; i < n; ++i)
        h = h * m1 + map(text[i]);
    return h & 0x7FFFFFFFu;
}

} // namespace

unsigned int YString::hashValue() const
{
    return polyHash(tocs(), [](char c) {
        return static_cast<std::uint32_t>(kv::detail::asciiUpper(static_cast<signed char>(c)));
    });
}

unsigned int YString::pathHashValue() const
{
    if (!sp_CaseSensitiveFiles())
        return hashValue();
    return polyHash(tocs(), [](char c) { return static_cast<std::uint32_t>(static_cast<signed char>(c)); });
}

// ---------------------------------------------------------------------------
// Transformation

YString YString::substring(int start, int len) const
{
    long long length64 = length();
    long long from = start < 0 ? 0 : start;
    long long to = static_cast<long long>(start) + len;
    if (to > length64)
        to = length64;
    if (from >= length64 || to <= from)
        return YString();
    return YString(tocs() + from, static_cast<int>(to - from));
}

YString YString::tolower()
{
    if (!isEmpty()) {
        makePrivate();
        for (char *p = block + kCountBytes; *p != 0; ++p)
            *p = static_cast<char>(kv::detail::asciiLower(*p));
    }
    return *this;
}

YString YString::toupper()
{
    if (!isEmpty()) {
        makePrivate();
        for (char *p = block + kCountBytes; *p != 0; ++p)
            *p = static_cast<char>(kv::detail::asciiUpper(*p));
    }
    return *this;
}

YString YString::convertDosToUnix()
{
    if (!isEmpty()) {
        char *out = block + kCountBytes;
        for (const char *in = out; *in != 0; ++in) {
            if (in[0] == '\r' && in[1] == '\n')
                continue;
            *out++ = *in;
        }
        *out = 0;
    }
    return *this;
}

void YString::stripLeading(const char *set)
{
    if (isEmpty() || set == nullptr)
        return;
    makePrivate();
    char *t = block + kCountBytes;
    std::size_t n = std::strspn(t, set);
    if (n != 0)
        std::memmove(t, t + n, std::strlen(t + n) + 1);
}

void YString::stripTrailing(const char *set)
{
    if (isEmpty() || set == nullptr)
        return;
    makePrivate();
    char *t = block + kCountBytes;
    std::size_t len = std::strlen(t);
    while (len > 0 && std::strchr(set, t[len - 1]) != nullptr)
        --len;
    t[len] = 0;
}

void YString::stripQuotes(const char *quotes, bool both)
{
    if (quotes == nullptr || quotes[0] == 0 || isEmpty())
        return;
    char open = quotes[0];
    char close = quotes[1] != 0 ? quotes[1] : quotes[0];
    int len = length();
    const char *t = tocs();
    bool hasOpen = t[0] == open;
    bool hasClose = t[len - 1] == close;
    if (both) {
        if (!hasOpen || !hasClose || len < 2)
            return;
    } else if (!hasOpen && !hasClose) {
        return;
    }
    makePrivate();
    char *w = block + kCountBytes;
    if (hasClose) {
        w[len - 1] = 0;
        --len;
    }
    if (hasOpen && len > 0)
        std::memmove(w, w + 1, static_cast<std::size_t>(len));
}

void YString::pad(unsigned int n, char c)
{
    unsigned int len = static_cast<unsigned int>(length());
    if (len >= n || c == 0)
        return;
    char *b = static_cast<char *>(std::malloc(static_cast<std::size_t>(n) + 5));
    if (b == nullptr)
        kv::detail::outOfMemory("YString");
    setCount(b, 1);
    std::memcpy(b + kCountBytes, tocs(), len);
    std::memset(b + kCountBytes + len, c, n - len);
    b[kCountBytes + n] = 0;
    setOwned(b);
}

YString YString::shiftLeft(int n, char fill)
{
    if (n <= 0)
        return *this;
    int len = length();
    YString head(tocs(), n < len ? n : len);
    if (len < n && fill != 0)
        head.pad(static_cast<unsigned int>(n), fill);
    if (n >= len) {
        release();
    } else {
        makePrivate();
        char *t = block + kCountBytes;
        std::memmove(t, t + n, static_cast<std::size_t>(len - n) + 1);
    }
    return head;
}

TempString &YString::concat(const char *text) const
{
    return *new TempString(tocs(), text);
}

int YString::substitute(const char *oldText, const char *newText, int start)
{
    int len = length();
    if (start < 0 || start >= len || oldText == nullptr || *oldText == 0)
        return -1;
    if (newText == nullptr)
        newText = "";
    const int oldLength = static_cast<int>(std::strlen(oldText));
    const int newLength = static_cast<int>(std::strlen(newText));
    const int resultLength = len + (newLength > oldLength ? newLength - oldLength : 0);
    char *result = static_cast<char *>(std::malloc(static_cast<std::size_t>(resultLength) + 5));
    if (result == nullptr)
        kv::detail::outOfMemory("YString");
    char *out = result + kCountBytes;
    const char *in = tocs();

    bool matching = false, replaced = false;
    int matchOut = 0;   // where the candidate starts in the result
    int o = 0;          // write index in the result
    int next = 0;       // index of the next character of oldText to match
    int returned = -1;
    auto replace = [&] {
        o = matchOut;
        std::memcpy(out + o, newText, static_cast<std::size_t>(newLength));
        o += newLength;
        returned = o;
        matching = false;
        replaced = true;
    };
    for (int i = 0; i < len; ++i) {
        const char c = in[i];
        if (matching && oldText[next] == 0)
            replace();
        if (replaced || !matching) {
            if (!replaced && i >= start && c == oldText[0]) {
                matching = true;
                matchOut = o;
                next = 1;
            }
            out[o++] = c;
        } else if (c == oldText[next]) {
            ++next;
            out[o++] = c;
        } else {
            // Single-step retreat: the previous character is copied again as
            // plain text and the scan resumes at the mismatching one.
            matching = false;
            --i;
            --o;
            out[o++] = in[i];
        }
    }
    if (matching && oldText[next] == 0)
        replace();
    if (!replaced) {
        std::free(result);
        return -1;
    }
    out[o] = 0;
    setCount(result, 1);
    setOwned(result);
    return returned;
}

void YString::substituteAll(const char *oldText, const char *newText)
{
    int position = 0;
    while ((position = substitute(oldText, newText, position)) != -1) {
    }
}

YString YString::strtok(const char *delims)
{
    if (isEmpty())
        return *this;
    makePrivate();
    if (delims == nullptr)
        delims = "";
    char *t = block + kCountBytes;
    char *rest = t + std::strspn(t, delims);
    if (*rest == 0) {
        t[0] = 0;
        return YString();
    }
    std::size_t tokenLength = std::strcspn(rest, delims);
    YString token(rest, static_cast<int>(tokenLength));
    char *after = rest + tokenLength;
    if (*after != 0)
        ++after; // the one delimiter that ended the token
    std::memmove(t, after, std::strlen(after) + 1);
    return token;
}

YList<YString> *YString::tokenize(const YString *source, char delimiter, YList<YString> *list)
{
    if (list == nullptr || source == nullptr)
        return list;
    const char *text = source->tocs();
    const char *start = text;
    for (const char *p = text;; ++p) {
        if (*p == delimiter || *p == 0) {
            if (p > start)
                list->append(YString(start, static_cast<int>(p - start)));
            if (*p == 0)
                break;
            start = p + 1;
        }
    }
    return list;
}

YList<YString> *YString::tokenize(const YString *source, YString delimiter, YList<YString> *list)
{
    if (list == nullptr || source == nullptr)
        return list;
    const char *text = source->tocs();
    const char *delim = delimiter.tocs();
    const int length = source->length();
    const int delimLength = delimiter.length();
    int start = 0;
    int matched = 0;
    for (int i = 0; i < length; ++i) {
        if (delimLength > 0 && text[i] == delim[matched]) {
            if (++matched == delimLength) {
                list->append(source->substring(start, i - delimLength + 1 - start));
                start = i + 1;
                matched = 0;
            }
        } else {
            matched = 0;
        }
    }
    if (start < length)
        list->append(source->substring(start, length - start));
    return list;
}

YString &YString::sprintf(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    sprintf(format, args);
    va_end(args);
    return *this;
}

YString &YString::sprintf(const char *format, va_list args)
{
    if (format == nullptr || *format == 0) {
        makeRoom(0);
        return *this;
    }
    char small[256];
    va_list copy;
    va_copy(copy, args);
    int n = kv::detail::vformatC(small, sizeof small, format, copy);
    va_end(copy);
    if (n < 0)
        n = 0;
    if (static_cast<std::size_t>(n) < sizeof small) {
        makeRoom(n);
        std::memcpy(block + kCountBytes, small, static_cast<std::size_t>(n) + 1);
        return *this;
    }
    char *buffer = static_cast<char *>(std::calloc(static_cast<std::size_t>(n) + 1, 1));
    if (buffer == nullptr)
        kv::detail::outOfMemory("YString");
    kv::detail::vformatC(buffer, static_cast<std::size_t>(n) + 1, format, args);
    makeRoom(n);
    std::memcpy(block + kCountBytes, buffer, static_cast<std::size_t>(n) + 1);
    std::free(buffer);
    return *this;
}

// ---------------------------------------------------------------------------
// Stored forms

void YString::writeBlock(void **p) const
{
    auto *out = static_cast<char *>(*p);
    std::int32_t n = length();
    kv::detail::storeLE32(out, static_cast<std::uint32_t>(n));
    std::memcpy(out + 4, tocs(), static_cast<std::size_t>(n));
    *p = out + 4 + n;
}

void YString::readBlock(void **p)
{
    auto *in = static_cast<const char *>(*p);
    auto n = static_cast<std::int32_t>(kv::detail::loadLE32(in));
    in += 4;
    if (n <= 0) {
        if (!nullBlock())
            release();
        *p = const_cast<char *>(in);
        return;
    }
    makeRoom(n);
    std::memcpy(block + kCountBytes, in, static_cast<std::size_t>(n));
    block[kCountBytes + n] = 0;
    setData();
    *p = const_cast<char *>(in + n);
}

bool YString::save(YStringStream &stream) const
{
    char length[4];
    int n = this->length();
    kv::detail::storeLE32(length, static_cast<std::uint32_t>(n));
    bool ok = stream.write(length, 4) != 0;
    bool ok2 = stream.write(tocs(), n) != 0;
    return ok && ok2;
}

bool YString::restore(YStringStream &stream)
{
    char length[4];
    if (stream.read(length, 4) != 4)
        return false;
    auto n = static_cast<std::int32_t>(kv::detail::loadLE32(length));
    if (n <= 0) {
        if (!nullBlock())
            release();
        return true;
    }
    makeRoom(n);
    int got = stream.read(block + kCountBytes, n);
    block[kCountBytes + (got > 0 && got <= n ? got : 0)] = 0;
    setData();
    return got == n;
}

// ---------------------------------------------------------------------------
// TempString

TempString::TempString(const char *a, const char *b) : block(nullptr)
{
    std::size_t la = a != nullptr ? std::strlen(a) : 0;
    std::size_t lb = b != nullptr ? std::strlen(b) : 0;
    std::size_t size = (((la + lb + 5) >> 4) + 1) << 4;
    block = static_cast<char *>(std::malloc(size));
    if (block == nullptr)
        kv::detail::outOfMemory("TempString");
    setCount(block, 1);
    if (la != 0)
        std::memcpy(block + kCountBytes, a, la);
    if (lb != 0)
        std::memcpy(block + kCountBytes + la, b, lb);
    block[kCountBytes + la + lb] = 0;
}

TempString &TempString::concat(const char *text)
{
    std::size_t added = text != nullptr ? std::strlen(text) : 0;
    std::size_t old = std::strlen(block + kCountBytes);
    // \p text may lie inside our own block: remember its offset across realloc.
    std::ptrdiff_t inside = -1;
    if (text != nullptr && text >= block && text < block + kCountBytes + old + 1)
        inside = text - block;
    char *b = static_cast<char *>(std::realloc(block, old + added + 6));
    if (b == nullptr)
        kv::detail::outOfMemory("TempString");
    block = b;
    if (inside >= 0)
        text = block + inside;
    if (added != 0)
        std::memmove(block + kCountBytes + old, text, added);
    block[kCountBytes + old + added] = 0;
    return *this;
}

int TempString::len() const
{
    return textLength(block);
}

int TempString::refcount() const
{
    return countOf(block);
}

void TempString::incref()
{
    incRef(block);
}

void TempString::decref()
{
    if (block == g_nullBlock)
        __atomic_fetch_sub(nullCount(), 1, __ATOMIC_RELAXED);
    else
        setCount(block, countOf(block) - 1);
}

void TempString::initref()
{
    if (block != g_nullBlock)
        setCount(block, 1);
}

void TempString::SetString(const char *text)
{
    if (text == nullptr || *text == 0)
        block = g_nullBlock;
    else
        block = newBlock(text, std::strlen(text));
}

void TempString::Destroy()
{
    decRef(block);
    delete this;
}

TempString &operator&(const YString &a, const char *b)
{
    return a.concat(b);
}

TempString &operator&(const YString &a, const YString &b)
{
    return a.concat(b.tocs());
}
