// Test module: defines dynamic functions for callers in other modules.
#include <kvsupport/dynfunc.h>

namespace {

int triple(int x)
{
    return 3 * x;
}

int longNamed(int x)
{
    return x + 1000;
}

RegisterDynFuncDef tripleDef("kvtestModuleTriple", triple, "dynfunc_def.cpp", 18);

// 40 characters; callers spell the last nine differently.
RegisterDynFuncDef longDef("kvtestModuleLongName_0123456789_ABCDEFGH", longNamed, "dynfunc_def.cpp", 21);

} // namespace

/// The address of the definition of "kvtestModuleTriple", for comparisons.
extern "C" __attribute__((visibility("default"))) void *kvtestDefTripleAddress()
{
    return reinterpret_cast<void *>(triple);
}
