// Tests of the dynamic function registry: binding in either order, the first
// definition standing, defaults coming back, names cut to 31 characters, the
// reports, and all of it across shared libraries loaded and unloaded at run
// time.
#include <kvsupport/dynfunc.h>
#include <kvsupport/scan.h>

#include "support/test_support.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>

#include <dlfcn.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

int fallbackFn(int x)
{
    return -x;
}
int doubleFn(int x)
{
    return 2 * x;
}
int tenFn(int x)
{
    return 10 * x;
}

using IntFn = int (*)(int);

// The report rows of the registered calls named \p name.
std::vector<DynamicFunctionInfo> infoRows(const char *name, bool shortForm)
{
    YHashTable<DynamicFunctionInfo> table;
    sp_GetDynamicFunctionInfo(&table, shortForm);
    std::vector<DynamicFunctionInfo> rows;
    for (const DynamicFunctionInfo &info : table)
        if (info.name == YString(name))
            rows.push_back(info);
    return rows;
}

// How many unresolved calls of \p name the registry lists.
int unresolvedCount(const char *name)
{
    YList<DynamicFunctionInfo> list;
    sp_GetUnresolvedDynamicFunctions(&list);
    int n = 0;
    for (const DynamicFunctionInfo &info : list) {
        if (info.name == YString(name)) {
            EXPECT_EQ(-1, info.callLine);
            EXPECT_EQ(-1, info.defLine);
            EXPECT_TRUE(info.callModule.isEmpty());
            EXPECT_TRUE(info.defModule.isEmpty());
            ++n;
        }
    }
    return n;
}

TEST(DynFuncTest, CallBeforeDefinitionIsBoundWhenItComes)
{
    IntFn fn = fallbackFn;
    RegisterDynFuncCall call(&fn, "kvtestTwiceA", __FILE__, __LINE__);
    EXPECT_EQ(-3, fn(3));
    EXPECT_TRUE(call.isUnresolved());
    EXPECT_EQ(1, unresolvedCount("kvtestTwiceA"));
    {
        RegisterDynFuncDef def("kvtestTwiceA", doubleFn, __FILE__, __LINE__);
        EXPECT_EQ(6, fn(3));
        EXPECT_FALSE(call.isUnresolved());
        EXPECT_EQ(0, unresolvedCount("kvtestTwiceA"));
    }
    EXPECT_EQ(-3, fn(3));
    EXPECT_FALSE(call.isUnresolved());
}

TEST(DynFuncTest, CallAfterDefinitionIsBoundAtOnce)
{
    RegisterDynFuncDef def("kvtestTwiceB", doubleFn, __FILE__, __LINE__);
    IntFn fn = fallbackFn;
    RegisterDynFuncCall call(&fn, "kvtestTwiceB", __FILE__, __LINE__);
    EXPECT_EQ(8, fn(4));
    EXPECT_FALSE(call.isUnresolved());
}

int countArgsFallback(int n, ...)
{
    return -n;
}
int countArgsReal(int n, ...)
{
    return n;
}

TEST(DynFuncTest, FunctionsWithVariableArgumentsBind)
{
    int (*fn)(int, ...) = countArgsFallback;
    RegisterDynFuncCall call(&fn, "kvtestVariadic");
    RegisterDynFuncDef def("kvtestVariadic", countArgsReal);
    EXPECT_EQ(3, fn(3, 1, 2, 3));
}

TEST(DynFuncTest, CallWithoutDefinitionKeepsItsDefault)
{
    IntFn fn = fallbackFn;
    RegisterDynFuncCall call(&fn, "kvtestNeverDefined");
    EXPECT_EQ(-5, fn(5));
    EXPECT_TRUE(call.isUnresolved());
    EXPECT_EQ(-1, call.getSourceLine());
    EXPECT_TRUE(call.getSourceFile().isEmpty());
}

TEST(DynFuncTest, DestroyingTheCallLeavesThePointerAndRemovesTheEntry)
{
    RegisterDynFuncDef def("kvtestTwiceC", doubleFn);
    IntFn fn = fallbackFn;
    {
        RegisterDynFuncCall call(&fn, "kvtestTwiceC");
        EXPECT_EQ(1u, infoRows("kvtestTwiceC", true).size());
    }
    EXPECT_EQ(2, fn(1));
    EXPECT_TRUE(infoRows("kvtestTwiceC", true).empty());
}

