// Tests of the dynamic function registry.
#include <kvsupport/dynfunc.h>

#include <gtest/gtest.h>

#include <memory>

namespace {

int fallbackTwice(int x) { return -x; }
int realTwice(int x) { return 2 * x; }

TEST(DynFuncTest, CallBeforeDefinitionIsBoundWhenItComes)
{
    int (*fn)(int) = fallbackTwice;
    RegisterDynFuncCall call(&fn, "kvtestTwiceA", __FILE__, __LINE__);
    EXPECT_EQ(-3, fn(3));
    EXPECT_TRUE(call.isUnresolved());
    {
        RegisterDynFuncDef def("kvtestTwiceA", realTwice, __FILE__, __LINE__);
        EXPECT_EQ(6, fn(3));
        EXPECT_FALSE(call.isUnresolved());
    }
    EXPECT_EQ(-3, fn(3));
    EXPECT_FALSE(call.isUnresolved());
}

} // namespace
