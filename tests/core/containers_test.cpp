// Tests of the containers (YVector, YArrayData/YArray, YList, YHashTable,
// YRef), the text accumulators (Buf, CharQueue), the search, sort-map and set
// algorithms, YString::tokenize and the array form of PrintfBuf::printf.
#include <kvsupport/containers.h>
#include <kvsupport/exception.h>
#include <kvsupport/printf.h>

#include "support/test_support.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

// ---------------------------------------------------------------------------
// YVector

TEST(YVectorTest, ConstructorSetsSizeAndCapacityAndZeroFillsPrim)
{
    YVector<double> v(5, true);
    EXPECT_EQ(5u, v.size);
    EXPECT_EQ(5u, v.capacity);
    EXPECT_TRUE(v.prim);
    for (unsigned i = 0; i < 5; ++i)
        EXPECT_EQ(0.0, v[i]);
    YVector<int> empty;
    EXPECT_EQ(0u, empty.size);
    EXPECT_TRUE(empty.isEmpty());
}

TEST(YVectorTest, WritePastEndGrowsByOneWithSizeRuleCapacity)
{
    YVector<int> v(4, true);
    v[v.size] = 7;
    EXPECT_EQ(5u, v.size);
    EXPECT_EQ(4u / 2 + 4 + 1, v.capacity);
    EXPECT_EQ(7, v[4]);
    for (unsigned i = 0; i < 4; ++i)
        EXPECT_EQ(0, v[i]);

    YVector<YString> s(10, false);
    s[s.size] = "x";
    EXPECT_EQ(11u, s.size);
    EXPECT_EQ(10u / 2 + 10 + 1, s.capacity);
    EXPECT_STREQ("x", s[10].tocs());
}

TEST(YVectorTest, WriteFarPastEndGrowsToIndexPlusOne)
{
    YVector<int> v(10, true);
    v[99] = 1;
    EXPECT_EQ(100u, v.size);
    EXPECT_EQ(10u / 2 + 100, v.capacity);
    EXPECT_EQ(0, v[50]);
}

TEST(YVectorTest, GrowthIsRelativeToSizeNotCapacity)
{
    YVector<int> v(10, true);
    v.resize(2);
    EXPECT_EQ(2u, v.size);
    EXPECT_EQ(10u, v.capacity); // shrinking keeps the capacity
    v.resize(10);
    EXPECT_EQ(10u, v.capacity); // within capacity: no new block
    v.resize(2);
    v.resize(11);
    EXPECT_EQ(2u / 2 + 11, v.capacity);
}

TEST(YVectorTest, ConstReadOutOfRangeReturnsFillAndDoesNotGrow)
{
    YVector<int> v(3, true);
    v.fill = -9;
    const YVector<int> &c = v;
    EXPECT_EQ(-9, c[3]);
    EXPECT_EQ(-9, c[1000000]);
    EXPECT_EQ(0, c[2]);
    EXPECT_EQ(3u, v.size);
    EXPECT_EQ(3u, v.capacity);

    YVector<YString> s(1, false);
    s.fill = "fill";
    const YVector<YString> &cs = s;
    EXPECT_STREQ("fill", cs[5].tocs());
    EXPECT_EQ(1u, s.size);
}

TEST(YVectorTest, PrimShrunkAndRegrownReadsZeros)
{
    YVector<long long> v(0, true);
    for (int i = 0; i < 10; ++i)
        v.append(i + 1);
    unsigned capacity = v.capacity;
    v.resize(3);
    v.resize(8);
    EXPECT_EQ(capacity, v.capacity);
    EXPECT_EQ(3, v[2]);
    for (unsigned i = 3; i < 8; ++i)
        EXPECT_EQ(0, v[i]) << i;
    // The unused slots past the size are zero too.
    for (unsigned i = 8; i < v.capacity; ++i)
        EXPECT_EQ(0, v.data[i]) << i;
}

TEST(YVectorTest, NonPrimShrinkOverwritesLeavingElementsWithFill)
{
    YVector<YString> v(4, false);
    for (unsigned i = 0; i < 4; ++i)
        v[i] = YString(static_cast<int>(i));
    v.fill = "gone";
    v.resize(1);
    EXPECT_EQ(1u, v.size);
    EXPECT_STREQ("gone", v.data[1].tocs());
    EXPECT_STREQ("gone", v.data[3].tocs());
    v.resize(3); // regrown within capacity: the slots still hold the fill
    EXPECT_STREQ("0", v[0].tocs());
    EXPECT_STREQ("gone", v[2].tocs());
}

TEST(YVectorTest, NonPrimGrowthKeepsElements)
{
    YVector<YString> v;
    EXPECT_FALSE(v.prim);
    for (int i = 0; i < 100; ++i)
        v.append(YString(i));
    ASSERT_EQ(100u, v.size);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(YString(i), v[static_cast<unsigned>(i)]);
}

TEST(YVectorTest, PrimIsRefusedForTypesNotMovedByBytes)
{
    YVector<YString> v(3, true);
    EXPECT_FALSE(v.prim);
    YVector<double> d;
    EXPECT_TRUE(d.prim); // trivially copyable types default to prim
    YVector<double> n(0, false);
    EXPECT_FALSE(n.prim);
}

struct Wide16 {
    double a;
    double b;
};
struct Wide40 {
    char bytes[40];
};

TEST(YVectorTest, PrimElementsOf16BytesOrMoreAreAlignedStrictlyAboveTheBlock)
{
    for (int round = 0; round < 20; ++round) {
        YVector<Wide16> v(static_cast<unsigned>(round + 1), true);
        std::uintptr_t data = reinterpret_cast<std::uintptr_t>(v.data);
        std::uintptr_t raw = reinterpret_cast<std::uintptr_t>(v.raw);
        EXPECT_EQ(0u, data % 16);
        EXPECT_GT(data, raw);
        EXPECT_LE(data - raw, 16u);
        YVector<Wide40> w(static_cast<unsigned>(round + 1), true);
        EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(w.data) % 16);
        EXPECT_GT(reinterpret_cast<std::uintptr_t>(w.data), reinterpret_cast<std::uintptr_t>(w.raw));
        w[w.size + 3].bytes[0] = 'x'; // growth keeps the alignment
        EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(w.data) % 16);
    }
}

TEST(YVectorTest, PrimElementsUnder16BytesUseTheBlockItself)
{
    YVector<double> v(3, true);
    EXPECT_EQ(static_cast<void *>(v.data), v.raw);
    YVector<char> c(3, true);
    EXPECT_EQ(static_cast<void *>(c.data), c.raw);
}

// A vector that counts its allocations, to see the virtual operations used.
class CountingVector : public YVector<YString> {
public:
    CountingVector() : YVector<YString>(0, false) {}
    int allocs = 0;
    int frees = 0;

protected:
    YString *alloc(unsigned int n) override
    {
        ++allocs;
        return YVector<YString>::alloc(n);
    }
    void free(YString *p) override
    {
        ++frees;
        YVector<YString>::free(p);
    }
};

TEST(YVectorTest, NonPrimGrowthGoesThroughTheVirtualOperations)
{
    CountingVector v;
    v[0] = "a";
    v[1] = "b";
    v[2] = "c";
    EXPECT_EQ(3, v.allocs); // capacities 1, 2, 4
    EXPECT_EQ(3, v.frees);
    EXPECT_EQ(4u, v.capacity);
    EXPECT_STREQ("a", v[0].tocs());
    EXPECT_STREQ("c", v[2].tocs());
}

struct ThrowsOnConstruction {
    static int budget;
    ThrowsOnConstruction()
    {
        if (budget-- <= 0)
            throw std::bad_alloc();
    }
};
int ThrowsOnConstruction::budget = 0;

struct ThrowsSomethingElse {
    static int budget;
    ThrowsSomethingElse()
    {
        if (budget-- <= 0)
            throw 42;
    }
};
int ThrowsSomethingElse::budget = 0;

