// Path algebra: splitting and joining, cleaning, relative paths, identity,
// simple file actions, temporary names and the platform name services.
#include <kvsupport/paths.h>
#include <kvsupport/scan.h>

#include "core/text_util.h"
#include "netlist/scan_spans.h"
#include "netlist/utf8_map.h"
#include "platform/path_services.h"
#include "stream/paths_internal.h"

#include <QDir>
#include <QFileInfo>

#include <cstring>
#include <string>

namespace {

// Widths of the split parts in UTF-16 units, without the terminator.
const int maxDirUnits = 256;
const int maxNameUnits = 256;
const int maxExtUnits = 256;
const int maxLeafPartUnits = 255; // name and extension for sp_GetFileName
const int maxFullPathUnits = 260;
const int maxTempDirUnits = 259;

// Last error of sp_ResolvePath, kept for the platform layer's diagnostics.
int resolvePathError = 0;

QString toQ(const YString &s)
{
    return QString::fromUtf8(s.tocs());
}

YString toY(const QString &s)
{
    return YString(s.toUtf8().constData());
}

// Removes every trailing "/" of \p s.
YString stripTrailingSeparators(YString s)
{
    s.stripTrailing("/");
    return s;
}

} // namespace

namespace kv {
namespace detail {

int utf16Units(const char *s)
{
    int units = 0;
    const unsigned char *p = reinterpret_cast<const unsigned char *>(s);
    while (*p) {
        unsigned int cp = 0;
        const int n = decodeUtf8One(p, &cp);
        units += cp >= 0x10000 ? 2 : 1;
        p += n ? n : 1;
    }
    return units;
}

PathName splitUnlimited(const char *path)
{
    PathName out;
    const char *lastSep = std::strrchr(path, '/');
    const char *leaf = lastSep ? lastSep + 1 : path;
    out.dir = YString(path, static_cast<int>(leaf - path));
    const char *dot = std::strrchr(leaf, '.');
    if (dot) {
        out.name = YString(leaf, static_cast<int>(dot - leaf));
        out.ext = YString(dot);
    } else {
        out.name = YString(leaf);
    }
    return out;
}

YString absolutePath(const YString &path)
{
    if (path.isEmpty())
        return YString();
    QString p = toQ(path);
    if (QFileInfo(p).isRelative())
        p = QDir::currentPath() + QLatin1Char('/') + p;
    YString cleaned = sp_CleanPath(toY(p));
    if (path.lastChar() == '/' && cleaned.lastChar() != '/')
        cleaned &= "/";
    return cleaned;
}

} // namespace detail
} // namespace kv

void ProgressObject::setText(const YString &) {}

ProgressObject::~ProgressObject() = default;

SaveDirectory::SaveDirectory() : saved(sp_GetCwd()) {}

SaveDirectory::~SaveDirectory()
{
    if (!saved.isEmpty())
        sp_ChangeDir(saved.tocs());
}

void sp_SplitPath(YString path, PathName *out)
{
    if (out == nullptr)
        return;
    PathName parts = kv::detail::splitUnlimited(path.tocs());
    using kv::detail::utf16Units;
    if (utf16Units(parts.dir.tocs()) > maxDirUnits || utf16Units(parts.name.tocs()) > maxNameUnits ||
        utf16Units(parts.ext.tocs()) > maxExtUnits)
        parts = PathName();
    *out = parts;
}

YString sp_MakePath(const PathName &parts)
{
    return sp_ConvertUnixToLocal(YString(parts.drive & parts.dir & parts.name & parts.ext));
}

YString sp_GetFileName(const YString &path)
{
    PathName parts = kv::detail::splitUnlimited(path.tocs());
    using kv::detail::utf16Units;
    if (utf16Units(parts.name.tocs()) > maxLeafPartUnits || utf16Units(parts.ext.tocs()) > maxLeafPartUnits)
        return YString();
    return YString(parts.name & parts.ext);
}

YString sp_GetFileExt(const YString &path)
{
    PathName parts;
    sp_SplitPath(path, &parts);
    return parts.ext;
}

YString sp_CrackSharedLibraryName(const YString &path)
{
    PathName parts;
    sp_SplitPath(path, &parts);
    return parts.name;
}

YString sp_GetDirFromPath(const char *path)
{
    if (path == nullptr)
        return YString();
    PathName parts;
    sp_SplitPath(YString(path), &parts);
    YString dir = stripTrailingSeparators(sp_ConvertLocalToUnix(parts.dir));
    return YString(parts.drive & sp_ConvertUnixToLocal(dir));
}

// Local and Unix form are the same text on this platform.
YString sp_ConvertLocalToUnix(const YString &path)
{
    return path;
}

YString sp_ConvertUnixToLocal(const YString &path)
{
    return path;
}

