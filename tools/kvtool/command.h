// The subcommand registry of kvtool. A subcommand is a static object:
//
//   KVTOOL_COMMAND(eng, "eng VALUE...", "read engineering numbers") (int argc, char **argv) { ... }
//
// argv[0] is the subcommand's name; the function returns the exit code
// (0 success, 1 a failure of the work, 2 a usage error).
#ifndef KVTOOL_COMMAND_H
#define KVTOOL_COMMAND_H

#include <string>
#include <vector>

namespace kvtool {

using CommandFunction = int (*)(int argc, char **argv);

struct Command {
    const char *name;
    const char *usage;
    const char *summary;
    CommandFunction run;
};

/// Every registered subcommand, sorted by name.
std::vector<Command> commands();

struct CommandRegistrar {
    CommandRegistrar(const char *name, const char *usage, const char *summary, CommandFunction run);
};

/// Prints "kvtool: <message>" on standard error and returns \p code.
int fail(int code, const std::string &message);

} // namespace kvtool

#define KVTOOL_COMMAND(id, usage, summary)                                                         \
    static int kvtoolCommand_##id(int argc, char **argv);                                        \
    static ::kvtool::CommandRegistrar kvtoolRegistrar_##id(#id, usage, summary, &kvtoolCommand_##id); \
    static int kvtoolCommand_##id

#endif