TEST(YVectorTest, AllocFailureBecomesMemoryException)
{
    ThrowsOnConstruction::budget = 3;
    YVector<ThrowsOnConstruction> v(2, false);
    try {
        v.resize(5);
        FAIL() << "no exception";
    } catch (const MemoryException &e) {
        EXPECT_EQ(5, e.getCategory());
        std::string text = e.getText();
        EXPECT_EQ(0u, text.find("*** Fatal error, out of memory ***\nDetected in YVector<")) << text;
        EXPECT_NE(std::string::npos, text.find("ThrowsOnConstruction>::alloc")) << text;
        EXPECT_EQ(text.size() - std::string("::alloc").size(), text.rfind("::alloc"));
    }
    EXPECT_EQ(2u, v.size); // the vector is as it was
    EXPECT_EQ(2u, v.capacity);
}

TEST(YVectorTest, AnyAllocationExceptionBecomesMemoryException)
{
    ThrowsSomethingElse::budget = 1; // the fill value is built first
    EXPECT_THROW(YVector<ThrowsSomethingElse>(1, false), MemoryException);
}

TEST(YVectorTest, ReadableTypeNameInTheText)
{
    try {
        YVector<double> v;
        v[UINT_MAX] = 1; // 2^32 elements can't be held
        FAIL() << "no exception";
    } catch (const MemoryException &e) {
        EXPECT_STREQ("*** Fatal error, out of memory ***\nDetected in YVector<double>::allocPrim", e.getText());
    }
    try {
        YVector<YString> v;
        v[UINT_MAX] = "x";
        FAIL() << "no exception";
    } catch (const MemoryException &e) {
        EXPECT_STREQ("*** Fatal error, out of memory ***\nDetected in YVector<YString>::alloc", e.getText());
    }
}

struct Huge {
    char bytes[65536];
};

// Asks for more memory than the address space has; the heap says null.
KVTEST_CHILD(containers_hugePrim)
{
    (void)args;
    YVector<Huge> v(1, true);
    try {
        v.resize(0xFFFFFFF0u);
    } catch (const MemoryException &e) {
        if (std::string(e.getText()) != "*** Fatal error, out of memory ***\nDetected in YVector<(anonymous "
                                        "namespace)::Huge>::allocPrim")
            return 2;
        if (e.getCategory() != 5 || v.size != 1)
            return 3;
        return 0;
    }
    return 1;
}

TEST(YVectorTest, AllocPrimHeapFailureBecomesMemoryException)
{
    // A sanitizer's allocator must answer null instead of stopping.
    const char *old = std::getenv("ASAN_OPTIONS");
    std::string saved = old != nullptr ? old : "";
    std::string options = saved.empty() ? "allocator_may_return_null=1" : saved + ":allocator_may_return_null=1";
    setenv("ASAN_OPTIONS", options.c_str(), 1);
    int code = kvtest::runChild("containers_hugePrim");
    if (old != nullptr)
        setenv("ASAN_OPTIONS", saved.c_str(), 1);
    else
        unsetenv("ASAN_OPTIONS");
    EXPECT_EQ(0, code);
}

// Limits this process's address space to what it uses now plus 256 MiB, so
// that a large request fails in the heap instead of succeeding lazily.
bool limitAddressSpace()
{
    FILE *statm = std::fopen("/proc/self/statm", "r");
    if (statm == nullptr)
        return false;
    unsigned long long pages = 0;
    int got = std::fscanf(statm, "%llu", &pages);
    std::fclose(statm);
    if (got != 1)
        return false;
    struct rlimit limit;
    if (getrlimit(RLIMIT_AS, &limit) != 0)
        return false;
    limit.rlim_cur = static_cast<rlim_t>(pages * static_cast<unsigned long long>(sysconf(_SC_PAGESIZE)) +
                                         (256ull << 20));
    return setrlimit(RLIMIT_AS, &limit) == 0;
}

// Small prim elements grow their block in place; a heap failure there is
// the allocPrim exhaustion too, and leaves the vector as it was.
KVTEST_CHILD(containers_primGrowthLimited)
{
    (void)args;
    YVector<double> v(0, true);
    v.append(1.5);
    if (!limitAddressSpace())
        return 4;
    try {
        v.resize(1u << 29); // 4 GiB
    } catch (const MemoryException &e) {
        if (std::string(e.getText()) != "*** Fatal error, out of memory ***\nDetected in YVector<double>::allocPrim")
            return 2;
        return v.size == 1 && v[0] == 1.5 ? 0 : 3;
    }
    return 1;
}

TEST(YVectorTest, PrimGrowthHeapFailureBecomesMemoryException)
{
    const char *old = std::getenv("ASAN_OPTIONS");
    std::string saved = old != nullptr ? old : "";
    std::string options = saved.empty() ? "allocator_may_return_null=1" : saved + ":allocator_may_return_null=1";
    setenv("ASAN_OPTIONS", options.c_str(), 1);
    int code = kvtest::runChild("containers_primGrowthLimited");
    if (old != nullptr)
        setenv("ASAN_OPTIONS", saved.c_str(), 1);
    else
        unsetenv("ASAN_OPTIONS");
    EXPECT_EQ(0, code);
}

// The standard allocator's own exhaustion (bad_alloc from new[]) becomes
// the alloc exhaustion.
KVTEST_CHILD(containers_allocLimited)
{
    (void)args;
    YVector<YString> v(0, false);
    v.append("kept");
    if (!limitAddressSpace())
        return 4;
    try {
        v.resize(1u << 27); // 1 GiB of YString
    } catch (const MemoryException &e) {
        if (std::string(e.getText()) != "*** Fatal error, out of memory ***\nDetected in YVector<YString>::alloc")
            return 2;
        return v.size == 1 && v[0] == YString("kept") ? 0 : 3;
    }
    return 1;
}

TEST(YVectorTest, StandardAllocatorExhaustionBecomesMemoryException)
{
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address sanitizer stops the process when new[] fails";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    GTEST_SKIP() << "the address sanitizer stops the process when new[] fails";
#endif
#endif
    EXPECT_EQ(0, kvtest::runChild("containers_allocLimited"));
}

TEST(YVectorTest, CopyMoveAndAssign)
{
    YVector<int> a(0, true);
    for (int i = 0; i < 5; ++i)
        a.append(i);
    a.fill = 77;
    YVector<int> b(a);
    EXPECT_EQ(5u, b.size);
    EXPECT_EQ(77, b.fill);
    EXPECT_NE(a.data, b.data);
    b[0] = 100;
    EXPECT_EQ(0, a[0]);

    YVector<int> c(0, true);
    c = a;
    EXPECT_EQ(4, c[4]);
    YVector<int> &sameC = c;
    c = sameC; // self-assignment keeps the elements
    EXPECT_EQ(5u, c.size);

    YVector<int> d(std::move(c));
    EXPECT_EQ(5u, d.size);
    EXPECT_EQ(0u, c.size);
    EXPECT_EQ(nullptr, c.data);

    YVector<YString> s;
    s.append("one");
    s.append("two");
    YVector<YString> t;
    t.append("x");
    t.append("y");
    t.append("z");
    t = s;
    EXPECT_EQ(2u, t.size);
    EXPECT_STREQ("two", t[1].tocs());
}

TEST(YVectorTest, AppendingOwnElementWhileGrowingIsSafe)
{
    YVector<YString> v;
    v.append("seed");
    for (int i = 0; i < 20; ++i)
        v.append(v[0]);
    EXPECT_EQ(21u, v.size);
    EXPECT_STREQ("seed", v[20].tocs());
}

