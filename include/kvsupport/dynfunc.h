/// \file dynfunc.h
/// Dynamic functions: a function pointer in one module bound by name to a
/// definition in another, whichever of the two is loaded first.
///
/// A module declares a global function pointer, initialised to a usable
/// default, and registers it with a static RegisterDynFuncCall. Another
/// module (or the same one) registers a definition with a static
/// RegisterDynFuncDef under the same name. When both exist the pointer holds
/// the definition's address; when the defining object goes (its module is
/// unloaded) the pointer goes back to its default.
///
/// \code
///   static YRef<MessageHandler> fallback();
///   static YRef<MessageHandler> (*getHandler)() = fallback;
///   static RegisterDynFuncCall getHandlerCall(&getHandler, "getDefaultMessageHandler", __FILE__, __LINE__);
///
///   // in the application:
///   static RegisterDynFuncDef handlerDef("getDefaultMessageHandler", appHandler, __FILE__, __LINE__);
/// \endcode
///
/// Names are cut to 31 characters and compare exactly (with regard to case).
/// The process-wide tables take no lock: registration belongs to one thread
/// at a time (static initialisers and library loading are).
#ifndef KVSUPPORT_DYNFUNC_H
#define KVSUPPORT_DYNFUNC_H

#include <kvsupport/containers.h>
#include <kvsupport/export.h>
#include <kvsupport/ystring.h>

class DynFuncRegistry;

/// A call site: a pointer to bind, registered under a function name.
///
/// Constructing one registers it: the pointer is bound at once if a
/// definition of that name exists, or when one comes. Destroying it removes
/// every registration of this name and this pointer. Copies register and
/// unregister nothing.
class KVSUPPORT_API RegisterDynFuncCall {
public:
    /// Registers \p pointer under \p name (cut to 31 characters; null is the
    /// empty name). The pointer's present value is its default. A null
    /// \p pointer registers nothing. \p sourceFile and \p line only describe
    /// the call site for sp_GetDynamicFunctionInfo (line -1: not given).
    RegisterDynFuncCall(void **pointer, const char *name, const char *sourceFile = nullptr, int line = -1);
    /// Same, for a pointer to a function of any type.
    template <typename R, typename... A>
    RegisterDynFuncCall(R (**pointer)(A...), const char *name, const char *sourceFile = nullptr, int line = -1)
        : RegisterDynFuncCall(reinterpret_cast<void **>(pointer), name, sourceFile, line)
    {
    }
    /// Same, for a pointer to a function with a variable argument list.
    template <typename R, typename... A>
    RegisterDynFuncCall(R (**pointer)(A..., ...), const char *name, const char *sourceFile = nullptr,
                        int line = -1)
        : RegisterDynFuncCall(reinterpret_cast<void **>(pointer), name, sourceFile, line)
    {
    }
    /// Copies the fields; the new record is a copy, which registers nothing
    /// and whose destruction unbinds nothing.
    RegisterDynFuncCall(const RegisterDynFuncCall &other);
    /// Unregisters this record if it is a registered one, then copies
    /// \p other's fields and becomes a copy.
    RegisterDynFuncCall &operator=(const RegisterDynFuncCall &other);
    /// For a registered record (not a copy): removes every table entry with
    /// this name and this pointer. The pointer keeps its present value.
    ~RegisterDynFuncCall();

    /// Same name (exactly) and same pointer to bind.
    bool operator==(const RegisterDynFuncCall &other) const;
    /// Hash of the name plus the address of the pointer to bind.
    unsigned int hashValue() const;

    /// Path of the module that holds the pointer.
    YString getDll() const { return dll; }
    /// The function's name (at most 31 characters).
    const char *getName() const { return name; }
    /// The source file given at registration (empty if none).
    YString getSourceFile() const { return sourceFile; }
    /// The source line given at registration (-1 if none).
    int getSourceLine() const { return sourceLine; }
    /// False once a definition has bound the pointer. It stays false when
    /// the definition goes and the pointer returns to its default. Asked of
    /// a registered record, the answer is that of its table entry, which
    /// follows definitions that come later.
    bool isUnresolved() const;

private:
    friend class DynFuncRegistry;

