// kvtool dynfunc: loads shared libraries and lists the dynamic functions
// that they and this program register: which module calls each function,
// which module defines it, or that none does.
#include "command.h"

#include <kvsupport/dynfunc.h>

#include <QLibrary>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

std::string place(const YString &module, const YString &file, int line)
{
    std::string text = module.tocs();
    if (!file.isEmpty())
        text += std::string(" (") + file.tocs() + (line >= 0 ? ":" + std::to_string(line) : "") + ")";
    return text;
}

std::vector<std::string> reportLines(bool shortForm, bool unresolvedOnly)
{
    std::vector<std::string> lines;
    if (unresolvedOnly) {
        YList<DynamicFunctionInfo> list;
        sp_GetUnresolvedDynamicFunctions(&list);
        for (const DynamicFunctionInfo &info : list)
            lines.push_back(info.name.tocs());
        return lines;
    }
    YHashTable<DynamicFunctionInfo> table;
    sp_GetDynamicFunctionInfo(&table, shortForm);
    for (const DynamicFunctionInfo &info : table)
        lines.push_back(std::string(info.name.tocs()) + "\n  called from " +
                        place(info.callModule, info.callSourceFile, info.callLine) + "\n  defined in  " +
                        place(info.defModule, info.defSourceFile, info.defLine));
    return lines;
}

} // namespace

KVTOOL_COMMAND(dynfunc, "dynfunc [--short | --unresolved] [LIBRARY...]",
               "load each LIBRARY and list the registered dynamic functions with the modules that\n"
               "call and define them (--short: one row per pair of modules; --unresolved: only the\n"
               "names that no definition has bound)")
(int argc, char **argv)
{
    bool shortForm = false;
    bool unresolvedOnly = false;
    std::vector<std::unique_ptr<QLibrary>> libraries;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--short") == 0) {
            shortForm = true;
            continue;
        }
        if (std::strcmp(argv[i], "--unresolved") == 0) {
            unresolvedOnly = true;
            continue;
        }
        if (argv[i][0] == '-')
            return kvtool::fail(2, std::string("unknown option ") + argv[i] +
                                       "; usage: kvtool dynfunc [--short | --unresolved] [LIBRARY...]");
        auto library = std::make_unique<QLibrary>(QString::fromLocal8Bit(argv[i]));
        if (!library->load())
            return kvtool::fail(1, std::string("cannot load ") + argv[i] + ": " +
                                       library->errorString().toLocal8Bit().constData());
        libraries.push_back(std::move(library));
    }
    std::vector<std::string> lines = reportLines(shortForm, unresolvedOnly);
    std::sort(lines.begin(), lines.end());
    for (const std::string &line : lines)
        std::printf("%s\n", line.c_str());
    if (lines.empty())
        std::printf("no dynamic functions are registered\n");
    return 0;
}