TEST(YVectorTest, IterationAndClear)
{
    YVector<int> v;
    v.push_back(1);
    v.push_back(2);
    v.push_back(3);
    int sum = 0;
    for (int x : v)
        sum += x;
    EXPECT_EQ(6, sum);
    EXPECT_EQ(3, v.count());
    unsigned capacity = v.capacity;
    v.clear();
    EXPECT_TRUE(v.isEmpty());
    EXPECT_EQ(capacity, v.capacity);
}

// ---------------------------------------------------------------------------
// YArrayData and YArray

TEST(YArrayDataTest, ConstructionClampsCapacityAndZeroes)
{
    YArrayData a(0);
    EXPECT_EQ(1, a.capacity);
    EXPECT_EQ(0, a.count);
    EXPECT_EQ(1.5, a.growth);
    EXPECT_EQ(nullptr, a.data[0]);
    YArrayData b(-3);
    EXPECT_EQ(1, b.capacity);
    YArrayData c(6);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(nullptr, c.data[i]);
}

TEST(YArrayDataTest, AddDataAtClampsTheIndex)
{
    int x = 1, y = 2, z = 3, w = 4;
    YArrayData a(4);
    EXPECT_EQ(0, a.addDataAt(&x, 0));
    EXPECT_EQ(0, a.addDataAt(&y, -5)); // clamped to the front
    EXPECT_EQ(2, a.addDataAt(&z, 100)); // clamped to the end
    EXPECT_EQ(1, a.addDataAt(&w, 1));
    ASSERT_EQ(4, a.count);
    EXPECT_EQ(&y, a.data[0]);
    EXPECT_EQ(&w, a.data[1]);
    EXPECT_EQ(&x, a.data[2]);
    EXPECT_EQ(&z, a.data[3]);
}

TEST(YArrayDataTest, GrowthTruncatesCapacityTimesGrowth)
{
    int items[10];
    YArrayData a(1);
    a.addDataAt(&items[0], 0);
    EXPECT_EQ(1, a.capacity);
    a.addDataAt(&items[1], 1); // (int)(1 * 1.5) = 1, not above the count: count + 1
    EXPECT_EQ(2, a.capacity);
    a.addDataAt(&items[2], 2); // (int)(2 * 1.5) = 3
    EXPECT_EQ(3, a.capacity);
    a.addDataAt(&items[3], 3); // (int)(3 * 1.5) = 4
    EXPECT_EQ(4, a.capacity);
    a.addDataAt(&items[4], 4); // 6
    EXPECT_EQ(6, a.capacity);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(&items[i], a.data[i]);
    EXPECT_EQ(nullptr, a.data[5]); // new slots are zeroed

    YArrayData b(2);
    b.growth = 3.0;
    b.addDataAt(&items[0], 0);
    b.addDataAt(&items[1], 1);
    b.addDataAt(&items[2], 2);
    EXPECT_EQ(6, b.capacity);
}

TEST(YArrayDataTest, GrowthWithoutRoomFallsBackToOneMoreSlot)
{
    int items[4];
    // Each factor gives no capacity above the count: the array grows by one.
    for (double growth : {0.5, 1.0, 0.0, -2.0, -1e300, std::nan("")}) {
        YArrayData a(2);
        a.growth = growth;
        a.addDataAt(&items[0], 0);
        a.addDataAt(&items[1], 1);
        EXPECT_EQ(2, a.capacity) << growth;
        EXPECT_EQ(1, a.addDataAt(&items[2], 1)) << growth;
        EXPECT_EQ(3, a.capacity) << growth;
        EXPECT_EQ(3, a.count) << growth;
        EXPECT_EQ(&items[0], a.data[0]) << growth;
        EXPECT_EQ(&items[2], a.data[1]) << growth;
        EXPECT_EQ(&items[1], a.data[2]) << growth;
    }
    // 1.9 x 2 = 3.8 is truncated to 3.
    YArrayData c(2);
    c.growth = 1.9;
    c.addDataAt(&items[0], 0);
    c.addDataAt(&items[1], 1);
    c.addDataAt(&items[2], 2);
    EXPECT_EQ(3, c.capacity);
    c.addDataAt(&items[3], 3); // 3 x 1.9 = 5.7: 5
    EXPECT_EQ(5, c.capacity);
}

TEST(YArrayDataTest, CheckAllocDiscardsAndMakesExactlyN)
{
    int x = 0;
    YArrayData a(2);
    a.addDataAt(&x, 0);
    a.checkAlloc(2); // enough already: nothing happens
    EXPECT_EQ(2, a.capacity);
    EXPECT_EQ(&x, a.data[0]);
    YArrayData b(2);
    b.checkAlloc(7);
    EXPECT_EQ(7, b.capacity);
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(nullptr, b.data[i]);
}

TEST(YArrayDataTest, RemoveDataItemAtMovesDownAndIgnoresBadIndex)
{
    int x = 1, y = 2, z = 3;
    YArrayData a(3);
    a.addDataAt(&x, 0);
    a.addDataAt(&y, 1);
    a.addDataAt(&z, 2);
    a.removeDataItemAt(0);
    ASSERT_EQ(2, a.count);
    EXPECT_EQ(&y, a.data[0]);
    EXPECT_EQ(&z, a.data[1]);
    a.removeDataItemAt(-1);
    a.removeDataItemAt(2);
    EXPECT_EQ(2, a.count);
    EXPECT_EQ(1, x); // the item is not touched
}

std::vector<int> &destroyed()
{
    static std::vector<int> order;
    return order;
}

struct Tracked {
    int id = 0;
    Tracked() = default;
    explicit Tracked(int i) : id(i) {}
    Tracked(const Tracked &) = default;
    Tracked &operator=(const Tracked &) = default;
    ~Tracked()
    {
        if (id != 0)
            destroyed().push_back(id);
    }
};

TEST(YArrayTest, DestructorDestroysFromLastToFirst)
{
    destroyed().clear();
    {
        YArray<Tracked> a;
        for (int i = 1; i <= 4; ++i)
            a.add(Tracked(i));
        destroyed().clear(); // the temporaries
    }
    EXPECT_EQ((std::vector<int>{4, 3, 2, 1}), destroyed());
}

TEST(YArrayTest, IndexPastTheCountAddsDefaultElements)
{
    YArray<YString> a(2);
    a[3] = "d";
    EXPECT_EQ(4, a.getCount());
    EXPECT_TRUE(a[0].isEmpty());
    EXPECT_TRUE(a[2].isEmpty());
    EXPECT_STREQ("d", a[3].tocs());
    YString &scratch = a[-1];
    scratch = "not stored";
    EXPECT_EQ(4, a.getCount());
    EXPECT_EQ(-1, a.indexOf("not stored"));
}

TEST(YArrayTest, ConstAccessOutOfRangeGivesDefaultAndDoesNotGrow)
{
    YArray<int> a;
    a.add(5);
    const YArray<int> &c = a;
    EXPECT_EQ(5, c[0]);
    EXPECT_EQ(0, c[1]);
    EXPECT_EQ(0, c[-7]);
    EXPECT_EQ(1, a.getCount());
}

TEST(YArrayTest, InsertRemoveSortCopy)
{
    YArray<YString> a;
    a.add("b");
    a.add("D");
    a.insertAt(0, "c");
    a.insertAt(-10, "A");
    ASSERT_EQ(4, a.getCount());
    EXPECT_STREQ("A", a[0].tocs());
    EXPECT_STREQ("c", a[1].tocs());
    a.sort([](const YString &x, const YString &y) { return x.compare(y, YString::IgnoreCase) < 0; });
    EXPECT_STREQ("A", a[0].tocs());
    EXPECT_STREQ("b", a[1].tocs());
    EXPECT_STREQ("c", a[2].tocs());
    EXPECT_STREQ("D", a[3].tocs());
    a.removeAt(1);
    a.removeAt(99);
    EXPECT_EQ(3, a.getCount());
    EXPECT_EQ(1, a.indexOf("c"));

    YArray<YString> b(a);
    EXPECT_EQ(3, b.getCount());
    b[0] = "changed";
    EXPECT_STREQ("A", a[0].tocs());
    YArray<YString> c;
    c.add("old");
    c = a;
    EXPECT_EQ(3, c.getCount());
    EXPECT_STREQ("D", c[2].tocs());
    YArray<YString> &sameC = c;
    c = sameC;
    EXPECT_EQ(3, c.getCount());
    c.clear();
    EXPECT_TRUE(c.isEmpty());
}

