// Directory listing, walking, searching, tree making, copying and deletion.
#include <kvsupport/paths.h>
#include <kvsupport/pattern.h>

#include "core/field_split.h"
#include "core/text_util.h"
#include "platform/path_services.h"
#include "stream/paths_internal.h"

#include <QDir>
#include <QFileInfo>

#include <cstring>
#include <set>
#include <string>

namespace {

QString toQ(const YString &s)
{
    return QString::fromUtf8(s.tocs());
}

YString toY(const QString &s)
{
    return YString(s.toUtf8().constData());
}

YString nativeY(const QString &s)
{
    return toY(QDir::toNativeSeparators(s));
}

// The directory part of a listing ("dir/pattern"): the parts before the
// pattern joined by "/"; a listing such as "/x" stands for the root, not the
// current directory.
QString listingDirectory(const std::vector<YString> &parts)
{
    if (parts.size() < 2)
        return QString();
    YString dir = kv::detail::joinFields(parts, parts.size() - 1, "/");
    return dir.isEmpty() ? QStringLiteral("/") : toQ(dir);
}

// Entries that deletion removes: everything that is not a directory of its
// own, symbolic links (to anything) and special files included.
std::vector<YString> deletableEntries(const YString &dir)
{
    std::vector<YString> out;
    QDir d(toQ(dir));
    const QFileInfoList entries = d.entryInfoList(
        QStringList(QStringLiteral("*")),
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Unsorted);
    for (const QFileInfo &info : entries) {
        if (info.isSymLink() || !info.isDir())
            out.push_back(toY(info.fileName()));
    }
    return out;
}

} // namespace

namespace kv {
namespace detail {

std::vector<YString> listFiles(const YString &filePattern, bool fullPath, bool useNameFilter)
{
    std::vector<YString> out;
    std::vector<YString> parts = splitFields(sp_ConvertLocalToUnix(filePattern).tocs(), '/');
    if (parts.empty())
        return out;
    const YString &pattern = parts.back();
    QDir dir(listingDirectory(parts));
    const QString filter = useNameFilter ? toQ(pattern) : QStringLiteral("*");
    const QFileInfoList entries =
        dir.entryInfoList(QStringList(filter), QDir::Files | QDir::Hidden, QDir::Unsorted);
    for (const QFileInfo &info : entries) {
        YString name = toY(info.fileName());
        if (!useNameFilter && !sp_FilterString(name.tocs(), pattern, false))
            continue;
        out.push_back(fullPath ? nativeY(info.absoluteFilePath()) : nativeY(info.fileName()));
    }
    return out;
}

std::vector<YString> descendDirectories(const YString &root)
{
    std::vector<YString> out;
    std::set<std::string> seen; // guards against a directory mounted inside itself
    std::vector<QString> stack{QDir(toQ(root)).absolutePath()};
    while (!stack.empty()) {
        QString top = stack.back();
        stack.pop_back();
        if (!seen.insert(kv::platform::fileIdentity(top.toUtf8().constData())).second)
            continue;
        const QFileInfoList entries = QDir(top).entryInfoList(
            QStringList(QStringLiteral("*")), QDir::Dirs | QDir::Readable | QDir::Hidden | QDir::NoSymLinks,
            QDir::Unsorted);
        for (const QFileInfo &info : entries) {
            const QString name = info.fileName();
            if (name == QLatin1String(".") || name == QLatin1String("..") || !info.isDir())
                continue;
            QString path = (top.endsWith(QLatin1Char('/')) ? top : top + QLatin1Char('/')) + name;
            stack.push_back(path);
            out.push_back(nativeY(path));
        }
    }
    return out;
}

} // namespace detail
} // namespace kv

namespace {

// A search-list entry with \p sub appended, trailing separators stripped; the
// root stays "/".
YString searchEntry(const YString &entry, const YString &sub)
{
    YString e = sp_ConvertLocalToUnix(entry);
    const bool rooted = e.tocs()[0] == '/';
    e.stripTrailing("/");
    if (!sub.isEmpty()) {
        e = YString(e & "/" & sub);
        e.stripTrailing("/");
    }
    if (e.isEmpty() && rooted)
        e = YString("/");
    return e;
}

} // namespace