TEST(DynFuncTest, FirstDefinitionStandsAndEitherOneUnbindsOnDestruction)
{
    IntFn fn = fallbackFn;
    RegisterDynFuncCall call(&fn, "kvtestTwoDefs");
    auto *first = new RegisterDynFuncDef("kvtestTwoDefs", doubleFn);
    auto *second = new RegisterDynFuncDef("kvtestTwoDefs", tenFn);
    EXPECT_EQ(2, fn(1)); // the first stands

    delete second; // the rule goes by name: the default comes back
    EXPECT_EQ(-1, fn(1));
    EXPECT_FALSE(call.isUnresolved());

    // The name is gone from the table of definitions: a new call stays
    // unbound although the first definition still lives.
    IntFn other = fallbackFn;
    RegisterDynFuncCall lateCall(&other, "kvtestTwoDefs");
    EXPECT_EQ(-1, other(1));
    EXPECT_TRUE(lateCall.isUnresolved());
    std::vector<DynamicFunctionInfo> rows = infoRows("kvtestTwoDefs", true);
    ASSERT_EQ(1u, rows.size());
    EXPECT_STREQ("<***UNRESOLVED***>", rows[0].defModule.tocs());

    delete first; // a definition no longer in the table: nothing breaks
    EXPECT_EQ(-1, fn(1));
    EXPECT_EQ(-1, other(1));
}

TEST(DynFuncTest, ResolvedMarkStaysSoALaterDefinitionDoesNotRebind)
{
    IntFn fn = fallbackFn;
    RegisterDynFuncCall call(&fn, "kvtestRebind");
    { RegisterDynFuncDef def("kvtestRebind", doubleFn); }
    EXPECT_EQ(-1, fn(1));
    RegisterDynFuncDef again("kvtestRebind", tenFn);
    EXPECT_EQ(-1, fn(1)); // still the default
    EXPECT_FALSE(call.isUnresolved());
    IntFn fresh = fallbackFn;
    RegisterDynFuncCall freshCall(&fresh, "kvtestRebind");
    EXPECT_EQ(10, fresh(1)); // a new call is bound at once
}

TEST(DynFuncTest, NamesAreCutTo31CharactersOnBothSides)
{
    const char *callName = "kvtestCutName_0123456789_abcdef_CALLSIDE"; // 40 characters
    const char *defName = "kvtestCutName_0123456789_abcdef_DEFSIDE!"; // same first 31
    ASSERT_EQ(40u, std::strlen(callName));
    ASSERT_EQ(40u, std::strlen(defName));
    IntFn fn = fallbackFn;
    RegisterDynFuncCall call(&fn, callName);
    EXPECT_EQ(31u, std::strlen(call.getName()));
    EXPECT_EQ(std::string(callName, 31), call.getName());
    RegisterDynFuncDef def(defName, doubleFn);
    EXPECT_EQ(std::string(defName, 31), def.getName());
    EXPECT_EQ(4, fn(2));

    // Differing within the first 31 characters: no match.
    IntFn other = fallbackFn;
    RegisterDynFuncCall otherCall(&other, "kvtestCutName_0123456789_abcdeX_CALLSIDE");
    EXPECT_EQ(-2, other(2));
}

TEST(DynFuncTest, NamesCompareWithRegardToCase)
{
    RegisterDynFuncDef def("kvtestCaseName", doubleFn);
    IntFn fn = fallbackFn;
    RegisterDynFuncCall call(&fn, "KVTESTCASENAME");
    EXPECT_EQ(-1, fn(1));
    EXPECT_TRUE(call.isUnresolved());
}