// ---------------------------------------------------------------------------
// YList

TEST(YListTest, AppendWalksToTheEndAndPrependLinksAtTheHead)
{
    YList<int> list;
    EXPECT_EQ(nullptr, list.first());
    list.append(1);
    list.append(2);
    list.prepend(0);
    list.append(3);
    EXPECT_EQ((std::vector<int>{0, 1, 2, 3}), std::vector<int>(list.begin(), list.end()));
    EXPECT_EQ(4, list.getCount());
    EXPECT_EQ(0, *list.first());
    EXPECT_EQ(2, *list.at(2));
    EXPECT_EQ(nullptr, list.at(4));
    EXPECT_EQ(nullptr, list.at(-1));
}

TEST(YListTest, RemovingTheHintNodeKeepsAppendWorking)
{
    YList<int> list;
    list.append(1);
    list.append(2); // the hint
    EXPECT_TRUE(list.remove(2));
    list.append(3);
    EXPECT_EQ((std::vector<int>{1, 3}), std::vector<int>(list.begin(), list.end()));
    EXPECT_TRUE(list.removeFirst());
    EXPECT_TRUE(list.removeFirst());
    EXPECT_FALSE(list.removeFirst());
    list.append(4);
    EXPECT_EQ((std::vector<int>{4}), std::vector<int>(list.begin(), list.end()));
    EXPECT_FALSE(list.remove(99));
}

TEST(YListTest, ClearFindAndCopy)
{
    YList<YString> list;
    list.append("a");
    list.append("b");
    ASSERT_NE(nullptr, list.find("b"));
    EXPECT_EQ(nullptr, list.find("B"));
    YList<YString> copy(list);
    list.clear();
    EXPECT_TRUE(list.isEmpty());
    EXPECT_EQ(0, list.getCount());
    EXPECT_EQ(2, copy.getCount());
    list = copy;
    list.append("c");
    EXPECT_EQ(3, list.getCount());
    EXPECT_EQ(2, copy.getCount());
    YList<YString> &sameList = list;
    list = sameList;
    EXPECT_EQ(3, list.getCount());
}

// ---------------------------------------------------------------------------
// YHashTable

// A key whose hash is its own value, to place nodes in known buckets.
struct Key {
    unsigned int v;
    unsigned int hashValue() const { return v; }
    bool operator==(const Key &o) const { return v == o.v; }
};

std::vector<unsigned> bucketValues(const YHashTable<Key> &t, int bucket)
{
    std::vector<unsigned> out;
    for (const Key &k : t.getBucket(bucket))
        out.push_back(k.v);
    return out;
}

TEST(YHashTableTest, AddGoesToTheHeadOfItsBucketWithoutDuplicateTest)
{
    YHashTable<Key> t(7, 0);
    t.add(Key{3});
    t.add(Key{10});
    t.add(Key{3});
    EXPECT_EQ(3, t.getCount());
    EXPECT_EQ((std::vector<unsigned>{3, 10, 3}), bucketValues(t, 3));
    EXPECT_EQ(2, t.removeAll(Key{3}));
    EXPECT_EQ(1, t.getCount());
    EXPECT_FALSE(t.remove(Key{3}));
    EXPECT_TRUE(t.remove(Key{10}));
    EXPECT_TRUE(t.isEmpty());
}

TEST(YHashTableTest, AddUniqueAddsOnlyWhatIsMissing)
{
    YHashTable<YString> set(2, 1);
    EXPECT_TRUE(set.addUnique("Net1"));
    EXPECT_FALSE(set.addUnique("NET1"));
    EXPECT_TRUE(set.addUnique("net2"));
    EXPECT_TRUE(set.addUnique("net3"));
    EXPECT_EQ(3, set.getCount());
    EXPECT_EQ(5, set.getBucketCount()); // grows by the same rule as add()
    EXPECT_STREQ("Net1", set.find("net1")->tocs());
}

TEST(YHashTableTest, GrowsWhenItemsPerLoadFactorExceedBuckets)
{
    YHashTable<Key> t(2, 1);
    t.add(Key{0});
    t.add(Key{1});
    EXPECT_EQ(2, t.getBucketCount()); // 2 / 1 is not above 2
    t.add(Key{2});
    EXPECT_EQ(5, t.getBucketCount());
    for (unsigned i = 3; i < 12; ++i)
        t.add(Key{i});
    EXPECT_EQ(23, t.getBucketCount()); // 6 items went to 11, 12 to 23
    EXPECT_EQ(12, t.getCount());
    for (unsigned i = 0; i < 12; ++i)
        EXPECT_TRUE(t.contains(Key{i})) << i;

    YHashTable<Key> integer(3, 2);
    for (unsigned i = 0; i < 7; ++i)
        integer.add(Key{i});
    EXPECT_EQ(3, integer.getBucketCount()); // 7 / 2 = 3, not above 3
    integer.add(Key{7});
    EXPECT_EQ(5, integer.getBucketCount()); // 8 / 2 = 4 > 3
}

TEST(YHashTableTest, LoadFactorZeroOrBelowNeverGrows)
{
    YHashTable<Key> t(3, 0);
    YHashTable<Key> n(3, -1);
    for (unsigned i = 0; i < 100; ++i) {
        t.add(Key{i});
        n.add(Key{i});
    }
    EXPECT_EQ(3, t.getBucketCount());
    EXPECT_EQ(3, n.getBucketCount());
    EXPECT_EQ(100, t.getCount());
}

TEST(YHashTableTest, RehashMovesNodesFromTheLastBucketFirstToTheirNewHeads)
{
    YHashTable<Key> t(2, 0);
    for (unsigned v : {1u, 3u, 5u, 0u, 2u})
        t.add(Key{v});
    EXPECT_EQ((std::vector<unsigned>{5, 3, 1}), bucketValues(t, 1));
    EXPECT_EQ((std::vector<unsigned>{2, 0}), bucketValues(t, 0));
    t.rehash();
    ASSERT_EQ(5, t.getBucketCount());
    // Bucket 1 first (5 -> 0, 3 -> 3, 1 -> 1), then bucket 0 (2 -> 2, 0 -> 0).
    EXPECT_EQ((std::vector<unsigned>{0, 5}), bucketValues(t, 0));
    EXPECT_EQ((std::vector<unsigned>{1}), bucketValues(t, 1));
    EXPECT_EQ((std::vector<unsigned>{2}), bucketValues(t, 2));
    EXPECT_EQ((std::vector<unsigned>{3}), bucketValues(t, 3));
    EXPECT_EQ(5, t.getCount());

    YHashTable<Key> empty(11, 0);
    empty.rehash();
    EXPECT_EQ(23, empty.getBucketCount());
    EXPECT_TRUE(empty.isEmpty());
}

TEST(YHashTableTest, TheThirtyRehashSizes)
{
    const std::vector<int> expected = {2,        5,        11,        23,        47,        97,
                                       197,      397,      797,       1597,      3203,      6421,
                                       12853,    25717,    51437,     102877,    205759,    411527,
                                       823117,   1646237,  3292489,   6584983,   13169977,  26339969,
                                       52679969, 105359939, 210719881, 421439783, 842879579, 1685759167};
    std::vector<int> seen;
    int size = 0;
    for (int i = 0; i < 30; ++i) {
        size = sp_NextHashTableSize(size);
        seen.push_back(size);
    }
    EXPECT_EQ(expected, seen);
    EXPECT_EQ(1685759167, sp_NextHashTableSize(1685759167)); // above the last, the last
    EXPECT_EQ(1685759167, sp_NextHashTableSize(INT_MAX));
    EXPECT_EQ(197, sp_NextHashTableSize(101));
    EXPECT_EQ(2, sp_NextHashTableSize(-5));
}