namespace {

// True if QDir::cleanPath would give \p p back unchanged: no empty, "." or
// ".." component and no trailing separator (the root alone excepted).
bool alreadyClean(const char *p)
{
    if (*p == 0 || (p[0] == '/' && p[1] == 0))
        return true;
    const char *segment = p;
    for (const char *c = p;; ++c) {
        if (*c != '/' && *c != 0)
            continue;
        const std::size_t length = static_cast<std::size_t>(c - segment);
        const bool leadingRoot = (segment == p && length == 0 && *c == '/');
        if (!leadingRoot && (length == 0 || (length == 1 && segment[0] == '.') ||
                             (length == 2 && segment[0] == '.' && segment[1] == '.')))
            return false;
        if (*c == 0)
            return true;
        segment = c + 1;
    }
}

} // namespace

YString sp_CleanPath(const YString &path)
{
    const char *p = path.tocs();
    if (alreadyClean(p))
        return sp_ConvertUnixToLocal(path);
    YString cleaned = toY(QDir::cleanPath(toQ(path)));
    // A leading "//" (but not "///") may name a network root: keep it.
    if (p[0] == '/' && p[1] == '/' && p[2] != '/' && cleaned.tocs()[1] != '/')
        cleaned = YString(YString("/") & cleaned);
    return sp_ConvertUnixToLocal(cleaned);
}

YString sp_GetFullPath(const YString &path)
{
    YString full = kv::detail::absolutePath(path);
    if (kv::detail::utf16Units(full.tocs()) > maxFullPathUnits)
        return YString();
    return sp_ConvertUnixToLocal(full);
}

bool sp_IsRelativePath(const YString &path)
{
    return QFileInfo(toQ(path)).isRelative();
}

YString sp_GetCwd()
{
    return sp_ConvertUnixToLocal(toY(QDir::currentPath()));
}

bool sp_ExistFile(const char *path)
{
    return kv::platform::pathKind(path) == kv::platform::PathKind::File;
}

// A server name ("//server") is a directory only if the file system says so:
// there is no share enumeration here.
bool sp_ExistDir(YString path)
{
    return kv::platform::pathKind(path.tocs()) == kv::platform::PathKind::Directory;
}

bool sp_MakeDir(const YString &path)
{
    return !path.isEmpty() && QDir().mkdir(toQ(path));
}

bool sp_RemoveDir(const YString &path)
{
    return !path.isEmpty() && QDir().rmdir(toQ(path));
}

namespace {

// Copies the rest of \p in to \p out; write errors are not looked at.
void copyStream(std::FILE *in, std::FILE *out)
{
    char buffer[65536];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, in)) > 0) {
        if (std::fwrite(buffer, 1, n, out) != n)
            break;
    }
}

} // namespace

bool sp_CopyFile(const YString &from, const YString &to, bool overwrite)
{
    // Without overwrite, any entry of the target's name stops the copy: a link
    // whose target is missing must not be written through.
    if (!overwrite && kv::platform::entryExists(to.tocs()))
        return false;
    std::string fromId = kv::platform::fileIdentity(from.tocs());
    if (!fromId.empty() && fromId == kv::platform::fileIdentity(to.tocs()))
        return false; // opening the target would empty the source
    std::FILE *in = kv::platform::openForReading(from.tocs());
    if (in == nullptr)
        return false;
    std::FILE *out = kv::platform::openForWriting(to.tocs(), "wb");
    if (out == nullptr) {
        std::fclose(in);
        return false;
    }
    copyStream(in, out);
    std::fclose(in);
    std::fclose(out);
    return true;
}

int sp_ChangeDir(const char *path)
{
    if (path == nullptr)
        return 1;
    while (*path == ' ' || *path == '\t')
        ++path;
    if (!sp_ExistDir(YString(path)))
        return 1;
    return QDir::setCurrent(QString::fromUtf8(path)) ? 0 : 1;
}

bool sp_ChangeDrive(const YString &drive)
{
    (void)drive; // no drives on this platform: never a drive to change to
    return false;
}

YString sp_GetTempFile()
{
    return sp_GetTempFile(toY(QDir::tempPath()));
}

YString sp_GetTempFile(const YString &dir)
{
    std::string where = dir.isEmpty() ? QDir::currentPath().toStdString() : std::string(dir.tocs());
    std::string made = kv::platform::createUniqueFile(where, "kv$", ".tmp");
    return sp_ConvertUnixToLocal(YString(made.c_str()));
}

YString sp_GetTemporaryFileName(const YString &name)
{
    YString leaf = sp_GetFileName(name);
    if (leaf.isEmpty())
        return YString();
    YString dir = toY(QDir::tempPath());
    if (dir.lastChar() != '/')
        dir &= "/";
    if (kv::detail::utf16Units(dir.tocs()) > maxTempDirUnits)
        return YString();
    return sp_ConvertUnixToLocal(YString(dir & leaf));
}