TEST(DynFuncTest, TwoRecordsForOnePointerMakeTwoEntriesRemovedTogether)
{
    IntFn fn = fallbackFn;
    RegisterDynFuncCall first(&fn, "kvtestTwoCalls");
    auto *second = new RegisterDynFuncCall(&fn, "kvtestTwoCalls");
    EXPECT_EQ(2, unresolvedCount("kvtestTwoCalls"));
    delete second; // removes every entry of this name and pointer
    EXPECT_EQ(0, unresolvedCount("kvtestTwoCalls"));
    EXPECT_TRUE(infoRows("kvtestTwoCalls", false).empty());
}

TEST(DynFuncTest, CopiesRegisterNothingAndUnbindNothing)
{
    IntFn fn = fallbackFn;
    RegisterDynFuncCall call(&fn, "kvtestCopies");
    {
        RegisterDynFuncCall copy(call);
        EXPECT_EQ(1, unresolvedCount("kvtestCopies"));
        EXPECT_STREQ("kvtestCopies", copy.getName());
        EXPECT_TRUE(copy == call);
    }
    EXPECT_EQ(1, unresolvedCount("kvtestCopies")); // the copy removed nothing

    RegisterDynFuncDef def("kvtestCopies", doubleFn);
    EXPECT_EQ(2, fn(1));
    {
        RegisterDynFuncDef copy(def);
        EXPECT_EQ(def.getAddress(), copy.getAddress());
    }
    EXPECT_EQ(2, fn(1)); // the copy's destruction unbound nothing
}

TEST(DynFuncTest, LookupKeyRegistersNothing)
{
    IntFn fn = fallbackFn;
    RegisterDynFuncCall call(&fn, "kvtestKeyOnly");
    {
        RegisterDynFuncDef key("kvtestKeyOnly");
        EXPECT_EQ(nullptr, key.getAddress());
        EXPECT_EQ(-1, fn(1));
    }
    EXPECT_TRUE(call.isUnresolved());
}

TEST(DynFuncTest, NullPointerOrAddressRegistersNothing)
{
    RegisterDynFuncCall nullCall(static_cast<void **>(nullptr), "kvtestNulls");
    EXPECT_EQ(0, unresolvedCount("kvtestNulls"));
    RegisterDynFuncDef nullDef("kvtestNulls", static_cast<void *>(nullptr));
    IntFn fn = fallbackFn;
    RegisterDynFuncCall call(&fn, "kvtestNulls");
    EXPECT_EQ(-1, fn(1)); // not bound to null
    EXPECT_TRUE(call.isUnresolved());
    RegisterDynFuncCall nullName(&fn, nullptr);
    EXPECT_STREQ("", nullName.getName());
}

TEST(DynFuncTest, AssignmentMakesACopyAndUnregistersTheTarget)
{
    IntFn a = fallbackFn;
    IntFn b = fallbackFn;
    RegisterDynFuncCall callA(&a, "kvtestAssignA");
    RegisterDynFuncCall callB(&b, "kvtestAssignB");
    callB = callA; // callB's own registration goes
    EXPECT_EQ(0, unresolvedCount("kvtestAssignB"));
    EXPECT_EQ(1, unresolvedCount("kvtestAssignA"));
    EXPECT_STREQ("kvtestAssignA", callB.getName());
}

// Pointers at namespace scope live in this program's image, so the registry
// can tell which module holds them (a pointer on the stack has none).
IntFn reportFn1 = fallbackFn;
IntFn reportFn2 = fallbackFn;

