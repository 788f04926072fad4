// Fuzzes the text containers and splitters: YString::tokenize in both forms,
// Buf and CharQueue driven by the input, and the set operations on the
// tokens. Nothing may crash, leak or read out of bounds, and the results must
// hold their invariants.
#include <kvsupport/containers.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

void check(bool condition)
{
    if (!condition)
        std::abort();
}

YHashTable<YString> setOf(const YList<YString> &list)
{
    YHashTable<YString> set(3, 1);
    for (const YString &s : list)
        if (!set.contains(s))
            set.add(s);
    return set;
}

void splitters(const std::string &text, char delimiter, const std::string &delimiterText)
{
    YString source(text.c_str());
    YList<YString> byChar;
    YString::tokenize(&source, delimiter, &byChar);
    for (const YString &token : byChar)
        check(!token.isEmpty() && (delimiter == 0 || std::strchr(token.tocs(), delimiter) == nullptr));
    YList<YString> byText;
    YString::tokenize(&source, YString(delimiterText.c_str()), &byText);

    YHashTable<YString> a = setOf(byChar);
    YHashTable<YString> b = setOf(byText);
    YHashTable<YString> u, i, d;
    sp_SetUnion(a, b, &u);
    sp_SetIntersect(a, b, &i);
    sp_SetDifference(a, b, &d);
    check(u.getCount() >= a.getCount() && i.getCount() + d.getCount() == a.getCount());
}

// Each input byte is an operation on a Buf and a CharQueue.
void accumulators(const uint8_t *data, size_t size)
{
    Buf buf(static_cast<int>(size % 7));
    CharQueue queue(static_cast<int>(size % 5) + 1);
    for (size_t k = 0; k < size; ++k) {
        char c = static_cast<char>(data[k]);
        switch (data[k] % 6) {
        case 0:
            buf.remove(data[k] % 9);
            queue.pop();
            break;
        case 1:
            buf.lastChar();
            queue.pop();
            queue.pop();
            break;
        case 2:
            if (data[k] > 200) {
                buf.flush();
                queue.flush();
            }
            break;
        default:
            buf.add(c == 0 ? 'x' : c);
            queue.add(c == 0 ? 'y' : c);
            break;
        }
        check(static_cast<int>(std::strlen(buf.get())) == buf.getLength());
        check(static_cast<int>(std::strlen(*queue)) == queue.getLength());
    }
    std::free(buf.detach());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2)
        return 0;
    // Byte 0: the delimiter character; byte 1: the length of the delimiter
    // text that follows; the rest: the source text.
    char delimiter = static_cast<char>(data[0]);
    size_t textLength = data[1] % 4;
    if (textLength > size - 2)
        textLength = size - 2;
    std::string delimiterText(reinterpret_cast<const char *>(data + 2), textLength);
    delimiterText = delimiterText.c_str();
    std::string source(reinterpret_cast<const char *>(data + 2 + textLength), size - 2 - textLength);
    source = source.c_str();
    splitters(source, delimiter, delimiterText);
    accumulators(data, size);
    return 0;
}