    void **pointer;
    void *defaultValue;
    char name[32];
    YString dll;
    YString sourceFile;
    int sourceLine;
    bool resolved;
    bool tableCopy;
};

/// A definition: the address of a function, registered under its name.
///
/// The first definition of a name stands; a later one of the same name does
/// nothing while it lives. Destroying a registered definition (for example
/// when its module is unloaded) puts the default back in every bound
/// pointer of that name and removes the name from the table of definitions.
class KVSUPPORT_API RegisterDynFuncDef {
public:
    /// Registers \p address under \p name (cut to 31 characters; null is the
    /// empty name) and binds every unbound call of that name. A null
    /// \p address registers nothing.
    RegisterDynFuncDef(const char *name, void *address, const char *sourceFile = nullptr, int line = -1);
    /// Same, for a function of any type.
    template <typename R, typename... A>
    RegisterDynFuncDef(const char *name, R (*function)(A...), const char *sourceFile = nullptr, int line = -1)
        : RegisterDynFuncDef(name, reinterpret_cast<void *>(function), sourceFile, line)
    {
    }
    /// Same, for a function with a variable argument list.
    template <typename R, typename... A>
    RegisterDynFuncDef(const char *name, R (*function)(A..., ...), const char *sourceFile = nullptr,
                       int line = -1)
        : RegisterDynFuncDef(name, reinterpret_cast<void *>(function), sourceFile, line)
    {
    }
    /// A key for look-up only: null address, registers nothing.
    explicit RegisterDynFuncDef(const char *name);
    /// Copies the fields; the new record is a copy, which registers nothing
    /// and whose destruction unbinds nothing.
    RegisterDynFuncDef(const RegisterDynFuncDef &other);
    /// Unregisters this record if it is a registered one, then copies
    /// \p other's fields and becomes a copy.
    RegisterDynFuncDef &operator=(const RegisterDynFuncDef &other);
    /// For a registered record with an address: puts the default back in
    /// every bound call of this name and removes the name from the table.
    ~RegisterDynFuncDef();

    /// Same name (exactly).
    bool operator==(const RegisterDynFuncDef &other) const;
    /// Hash of the name.
    unsigned int hashValue() const;

    /// Path of the module that holds the definition.
    YString getDll() const { return dll; }
    /// The function's name (at most 31 characters).
    const char *getName() const { return name; }
    /// The definition's address (null for a look-up key).
    void *getAddress() const { return address; }
    /// The source file given at registration (empty if none).
    YString getSourceFile() const { return sourceFile; }
    /// The source line given at registration (-1 if none).
    int getSourceLine() const { return sourceLine; }

private:
    friend class DynFuncRegistry;

    void *address;
    char name[32];
    YString dll;
    YString sourceFile;
    int sourceLine;
    bool tableCopy;
};

/// One row of the dynamic function report.
struct KVSUPPORT_API DynamicFunctionInfo {
    YString name;           ///< the function's name
    YString callModule;     ///< module of the call site
    YString callSourceFile; ///< source file of the call site (empty in the short form)
    int callLine = -1;      ///< line of the call site, -1 if not given
    YString defModule;      ///< module of the definition, or "<***UNRESOLVED***>"
    YString defSourceFile;  ///< source file of the definition (empty in the short form)
    int defLine = -1;       ///< line of the definition, -1 if not given

    /// All seven fields equal, the strings compared ignoring case.
    bool operator==(const DynamicFunctionInfo &other) const;
    /// Sum of YString::HashValue of the five strings and of both lines.
    unsigned int hashValue() const;
};

/// Adds one row to \p result for each registered call, unless an equal row
/// is there. The short form leaves out the source files and lines, so it
/// collapses the call sites into one row for each pair of modules. A call
/// with no definition of its name gets the definition module
/// "<***UNRESOLVED***>". Null does nothing.
KVSUPPORT_API void sp_GetDynamicFunctionInfo(YHashTable<DynamicFunctionInfo> *result, bool shortForm);

/// Appends to \p result one row for each call that no definition has
/// bound: only the name is set, both lines are -1. Null does nothing.
KVSUPPORT_API void sp_GetUnresolvedDynamicFunctions(YList<DynamicFunctionInfo> *result);

#endif