TEST(DynFuncTest, ReportLongAndShortForms)
{
    IntFn &fn1 = reportFn1;
    IntFn &fn2 = reportFn2;
    RegisterDynFuncCall call1(&fn1, "kvtestReport", "one.cpp", 11);
    RegisterDynFuncCall call2(&fn2, "kvtestReport", "two.cpp", 22);
    RegisterDynFuncDef def("kvtestReport", doubleFn, "def.cpp", 33);

    std::vector<DynamicFunctionInfo> rows = infoRows("kvtestReport", false);
    ASSERT_EQ(2u, rows.size());
    std::string self = QFileInfo(QString::fromStdString(kvtest::selfPath())).canonicalFilePath().toStdString();
    for (const DynamicFunctionInfo &row : rows) {
        EXPECT_EQ(self, QFileInfo(QString(row.callModule.tocs())).canonicalFilePath().toStdString());
        EXPECT_EQ(self, QFileInfo(QString(row.defModule.tocs())).canonicalFilePath().toStdString());
        EXPECT_STREQ("def.cpp", row.defSourceFile.tocs());
        EXPECT_EQ(33, row.defLine);
        bool first = row.callSourceFile == YString("one.cpp") && row.callLine == 11;
        bool second = row.callSourceFile == YString("two.cpp") && row.callLine == 22;
        EXPECT_TRUE(first || second);
    }

    // The short form collapses both call sites into one row per module pair.
    rows = infoRows("kvtestReport", true);
    ASSERT_EQ(1u, rows.size());
    EXPECT_TRUE(rows[0].callSourceFile.isEmpty());
    EXPECT_EQ(-1, rows[0].callLine);
    EXPECT_TRUE(rows[0].defSourceFile.isEmpty());
    EXPECT_EQ(-1, rows[0].defLine);
    EXPECT_FALSE(rows[0].defModule.isEmpty());
}

TEST(DynFuncTest, ReportMarksUnresolvedCalls)
{
    IntFn fn = fallbackFn;
    RegisterDynFuncCall call(&fn, "kvtestReportNone", "x.cpp", 5);
    std::vector<DynamicFunctionInfo> rows = infoRows("kvtestReportNone", false);
    ASSERT_EQ(1u, rows.size());
    EXPECT_TRUE(rows[0].callModule.isEmpty()); // a pointer on the stack is in no module
    EXPECT_STREQ("<***UNRESOLVED***>", rows[0].defModule.tocs());
    EXPECT_TRUE(rows[0].defSourceFile.isEmpty());
    EXPECT_EQ(-1, rows[0].defLine);
    EXPECT_STREQ("x.cpp", rows[0].callSourceFile.tocs());
    EXPECT_EQ(5, rows[0].callLine);
}

TEST(DynFuncTest, ReportRowsCompareStringsIgnoringCase)
{
    DynamicFunctionInfo a;
    a.name = "Name";
    a.callModule = "/Lib/A.so";
    DynamicFunctionInfo b = a;
    b.name = "NAME";
    b.callModule = "/lib/a.so";
    EXPECT_TRUE(a == b);
    EXPECT_EQ(a.hashValue(), b.hashValue());
    b.callLine = 3;
    EXPECT_FALSE(a == b);
    YHashTable<DynamicFunctionInfo> table;
    table.add(a);
    EXPECT_TRUE(table.contains(a));
    EXPECT_FALSE(table.contains(b));
}

TEST(DynFuncTest, NullReportTargetsDoNothing)
{
    IntFn fn = fallbackFn;
    RegisterDynFuncCall call(&fn, "kvtestNullTargets");
    sp_GetDynamicFunctionInfo(nullptr, false);
    sp_GetUnresolvedDynamicFunctions(nullptr);
    // The registry is as it was: the call is still listed, and still binds.
    EXPECT_EQ(1, unresolvedCount("kvtestNullTargets"));
    RegisterDynFuncDef def("kvtestNullTargets", doubleFn);
    EXPECT_EQ(6, fn(3));
}

TEST(DynFuncTest, DestroyingTheBindingDefinitionFirstAlsoForgetsTheName)
{
    IntFn fn = fallbackFn;
    RegisterDynFuncCall call(&fn, "kvtestTwoDefsFirstGoes");
    auto *first = new RegisterDynFuncDef("kvtestTwoDefsFirstGoes", doubleFn);
    RegisterDynFuncDef second("kvtestTwoDefsFirstGoes", tenFn);
    EXPECT_EQ(2, fn(1));
    delete first;
    EXPECT_EQ(-1, fn(1));
    EXPECT_FALSE(call.isUnresolved());
    // The second definition was never in the table: a new call finds nothing.
    IntFn late = fallbackFn;
    RegisterDynFuncCall lateCall(&late, "kvtestTwoDefsFirstGoes");
    EXPECT_EQ(-1, late(1));
    EXPECT_TRUE(lateCall.isUnresolved());
}

int twentyFn(int x)
{
    return 20 * x;
}