TEST(YHashTableTest, FlushKeepsTheBucketArray)
{
    YHashTable<Key> t(2, 1);
    for (unsigned i = 0; i < 10; ++i)
        t.add(Key{i});
    int buckets = t.getBucketCount();
    t.flush();
    EXPECT_EQ(0, t.getCount());
    EXPECT_EQ(buckets, t.getBucketCount());
    EXPECT_EQ(t.begin(), t.end());
    t.add(Key{4});
    EXPECT_EQ(1, t.getCount());
}

TEST(YHashTableTest, IterationVisitsBucketsInAscendingOrderFromEachHead)
{
    YHashTable<Key> t(5, 0);
    for (unsigned v : {4u, 0u, 5u, 2u, 7u})
        t.add(Key{v});
    std::vector<unsigned> seen;
    for (const Key &k : t)
        seen.push_back(k.v);
    EXPECT_EQ((std::vector<unsigned>{5, 0, 7, 2, 4}), seen);
}

TEST(YHashTableTest, AssignmentTakesSizeAndLoadFactorAndAddsInIterationOrder)
{
    YHashTable<Key> source(3, 0);
    for (unsigned v : {0u, 3u, 6u, 1u})
        source.add(Key{v});
    EXPECT_EQ((std::vector<unsigned>{6, 3, 0}), bucketValues(source, 0));
    YHashTable<Key> target(50, 4);
    target.add(Key{99});
    target = source;
    EXPECT_EQ(3, target.getBucketCount());
    EXPECT_EQ(0, target.getLoadFactor());
    EXPECT_EQ(4, target.getCount());
    EXPECT_FALSE(target.contains(Key{99}));
    // Added in the source's iteration order, each at the head: reversed.
    EXPECT_EQ((std::vector<unsigned>{0, 3, 6}), bucketValues(target, 0));
    YHashTable<Key> copy(source);
    EXPECT_EQ(3, copy.getBucketCount());
    EXPECT_EQ(4, copy.getCount());
    YHashTable<Key> &sameTarget = target;
    target = sameTarget;
    EXPECT_EQ(4, target.getCount());
}

TEST(YHashTableTest, StringSetIsBlindToCase)
{
    YHashTable<YString> set;
    EXPECT_EQ(101, set.getBucketCount());
    EXPECT_EQ(2, set.getLoadFactor());
    set.add("Abc");
    EXPECT_TRUE(set.contains("ABC"));
    EXPECT_TRUE(set.contains("abc"));
    EXPECT_FALSE(set.contains("abd"));
    ASSERT_NE(nullptr, set.find("aBc"));
    EXPECT_STREQ("Abc", set.find("aBc")->tocs());
    EXPECT_TRUE(set.remove("ABC"));
    EXPECT_TRUE(set.isEmpty());
}

TEST(YHashTableTest, ManyStringsSurviveGrowth)
{
    YHashTable<YString> set(2, 2);
    for (int i = 0; i < 5000; ++i)
        set.add(YString(i));
    EXPECT_EQ(5000, set.getCount());
    EXPECT_EQ(3203, set.getBucketCount());
    for (int i = 0; i < 5000; ++i)
        ASSERT_TRUE(set.contains(YString(i))) << i;
    int counted = 0;
    for (auto it = set.begin(); it != set.end(); it++)
        ++counted;
    EXPECT_EQ(5000, counted);
}

TEST(YHashTableTest, BadBucketCountBecomesOne)
{
    YHashTable<Key> t(0, 0);
    EXPECT_EQ(1, t.getBucketCount());
    EXPECT_TRUE(t.getBucket(1).isEmpty());
    EXPECT_TRUE(t.getBucket(-1).isEmpty());
    t.add(Key{5});
    EXPECT_TRUE(t.contains(Key{5}));
}

// ---------------------------------------------------------------------------
// YRef

struct Base {
    static int alive;
    Base() { ++alive; }
    virtual ~Base() { --alive; }
    virtual int kind() const { return 1; }
};
int Base::alive = 0;

struct Derived : Base {
    static int alive;
    Derived() { ++alive; }
    ~Derived() override { --alive; }
    int kind() const override { return 2; }
};
int Derived::alive = 0;

TEST(YRefTest, SharesCountsAndDestroysThroughTheVirtualDestructor)
{
    {
        YRef<Base> a(new Derived);
        EXPECT_EQ(1, a.getRefCount());
        EXPECT_EQ(2, a->kind());
        {
            YRef<Base> b(a);
            EXPECT_EQ(2, a.getRefCount());
            YRef<Base> c;
            c = b;
            EXPECT_EQ(3, a.getRefCount());
            EXPECT_TRUE(c == a);
            YRef<Base> &sameC = c;
            c = sameC;
            EXPECT_EQ(3, a.getRefCount());
        }
        EXPECT_EQ(1, a.getRefCount());
        EXPECT_EQ(1, Derived::alive);
    }
    EXPECT_EQ(0, Derived::alive);
    EXPECT_EQ(0, Base::alive);
}

TEST(YRefTest, EmptyReferences)
{
    YRef<Base> empty;
    EXPECT_TRUE(empty.isNull());
    EXPECT_FALSE(static_cast<bool>(empty));
    EXPECT_EQ(0, empty.getRefCount());
    YRef<Base> fromNull(static_cast<Base *>(nullptr));
    EXPECT_TRUE(fromNull.isNull());
    YRef<Base> held(new Base);
    EXPECT_FALSE(held.isNull());
    held = empty;
    EXPECT_EQ(0, Base::alive);
    YRef<Base> again(new Base);
    again.reset();
    EXPECT_TRUE(again.isNull());
    EXPECT_EQ(0, Base::alive);
}

TEST(YRefTest, VectorOfReferencesGrowsWithEmptyEntries)
{
    YVector<YRef<Base>> table;
    EXPECT_FALSE(table.prim);
    table[3] = YRef<Base>(new Base);
    EXPECT_TRUE(table[0].isNull());
    EXPECT_FALSE(table[3].isNull());
    table.resize(0);
    EXPECT_EQ(0, Base::alive); // the fill (empty) replaced it
}

// ---------------------------------------------------------------------------
// Buf and CharQueue

TEST(BufTest, StartsEmptyWithCapacity80)
{
    Buf b;
    EXPECT_EQ(80, Buf::initsize);
    EXPECT_EQ(80, b.getCapacity());
    EXPECT_EQ(0, b.getLength());
    EXPECT_STREQ("", b.get());
    EXPECT_STREQ("", *b);
    Buf small(0);
    EXPECT_EQ(1, small.getCapacity());
    small.append("grows");
    EXPECT_STREQ("grows", small.get());
}

TEST(BufTest, AddDoublesWhenLengthReachesCapacityMinusOne)
{
    Buf b(4);
    b.add('a');
    b.add('b');
    b.add('c');
    EXPECT_EQ(4, b.getCapacity());
    b.add('d');
    EXPECT_EQ(8, b.getCapacity());
    EXPECT_STREQ("abcd", b.get());
    b.append("efghijkl");
    EXPECT_EQ(16, b.getCapacity());
    EXPECT_STREQ("abcdefghijkl", b.get());
}

TEST(BufTest, AppendGrowsAsAddingEachCharacterWould)
{
    for (int start = 1; start < 20; ++start) {
        for (int n = 0; n < 70; n += 3) {
            std::string text(static_cast<std::size_t>(n), 'q');
            Buf whole(start);
            Buf byChar(start);
            whole.add('a');
            byChar.add('a');
            whole.append(text.c_str());
            for (char c : text)
                byChar.add(c);
            ASSERT_EQ(byChar.getCapacity(), whole.getCapacity()) << start << " " << n;
            ASSERT_STREQ(byChar.get(), whole.get());
        }
    }
}

