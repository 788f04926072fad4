// kvtool path: the path algebra, the directory walkers and the wildcard and
// pattern functions from a shell.
#include "command.h"

#include <kvsupport/paths.h>
#include <kvsupport/pattern.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

const char *const usageText =
    "usage: kvtool path ACTION ARG...\n"
    "  split PATH...             drive, directory, name and extension of each PATH\n"
    "  clean PATH...             each PATH cleaned (\".\", \"..\", repeated separators)\n"
    "  full PATH...              each PATH made absolute against the current directory\n"
    "  relative PATH BASE        PATH relative to the directory BASE\n"
    "  same PATH1 PATH2          whether both name the same file (exit 1 if not)\n"
    "  resolve PATH...           canonical name of each existing PATH\n"
    "  compatible PATH...        printable-ASCII name without blanks of each PATH\n"
    "  list [--full] [--filter] DIR/PATTERN  files matching PATTERN in DIR (--filter: QDir name filter)\n"
    "  dirs ROOT                 every directory below ROOT\n"
    "  search FILE DIR...        FILE on the search list DIR...\n"
    "  match [--case] PATTERN TEXT...  whole-text wildcard match (* ? \\), exit 1 if any fails\n"
    "  glob PATTERN TEXT...      wildcard search: byte offset of the first match or -1\n"
    "  regexp PATTERN TEXT...    regular-expression search: byte offset or -1\n"
    "  filter [--sep S] FILTER   file-dialogue entries of \"Name|pat;pat|...\"\n"
    "  escape [--spaces] TEXT    TEXT with escapes written (\\t \\n \\f \\r \\\\ and \\s)\n"
    "  unescape [--spaces] TEXT  TEXT with escapes resolved\n"
    "  wire TEMPLATE BUS NUMBER  name of wire NUMBER of BUS by TEMPLATE (%busname% %wirenum%)";

int usage(const char *problem)
{
    std::fprintf(stderr, "kvtool: path: %s\n%s\n", problem, usageText);
    return 2;
}

// Takes a leading flag off the argument list.
bool takeFlag(int &first, int argc, char **argv, const char *flag)
{
    if (first < argc && std::strcmp(argv[first], flag) == 0) {
        ++first;
        return true;
    }
    return false;
}

int eachPath(int argc, char **argv, YString (*transform)(const YString &))
{
    if (argc < 3)
        return usage("a PATH is needed");
    int status = 0;
    for (int i = 2; i < argc; ++i) {
        YString out = transform(argv[i]);
        if (out.isEmpty() && argv[i][0] != 0)
            status = 1;
        std::printf("%s\n", out.tocs());
    }
    return status;
}

YString resolveOne(const YString &path)
{
    return sp_ResolvePath(path.tocs());
}

int split(int argc, char **argv)
{
    if (argc < 3)
        return usage("split needs a PATH");
    for (int i = 2; i < argc; ++i) {
        PathName p;
        sp_SplitPath(argv[i], &p);
        std::printf("drive=\"%s\" dir=\"%s\" name=\"%s\" ext=\"%s\"\n", p.drive.tocs(), p.dir.tocs(),
                    p.name.tocs(), p.ext.tocs());
    }
    return 0;
}

int relative(int argc, char **argv)
{
    if (argc != 4)
        return usage("relative needs PATH and BASE");
    std::printf("%s\n", sp_RelativePath(argv[2], argv[3]).tocs());
    return 0;
}

int same(int argc, char **argv)
{
    if (argc != 4)
        return usage("same needs two paths");
    const bool equal = sp_ComparePaths(argv[2], argv[3]);
    std::printf("%s\n", equal ? "same" : "different");
    return equal ? 0 : 1;
}

int printList(const YList<YString> &list)
{
    for (const YString &s : list)
        std::printf("%s\n", s.tocs());
    return 0;
}

int list(int argc, char **argv)
{
    int first = 2;
    bool full = false, filter = false;
    while (first < argc && argv[first][0] == '-' && argv[first][1] == '-') {
        if (takeFlag(first, argc, argv, "--full"))
            full = true;
        else if (takeFlag(first, argc, argv, "--filter"))
            filter = true;
        else
            return usage("unknown option of list");
    }
    if (argc - first != 1)
        return usage("list needs one DIR/PATTERN");
    YList<YString> out;
    sp_ListDirectory(argv[first], &out, full, filter);
    return printList(out);
}