TEST(DynFuncTest, EachPointerGetsItsOwnDefaultBack)
{
    IntFn a = fallbackFn;
    IntFn b = twentyFn;
    IntFn c = fallbackFn;
    RegisterDynFuncCall callA(&a, "kvtestOwnDefaults");
    RegisterDynFuncCall callB(&b, "kvtestOwnDefaults");
    RegisterDynFuncCall other(&c, "kvtestOtherName");
    {
        RegisterDynFuncDef def("kvtestOwnDefaults", doubleFn);
        RegisterDynFuncDef otherDef("kvtestOtherName", tenFn);
        EXPECT_EQ(2, a(1));
        EXPECT_EQ(2, b(1));
        EXPECT_EQ(10, c(1));
        EXPECT_EQ(0, unresolvedCount("kvtestOwnDefaults"));
    }
    EXPECT_EQ(-1, a(1));
    EXPECT_EQ(20, b(1));
    EXPECT_EQ(-1, c(1));
}

TEST(DynFuncTest, DestroyingOneCallLeavesTheCallsOfOtherPointers)
{
    IntFn a = fallbackFn;
    IntFn b = fallbackFn;
    RegisterDynFuncCall callA(&a, "kvtestOtherPointer");
    {
        RegisterDynFuncCall callB(&b, "kvtestOtherPointer");
        EXPECT_EQ(2, unresolvedCount("kvtestOtherPointer"));
    }
    EXPECT_EQ(1, unresolvedCount("kvtestOtherPointer"));
    RegisterDynFuncDef def("kvtestOtherPointer", doubleFn);
    EXPECT_EQ(2, a(1));
    EXPECT_EQ(-1, b(1)); // its record is gone: the definition did not reach it
}

TEST(DynFuncTest, RecordsCompareAndHashByNameAndPointer)
{
    IntFn a = fallbackFn;
    IntFn b = fallbackFn;
    RegisterDynFuncCall callA(&a, "kvtestEquality");
    RegisterDynFuncCall callB(&b, "kvtestEquality");
    RegisterDynFuncCall callUpper(&a, "KVTESTEQUALITY");
    EXPECT_FALSE(callA == callB); // another pointer
    EXPECT_FALSE(callA == callUpper); // names compare with regard to case
    EXPECT_TRUE(callA == RegisterDynFuncCall(callA));
    EXPECT_EQ(sp_HashValue("kvtestEquality") + static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(&a)),
              callA.hashValue());

    RegisterDynFuncDef key("kvtestEquality");
    RegisterDynFuncDef sameKey("kvtestEquality");
    RegisterDynFuncDef upperKey("KVTESTEQUALITY");
    EXPECT_TRUE(key == sameKey);
    EXPECT_FALSE(key == upperKey);
    EXPECT_EQ(sp_HashValue("kvtestEquality"), key.hashValue());
    // The name hash is blind to case, although the comparison is not.
    EXPECT_EQ(key.hashValue(), upperKey.hashValue());
}

TEST(DynFuncTest, UnresolvedListIsAppendedTo)
{
    IntFn fn = fallbackFn;
    RegisterDynFuncCall call(&fn, "kvtestAppendedTo");
    YList<DynamicFunctionInfo> list;
    DynamicFunctionInfo mine;
    mine.name = "kvtestAlreadyThere";
    list.append(mine);
    sp_GetUnresolvedDynamicFunctions(&list);
    ASSERT_GE(list.getCount(), 2);
    EXPECT_STREQ("kvtestAlreadyThere", list.first()->name.tocs());
    bool found = false;
    for (const DynamicFunctionInfo &info : list)
        found = found || info.name == YString("kvtestAppendedTo");
    EXPECT_TRUE(found);
}

