// The registry of dynamic functions: two process-wide hash tables, one of
// definitions and one of call sites, each made when first needed and deleted
// when it gets empty. The tables hold copies of the registered records.
#include <kvsupport/dynfunc.h>

#include "core/text_util.h"
#include "platform/address_module.h"

#include <cstdint>
#include <cstring>

namespace {

const char kUnresolved[] = "<***UNRESOLVED***>";

// Hash of a function name: h = ((toupper(c) ^ h) & 0xFFFF) * 2 for each
// character; the empty name hashes to 0.
unsigned int nameHash(const char *name)
{
    unsigned int h = 0;
    for (const char *p = name; *p != 0; ++p)
        h = ((static_cast<unsigned int>(kv::detail::asciiUpper(static_cast<unsigned char>(*p))) ^ h) & 0xFFFFu) * 2u;
    return h;
}

// Copies at most 31 characters of text (null is empty) into a 32-byte field.
void copyName(char (&field)[32], const char *text)
{
    std::size_t n = text != nullptr ? std::strlen(text) : 0;
    if (n > 31)
        n = 31;
    if (n != 0)
        std::memcpy(field, text, n);
    field[n] = 0;
}

YString modulePath(const void *address)
{
    return YString(kv::platform::addressModulePath(address).c_str());
}

} // namespace

// The two tables and the operations on them.
class DynFuncRegistry {
public:
    using DefTable = YHashTable<RegisterDynFuncDef>;
    using CallTable = YHashTable<RegisterDynFuncCall>;

    static DefTable *defs;
    static CallTable *calls;

    static DefTable &defTable()
    {
        if (defs == nullptr)
            defs = new DefTable(101, 2);
        return *defs;
    }

    static CallTable &callTable()
    {
        if (calls == nullptr)
            calls = new CallTable(101, 2);
        return *calls;
    }

    static const RegisterDynFuncDef *findDef(const char *name)
    {
        if (defs == nullptr)
            return nullptr;
        return defs->find(RegisterDynFuncDef(name));
    }

    static void registerCall(RegisterDynFuncCall &call)
    {
        if (const RegisterDynFuncDef *def = findDef(call.name)) {
            *call.pointer = def->address;
            call.resolved = true;
        }
        callTable().add(call);
    }

    static void unregisterCall(const RegisterDynFuncCall &call)
    {
        if (calls == nullptr)
            return;
        calls->removeAll(call);
        dropEmptyCalls();
    }

    static void registerDef(const RegisterDynFuncDef &def)
    {
        DefTable &table = defTable();
        if (table.contains(def))
            return; // the first definition of a name stands
        table.add(def);
        if (calls == nullptr)
            return;
        for (RegisterDynFuncCall &call : *calls) {
            if (!call.resolved && std::strcmp(call.name, def.name) == 0) {
                *call.pointer = def.address;
                call.resolved = true;
            }
        }
    }

    static void unregisterDef(const RegisterDynFuncDef &def)
    {
        if (calls != nullptr) {
            for (RegisterDynFuncCall &call : *calls)
                if (call.resolved && std::strcmp(call.name, def.name) == 0)
                    *call.pointer = call.defaultValue; // stays marked resolved
        }
        if (defs == nullptr)
            return;
        defs->remove(def);
        if (defs->isEmpty()) {
            delete defs;
            defs = nullptr;
        }
    }

    static const RegisterDynFuncCall *entryOf(const RegisterDynFuncCall &call)
    {
        return calls != nullptr ? calls->find(call) : nullptr;
    }

    static void dropEmptyCalls()
    {
        if (calls != nullptr && calls->isEmpty()) {
            delete calls;
            calls = nullptr;
        }
    }

    static DynamicFunctionInfo describe(const RegisterDynFuncCall &call, bool shortForm)
    {
        DynamicFunctionInfo info;
        info.name = call.name;
        info.callModule = call.dll;
        if (!shortForm) {
            info.callSourceFile = call.sourceFile;
            info.callLine = call.sourceLine;
        }
        if (const RegisterDynFuncDef *def = findDef(call.name)) {
            info.defModule = def->dll;
            if (!shortForm) {
                info.defSourceFile = def->sourceFile;
                info.defLine = def->sourceLine;
            }
        } else {
            info.defModule = kUnresolved;
        }
        return info;
    }

    static void report(YHashTable<DynamicFunctionInfo> &result, bool shortForm)
    {
        if (calls == nullptr)
            return;
        for (const RegisterDynFuncCall &call : *calls) {
            DynamicFunctionInfo info = describe(call, shortForm);
            if (!result.contains(info))
                result.add(info);
        }
    }

    static void reportUnresolved(YList<DynamicFunctionInfo> &result)
    {
        if (calls == nullptr)
            return;
        for (const RegisterDynFuncCall &call : *calls) {
            if (call.resolved)
                continue;
            DynamicFunctionInfo info;
            info.name = call.name;
            result.append(info);
        }
    }
};

// Plain pointers, initialised before any code runs: registrations made by
// static initialisers of any module, this library's own included, find them
// ready whatever the order of initialisation, and nothing is destroyed at
// exit behind the back of a module that unregisters late.
DynFuncRegistry::DefTable *DynFuncRegistry::defs = nullptr;
DynFuncRegistry::CallTable *DynFuncRegistry::calls = nullptr;

