// Tests of the allocators: tmalloc family, aligned blocks, reserved blocks.
#include <kvsupport/memory.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

bool allZero(const void *p, std::size_t n)
{
    const auto *b = static_cast<const unsigned char *>(p);
    for (std::size_t i = 0; i < n; ++i)
        if (b[i] != 0)
            return false;
    return true;
}

std::size_t page()
{
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

} // namespace

TEST(Tmalloc, ZeroSizeIsNull)
{
    EXPECT_EQ(tmalloc(0), nullptr);
}

TEST(Tmalloc, BlockIsZeroFilled)
{
    void *p = tmalloc(1000);
    ASSERT_NE(p, nullptr);
    EXPECT_TRUE(allZero(p, 1000));
    txfree(p);
}

TEST(Trealloc, ZeroSizeFreesAndReturnsNull)
{
    void *p = tmalloc(16);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(trealloc(p, 0), nullptr); // ASan would report a leak if p were kept
    EXPECT_EQ(trealloc(nullptr, 0), nullptr);
}

TEST(Trealloc, NullPointerActsAsTmalloc)
{
    void *p = trealloc(nullptr, 300);
    ASSERT_NE(p, nullptr);
    EXPECT_TRUE(allZero(p, 300));
    txfree(p);
}

TEST(Trealloc, GrowingKeepsContent)
{
    auto *p = static_cast<char *>(tmalloc(8));
    std::memcpy(p, "abcdefg", 8);
    p = static_cast<char *>(trealloc(p, 4096));
    ASSERT_NE(p, nullptr);
    EXPECT_STREQ(p, "abcdefg");
    txfree(p);
}

TEST(Txfree, FreesBlocksAndIgnoresNull)
{
    void *p = tmalloc(64);
    ASSERT_NE(p, nullptr);
    txfree(p); // ASan reports a leak or a double free if this went wrong
    txfree(nullptr);
    // The heap is still in order: a new block comes back zero-filled.
    void *q = tmalloc(64);
    ASSERT_NE(q, nullptr);
    EXPECT_TRUE(allZero(q, 64));
    txfree(q);
}

TEST(Malloc16, AlignedAndZeroFilledForManySizes)
{
    for (int size = 0; size < 200; ++size) {
        auto *p = static_cast<char *>(sp_Malloc16(size));
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 16, 0u) << size;
        EXPECT_TRUE(allZero(p, static_cast<std::size_t>(size)));
        std::int16_t k;
        std::memcpy(&k, p - 2, 2);
        EXPECT_GE(k, 1);
        EXPECT_LE(k, 16);
        sp_Free16(p);
    }
}

TEST(Malloc16, OffsetIsSixteenWhenHeapBlockIsAligned)
{
    // glibc returns 16-byte aligned blocks on x86-64, so k is 16 there.
    void *raw = std::malloc(32);
    bool heapAligned = reinterpret_cast<std::uintptr_t>(raw) % 16 == 0;
    std::free(raw);
    if (!heapAligned)
        GTEST_SKIP() << "the heap does not give 16-byte aligned blocks here";
    auto *p = static_cast<char *>(sp_Malloc16(40));
    std::int16_t k;
    std::memcpy(&k, p - 2, 2);
    EXPECT_EQ(k, 16);
    sp_FreeAlign(p);
}

TEST(MallocAlign, SmallAlignmentIsRaisedToEight)
{
    // With alignment 4 raised to 8, the offset is 8 - (address mod 8), in 1..8.
    for (int i = 0; i < 50; ++i) {
        auto *p = static_cast<char *>(sp_MallocAlign(i, 4));
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 8, 0u);
        std::int16_t k;
        std::memcpy(&k, p - 2, 2);
        EXPECT_GE(k, 1);
        EXPECT_LE(k, 8);
        sp_Free16(p); // either free function works for either allocator
    }
}

TEST(MallocAlign, LargeAlignments)
{
    for (int a : {16, 32, 64, 256, 4096, 16384}) {
        auto *p = static_cast<char *>(sp_MallocAlign(100, a));
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % static_cast<unsigned>(a), 0u) << a;
        EXPECT_TRUE(allZero(p, 100));
        sp_FreeAlign(p);
    }
}

TEST(MallocAlign, ImpossibleRequestsGiveNull)
{
    EXPECT_EQ(sp_MallocAlign(10, 32768), nullptr);
    EXPECT_EQ(sp_MallocAlign(-1, 16), nullptr);
    EXPECT_EQ(sp_Malloc16(-5), nullptr);
}

