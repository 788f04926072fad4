// The untemplated parts of the containers: the pointer-array core of YArray,
// the text accumulators, the rehash sizes, and the searching, sorting and set
// algorithms.
#include <kvsupport/containers.h>
#include <kvsupport/exception.h>

#include "core/text_util.h"
#include "format/c_format.h"

#include <cxxabi.h>

#include <climits>
#include <cstdlib>
#include <cstring>

// ---------------------------------------------------------------------------
// YVector exhaustion

void sp_ThrowVectorExhausted(const char *operation, const std::type_info &elementType)
{
    int status = 0;
    char *readable = abi::__cxa_demangle(elementType.name(), nullptr, nullptr, &status);
    char detail[KelvoranException::TextSize];
    kv::detail::formatC(detail, sizeof detail, "Detected in YVector<%s>::%s",
                        status == 0 && readable != nullptr ? readable : elementType.name(), operation);
    std::free(readable);
    throw MemoryException(detail);
}

// ---------------------------------------------------------------------------
// YArrayData

namespace {

void **newPointerArray(int n)
{
    return new void *[static_cast<std::size_t>(n)]();
}

} // namespace

YArrayData::YArrayData(int n)
    : growth(1.5), data(nullptr), count(0), capacity(n < 1 ? 1 : n)
{
    data = newPointerArray(capacity);
}

YArrayData::~YArrayData()
{
    delete[] data;
}

int YArrayData::addDataAt(void *item, int index)
{
    if (index < 0)
        index = 0;
    if (index > count)
        index = count;
    if (count >= capacity) {
        // growth is a public field: a factor that gives no room (below 1,
        // negative or NaN) falls back to one more slot, and only a value in
        // range is truncated to int.
        const double grown = capacity * growth;
        int newCapacity = count + 1;
        if (grown >= static_cast<double>(INT_MAX))
            newCapacity = INT_MAX;
        else if (grown > static_cast<double>(count + 1))
            newCapacity = static_cast<int>(grown);
        void **fresh = newPointerArray(newCapacity);
        std::memcpy(fresh, data, sizeof(void *) * static_cast<std::size_t>(count));
        delete[] data;
        data = fresh;
        capacity = newCapacity;
    }
    std::memmove(data + index + 1, data + index, sizeof(void *) * static_cast<std::size_t>(count - index));
    data[index] = item;
    ++count;
    return index;
}

void YArrayData::checkAlloc(int n)
{
    if (capacity >= n)
        return;
    void **fresh = newPointerArray(n);
    delete[] data;
    data = fresh;
    capacity = n;
}

void YArrayData::removeDataItemAt(int index)
{
    if (index < 0 || index >= count)
        return;
    std::memmove(data + index, data + index + 1, sizeof(void *) * static_cast<std::size_t>(count - index - 1));
    --count;
    data[count] = nullptr;
}

// ---------------------------------------------------------------------------
// Rehash sizes

namespace {

// Each a prime near double the one before.
const int kRehashSizes[30] = {2,        5,        11,        23,        47,        97,
                              197,      397,      797,       1597,      3203,      6421,
                              12853,    25717,    51437,     102877,    205759,    411527,
                              823117,   1646237,  3292489,   6584983,   13169977,  26339969,
                              52679969, 105359939, 210719881, 421439783, 842879579, 1685759167};

} // namespace

int sp_NextHashTableSize(int current)
{
    for (int size : kRehashSizes)
        if (size > current)
            return size;
    return kRehashSizes[29];
}

// ---------------------------------------------------------------------------
// Buf

const int Buf::initsize = 80;

namespace {

char *heapText(int capacity)
{
    char *p = static_cast<char *>(std::malloc(static_cast<std::size_t>(capacity)));
    if (p == nullptr)
        kv::detail::outOfMemory("Buf");
    p[0] = 0;
    return p;
}

} // namespace

Buf::Buf() : Buf(initsize) {}