void sp_ListDirectory(const YString &filePattern, YList<YString> *out, bool fullPath, bool useNameFilter)
{
    if (out == nullptr)
        return;
    for (const YString &name : kv::detail::listFiles(filePattern, fullPath, useNameFilter))
        out->prepend(name);
}

void sp_DescendDirectories(const YString &root, YList<YString> *out)
{
    if (out == nullptr)
        return;
    for (const YString &dir : kv::detail::descendDirectories(root))
        out->prepend(dir);
}

YString sp_SearchDirectories(YString file, const YList<YString> &dirs)
{
    YString f = sp_ConvertLocalToUnix(file);
    if (!sp_IsRelativePath(f))
        return sp_ConvertUnixToLocal(toY(QDir(toQ(f)).absolutePath()));
    PathName parts = kv::detail::splitUnlimited(f.tocs());
    YString leaf(parts.name & parts.ext);
    if (leaf.isEmpty())
        return YString();
    for (auto it = dirs.begin(); it != dirs.end(); ++it) {
        const YString &entry = *it;
        YString e = searchEntry(entry, parts.dir);
        if (QDir(e.isEmpty() ? QStringLiteral(".") : toQ(e)).exists(toQ(leaf))) {
            YString hit = e.lastChar() == '/' ? YString(e & leaf) : YString(e & "/" & leaf);
            return sp_ConvertUnixToLocal(hit);
        }
    }
    return YString();
}

namespace {

bool isServerOnly(const YString &path)
{
    const char *p = path.tocs();
    return p[0] == '/' && p[1] == '/' && std::strchr(p + 2, '/') == nullptr;
}

} // namespace

bool sp_MakeTree(YString path)
{
    YString full = sp_ConvertLocalToUnix(kv::detail::absolutePath(path));
    std::vector<YString> parts = kv::detail::splitFields(full.tocs(), '/');
    if (parts.empty())
        return false;
    YString made = parts[0];
    for (std::size_t i = 1; i < parts.size(); ++i) {
        QDir parent(made.isEmpty() ? QStringLiteral("/") : toQ(made));
        made = YString(made & "/" & parts[i]);
        if (isServerOnly(made) || sp_ExistDir(made))
            continue;
        if (!parent.mkdir(toQ(parts[i])))
            return false;
    }
    return true;
}

namespace {

// True if \p dir exists and holds any entry.
bool holdsEntries(const YString &dir)
{
    QDir d(toQ(dir));
    if (!d.exists())
        return false;
    return !d.entryInfoList(QStringList(QStringLiteral("*")),
                            QDir::Dirs | QDir::Files | QDir::Drives | QDir::Hidden | QDir::System |
                                QDir::NoDotAndDotDot,
                            QDir::Unsorted)
                .isEmpty();
}

// Outcome of copying one directory's files.
enum FilesCopied { AllCopied = 0, NoFiles = 1, SomeFailed = 2, NoneCopied = 3 };

FilesCopied copyDirectoryFiles(const YString &from, const YString &to)
{
    std::vector<YString> files = kv::detail::listFiles(YString(from & "/*"), false, true);
    if (files.empty())
        return NoFiles;
    int copied = 0;
    int failed = 0;
    for (auto it = files.rbegin(); it != files.rend(); ++it) {
        if (sp_CopyFile(YString(from & "/" & *it), YString(to & "/" & *it), false))
            ++copied;
        else
            ++failed;
    }
    if (failed == 0)
        return AllCopied;
    return copied ? SomeFailed : NoneCopied;
}

} // namespace

CopyTreeErr sp_CopyTree(const YString &from, const YString &to)
{
    if (!sp_ExistDir(from))
        return CopyTreeNoSource;
    if (holdsEntries(to))
        return CopyTreeDestNotEmpty;
    if (!sp_MakeTree(to))
        return CopyTreeFailed;
    // Everything is walked in absolute form, so that the relative path of
    // each directory against the source is right whatever form it was given in.
    const YString base = toY(QDir(toQ(from)).absolutePath());
    std::vector<YString> found = kv::detail::descendDirectories(base);
    std::vector<YString> dirs{base};
    dirs.insert(dirs.end(), found.rbegin(), found.rend());
    bool failed = false;
    bool achieved = false;
    for (const YString &d : dirs) {
        YString target(to & "/" & sp_RelativePath(d, base));
        if (!sp_MakeTree(target))
            failed = true;
        switch (copyDirectoryFiles(d, target)) {
        case AllCopied: achieved = true; break;
        case SomeFailed:
        case NoneCopied: failed = true; break;
        case NoFiles: break;
        }
    }
    if (!failed)
        return CopyTreeOk;
    return achieved ? CopyTreePartial : CopyTreeFailed;
}