struct alignas(32) OverAligned {
    double v[4];
};

TEST(YVectorTest, OverAlignedTypesAreNeverPrim)
{
    YVector<OverAligned> v(3, true);
    EXPECT_FALSE(v.prim);
    v[5].v[0] = 1;
    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(v.data) % 32);
}

TEST(BufTest, AppendEmptyOrNullDoesNothing)
{
    Buf b(4);
    b.append("");
    b.append(nullptr);
    b.append("x", 0);
    b.append(nullptr, 5);
    EXPECT_EQ(0, b.getLength());
    EXPECT_EQ(4, b.getCapacity());
    b.append("abcdef", 3);
    EXPECT_STREQ("abc", b.get());
}

TEST(BufTest, LastCharIsSigned)
{
    Buf b;
    EXPECT_EQ(0, b.lastChar()); // empty: a defined 0
    b.add('a');
    EXPECT_EQ('a', b.lastChar());
    b.add('\xff');
    EXPECT_EQ(-1, b.lastChar());
}

TEST(BufTest, RemoveAndFlush)
{
    Buf b;
    b.append("hello");
    b.remove(2);
    EXPECT_STREQ("hel", b.get());
    b.remove(-4);
    EXPECT_STREQ("hel", b.get());
    b.remove(10);
    EXPECT_EQ(0, b.getLength());
    EXPECT_STREQ("", b.get());
    b.append("0123456789012345678901234567890123456789012345678901234567890123456789012345678901234567890");
    int capacity = b.getCapacity();
    EXPECT_GT(capacity, 80);
    b.flush();
    EXPECT_EQ(0, b.getLength());
    EXPECT_STREQ("", b.get());
    EXPECT_EQ(capacity, b.getCapacity());
}

TEST(BufTest, DetachHandsOverTheTextAndStartsAgain)
{
    Buf b(4);
    b.append("some text");
    char *text = b.detach();
    EXPECT_STREQ("some text", text);
    std::free(text);
    EXPECT_EQ(0, b.getLength());
    EXPECT_EQ(80, b.getCapacity());
    EXPECT_STREQ("", b.get());
    b.append("more");
    EXPECT_STREQ("more", b.get());
}

TEST(BufTest, CopiesAreIndependent)
{
    Buf a;
    a.append("abc");
    Buf b(a);
    b.add('d');
    EXPECT_STREQ("abc", a.get());
    EXPECT_STREQ("abcd", b.get());
    Buf c(2);
    c = b;
    EXPECT_STREQ("abcd", c.get());
    Buf &sameC = c;
    c = sameC;
    EXPECT_STREQ("abcd", c.get());
}

TEST(CharQueueTest, PopsInOrderAndRestartsWhenPoppedPastTheEnd)
{
    CharQueue q;
    EXPECT_EQ(80, q.getCapacity());
    EXPECT_TRUE(q.isEmpty());
    q.append("ab");
    EXPECT_EQ(2, q.getLength());
    EXPECT_EQ('a', q.pop());
    EXPECT_STREQ("b", *q);
    EXPECT_EQ(1, q.getLength());
    EXPECT_EQ('b', q.pop());
    EXPECT_TRUE(q.isEmpty());
    EXPECT_EQ(2, q.getReadPosition()); // space is reclaimed only later
    EXPECT_EQ(0, q.pop());
    EXPECT_EQ(0, q.getReadPosition());
    EXPECT_EQ(0, q.Buf::getLength()); // storage restarts at 0
    q.add('c');
    EXPECT_STREQ("c", q.get());
}

TEST(CharQueueTest, AddMovesUnreadTextDownBeforeGrowing)
{
    CharQueue q(8);
    q.append("abcdefg"); // length 7 = capacity - 1
    EXPECT_EQ(8, q.getCapacity());
    EXPECT_EQ('a', q.pop());
    EXPECT_EQ('b', q.pop());
    q.add('h'); // full, with read space: compacted, not grown
    EXPECT_EQ(8, q.getCapacity());
    EXPECT_EQ(0, q.getReadPosition());
    EXPECT_STREQ("cdefgh", *q);
    EXPECT_STREQ("cdefgh", q.get());
    q.add('i');
    q.add('j'); // full with nothing read: doubles
    EXPECT_EQ(16, q.getCapacity());
    EXPECT_STREQ("cdefghij", *q);
}

TEST(CharQueueTest, AddWithRoomLeavesTheReadSpaceAlone)
{
    CharQueue q(8);
    q.append("abc");
    EXPECT_EQ('a', q.pop());
    q.add('d'); // length 3, below capacity - 1: nothing is moved
    EXPECT_EQ(1, q.getReadPosition());
    EXPECT_EQ(4, q.Buf::getLength());
    EXPECT_EQ(3, q.getLength());
    EXPECT_STREQ("bcd", *q);
    EXPECT_STREQ("abcd", q.get());
    EXPECT_EQ(8, q.getCapacity());
    // Popping the last character leaves the storage until one more pop.
    EXPECT_EQ('b', q.pop());
    EXPECT_EQ('c', q.pop());
    EXPECT_EQ('d', q.pop());
    EXPECT_TRUE(q.isEmpty());
    EXPECT_EQ(4, q.getReadPosition());
    EXPECT_EQ(0, q.getLength());
    EXPECT_EQ(0, q.pop());
    EXPECT_EQ(0, q.pop()); // and again: still empty, still at 0
    EXPECT_EQ(0, q.getReadPosition());
    EXPECT_EQ(0, q.Buf::getLength());
}

TEST(CharQueueTest, FlushEmptiesAndResets)
{
    CharQueue q;
    q.append("xyz");
    q.pop();
    q.flush();
    EXPECT_TRUE(q.isEmpty());
    EXPECT_EQ(0, q.getReadPosition());
    EXPECT_EQ(0, q.getLength());
    EXPECT_STREQ("", *q);
}

// ---------------------------------------------------------------------------
// sp_BinarySearch

struct Bounds {
    int lower;
    int upper;
    bool operator==(const Bounds &o) const { return lower == o.lower && upper == o.upper; }
};

std::ostream &operator<<(std::ostream &out, const Bounds &b)
{
    return out << "(" << b.lower << ", " << b.upper << ")";
}

Bounds search(const std::vector<double> &v, double x, int ascending)
{
    Bounds b{-7, -7};
    sp_BinarySearch(v.data(), static_cast<int>(v.size()), x, &b.lower, &b.upper, ascending);
    return b;
}

TEST(BinarySearchTest, FewerThanTwoElementsGiveZeroes)
{
    EXPECT_EQ((Bounds{0, 0}), search({5.0}, -100, 1));
    EXPECT_EQ((Bounds{0, 0}), search({5.0}, 100, 1));
    EXPECT_EQ((Bounds{0, 0}), search({5.0}, 5, 0));
    EXPECT_EQ((Bounds{0, 0}), search({}, 1, 1));
    Bounds b{-7, -7};
    sp_BinarySearch(static_cast<const double *>(nullptr), 10, 1.0, &b.lower, &b.upper, 1);
    EXPECT_EQ((Bounds{0, 0}), b);
    double values[] = {1, 2, 3};
    sp_BinarySearch(values, -4, 1.0, &b.lower, &b.upper, 1);
    EXPECT_EQ((Bounds{0, 0}), b);
    sp_BinarySearch(values, 3, 1.5, nullptr, nullptr, 1); // nothing to write: no crash
}