Buf::Buf(int size) : data(nullptr), length(0), capacity(size < 1 ? 1 : size)
{
    data = heapText(capacity);
}

Buf::Buf(const Buf &other) : data(heapText(other.capacity)), length(other.length), capacity(other.capacity)
{
    std::memcpy(data, other.data, static_cast<std::size_t>(length) + 1);
}

Buf &Buf::operator=(const Buf &other)
{
    if (this != &other) {
        length = 0;
        data[0] = 0;
        if (capacity < other.length + 1)
            grow(static_cast<long long>(other.length) + 1);
        std::memcpy(data, other.data, static_cast<std::size_t>(other.length) + 1);
        length = other.length;
    }
    return *this;
}

Buf::~Buf()
{
    std::free(data);
}

void Buf::grow(long long needed)
{
    // Doubling step by step gives the capacity that adding one character at
    // a time would reach.
    long long wanted = capacity;
    while (wanted < needed)
        wanted *= 2;
    if (wanted > INT_MAX)
        wanted = needed <= INT_MAX ? INT_MAX : needed;
    if (wanted > INT_MAX)
        kv::detail::outOfMemory("Buf"); // a text of 2 GiB can't grow further
    char *p = static_cast<char *>(std::realloc(data, static_cast<std::size_t>(wanted)));
    if (p == nullptr)
        kv::detail::outOfMemory("Buf");
    data = p;
    capacity = static_cast<int>(wanted);
}

void Buf::add(char c)
{
    if (length >= capacity - 1)
        grow(static_cast<long long>(length) + 2);
    data[length++] = c;
    data[length] = 0;
}

void Buf::append(const char *text)
{
    if (text != nullptr)
        append(text, static_cast<int>(std::min<std::size_t>(std::strlen(text), INT_MAX)));
}

void Buf::append(const char *text, int n)
{
    if (text == nullptr || n <= 0)
        return;
    long long needed = static_cast<long long>(length) + n + 1;
    if (needed > capacity)
        grow(needed);
    std::memcpy(data + length, text, static_cast<std::size_t>(n));
    length += n;
    data[length] = 0;
}

int Buf::lastChar() const
{
    return length > 0 ? static_cast<signed char>(data[length - 1]) : 0;
}

void Buf::remove(int n)
{
    if (n < 0)
        return;
    length = n >= length ? 0 : length - n;
    data[length] = 0;
}

void Buf::flush()
{
    length = 0;
    data[0] = 0;
}

char *Buf::detach()
{
    char *text = data;
    data = heapText(initsize);
    length = 0;
    capacity = initsize;
    return text;
}

// ---------------------------------------------------------------------------
// CharQueue

CharQueue::CharQueue(int size) : Buf(size), readPosition(0) {}

void CharQueue::add(char c)
{
    if (length >= capacity - 1 && readPosition > 0) {
        std::memmove(data, data + readPosition, static_cast<std::size_t>(length - readPosition));
        length -= readPosition;
        readPosition = 0;
    }
    if (length >= capacity - 1)
        grow(static_cast<long long>(length) + 2);
    data[length++] = c;
    data[length] = 0;
}

void CharQueue::append(const char *text)
{
    if (text == nullptr)
        return;
    while (*text != 0)
        add(*text++);
}

char CharQueue::pop()
{
    if (length <= readPosition) {
        length = 0;
        readPosition = 0;
        data[0] = 0;
        return 0;
    }
    return data[readPosition++];
}

void CharQueue::flush()
{
    Buf::flush();
    readPosition = 0;
}

// ---------------------------------------------------------------------------
// sp_BinarySearch