CopyTreeErr sp_DeleteFilesFromDir(const YString &dir, ProgressObject *progress)
{
    std::vector<YString> files = deletableEntries(dir);
    if (files.empty())
        return (progress && progress->isAborted()) ? CopyTreeAborted : CopyTreeNothingToDo;
    int removed = 0;
    int failed = 0;
    for (auto it = files.rbegin(); it != files.rend(); ++it) {
        if (kv::platform::removeFile(YString(dir & "/" & *it).tocs()))
            ++removed;
        else
            ++failed;
        if (progress) {
            progress->step(1);
            if (progress->isAborted())
                return CopyTreeAborted;
            progress->setItem(*it);
        }
    }
    if (failed == 0)
        return CopyTreeOk;
    return removed ? CopyTreePartial : CopyTreeFailed;
}

namespace {

// Marks of a tree deletion.
struct DeleteMarks {
    bool allWell = true;
    bool nothingDone = true;
};

// Announces the number of steps of deleting \p dirs.
void announceDeletion(const std::vector<YString> &dirs, ProgressObject *progress)
{
    std::size_t files = 0;
    for (const YString &d : dirs)
        files += deletableEntries(d).size();
    progress->start();
    progress->setTotal(static_cast<int>(files + dirs.size()));
}

// Deletes the files of every directory; false if the progress object asked to
// stop.
bool deleteAllFiles(const std::vector<YString> &dirs, ProgressObject *progress, DeleteMarks *marks)
{
    for (const YString &d : dirs) {
        switch (sp_DeleteFilesFromDir(d, progress)) {
        case CopyTreeOk: marks->nothingDone = false; break;
        case CopyTreeFailed: marks->allWell = false; break;
        case CopyTreePartial: marks->allWell = marks->nothingDone = false; break;
        case CopyTreeAborted: return false;
        default: break;
        }
    }
    return true;
}

// Removes the (now empty) directories; false if asked to stop.
bool removeAllDirectories(const std::vector<YString> &dirs, ProgressObject *progress, DeleteMarks *marks)
{
    for (const YString &d : dirs) {
        if (sp_RemoveDir(d))
            marks->nothingDone = false;
        else
            marks->allWell = false;
        if (progress) {
            if (progress->isAborted())
                return false;
            progress->step(1);
            progress->setItem(sp_GetFileName(d));
        }
    }
    return true;
}

} // namespace

CopyTreeErr sp_DeleteTree(const YString &root, ProgressObject *progress)
{
    if (!sp_ExistDir(root))
        return CopyTreeNoSource;
    if (kv::detail::isFileSystemRoot(sp_ResolvePath(root.tocs())))
        return CopyTreeFailed; // the whole file system is never a tree to delete
    std::vector<YString> found = kv::detail::descendDirectories(root);
    std::vector<YString> dirs(found.rbegin(), found.rend());
    dirs.push_back(root);
    if (progress)
        announceDeletion(dirs, progress);
    DeleteMarks marks;
    if (!deleteAllFiles(dirs, progress, &marks) || !removeAllDirectories(dirs, progress, &marks))
        return CopyTreeAborted;
    if (marks.allWell)
        return CopyTreeOk;
    return marks.nothingDone ? CopyTreeFailed : CopyTreePartial;
}

bool sp_DirectoryIsWriteable(const YString &dir)
{
    std::vector<YString> files = kv::detail::listFiles(YString(dir & "/*"), false, true);
    YString probe("$Temp$");
    int counter = 0;
    auto taken = [&files](const YString &name) {
        for (const YString &f : files)
            if (kv::detail::stricmp(f.tocs(), name.tocs()) == 0)
                return true;
        return false;
    };
    while (!files.empty() && taken(probe))
        probe = YString(YString("$temp$_") & YString(counter++));
    YString target(dir & "/" & probe);
    // "x": never open (and so empty) a file that exists under that name.
    std::FILE *f = kv::platform::openForWriting(target.tocs(), "wx");
    if (f == nullptr)
        return false;
    std::fclose(f);
    kv::platform::removeFile(target.tocs());
    return true;
}