TEST(DynFuncTest, RecordsKeepWhatWasGivenAtRegistration)
{
    RegisterDynFuncDef def("kvtestGetters", doubleFn, "def.cpp", 33);
    EXPECT_STREQ("kvtestGetters", def.getName());
    EXPECT_EQ(reinterpret_cast<void *>(doubleFn), def.getAddress());
    EXPECT_STREQ("def.cpp", def.getSourceFile().tocs());
    EXPECT_EQ(33, def.getSourceLine());
    // The definition's module is the one that holds the function: this program.
    const std::string self = QFileInfo(QString::fromStdString(kvtest::selfPath())).canonicalFilePath().toStdString();
    EXPECT_EQ(self, QFileInfo(QString(def.getDll().tocs())).canonicalFilePath().toStdString());

    RegisterDynFuncDef bare("kvtestGettersBare", tenFn);
    EXPECT_TRUE(bare.getSourceFile().isEmpty());
    EXPECT_EQ(-1, bare.getSourceLine());

    IntFn fn = fallbackFn;
    RegisterDynFuncCall call(&fn, "kvtestGetters", "call.cpp", 44);
    EXPECT_STREQ("kvtestGetters", call.getName());
    EXPECT_STREQ("call.cpp", call.getSourceFile().tocs());
    EXPECT_EQ(44, call.getSourceLine());
    EXPECT_FALSE(call.isUnresolved());
    EXPECT_TRUE(call.getDll().isEmpty()); // a pointer on the stack is in no module
}

TEST(DynFuncTest, ReportRowHashIsTheSumOfItsFields)
{
    DynamicFunctionInfo info;
    info.name = "fn";
    info.callModule = "/lib/call.so";
    info.callSourceFile = "call.cpp";
    info.callLine = 12;
    info.defModule = "/lib/def.so";
    info.defSourceFile = "def.cpp";
    info.defLine = 34;
    const unsigned int expected = YString("fn").HashValue() + YString("/lib/call.so").HashValue() +
                                  YString("call.cpp").HashValue() + YString("/lib/def.so").HashValue() +
                                  YString("def.cpp").HashValue() + 12u + 34u;
    EXPECT_EQ(expected, info.hashValue());
    DynamicFunctionInfo blank;
    EXPECT_EQ(-1, blank.callLine);
    EXPECT_EQ(-1, blank.defLine);
    EXPECT_EQ(static_cast<unsigned int>(-2), blank.hashValue());
}

// ---------------------------------------------------------------------------
// Across shared libraries loaded at run time

class Module {
public:
    explicit Module(const char *name) : path(std::string(KVTEST_DYNFUNC_MODULE_DIR) + "/lib" + name + ".so") {}
    ~Module() { close(); }
    bool open()
    {
        handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        return handle != nullptr;
    }
    void close()
    {
        if (handle != nullptr)
            dlclose(handle);
        handle = nullptr;
    }
    bool resident() const
    {
        void *probe = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (probe != nullptr)
            dlclose(probe);
        return probe != nullptr;
    }
    template <typename Fn>
    Fn symbol(const char *name) const
    {
        return reinterpret_cast<Fn>(dlsym(handle, name));
    }
    std::string path;

private:
    void *handle = nullptr;
};

using CallTriple = int (*)(int);
using CallUnresolved = int (*)();

TEST(DynFuncModuleTest, CallerFirstThenDefinerLoadedAndUnloaded)
{
    Module caller("kvtest_dynfunc_call");
    Module definer("kvtest_dynfunc_def");
    ASSERT_TRUE(caller.open()) << dlerror();
    auto callTriple = caller.symbol<CallTriple>("kvtestCallTriple");
    auto unresolved = caller.symbol<CallUnresolved>("kvtestCallTripleUnresolved");
    ASSERT_NE(nullptr, callTriple);
    ASSERT_NE(nullptr, unresolved);
    EXPECT_EQ(-4, callTriple(4));
    EXPECT_EQ(1, unresolved());

    ASSERT_TRUE(definer.open()) << dlerror();
    EXPECT_EQ(12, callTriple(4)); // bound when the definition came
    EXPECT_EQ(0, unresolved());

    // The report names both modules.
    std::vector<DynamicFunctionInfo> rows = infoRows("kvtestModuleTriple", false);
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ(QFileInfo(QString::fromStdString(caller.path)).canonicalFilePath(),
              QFileInfo(QString(rows[0].callModule.tocs())).canonicalFilePath());
    EXPECT_EQ(QFileInfo(QString::fromStdString(definer.path)).canonicalFilePath(),
              QFileInfo(QString(rows[0].defModule.tocs())).canonicalFilePath());
    EXPECT_STREQ("dynfunc_call.cpp", rows[0].callSourceFile.tocs());
    EXPECT_EQ(15, rows[0].callLine);
    EXPECT_STREQ("dynfunc_def.cpp", rows[0].defSourceFile.tocs());
    EXPECT_EQ(18, rows[0].defLine);

    definer.close();
    ASSERT_FALSE(definer.resident());
    EXPECT_EQ(-4, callTriple(4)); // the default is back
    EXPECT_EQ(0, unresolved());   // and the record still says resolved

    // The resolved mark stays: loading the definer again does not rebind
    // this caller.
    ASSERT_TRUE(definer.open());
    EXPECT_EQ(-4, callTriple(4));
    definer.close();

    caller.close();
    ASSERT_FALSE(caller.resident());
    EXPECT_TRUE(infoRows("kvtestModuleTriple", false).empty()); // the call left with its module
}