TEST(Free16, NullIsIgnoredAndBlocksOfEitherAllocatorAreFreed)
{
    sp_Free16(nullptr);
    sp_FreeAlign(nullptr);
    void *a = sp_Malloc16(24);
    void *b = sp_MallocAlign(24, 64);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_TRUE(allZero(a, 24));
    EXPECT_TRUE(allZero(b, 24));
    sp_FreeAlign(a); // the two free functions are one operation
    sp_Free16(b);
    void *c = sp_Malloc16(24);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(c) % 16, 0u);
    sp_Free16(c);
}

TEST(CacheLine, PositiveAndPowerOfTwo)
{
    int line = sp_GetCacheLineSize();
    EXPECT_GT(line, 0);
    EXPECT_EQ(line & (line - 1), 0);
    EXPECT_GE(line, 16); // the block header of vMalloc needs two words
}

TEST(VMalloc, BlockStartsOneCacheLineIntoAPage)
{
    auto *p = static_cast<char *>(vMalloc(100, 4));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p - sp_GetCacheLineSize()) % page(), 0u);
    EXPECT_TRUE(allZero(p, 100));
    vFree(p);
}

TEST(VMalloc, GrowsInPlaceAndKeepsContent)
{
    auto *p = static_cast<char *>(vMalloc(10, 64));
    ASSERT_NE(p, nullptr);
    std::memcpy(p, "reserved", 9);
    for (unsigned size = 1000; size < 40u * 1024 * 1024; size *= 3) {
        void *q = vRealloc(p, size);
        ASSERT_EQ(q, p);
        p[size - 1] = 'z'; // the whole new size is usable
        EXPECT_EQ(p[size - 1], 'z');
    }
    EXPECT_STREQ(p, "reserved");
    vFree(p);
}

TEST(VMalloc, CommittedMemoryReadsZero)
{
    auto *p = static_cast<char *>(vMalloc(16, 8));
    ASSERT_NE(vRealloc(p, 3 * 1024 * 1024), nullptr);
    EXPECT_TRUE(allZero(p + 16, 3 * 1024 * 1024 - 16));
    vFree(p);
}

TEST(VMalloc, OneExtraPageWhenTheBlockEndsOnAPageBoundary)
{
    const unsigned line = static_cast<unsigned>(sp_GetCacheLineSize());
    const unsigned pg = static_cast<unsigned>(page());
    // need = line + size = exactly one page: (need / page) + 1 = 2 pages.
    void *p = vMalloc(pg - line, 4);
    EXPECT_EQ(vCommittedPages(p), 2u);
    vFree(p);
    // One byte less fits in one page.
    p = vMalloc(pg - line - 1, 4);
    EXPECT_EQ(vCommittedPages(p), 1u);
    // vRealloc follows the same rule on offset + newSize.
    EXPECT_EQ(vRealloc(p, 3 * pg - line), p);
    EXPECT_EQ(vCommittedPages(p), 4u);
    vFree(p);
}

TEST(VMalloc, ShrinkingKeepsCommittedPages)
{
    void *p = vMalloc(10, 16);
    ASSERT_EQ(vRealloc(p, 5 * 1024 * 1024), p);
    unsigned committed = vCommittedPages(p);
    EXPECT_GT(committed, 1000u);
    EXPECT_EQ(vRealloc(p, 10), p);
    EXPECT_EQ(vCommittedPages(p), committed);
    vFree(p);
}

TEST(VMalloc, ForeignPointersAreRefused)
{
    vFree(nullptr);
    EXPECT_EQ(vRealloc(nullptr, 100), nullptr);
    char *heap = static_cast<char *>(std::malloc(256));
    EXPECT_EQ(vRealloc(heap + 128, 100), nullptr);
    vFree(heap + 128); // does nothing
    EXPECT_EQ(vCommittedPages(heap + 128), 0u);
    std::free(heap);
    int local = 0;
    EXPECT_EQ(vRealloc(&local, 4), nullptr);
    vFree(&local);
}

TEST(VMalloc, FreedBlockIsNoLongerKnown)
{
    void *p = vMalloc(10, 1);
    vFree(p);
    EXPECT_EQ(vRealloc(p, 20), nullptr);
    vFree(p); // a second free does nothing
}
