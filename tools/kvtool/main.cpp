// kvtool: the library's capabilities from a shell.
#include "command.h"

#include <kvsupport/version.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>

namespace kvtool {

namespace {

std::map<std::string, Command> &registry()
{
    static std::map<std::string, Command> r;
    return r;
}

void printHelp(std::FILE *out)
{
    std::fprintf(out,
                 "usage: kvtool COMMAND [ARG...]\n"
                 "       kvtool --help | --version\n"
                 "       kvtool help COMMAND\n\n"
                 "The support library of the circuit-simulation suite, from a shell.\n\n"
                 "Commands:\n");
    for (const Command &c : commands()) {
        // Continuation lines of a summary are indented under its first line.
        std::string text(c.summary);
        for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1))
            text.insert(at + 1, 15, ' ');
        std::fprintf(out, "  %-12s %s\n", c.name, text.c_str());
    }
    std::fprintf(out, "\nRun 'kvtool help COMMAND' for the arguments of a command.\n");
}

} // namespace

CommandRegistrar::CommandRegistrar(const char *name, const char *usage, const char *summary, CommandFunction run)
{
    registry()[name] = Command{name, usage, summary, run};
}

std::vector<Command> commands()
{
    std::vector<Command> list;
    for (const auto &entry : registry())
        list.push_back(entry.second);
    return list;
}

int fail(int code, const std::string &message)
{
    std::fprintf(stderr, "kvtool: %s\n", message.c_str());
    return code;
}

} // namespace kvtool

int main(int argc, char **argv)
{
    using namespace kvtool;
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
        printHelp(argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    if (std::strcmp(argv[1], "--version") == 0) {
        std::printf("kvtool %s (libkvsupport %s)\n", KVSUPPORT_TOOL_VERSION, kvsupport_Version());
        return 0;
    }
    if (std::strcmp(argv[1], "help") == 0) {
        if (argc < 3) {
            printHelp(stdout);
            return 0;
        }
        auto it = registry().find(argv[2]);
        if (it == registry().end())
            return fail(2, std::string("unknown command '") + argv[2] + "'; see 'kvtool --help'");
        std::printf("usage: kvtool %s\n\n%s\n", it->second.usage, it->second.summary);
        return 0;
    }
    auto it = registry().find(argv[1]);
    if (it == registry().end())
        return fail(2, std::string("unknown command '") + argv[1] + "'; see 'kvtool --help'");
    return it->second.run(argc - 1, argv + 1);
}