TEST(BinarySearchTest, AscendingBracketsAndEnds)
{
    std::vector<double> v = {0, 1, 2, 3, 4};
    EXPECT_EQ((Bounds{0, 0}), search(v, -1, 1));
    EXPECT_EQ((Bounds{4, 4}), search(v, 5, 1));
    EXPECT_EQ((Bounds{1, 2}), search(v, 1.5, 1));
    EXPECT_EQ((Bounds{3, 4}), search(v, 3.99, 1));
    EXPECT_EQ((Bounds{0, 1}), search(v, 0, 1));
    EXPECT_EQ((Bounds{2, 3}), search(v, 2, 1)); // equal: that element is lower
    EXPECT_EQ((Bounds{3, 4}), search(v, 4, 1)); // unless it is the last
}

TEST(BinarySearchTest, DescendingBracketsAndEnds)
{
    std::vector<double> v = {4, 3, 2, 1, 0};
    EXPECT_EQ((Bounds{0, 0}), search(v, 5, 0));
    EXPECT_EQ((Bounds{4, 4}), search(v, -1, 0));
    EXPECT_EQ((Bounds{2, 3}), search(v, 1.5, 0));
    EXPECT_EQ((Bounds{1, 2}), search(v, 3, 0)); // equal: that element is lower
    EXPECT_EQ((Bounds{0, 1}), search(v, 4, 0));
    EXPECT_EQ((Bounds{3, 4}), search(v, 0, 0)); // unless it is the last
}

TEST(BinarySearchTest, DirectionFlagIsTestedByValue)
{
    // Neither 1 nor 0: no comparison moves a bound.
    EXPECT_EQ((Bounds{0, 1}), search({1, 2}, 7, 2));
    EXPECT_EQ((Bounds{0, 4}), search({0, 1, 2, 3, 4}, 2.5, -1));
}

TEST(BinarySearchTest, MatchesAReferenceOnRandomArrays)
{
    std::mt19937 random(12345);
    std::uniform_real_distribution<double> dist(-1000, 1000);
    for (int round = 0; round < 200; ++round) {
        std::vector<double> v(2 + random() % 300);
        for (double &x : v)
            x = dist(random);
        std::sort(v.begin(), v.end());
        v.erase(std::unique(v.begin(), v.end()), v.end());
        if (v.size() < 2)
            continue;
        int n = static_cast<int>(v.size());
        for (int probe = 0; probe < 20; ++probe) {
            double x = dist(random);
            Bounds b = search(v, x, 1);
            if (x < v[0]) {
                EXPECT_EQ((Bounds{0, 0}), b);
            } else if (x > v[n - 1]) {
                EXPECT_EQ((Bounds{n - 1, n - 1}), b);
            } else {
                ASSERT_EQ(b.lower + 1, b.upper);
                EXPECT_LE(v[b.lower], x);
                EXPECT_LE(x, v[b.upper]);
            }
            std::vector<double> down(v.rbegin(), v.rend());
            Bounds d = search(down, x, 0);
            if (x > down[0]) {
                EXPECT_EQ((Bounds{0, 0}), d);
            } else if (x < down[n - 1]) {
                EXPECT_EQ((Bounds{n - 1, n - 1}), d);
            } else {
                ASSERT_EQ(d.lower + 1, d.upper);
                EXPECT_GE(down[d.lower], x);
                EXPECT_GE(x, down[d.upper]);
            }
        }
    }
}

TEST(BinarySearchTest, NotANumberEndsWithinTheArray)
{
    std::vector<double> v = {0, 1, 2, 3, 4};
    Bounds b = search(v, std::nan(""), 1);
    EXPECT_GE(b.lower, 0);
    EXPECT_LE(b.upper, 4);
    EXPECT_LE(b.lower, b.upper);
}

TEST(BinarySearchTest, ComplexFormSearchesTheRealParts)
{
    // Pairs of (real, imaginary): the imaginary parts would mislead.
    const double pairs[] = {0, 99, 1, -99, 2, 50, 3, 0};
    const complex *values = reinterpret_cast<const complex *>(pairs);
    Bounds b{-7, -7};
    sp_BinarySearch(values, 4, 1.5, &b.lower, &b.upper, 1);
    EXPECT_EQ((Bounds{1, 2}), b);
    sp_BinarySearch(values, 4, 2, &b.lower, &b.upper, 1);
    EXPECT_EQ((Bounds{2, 3}), b);
    sp_BinarySearch(values, 4, 10, &b.lower, &b.upper, 1);
    EXPECT_EQ((Bounds{3, 3}), b);
    sp_BinarySearch(values, 1, 10, &b.lower, &b.upper, 1);
    EXPECT_EQ((Bounds{0, 0}), b);
    sp_BinarySearch(static_cast<const complex *>(nullptr), 4, 10, &b.lower, &b.upper, 1);
    EXPECT_EQ((Bounds{0, 0}), b);
}

// ---------------------------------------------------------------------------
// sp_GetSortMap

std::vector<long long> sortMap(const std::vector<double> &in, YVector<long long> *map)
{
    YVector<double> values;
    for (double x : in)
        values.append(x);
    sp_GetSortMap(values, map);
    return std::vector<long long>(map->begin(), map->end());
}

TEST(SortMapTest, GivesIndicesInAscendingOrderOfValue)
{
    YVector<long long> map;
    EXPECT_EQ((std::vector<long long>{1, 2, 0}), sortMap({3, 1, 2}, &map));
    EXPECT_EQ((std::vector<long long>{2, 0, 3, 1}), sortMap({0.5, 9, -4, 1}, &map));
}

TEST(SortMapTest, ResizesTheMapToTheSameSize)
{
    YVector<long long> map;
    for (int i = 0; i < 10; ++i)
        map.append(-1);
    EXPECT_EQ((std::vector<long long>{0}), sortMap({42}, &map));
    EXPECT_EQ(1u, map.size);
    EXPECT_TRUE(sortMap({}, &map).empty());
    YVector<double> values;
    values.append(1);
    sp_GetSortMap(values, nullptr); // no map: nothing
}

TEST(SortMapTest, EqualValuesAndNaNStayAPermutation)
{
    YVector<long long> map;
    std::vector<long long> m = sortMap({2, 1, 2, std::nan(""), 1}, &map);
    std::vector<long long> sorted(m);
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ((std::vector<long long>{0, 1, 2, 3, 4}), sorted);
    m = sortMap({5, 5, 1, 5}, &map);
    EXPECT_EQ(2, m[0]);
}

// ---------------------------------------------------------------------------
// Set operations

YHashTable<YString> setOf(std::initializer_list<const char *> values)
{
    YHashTable<YString> set;
    for (const char *v : values)
        set.add(v);
    return set;
}

std::vector<std::string> members(const YHashTable<YString> &set)
{
    std::vector<std::string> out;
    for (const YString &s : set)
        out.push_back(s.tocs());
    std::sort(out.begin(), out.end());
    return out;
}

TEST(SetOperationsTest, UnionKeepsTheFirstSpellingMet)
{
    YHashTable<YString> result;
    sp_SetUnion(setOf({"Abc"}), setOf({"ABC"}), &result);
    EXPECT_EQ((std::vector<std::string>{"Abc"}), members(result));
    sp_SetUnion(setOf({"a", "b"}), setOf({"B", "c"}), &result);
    EXPECT_EQ((std::vector<std::string>{"a", "b", "c"}), members(result));
    EXPECT_EQ(101, result.getBucketCount());
    EXPECT_EQ(2, result.getLoadFactor());
}

TEST(SetOperationsTest, UnionRemovesDuplicatesWithinOneSide)
{
    YHashTable<YString> a;
    a.add("x");
    a.add("X");
    YHashTable<YString> result;
    sp_SetUnion(a, YHashTable<YString>(), &result);
    EXPECT_EQ(1, result.getCount());
}

