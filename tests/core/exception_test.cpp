// Tests of the exception values.
#include <kvsupport/exception.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

TEST(KelvoranException, TextAndCategory)
{
    KelvoranException e("something failed");
    EXPECT_EQ(e.getCategory(), 8);
    EXPECT_STREQ(e.getText(), "something failed");
    KelvoranException n(nullptr);
    EXPECT_STREQ(n.getText(), "");
}

TEST(KelvoranException, TextIsCutAt999Characters)
{
    std::string longText(1500, 'x');
    KelvoranException e(longText.c_str());
    EXPECT_EQ(std::strlen(e.getText()), 999u);
}

TEST(KelvoranException, ThrownAndCaughtByValue)
{
    try {
        throw KelvoranException("by value");
    } catch (KelvoranException e) {
        EXPECT_STREQ(e.getText(), "by value");
        return;
    }
    FAIL() << "not caught";
}

TEST(MemoryException, WrapsDetailWithCategoryFive)
{
    MemoryException m("Detected in YVector<int>::alloc");
    EXPECT_EQ(m.getCategory(), 5);
    EXPECT_STREQ(m.getText(), "*** Fatal error, out of memory ***\nDetected in YVector<int>::alloc");
}

TEST(MemoryException, LimitedTo1000Bytes)
{
    std::string detail(2000, 'd');
    MemoryException m(detail.c_str());
    EXPECT_EQ(std::strlen(m.getText()), 999u);
    EXPECT_EQ(std::string(m.getText()).rfind("*** Fatal error, out of memory ***\n", 0), 0u);
}

TEST(MemoryException, CaughtAsKelvoranException)
{
    try {
        throw MemoryException("x");
    } catch (KelvoranException e) {
        EXPECT_EQ(e.getCategory(), 5);
        return;
    }
    FAIL() << "not caught";
}

TEST(KvExceptionRef, GivesTheExceptionText)
{
    KelvoranException e("through the interface");
    KvExceptionRef ref(e);
    const KvExceptionInterface &i = ref;
    EXPECT_STREQ(i.getMessage(), "through the interface");
}
