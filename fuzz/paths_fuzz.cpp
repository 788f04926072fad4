// Fuzzes the path algebra and the pattern functions it leans on. The input is
// two texts separated by a line feed: a path and a base (or a pattern). None
// of the functions may crash, and these must hold, or the target traps:
//   - splitting then joining gives back the path itself, unless a part is too
//     wide to split (then all four parts are empty);
//   - cleaning is idempotent and gives what QDir::cleanPath gives (a leading
//     "//" kept);
//   - a wildcard pattern matches itself once its wildcards are escaped;
//   - for two absolute paths, the base joined with the relative path and
//     cleaned names the same place as the path;
//   - decoding escapes undoes encoding them;
//   - the direct wildcard search finds what QRegExp finds.
#include <kvsupport/paths.h>
#include <kvsupport/pattern.h>

#include "netlist/glob_match.h"

#include <QDir>
#include <QRegExp>
#include <QString>

#include <cstdint>
#include <cstring>
#include <string>

namespace {

void check(bool condition)
{
    if (!condition)
        __builtin_trap();
}

bool validUtf8(const std::string &s)
{
    return QString::fromUtf8(s.c_str()).toUtf8().toStdString() == s;
}

// No component longer than the 1023 bytes a token may hold.
bool shortComponents(const std::string &s)
{
    std::size_t run = 0;
    for (char c : s) {
        run = (c == '/') ? 0 : run + 1;
        if (run > 1023)
            return false;
    }
    return true;
}

void checkSplitJoin(const std::string &path)
{
    PathName parts;
    sp_SplitPath(path.c_str(), &parts);
    YString joined = sp_MakePath(parts);
    const bool allEmpty = parts.drive.isEmpty() && parts.dir.isEmpty() && parts.name.isEmpty() && parts.ext.isEmpty();
    if (allEmpty && !path.empty())
        check(path.size() > 256); // only a part wider than 256 units empties the split
    else
        check(path == joined.tocs());
    YString leaf = sp_GetFileName(path.c_str());
    check(leaf.isEmpty() || path.size() >= static_cast<std::size_t>(leaf.length()));
}

// The reference cleaning: QDir::cleanPath, keeping a leading "//" (not "///").
std::string referenceClean(const std::string &path)
{
    std::string cleaned = QDir::cleanPath(QString::fromUtf8(path.c_str())).toUtf8().toStdString();
    if (path.compare(0, 2, "//") == 0 && path.compare(0, 3, "///") != 0 && cleaned.compare(0, 2, "//") != 0)
        cleaned = "/" + cleaned;
    return cleaned;
}

void checkClean(const std::string &path)
{
    YString once = sp_CleanPath(path.c_str());
    YString twice = sp_CleanPath(once);
    check(std::strcmp(once.tocs(), twice.tocs()) == 0);
    if (validUtf8(path))
        check(referenceClean(path) == once.tocs());
}

void checkRelative(const std::string &path, const std::string &base)
{
    YString rel = sp_RelativePath(path.c_str(), base.c_str());
    sp_GetCompatiblePathName(rel);
    sp_GetPathWithNoSpaces(rel);
    const bool plainAbsolute = path.size() > 0 && base.size() > 0 && path[0] == '/' && base[0] == '/' &&
                               path.compare(0, 2, "//") != 0 && base.compare(0, 2, "//") != 0;
    if (!plainAbsolute || !validUtf8(path) || !validUtf8(base) || !shortComponents(path) ||
        !shortComponents(base))
        return;
    // QDir::cleanPath keeps ".." at the root ("/.." stays): such a path names
    // no place the relative path could be checked against.
    auto escapesRoot = [](const YString &clean) {
        const std::string c = std::string(clean.tocs()) + "/";
        return c.find("/../") != std::string::npos;
    };
    if (escapesRoot(sp_CleanPath(path.c_str())) || escapesRoot(sp_CleanPath(base.c_str())))
        return;
    QString rebuilt = QDir::cleanPath(QString::fromUtf8(base.c_str()) + "/" + QString::fromUtf8(rel.tocs()));
    check(rebuilt == QDir::cleanPath(QString::fromUtf8(path.c_str())));
}

void checkSelfMatch(const std::string &text)
{
    std::string escaped;
    for (char c : text) {
        if (c == '*' || c == '?' || c == '\\')
            escaped += '\\';
        escaped += c;
    }
    check(sp_FilterString(text.c_str(), escaped.c_str(), true));
    check(sp_FilterString(text.c_str(), escaped.c_str(), false));
    check(sp_FilterString(text.c_str(), ("*" + escaped).c_str(), true));
}

void checkGlob(const std::string &pattern, const std::string &text)
{
    const QString rx = kv::detail::globToRegExp(pattern.c_str());
    std::vector<kv::detail::GlobElement> elements;
    if (!kv::detail::parseSimpleGlob(rx, &elements) || pattern.size() > 64 || text.size() > 256)
        return;
    const QString subject = QString::fromUtf8(text.c_str());
    check(kv::detail::simpleGlobSearch(elements, subject) == QRegExp(rx).indexIn(subject));
}

void checkEscapes(const std::string &text)
{
    for (bool spaces : {false, true}) {
        YString back = sp_EscapeString(sp_EscapeStringEncode(text.c_str(), spaces), spaces);
        check(text == back.tocs());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string input(reinterpret_cast<const char *>(data), size);
    input = input.c_str(); // up to the first NUL
    const std::size_t cut = input.find('\n');
    const std::string path = input.substr(0, cut);
    const std::string base = cut == std::string::npos ? std::string() : input.substr(cut + 1);

    checkSplitJoin(path);
    checkClean(path);
    checkRelative(path, base);
    checkEscapes(input);
    checkSelfMatch(path);
    sp_GetDirFromPath(path.c_str());
    sp_GetFileExt(path.c_str());
    sp_ResolveFilename(base.c_str(), path.c_str(), nullptr);
    sp_FilterString(path.c_str(), base.c_str(), false);
    sp_ResolveWireTemplate(path.c_str(), "BUS", "7");
    sp_GlobMatch(base.c_str(), path.c_str());
    checkGlob(base, path);
    return 0;
}