namespace {

// The first pattern's extension in a dialogue filter text, or empty.
YString filterExtension(const YString &filter)
{
    YArray<YString> tokens;
    sp_ScanLine(filter.tocs(), "()", &tokens, 2);
    if (tokens.getCount() < 2)
        return YString();
    const char *p = tokens.at(1).tocs();
    while (*p == '.' || *p == '*')
        ++p;
    return YString(p, static_cast<int>(std::strcspn(p, ";")));
}

} // namespace

YString sp_ResolveFilename(YString filter, YString name, const char *extension)
{
    PathName parts;
    sp_SplitPath(name, &parts);
    if (!parts.ext.isEmpty())
        return name;
    YString ext = (extension && *extension) ? YString(extension) : filterExtension(filter);
    if (ext.isEmpty())
        return name;
    return YString(name & "." & ext);
}

namespace {

// True if two path components name the same entry (with regard to case
// where file names have it).
bool sameComponent(const kv::detail::TokenSpan &a, const kv::detail::TokenSpan &b)
{
    if (a.length != b.length)
        return false;
    const std::size_t n = static_cast<std::size_t>(a.length);
    return sp_CaseSensitiveFiles() ? std::memcmp(a.start, b.start, n) == 0
                                   : kv::detail::strnicmp(a.start, b.start, n) == 0;
}

bool beginsWithServer(const YString &s)
{
    return s.tocs()[0] == '/' && s.tocs()[1] == '/';
}

} // namespace

YString sp_RelativePath(YString path, YString base)
{
    YString p = sp_ConvertLocalToUnix(sp_CleanPath(path));
    YString b = sp_ConvertLocalToUnix(sp_CleanPath(base));
    const bool pServer = beginsWithServer(p);
    // Paths here have no drive, so two paths never differ in theirs, and the
    // directory text is the whole path: its last component counts as a
    // directory.
    if (pServer != beginsWithServer(b) || b.isEmpty())
        return sp_ConvertUnixToLocal(p);
    if (p.comparePath(b) == 0)
        return YString(".");
    std::vector<kv::detail::TokenSpan> pc, bc;
    kv::detail::scanLineSpans(p.tocs(), "/", &pc);
    kv::detail::scanLineSpans(b.tocs(), "/", &bc);
    std::size_t common = 0;
    while (common < pc.size() && common < bc.size() && sameComponent(pc[common], bc[common]))
        ++common;
    if (pServer && common < 2)
        return sp_ConvertUnixToLocal(p);
    std::string result;
    for (std::size_t i = common; i < bc.size(); ++i)
        result += "../";
    for (std::size_t i = common; i < pc.size(); ++i) {
        result.append(pc[i].start, static_cast<std::size_t>(pc[i].length));
        result += '/';
    }
    while (!result.empty() && result.back() == '/')
        result.pop_back();
    return sp_ConvertUnixToLocal(YString(result.c_str()));
}

bool sp_ComparePaths(const YString &a, const YString &b)
{
    if (a.comparePath(b) == 0)
        return true;
    if (sp_GetUNCPath(a, nullptr).comparePath(sp_GetUNCPath(b, nullptr)) == 0)
        return true;
    std::string ia = kv::platform::fileIdentity(a.tocs());
    std::string ib = kv::platform::fileIdentity(b.tocs());
    return !ia.empty() && !ib.empty() && ia == ib;
}

YString sp_GetShortPathName(const YString &path)
{
    return path;
}

YString sp_GetLongPathName(const YString &path)
{
    return path;
}

YString sp_GetUNCPath(const YString &path, bool *isUNC)
{
    YString local = sp_ConvertUnixToLocal(path);
    if (isUNC)
        *isUNC = beginsWithServer(local);
    return local;
}

YString sp_GetVolumeName(const YString &path)
{
    (void)path; // no volume names on this platform
    return YString();
}

KvDriveType sp_GetDriveType(const YString &path)
{
    YString local = sp_ConvertUnixToLocal(path);
    if (!sp_ExistDir(local))
        return KvDriveNoRoot;
    switch (kv::platform::storageKind(local.tocs())) {
    case kv::platform::StorageKind::Local: return KvDriveLocal;
    case kv::platform::StorageKind::Remote: return KvDriveRemote;
    case kv::platform::StorageKind::Optical: return KvDriveCdRom;
    case kv::platform::StorageKind::Ram: return KvDriveRam;
    default: return KvDriveUnknown;
    }
}

YString sp_ResolvePath(const char *path)
{
    std::string resolved = kv::platform::canonicalName(path, &resolvePathError);
    return YString(resolved.c_str());
}

YString sp_GetCompatiblePathName(const YString &path)
{
    YString longForm = sp_GetLongPathName(path);
    return kv::detail::compatiblePath(longForm, sp_GetShortPathName(longForm), false);
}

YString sp_GetPathWithNoSpaces(const YString &path)
{
    YString longForm = sp_GetLongPathName(path);
    return kv::detail::compatiblePath(longForm, sp_GetShortPathName(longForm), true);
}