int dirs(int argc, char **argv)
{
    if (argc != 3)
        return usage("dirs needs a ROOT");
    if (!sp_ExistDir(argv[2]))
        return kvtool::fail(1, std::string("path: no such directory: ") + argv[2]);
    YList<YString> out;
    sp_DescendDirectories(argv[2], &out);
    return printList(out);
}

int search(int argc, char **argv)
{
    if (argc < 4)
        return usage("search needs FILE and at least one DIR");
    YList<YString> list;
    for (int i = 3; i < argc; ++i)
        list.append(argv[i]);
    YString hit = sp_SearchDirectories(argv[2], list);
    if (hit.isEmpty())
        return kvtool::fail(1, std::string("path: not found: ") + argv[2]);
    std::printf("%s\n", hit.tocs());
    return 0;
}

int match(int argc, char **argv)
{
    int first = 2;
    const bool caseSensitive = takeFlag(first, argc, argv, "--case");
    if (argc - first < 2)
        return usage("match needs PATTERN and TEXT");
    int status = 0;
    for (int i = first + 1; i < argc; ++i) {
        const bool ok = sp_FilterString(argv[i], argv[first], caseSensitive);
        std::printf("%s\t%s\n", ok ? "match" : "no match", argv[i]);
        if (!ok)
            status = 1;
    }
    return status;
}

int search(int argc, char **argv, int (*find)(const char *, const char *))
{
    if (argc < 4)
        return usage("PATTERN and TEXT are needed");
    for (int i = 3; i < argc; ++i)
        std::printf("%d\t%s\n", find(argv[2], argv[i]), argv[i]);
    return 0;
}

int filter(int argc, char **argv)
{
    int first = 2;
    const char *separator = " ";
    if (first + 1 < argc && std::strcmp(argv[first], "--sep") == 0) {
        separator = argv[first + 1];
        first += 2;
    }
    if (argc - first != 1)
        return usage("filter needs one FILTER");
    YArray<YString> entries;
    sp_CompileFilter(argv[first], &entries, separator);
    for (int i = 0; i < entries.getCount(); ++i)
        std::printf("%s\n", entries[i].tocs());
    return 0;
}

int escape(int argc, char **argv, bool encode)
{
    int first = 2;
    const bool spaces = takeFlag(first, argc, argv, "--spaces");
    if (argc - first != 1)
        return usage("one TEXT is needed");
    YString out = encode ? sp_EscapeStringEncode(argv[first], spaces) : sp_EscapeString(argv[first], spaces);
    std::printf("%s\n", out.tocs());
    return 0;
}

int wire(int argc, char **argv)
{
    if (argc != 5)
        return usage("wire needs TEMPLATE, BUS and NUMBER");
    std::printf("%s\n", sp_ResolveWireTemplate(argv[2], argv[3], argv[4]).tocs());
    return 0;
}

} // namespace

KVTOOL_COMMAND(path, "path ACTION ARG... (kvtool path --help lists the actions)",
               "path algebra, directory walking and wildcard/pattern matching")
(int argc, char **argv)
{
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0) {
        std::printf("%s\n", usageText);
        return argc < 2 ? 2 : 0;
    }
    const std::string action = argv[1];
    if (action == "split") return split(argc, argv);
    if (action == "clean") return eachPath(argc, argv, sp_CleanPath);
    if (action == "full") return eachPath(argc, argv, sp_GetFullPath);
    if (action == "relative") return relative(argc, argv);
    if (action == "same") return same(argc, argv);
    if (action == "resolve") return eachPath(argc, argv, resolveOne);
    if (action == "compatible") return eachPath(argc, argv, sp_GetCompatiblePathName);
    if (action == "list") return list(argc, argv);
    if (action == "dirs") return dirs(argc, argv);
    if (action == "search") return search(argc, argv);
    if (action == "match") return match(argc, argv);
    if (action == "glob") return search(argc, argv, sp_GlobMatch);
    if (action == "regexp") return search(argc, argv, sp_RegexpMatch);
    if (action == "filter") return filter(argc, argv);
    if (action == "escape") return escape(argc, argv, true);
    if (action == "unescape") return escape(argc, argv, false);
    if (action == "wire") return wire(argc, argv);
    return usage(("unknown action \"" + action + "\"").c_str());
}
