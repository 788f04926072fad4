// Fuzzes SpiceStream: any bytes, read as statements in every mode chosen by
// the first byte, must end, deliver statements without line ends, keep the
// counts within the input and never put more into the source text than was
// read.
#include <kvsupport/spicestream.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

void check(bool ok)
{
    if (!ok)
        __builtin_trap();
}

// Evaluates every brace expression to its length in brackets.
class Evaluating : public SpiceStream {
public:
    explicit Evaluating(kvstream &source) : SpiceStream(source) {}
    bool evaluate(const char *expression, YString *result) override
    {
        int n = static_cast<int>(std::strlen(expression));
        if (n % 3 == 0)
            return false;
        *result = YString("[");
        *result &= YString(n);
        *result &= "]";
        return true;
    }
};

long long countLineFeeds(const char *data, std::size_t size)
{
    long long n = 0;
    for (std::size_t i = 0; i < size; ++i)
        n += data[i] == '\n' ? 1 : 0;
    return n;
}

void readStatements(SpiceStream &s, std::size_t size)
{
    YString line;
    int number = 0;
    bool encrypted = false;
    bool nonAscii = false;
    std::size_t statements = 0;
    int lastNumber = 0;
    while (s.gets(&line, &number, &encrypted, &nonAscii)) {
        check(++statements <= size + 1);
        check(std::strchr(line.tocs(), '\n') == nullptr);
        check(number >= lastNumber);
        check(!encrypted);
        lastNumber = number;
    }
    check(s.eof() != 0);
    check(!s.gets(&line, &number, &encrypted, &nonAscii));
    check(line.isEmpty());
}

void readCharacters(SpiceStream &s, bool literal, std::size_t size)
{
    std::size_t delivered = 0;
    while (s.get(literal) != -1)
        check(++delivered <= 2 * size + 2);
}

// Statements by gets() must be those that get() delivers between line
// feeds, with the same source text and counts: the block copies of gets()
// against the machine's byte-by-byte path. Only for text without braces.
void compareWithGet(const char *text, std::size_t length)
{
    if (std::memchr(text, '{', length) != nullptr || std::memchr(text, '}', length) != nullptr)
        return;
    kvstrstream a(text, static_cast<int>(length));
    kvstrstream b(text, static_cast<int>(length));
    SpiceStream byLine(a);
    SpiceStream byChar(b);
    YString line;
    std::string current;
    bool pending = false;
    for (;;) {
        int c = byChar.get(false);
        if (c == -1)
            break;
        pending = true;
        if (c != '\n') {
            current += static_cast<char>(c);
            continue;
        }
        check(byLine.gets(&line, nullptr, nullptr, nullptr));
        check(current == std::string(line.tocs()));
        current.clear();
        pending = false;
    }
    if (pending && !current.empty()) {
        check(byLine.gets(&line, nullptr, nullptr, nullptr));
        check(current == std::string(line.tocs()));
    }
    check(!byLine.gets(&line, nullptr, nullptr, nullptr));
    check(byLine.getCharCount() == byChar.getCharCount());
    check(byLine.getLineCount() == byChar.getLineCount());
    check(byLine.getLastAcceptedCharCount() == byChar.getLastAcceptedCharCount());
    check(byLine.getBuffer()->getLength() == byChar.getBuffer()->getLength());
    check(std::memcmp(byLine.getBuffer()->get(), byChar.getBuffer()->get(),
                      static_cast<std::size_t>(byLine.getBuffer()->getLength())) == 0);
    check(byLine.getUtf8Encoding() == byChar.getUtf8Encoding());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    const unsigned mode = data[0];
    const char *text = reinterpret_cast<const char *>(data + 1);
    const std::size_t length = size - 1;
    kvstrstream source(text, static_cast<int>(length));
    Evaluating s(source);
    s.setLiteralMode((mode & 1) != 0);
    if ((mode & 8) != 0)
        s.dontSuppressEmptyLines();
    if ((mode & 2) != 0)
        s.readTitle();
    if ((mode & 16) != 0)
        readCharacters(s, (mode & 1) != 0, length);
    else
        readStatements(s, length);
    check(s.getCharCount() >= 0 && static_cast<std::size_t>(s.getCharCount()) <= length);
    check(s.getLineCount() <= countLineFeeds(text, length));
    check(s.getLastAcceptedCharCount() <= s.getCharCount());
    check(static_cast<std::size_t>(s.getBuffer()->getLength()) <= length);
    check(s.getLanguage() >= KELVORAN && s.getLanguage() <= HSPICE);
    check(std::strlen(s.getSeparator()) <= 1);
    if ((mode & 32) != 0)
        compareWithGet(text, length);
    return 0;
}