TEST(DynFuncModuleTest, DefinerFirstThenCallerIsBoundAtOnce)
{
    Module definer("kvtest_dynfunc_def");
    Module caller("kvtest_dynfunc_call");
    ASSERT_TRUE(definer.open()) << dlerror();
    ASSERT_TRUE(caller.open()) << dlerror();
    auto callTriple = caller.symbol<CallTriple>("kvtestCallTriple");
    auto unresolved = caller.symbol<CallUnresolved>("kvtestCallTripleUnresolved");
    ASSERT_NE(nullptr, callTriple);
    EXPECT_EQ(15, callTriple(5));
    EXPECT_EQ(0, unresolved());

    // Unloading the caller first leaves the definer's table entry alone.
    caller.close();
    ASSERT_FALSE(caller.resident());
    ASSERT_TRUE(caller.open());
    callTriple = caller.symbol<CallTriple>("kvtestCallTriple");
    EXPECT_EQ(15, callTriple(5)); // a fresh caller binds at once again

    definer.close();
    EXPECT_EQ(-5, callTriple(5));
    caller.close();
}

TEST(DynFuncModuleTest, ModuleLoadedByARelativeNameIsReportedByItsFullPath)
{
    QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(QStringLiteral(KVTEST_DYNFUNC_MODULE_DIR)));
    void *handle = dlopen("./libkvtest_dynfunc_call.so", RTLD_NOW | RTLD_LOCAL);
    QDir::setCurrent(before);
    ASSERT_NE(nullptr, handle) << dlerror();
    std::vector<DynamicFunctionInfo> rows = infoRows("kvtestModuleTriple", true);
    ASSERT_EQ(1u, rows.size());
    QString expected = QFileInfo(QStringLiteral(KVTEST_DYNFUNC_MODULE_DIR "/libkvtest_dynfunc_call.so"))
                           .canonicalFilePath();
    EXPECT_EQ(expected, QString(rows[0].callModule.tocs()));
    dlclose(handle);
}

TEST(DynFuncModuleTest, PointerInThisProgramFollowsTheModule)
{
    IntFn fn = fallbackFn;
    RegisterDynFuncCall call(&fn, "kvtestModuleTriple", __FILE__, __LINE__);
    // A 40-character name whose first 31 characters match the module's.
    IntFn longFn = fallbackFn;
    RegisterDynFuncCall longCall(&longFn, "kvtestModuleLongName_0123456789_zzzzzzzz");
    EXPECT_EQ(-2, fn(2));
    {
        Module definer("kvtest_dynfunc_def");
        ASSERT_TRUE(definer.open()) << dlerror();
        auto address = definer.symbol<void *(*)()>("kvtestDefTripleAddress");
        ASSERT_NE(nullptr, address);
        EXPECT_EQ(address(), reinterpret_cast<void *>(fn));
        EXPECT_EQ(6, fn(2));
        EXPECT_EQ(1002, longFn(2));
    }
    EXPECT_EQ(-2, fn(2));
    EXPECT_EQ(-2, longFn(2));
    EXPECT_FALSE(call.isUnresolved());
    EXPECT_FALSE(longCall.isUnresolved());
}

} // namespace