namespace {

// The bracketing search over count values read through valueAt(i).
template <typename ValueAt>
void bracket(ValueAt valueAt, int count, double x, int *lower, int *upper, int ascending)
{
    int lo = 0;
    int hi = 0;
    if (count >= 2) {
        hi = count - 1;
        bool done = false;
        if (ascending == 1) {
            if (x < valueAt(0)) {
                hi = 0;
                done = true;
            } else if (x > valueAt(count - 1)) {
                lo = count - 1;
                done = true;
            }
        } else if (ascending == 0) {
            if (x > valueAt(0)) {
                hi = 0;
                done = true;
            } else if (x < valueAt(count - 1)) {
                lo = count - 1;
                done = true;
            }
        }
        for (int round = 0; !done && round < 80; ++round) {
            int middle = (lo + hi) / 2;
            if (middle > count - 1) {
                lo = count - 2;
                hi = count - 1;
                break;
            }
            int oldLo = lo;
            int oldHi = hi;
            if (ascending == 1) {
                if (valueAt(middle) > x)
                    hi = middle;
                else
                    lo = middle;
            } else if (ascending == 0) {
                if (x > valueAt(middle))
                    hi = middle;
                else
                    lo = middle;
            }
            if (hi == lo + 1)
                break;
            if (lo == oldLo && hi == oldHi) {
                if (middle == lo)
                    ++lo;
                else if (middle == hi)
                    --hi;
            }
        }
    }
    if (lower != nullptr)
        *lower = lo;
    if (upper != nullptr)
        *upper = hi;
}

} // namespace

void sp_BinarySearch(const double *values, int count, double x, int *lower, int *upper, int ascending)
{
    if (values == nullptr)
        count = 0;
    bracket([values](int i) { return values[i]; }, count, x, lower, upper, ascending);
}

void sp_BinarySearch(const complex *values, int count, double x, int *lower, int *upper, int ascending)
{
    // A complex is two doubles, the real part first.
    const double *parts = reinterpret_cast<const double *>(values);
    if (values == nullptr)
        count = 0;
    bracket([parts](int i) { return parts[2 * static_cast<long long>(i)]; }, count, x, lower, upper, ascending);
}

// ---------------------------------------------------------------------------
// sp_GetSortMap

namespace {

struct SortItem {
    long long index;
    double value;
};

int compareSortItems(const void *a, const void *b)
{
    double x = static_cast<const SortItem *>(a)->value;
    double y = static_cast<const SortItem *>(b)->value;
    if (x > y)
        return 1;
    if (y > x)
        return -1;
    return 0;
}

} // namespace

void sp_GetSortMap(const YVector<double> &values, YVector<long long> *map)
{
    if (map == nullptr)
        return;
    YVector<SortItem> items(values.size, true);
    for (unsigned int i = 0; i < values.size; ++i)
        items[i] = SortItem{static_cast<long long>(i), values.data[i]};
    if (items.size > 1)
        std::qsort(items.data, items.size, sizeof(SortItem), compareSortItems);
    map->resize(values.size);
    for (unsigned int i = 0; i < items.size; ++i)
        (*map)[i] = items.data[i].index;
}

// ---------------------------------------------------------------------------
// Set operations

namespace {

using StringSet = YHashTable<YString>;

void addOnce(StringSet &set, const YString &value)
{
    set.addUnique(value);
}

} // namespace

void sp_SetUnion(const StringSet &a, const StringSet &b, StringSet *result)
{
    if (result == nullptr)
        return;
    StringSet made(101, 2);
    for (const YString &value : a)
        addOnce(made, value);
    for (const YString &value : b)
        addOnce(made, value);
    *result = made;
}

void sp_SetIntersect(const StringSet &a, const StringSet &b, StringSet *result)
{
    if (result == nullptr)
        return;
    StringSet made(101, 2);
    for (const YString &value : a)
        if (b.contains(value))
            addOnce(made, value);
    *result = made;
}

void sp_SetDifference(const StringSet &a, const StringSet &b, StringSet *result)
{
    if (result == nullptr)
        return;
    StringSet made(101, 2);
    for (const YString &value : a)
        if (!b.contains(value))
            addOnce(made, value);
    *result = made;
}
