// Tests of the containers, the text accumulators and the search, sort and
// set algorithms.
#include <kvsupport/containers.h>
#include <kvsupport/exception.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

TEST(YVectorTest, WritePastEndGrowsBySizeRule)
{
    YVector<int> v(4, true);
    EXPECT_EQ(4u, v.size);
    EXPECT_EQ(4u, v.capacity);
    v[v.size] = 7;
    EXPECT_EQ(5u, v.size);
    EXPECT_EQ(4u / 2 + 4 + 1, v.capacity);
    EXPECT_EQ(7, v[4]);
    for (unsigned i = 0; i < 4; ++i)
        EXPECT_EQ(0, v[i]);
}

TEST(YListTest, AppendKeepsOrder)
{
    YList<int> list;
    list.append(1);
    list.append(2);
    list.append(3);
    std::vector<int> seen(list.begin(), list.end());
    EXPECT_EQ((std::vector<int>{1, 2, 3}), seen);
    EXPECT_EQ(3, list.getCount());
}

TEST(YHashTableTest, StringSetIgnoresCase)
{
    YHashTable<YString> set;
    set.add("Abc");
    EXPECT_TRUE(set.contains("ABC"));
    EXPECT_FALSE(set.contains("abd"));
}

TEST(BufTest, AddAndRemove)
{
    Buf b;
    b.append("hello");
    EXPECT_STREQ("hello", b.get());
    b.remove(10);
    EXPECT_EQ(0, b.getLength());
    EXPECT_STREQ("", b.get());
}

} // namespace