// ---------------------------------------------------------------------------
// RegisterDynFuncCall

RegisterDynFuncCall::RegisterDynFuncCall(void **pointer, const char *name, const char *sourceFile, int line)
    : pointer(pointer), defaultValue(pointer != nullptr ? *pointer : nullptr), name(), dll(modulePath(pointer)),
      sourceFile(sourceFile), sourceLine(line), resolved(false), tableCopy(pointer == nullptr)
{
    copyName(this->name, name);
    if (!tableCopy)
        DynFuncRegistry::registerCall(*this);
}

RegisterDynFuncCall::RegisterDynFuncCall(const RegisterDynFuncCall &other)
    : pointer(other.pointer), defaultValue(other.defaultValue), name(), dll(other.dll),
      sourceFile(other.sourceFile), sourceLine(other.sourceLine), resolved(other.resolved), tableCopy(true)
{
    std::memcpy(name, other.name, sizeof name);
}

RegisterDynFuncCall &RegisterDynFuncCall::operator=(const RegisterDynFuncCall &other)
{
    if (this == &other)
        return *this;
    if (!tableCopy)
        DynFuncRegistry::unregisterCall(*this);
    pointer = other.pointer;
    defaultValue = other.defaultValue;
    std::memcpy(name, other.name, sizeof name);
    dll = other.dll;
    sourceFile = other.sourceFile;
    sourceLine = other.sourceLine;
    resolved = other.resolved;
    tableCopy = true;
    return *this;
}

RegisterDynFuncCall::~RegisterDynFuncCall()
{
    if (!tableCopy)
        DynFuncRegistry::unregisterCall(*this);
}

bool RegisterDynFuncCall::operator==(const RegisterDynFuncCall &other) const
{
    return pointer == other.pointer && std::strcmp(name, other.name) == 0;
}

unsigned int RegisterDynFuncCall::hashValue() const
{
    return nameHash(name) + static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(pointer));
}

bool RegisterDynFuncCall::isUnresolved() const
{
    if (!tableCopy)
        if (const RegisterDynFuncCall *entry = DynFuncRegistry::entryOf(*this))
            return !entry->resolved;
    return !resolved;
}

// ---------------------------------------------------------------------------
// RegisterDynFuncDef

RegisterDynFuncDef::RegisterDynFuncDef(const char *name, void *address, const char *sourceFile, int line)
    : address(address), name(), dll(modulePath(address)), sourceFile(sourceFile), sourceLine(line),
      tableCopy(address == nullptr)
{
    copyName(this->name, name);
    if (!tableCopy)
        DynFuncRegistry::registerDef(*this);
}

RegisterDynFuncDef::RegisterDynFuncDef(const char *name)
    : address(nullptr), name(), sourceLine(-1), tableCopy(true)
{
    copyName(this->name, name);
}

RegisterDynFuncDef::RegisterDynFuncDef(const RegisterDynFuncDef &other)
    : address(other.address), name(), dll(other.dll), sourceFile(other.sourceFile), sourceLine(other.sourceLine),
      tableCopy(true)
{
    std::memcpy(name, other.name, sizeof name);
}

RegisterDynFuncDef &RegisterDynFuncDef::operator=(const RegisterDynFuncDef &other)
{
    if (this == &other)
        return *this;
    if (!tableCopy && address != nullptr)
        DynFuncRegistry::unregisterDef(*this);
    address = other.address;
    std::memcpy(name, other.name, sizeof name);
    dll = other.dll;
    sourceFile = other.sourceFile;
    sourceLine = other.sourceLine;
    tableCopy = true;
    return *this;
}

RegisterDynFuncDef::~RegisterDynFuncDef()
{
    if (!tableCopy && address != nullptr)
        DynFuncRegistry::unregisterDef(*this);
}

bool RegisterDynFuncDef::operator==(const RegisterDynFuncDef &other) const
{
    return std::strcmp(name, other.name) == 0;
}

unsigned int RegisterDynFuncDef::hashValue() const
{
    return nameHash(name);
}

// ---------------------------------------------------------------------------
// Reports

bool DynamicFunctionInfo::operator==(const DynamicFunctionInfo &other) const
{
    return callLine == other.callLine && defLine == other.defLine &&
           name.compare(other.name, YString::IgnoreCase) == 0 &&
           callModule.compare(other.callModule, YString::IgnoreCase) == 0 &&
           callSourceFile.compare(other.callSourceFile, YString::IgnoreCase) == 0 &&
           defModule.compare(other.defModule, YString::IgnoreCase) == 0 &&
           defSourceFile.compare(other.defSourceFile, YString::IgnoreCase) == 0;
}

unsigned int DynamicFunctionInfo::hashValue() const
{
    return name.HashValue() + callModule.HashValue() + callSourceFile.HashValue() + defModule.HashValue() +
           defSourceFile.HashValue() + static_cast<unsigned int>(callLine) + static_cast<unsigned int>(defLine);
}

void sp_GetDynamicFunctionInfo(YHashTable<DynamicFunctionInfo> *result, bool shortForm)
{
    if (result != nullptr)
        DynFuncRegistry::report(*result, shortForm);
}

void sp_GetUnresolvedDynamicFunctions(YList<DynamicFunctionInfo> *result)
{
    if (result != nullptr)
        DynFuncRegistry::reportUnresolved(*result);
}
