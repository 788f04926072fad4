// kvtool registry: reads and changes the library's registry store.
#include "command.h"

#include <kvsupport/containers.h>
#include <kvsupport/sysinfo.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

enum class Root { User, Machine, Classes, Unknown };

Root rootOf(const char *name)
{
    if (std::strcmp(name, "user") == 0)
        return Root::User;
    if (std::strcmp(name, "machine") == 0)
        return Root::Machine;
    if (std::strcmp(name, "classes") == 0)
        return Root::Classes;
    return Root::Unknown;
}

int read(Root root, const char *key, const char *name)
{
    YString value;
    bool ok = root == Root::User      ? sp_ReadCurrentUserValue(key, name, &value)
              : root == Root::Machine ? sp_ReadLocalMachineValue(key, name, &value)
                                      : sp_ReadClassesRootValue(key, name, &value);
    if (!ok)
        return kvtool::fail(1, std::string("no value \"") + name + "\" in key \"" + key + "\"");
    std::printf("%s\n", value.tocs());
    return 0;
}

int write(Root root, const char *key, const char *name, const char *value)
{
    bool ok = root == Root::User      ? sp_WriteCurrentUserValue(key, name, value)
              : root == Root::Machine ? sp_WriteLocalMachineValue(key, name, value)
                                      : sp_WriteClassesRootValue(key, name, value);
    return ok ? 0 : kvtool::fail(1, "the value could not be written");
}

int list(bool keys, Root root, const char *key)
{
    YList<YString> names;
    bool ok;
    if (keys)
        ok = root == Root::Classes ? sp_GetClassesRootSubKeyNames(key, &names)
                                   : sp_GetCurrentUserSubKeyNames(key, &names);
    else
        ok = sp_GetCurrentUserValueNames(key, &names);
    for (const YString &n : names)
        std::printf("%s\n", n.tocs());
    return ok ? 0 : 1;
}

} // namespace

KVTOOL_COMMAND(registry,
               "registry read ROOT KEY NAME | write ROOT KEY NAME VALUE | delete-value ROOT KEY NAME |\n"
               "         delete-tree KEY | keys ROOT KEY | values KEY",
               "read and change the registry store (ROOT: user, machine or classes; keys and\n"
               "values of the current user unless told; delete-value: user or machine)")
(int argc, char **argv)
{
    if (argc < 3)
        return kvtool::fail(2, "registry needs an operation; see kvtool help");
    std::string op = argv[1];
    if (op == "values" && argc == 3)
        return list(false, Root::User, argv[2]);
    if (op == "delete-tree" && argc == 3)
        return sp_DeleteCurrentUserTree(argv[2]) ? 0 : kvtool::fail(1, "no such key");
    Root root = rootOf(argv[2]);
    if (root == Root::Unknown)
        return kvtool::fail(2, std::string("unknown root \"") + argv[2] + "\"");
    if (op == "read" && argc == 5)
        return read(root, argv[3], argv[4]);
    if (op == "write" && argc == 6)
        return write(root, argv[3], argv[4], argv[5]);
    if (op == "keys" && argc == 4 && root != Root::Machine)
        return list(true, root, argv[3]);
    if (op == "delete-value" && argc == 5 && root != Root::Classes) {
        bool ok = root == Root::User ? sp_DeleteCurrentUserValue(argv[3], argv[4])
                                     : sp_DeleteLocalMachineValue(argv[3], argv[4]);
        return ok ? 0 : kvtool::fail(1, "no such value");
    }
    return kvtool::fail(2, "registry: wrong operation or arguments");
}