TEST(SetOperationsTest, UnionTakesTheSecondSetInItsIterationOrder)
{
    // "q" and "Q" share a bucket; "Q", added last, is at its head and is met
    // first, so its spelling stays.
    YHashTable<YString> b;
    b.add("q");
    b.add("Q");
    YHashTable<YString> result;
    sp_SetUnion(YHashTable<YString>(), b, &result);
    EXPECT_EQ((std::vector<std::string>{"Q"}), members(result));
    // A value of the first set wins over the second's, whatever the order.
    sp_SetUnion(setOf({"q"}), b, &result);
    EXPECT_EQ((std::vector<std::string>{"q"}), members(result));
    // The difference keeps the first set's spelling too.
    sp_SetDifference(setOf({"Keep", "drop"}), setOf({"DROP"}), &result);
    EXPECT_EQ((std::vector<std::string>{"Keep"}), members(result));
}

TEST(SetOperationsTest, IntersectAndDifference)
{
    YHashTable<YString> result;
    sp_SetIntersect(setOf({"One", "two", "three"}), setOf({"ONE", "Three", "four"}), &result);
    EXPECT_EQ((std::vector<std::string>{"One", "three"}), members(result));
    sp_SetDifference(setOf({"One", "two", "three"}), setOf({"ONE", "Three", "four"}), &result);
    EXPECT_EQ((std::vector<std::string>{"two"}), members(result));
    sp_SetIntersect(setOf({"a"}), setOf({}), &result);
    EXPECT_TRUE(result.isEmpty());
}

TEST(SetOperationsTest, ResultMayBeAnOperand)
{
    YHashTable<YString> a = setOf({"a", "b", "c"});
    YHashTable<YString> b = setOf({"B", "d"});
    sp_SetDifference(a, b, &a);
    EXPECT_EQ((std::vector<std::string>{"a", "c"}), members(a));
    sp_SetUnion(a, b, &b);
    EXPECT_EQ((std::vector<std::string>{"B", "a", "c", "d"}), members(b));
    sp_SetIntersect(a, b, &a);
    EXPECT_EQ((std::vector<std::string>{"a", "c"}), members(a));
    sp_SetUnion(a, b, nullptr);
    sp_SetIntersect(a, b, nullptr);
    sp_SetDifference(a, b, nullptr);
}

TEST(SetOperationsTest, ResultTakesTheTemporaryTablesShape)
{
    YHashTable<YString> result(3, 0);
    sp_SetUnion(setOf({"a"}), setOf({"b"}), &result);
    EXPECT_EQ(101, result.getBucketCount());
    EXPECT_EQ(2, result.getLoadFactor());
}

// ---------------------------------------------------------------------------
// YString::tokenize

std::vector<std::string> listed(const YList<YString> &list)
{
    std::vector<std::string> out;
    for (const YString &s : list)
        out.push_back(s.tocs());
    return out;
}

std::vector<std::string> byChar(const char *text, char delimiter)
{
    YString source(text);
    YList<YString> list;
    EXPECT_EQ(&list, YString::tokenize(&source, delimiter, &list));
    return listed(list);
}

std::vector<std::string> byText(const char *text, const char *delimiter)
{
    YString source(text);
    YList<YString> list;
    EXPECT_EQ(&list, YString::tokenize(&source, YString(delimiter), &list));
    return listed(list);
}

using Tokens = std::vector<std::string>;

TEST(TokenizeTest, CharDelimiterDropsEmptyTokens)
{
    EXPECT_EQ((Tokens{"a", "b"}), byChar("a,,b,", ','));
    EXPECT_EQ((Tokens{"a", "b"}), byChar(",,a,b", ','));
    EXPECT_EQ((Tokens{"abc"}), byChar("abc", ','));
    EXPECT_EQ((Tokens{}), byChar("", ','));
    EXPECT_EQ((Tokens{}), byChar(",,,", ','));
    EXPECT_EQ((Tokens{"x y", "z"}), byChar("x y;z", ';'));
}

TEST(TokenizeTest, TextDelimiterKeepsEmptyTokensButNoEmptyLastOne)
{
    EXPECT_EQ((Tokens{"a", "", "b"}), byText("a,,b,", ","));
    EXPECT_EQ((Tokens{"", "a"}), byText(",a", ","));
    EXPECT_EQ((Tokens{"a", "b", "", "c"}), byText("a::b::::c", "::"));
    EXPECT_EQ((Tokens{"a", "b"}), byText("a::b::", "::"));
    EXPECT_EQ((Tokens{"a:b"}), byText("a:b", "::"));
    EXPECT_EQ((Tokens{}), byText("", ","));
    EXPECT_EQ((Tokens{""}), byText(",", ","));
}

TEST(TokenizeTest, FailedPartialMatchDoesNotRetryTheFirstCharacter)
{
    EXPECT_EQ((Tokens{"aab"}), byText("aab", "ab"));
    EXPECT_EQ((Tokens{"x", "y"}), byText("xaby", "ab"));
    EXPECT_EQ((Tokens{"aa"}), byText("aaab", "ab"));
}

TEST(TokenizeTest, TextDelimiterMatchesFromLeftWithoutOverlap)
{
    // "::" is found at 1-2; the third ':' starts a match that 'b' breaks.
    EXPECT_EQ((Tokens{"a", ":b"}), byText("a:::b", "::"));
    // A delimiter cut off at the end is part of the last token.
    EXPECT_EQ((Tokens{"a:"}), byText("a:", "::"));
    // The whole text is one delimiter: one empty token, no empty last one.
    EXPECT_EQ((Tokens{""}), byText("::", "::"));
    EXPECT_EQ((Tokens{"", ""}), byText("::::", "::"));
    // The char form treats a repeated delimiter as one.
    EXPECT_EQ((Tokens{"a", "b"}), byChar("a:::b", ':'));
}

TEST(TokenizeTest, EmptyDelimiterNeverMatches)
{
    EXPECT_EQ((Tokens{"a,b"}), byText("a,b", ""));
}

TEST(TokenizeTest, AppendsToTheListGivenAndToleratesNulls)
{
    YString source("p q");
    YList<YString> list;
    list.append("first");
    YString::tokenize(&source, ' ', &list);
    YString::tokenize(&source, YString(" "), &list);
    EXPECT_EQ((Tokens{"first", "p", "q", "p", "q"}), listed(list));
    EXPECT_EQ(nullptr, YString::tokenize(&source, ',', nullptr));
    EXPECT_EQ(nullptr, YString::tokenize(&source, YString(","), nullptr));
    EXPECT_EQ(&list, YString::tokenize(nullptr, ',', &list));
    EXPECT_EQ(&list, YString::tokenize(nullptr, YString(","), &list));
    EXPECT_EQ(5, list.getCount());
}

// ---------------------------------------------------------------------------
// PrintfBuf::printf with an array of arguments

using ArraySink = VarStringPrintfBuf;

TEST(PrintfArrayTest, TakesAnyNumberOfArguments)
{
    YArray<PrintfArg> args;
    args.add(PrintfArg(1));
    args.add(PrintfArg("two"));
    args.add(PrintfArg(3.5));
    args.add(PrintfArg(4LL));
    args.add(PrintfArg(YString("five")));
    args.add(PrintfArg(6));
    ArraySink sink;
    EXPECT_TRUE(sink.printf("%d %s %g %lld %s %d", args));
    EXPECT_STREQ("1 two 3.5 4 five 6", sink.getBuffer());
    EXPECT_EQ(6, args.getCount()); // the caller's array is untouched
}

TEST(PrintfArrayTest, MissingArgumentsAreReported)
{
    YArray<PrintfArg> args;
    args.add(PrintfArg(7));
    ArraySink sink;
    EXPECT_FALSE(sink.printf("%d %d", args));
    EXPECT_STREQ("7 <arg-missing>", sink.getBuffer());
    ArraySink empty;
    EXPECT_TRUE(empty.printf("plain %%", YArray<PrintfArg>()));
    EXPECT_STREQ("plain %", empty.getBuffer());
}

} // namespace
