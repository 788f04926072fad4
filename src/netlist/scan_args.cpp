// ArgSwitch and WordArray: the command-line helpers of the scanner.
#include <kvsupport/scan.h>

#include <kvsupport/engnum.h>

#include "core/text_util.h"

#include <cstdlib>

char ArgSwitch::switchChar = '/';

ArgSwitch::ArgSwitch(int argc, char **argv, const char *name, int maxArgs, bool stopAtSwitch,
                     bool /*reserved*/)
    : found(false), count(0), args(nullptr), shareCount(nullptr)
{
    if (argc < 2 || argv == nullptr || name == nullptr)
        return;
    int at = 1;
    for (; at < argc; ++at) {
        const char *entry = argv[at];
        if (entry != nullptr && entry[0] == switchChar && kv::detail::stricmp(entry + 1, name) == 0)
            break;
    }
    if (at == argc)
        return;
    found = true;
    argv[at] = nullptr;
    if (maxArgs > argc - 1 - at)
        maxArgs = argc - 1 - at;
    for (int i = at + 1; i <= at + maxArgs; ++i) {
        char *entry = argv[i];
        if (entry == nullptr || (stopAtSwitch && entry[0] == switchChar))
            break;
        if (args == nullptr) {
            args = new YArray<YString>(4);
            shareCount = new int(1);
        }
        args->add(YString(entry));
        ++count;
        argv[i] = nullptr;
    }
}

ArgSwitch::~ArgSwitch()
{
    release();
}

void ArgSwitch::release()
{
    if (shareCount != nullptr && --*shareCount == 0) {
        delete args;
        delete shareCount;
    }
    args = nullptr;
    shareCount = nullptr;
}

ArgSwitch &ArgSwitch::operator=(const ArgSwitch &other)
{
    if (this == &other)
        return *this;
    if (other.shareCount != nullptr)
        ++*other.shareCount;
    release();
    found = other.found;
    count = other.count;
    args = other.args;
    shareCount = other.shareCount;
    return *this;
}

YString ArgSwitch::operator[](int i) const
{
    if (args == nullptr || i < 0 || i >= count)
        return YString();
    return args->at(i);
}

int ArgSwitch::toInt(int i)
{
    return std::atoi((*this)[i].tocs());
}

void ArgSwitch::setSwitchChar(char c)
{
    switchChar = c;
}

char ArgSwitch::getSwitchChar()
{
    return switchChar;
}

void ArgSwitch::setCurrentCommand(const YString &)
{
}

// WordArray

namespace {

// Spare word vectors, shared by all WordArray objects. Never destroyed, so a
// WordArray that outlives the static objects still has somewhere to go.
YList<YVector<char *> *> &wordPool()
{
    static YList<YVector<char *> *> *pool = new YList<YVector<char *> *>;
    return *pool;
}

} // namespace

WordArray::WordArray(int argc, char **argv) : words(nullptr), count(0)
{
    YList<YVector<char *> *> &pool = wordPool();
    if (!pool.isEmpty()) {
        words = *pool.first();
        pool.removeFirst();
    } else {
        words = new YVector<char *>(50, true);
    }
    if (argv == nullptr)
        return;
    for (int i = 1; i < argc; ++i)
        if (argv[i] != nullptr)
            (*words)[static_cast<unsigned int>(count++)] = argv[i];
}

WordArray::~WordArray()
{
    for (char *&slot : *words)
        slot = nullptr;
    wordPool().prepend(words);
}

int WordArray::pooledVectors()
{
    return wordPool().getCount();
}

const char *WordArray::word(int i) const
{
    if (i < 0 || i >= count)
        return nullptr;
    const YVector<char *> &v = *words;
    return v[static_cast<unsigned int>(i)];
}

YString WordArray::operator[](int i) const
{
    return YString(word(i));
}

int WordArray::integer(int index, int defaultValue) const
{
    const char *w = word(index);
    return w != nullptr ? std::atoi(w) : defaultValue;
}

double WordArray::real(int index, double defaultValue) const
{
    const char *w = word(index);
    return w != nullptr ? sp_ConvertEngToReal(w, nullptr) : defaultValue;
}

const char *WordArray::string(int index, const char * /*defaultValue: ignored*/) const
{
    const char *w = word(index);
    return w != nullptr ? w : "";
}

bool WordArray::argsAreEmpty(const YList<int> &indices)
{
    for (int index : indices) {
        const char *w = word(index);
        if (w != nullptr && *w == 0)
            return true;
    }
    return false;
}

YString WordArray::getFlattenedLine()
{
    YString line;
    for (int i = 0; i < count; ++i) {
        if (i > 0)
            line &= " ";
        line &= word(i);
    }
    return line;
}
