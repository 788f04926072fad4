// Test module: calls a dynamic function through a bound pointer that falls
// back to a local default.
#include <kvsupport/dynfunc.h>

namespace {

int negate(int x)
{
    return -x;
}

int (*tripleFn)(int) = negate;

RegisterDynFuncCall tripleCall(&tripleFn, "kvtestModuleTriple", "dynfunc_call.cpp", 15);

} // namespace

/// Calls "kvtestModuleTriple" through the bound pointer.
extern "C" __attribute__((visibility("default"))) int kvtestCallTriple(int x)
{
    return tripleFn(x);
}

/// isUnresolved() of this module's call record.
extern "C" __attribute__((visibility("default"))) int kvtestCallTripleUnresolved()
{
    return tripleCall.isUnresolved() ? 1 : 0;
}
