// Profile files: the process-wide cache of parsed files, the refresh that
// keeps it in step with the disk, and the whole-file rewrite.
#include <kvsupport/profile.h>

#include <kvsupport/jfile.h>
#include <kvsupport/paths.h>
#include <kvsupport/scan.h>
#include <kvsupport/sysinfo.h>
#include <kvsupport/threads.h>

#include "platform/file_stamp.h"
#include "stream/final_path.h"

#include <QFile>
#include <QString>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <mutex>
#include <vector>

namespace {

const int kBuckets = 101;
const int kReadWaitMs = 100;
const int kWriteWaitMs = 1000;

// Serial number of every entry made, for any file.
int nextOrder = 0;

// One line of a file in memory: a setting (empty comment) or a comment
// (empty key and value).
struct ProfileEntry {
    YString section;
    YString key;
    YString value;
    YString comment;
    int order = 0;
};

struct EntryTraits {
    static unsigned int hash(const ProfileEntry &e)
    {
        YString text = e.section;
        text &= e.key;
        return text.hashValue();
    }
    static bool equal(const ProfileEntry &a, const ProfileEntry &b)
    {
        return a.section.compare(b.section, YString::IgnoreCase) == 0 &&
               a.key.compare(b.key, YString::IgnoreCase) == 0;
    }
};

using EntryTable = YHashTable<ProfileEntry, EntryTraits>;

ProfileEntry makeEntry(const YString &section, const YString &key, const YString &value,
                       const YString &comment)
{
    ProfileEntry e;
    e.section = section;
    e.key = key;
    e.value = value;
    e.comment = comment;
    e.order = ++nextOrder;
    return e;
}

ProfileEntry keyOf(const YString &section, const YString &key)
{
    ProfileEntry e;
    e.section = section;
    e.key = key;
    return e;
}

bool sameName(const YString &a, const YString &b)
{
    return a.compare(b, YString::IgnoreCase) == 0;
}

// One file in memory.
struct ProfileFile {
    explicit ProfileFile(const YString &fullPath)
        : path(fullPath), entries(kBuckets, 0)
    {
        mutexName = "kv_mutex_inifile_";
        mutexName &= YString(static_cast<long long>(path.hashValue()));
    }
    YString path;
    YString mutexName;
    long long modifiedTime = -1;
    long long size = 0;
    EntryTable entries;
    YList<YString> sections;
    bool dirty = false;
    bool needReload = true;

    bool hasSection(const YString &name) const
    {
        for (const YString &s : sections)
            if (sameName(s, name))
                return true;
        return false;
    }
    void clear()
    {
        entries.flush();
        sections.clear();
    }
    void storeStamp()
    {
        modifiedTime = sp_GetFileModifiedTime(path.tocs());
        size = sp_GetFileSize64(path.tocs());
    }
};

// The cache: newest file first, never shrinking before the library goes.
struct ProfileCache {
    std::mutex lock;
    std::vector<std::unique_ptr<ProfileFile>> files;
};

ProfileCache &cache()
{
    static ProfileCache c;
    return c;
}

ProfileFile *findFile(const char *file)
{
    if (file == nullptr || *file == 0)
        return nullptr;
    YString path = sp_ConvertUnixToLocal(sp_GetFullPath(YString(file)));
    if (path.isEmpty())
        return nullptr;
    auto &files = cache().files;
    for (auto &f : files)
        if (f->path.comparePath(path) == 0)
            return f.get();
    files.insert(files.begin(), std::make_unique<ProfileFile>(path));
    return files.front().get();
}

// Takes the file's mutex within \p ms. Only a time-out refuses: a system
// that can't give a named mutex at all still reads and writes its files.
bool takeMutex(YSystemMutex &mutex, int ms)
{
    MutexWaitStatus status = MutexFailed;
    mutex.wait(ms, &status);
    return status != MutexTimedOut;
}

// ------------------------------------------------------------------ load

void parseSetting(ProfileFile *pf, const YString &section, YString line)
{
    YString key;
    YString value;
    int eq = line.first('=');
    if (eq < line.length()) {
        key = line.substring(0, eq);
        key.stripTrailing(" \t");
        value = line.substring(eq + 1, line.length() - eq - 1);
        value.stripLeading(" \t");
        value.stripTrailing(" \t");
        value.stripQuotes("\"");
    }
    ProfileEntry probe = keyOf(section, key);
    if (!pf->entries.contains(probe))
        pf->entries.add(makeEntry(section, key, value, YString()));
}

void parseLines(ProfileFile *pf, FILE *file)
{
    YString section;
    YString line;
    while (sp_ReadNextNonBlankLine(file, &line, nullptr)) {
        line.stripLeading(" \t");
        if (line.tocs()[0] == ';') {
            pf->entries.add(makeEntry(section, YString(), YString(), line));
            continue;
        }
        line.stripTrailing(" \t\n\r");
        if (line.tocs()[0] == '[' && line.lastChar() == ']') {
            YString rest = line;
            section = rest.strtok("[]");
            pf->sections.append(section);
            continue;
        }
        if (section.isEmpty())
            continue;
        parseSetting(pf, section, line);
    }
}

bool load(ProfileFile *pf)
{
    if (!sp_ExistFile(pf->path.tocs())) {
        pf->clear();
        return false;
    }
    YSystemMutex mutex(pf->mutexName);
    if (!takeMutex(mutex, kReadWaitMs))
        return false;
    JFile file(pf->path.tocs(), "r");
    pf->clear();
    if (file.get() == nullptr)
        return false;
    parseLines(pf, file.get());
    return true;
}

// ----------------------------------------------------------------- flush

void writeSection(const ProfileFile *pf, const YString &name, FILE *out)
{
    std::vector<const ProfileEntry *> list;
    for (const ProfileEntry &e : pf->entries)
        if (sameName(e.section, name))
            list.push_back(&e);
    if (list.size() >= 2)
        std::sort(list.begin(), list.end(),
                  [](const ProfileEntry *a, const ProfileEntry *b) { return a->order < b->order; });
    std::fprintf(out, "[%s]\n", name.tocs());
    for (const ProfileEntry *e : list) {
        if (e->comment.isEmpty())
            std::fprintf(out, "%s=%s\n", e->key.tocs(), e->value.tocs());
        else
            std::fprintf(out, "%s\n", e->comment.tocs());
    }
}

// A rewrite must leave a time stamp later than the one it replaces, or a
// process that saw the old file at the same clock tick and size would
// miss the change.
void advanceStamp(const YString &previousPath, const YString &newPath)
{
    long long before = sp_GetFileModifiedTime(previousPath.tocs());
    long long now = sp_GetFileModifiedTime(newPath.tocs());
    if (before != 0 && now != 0 && now <= before)
        kv::platform::setFileModifiedTime(newPath.tocs(), before + 1);
}

// Writes the file through a temporary file beside it; true also when no
// data could reach the disk (the caller then forgets its changes' dirtiness).
bool flush(ProfileFile *pf)
{
    YSystemMutex mutex(pf->mutexName);
    if (!takeMutex(mutex, kWriteWaitMs))
        return false;
    const YString destination = kv::detail::finalPathOf(pf->path); // a link stays a link
    YString temporary = sp_GetTempFile(sp_GetDirFromPath(destination.tocs()));
    if (temporary.isEmpty())
        return true;
    JFile file(temporary.tocs(), "w");
    if (file.get() == nullptr) {
        std::remove(temporary.tocs());
        return true;
    }
    bool first = true;
    for (const YString &name : pf->sections) {
        if (!first)
            std::fputs("\n", file.get());
        first = false;
        writeSection(pf, name, file.get());
    }
    bool bad = std::fflush(file.get()) != 0 || std::ferror(file.get()) != 0;
    bad = std::fclose(file.detach()) != 0 || bad;
    QString target = QString::fromUtf8(destination.tocs());
    if (!bad && QFile::exists(target))
        QFile::setPermissions(QString::fromUtf8(temporary.tocs()), QFile::permissions(target));
    if (!bad)
        advanceStamp(destination, temporary);
    if (bad || std::rename(temporary.tocs(), destination.tocs()) != 0)
        std::remove(temporary.tocs());
    return true;
}

// --------------------------------------------------------------- refresh

void refresh(ProfileFile *pf)
{
    long long t = sp_GetFileModifiedTime(pf->path.tocs());
    long long s = sp_GetFileSize64(pf->path.tocs());
    if (t != pf->modifiedTime || s != pf->size) {
        pf->modifiedTime = t;
        pf->size = s;
        pf->needReload = true;
        if (load(pf))
            pf->dirty = pf->needReload = false;
    } else if (pf->needReload) {
        if (load(pf))
            pf->dirty = pf->needReload = false;
    } else if (pf->dirty) {
        if (flush(pf)) {
            pf->dirty = false;
            pf->storeStamp();
        }
    }
}

// Writes the changes, if any, and takes the new time stamp.
void flushIfDirty(ProfileFile *pf)
{
    if (pf->dirty && flush(pf)) {
        pf->storeStamp();
        pf->dirty = false;
    }
}

void setValue(ProfileFile *pf, const YString &section, const YString &key, const YString &value)
{
    ProfileEntry *e = pf->entries.find(keyOf(section, key));
    if (e != nullptr) {
        if (e->value.compare(value) != 0) {
            e->value = value;
            pf->dirty = true;
        }
        return;
    }
    if (!pf->hasSection(section))
        pf->sections.prepend(section);
    pf->entries.add(makeEntry(section, key, value, YString()));
    pf->dirty = true;
}

// A writer holds the file's mutex from its refresh to the end of its
// rewrite, so no other process rewrites the file in between. A time-out
// leaves the refresh and the rewrite to take (or miss) the mutex each on
// its own.
class WriteScope {
public:
    explicit WriteScope(ProfileFile *pf) : mutex(pf->mutexName) { mutex.wait(kWriteWaitMs); }

private:
    YSystemMutex mutex;
};

} // namespace

// ------------------------------------------------------------- interface

bool sp_GetPrivateProfileString(const char *section, const char *key, const char *file, YString *value)
{
    if (value != nullptr)
        *value = YString();
    std::lock_guard<std::mutex> guard(cache().lock);
    ProfileFile *pf = findFile(file);
    if (pf == nullptr || section == nullptr || key == nullptr)
        return false;
    refresh(pf);
    const ProfileEntry *e = pf->entries.find(keyOf(YString(section), YString(key)));
    if (e == nullptr)
        return false;
    if (value != nullptr)
        *value = e->value;
    return true;
}

bool sp_WritePrivateProfileString(const char *file, const char *section, const char *key, const char *value)
{
    std::lock_guard<std::mutex> guard(cache().lock);
    ProfileFile *pf = findFile(file);
    if (pf == nullptr || section == nullptr || key == nullptr)
        return false;
    WriteScope scope(pf);
    refresh(pf);
    if (value != nullptr) {
        setValue(pf, YString(section), YString(key), YString(value));
    } else if (pf->entries.remove(keyOf(YString(section), YString(key)))) {
        pf->dirty = true;
    }
    flushIfDirty(pf);
    return sp_ExistFile(pf->path.tocs());
}

bool sp_WritePrivateProfileStrings(const YString &file, const YString &section, const YList<NameValuePair> &values)
{
    std::lock_guard<std::mutex> guard(cache().lock);
    ProfileFile *pf = findFile(file.tocs());
    if (pf == nullptr)
        return false;
    WriteScope scope(pf);
    refresh(pf);
    for (const NameValuePair &pair : values)
        setValue(pf, section, pair.name, pair.value);
    flushIfDirty(pf);
    return sp_ExistFile(pf->path.tocs());
}

bool sp_GetProfileKeyNames(const YString &file, const YString &section, YList<YString> *keys)
{
    std::lock_guard<std::mutex> guard(cache().lock);
    ProfileFile *pf = findFile(file.tocs());
    if (pf == nullptr)
        return false;
    refresh(pf);
    if (!sp_ExistFile(pf->path.tocs()) || !pf->hasSection(section))
        return false;
    for (const ProfileEntry &e : pf->entries)
        if (e.comment.isEmpty() && sameName(e.section, section) && keys != nullptr)
            keys->prepend(e.key);
    return true;
}

bool sp_GetProfileSectionNames(const YString &file, YList<YString> *names)
{
    std::lock_guard<std::mutex> guard(cache().lock);
    ProfileFile *pf = findFile(file.tocs());
    if (pf == nullptr)
        return false;
    refresh(pf);
    if (!sp_ExistFile(pf->path.tocs()))
        return false;
    if (names != nullptr)
        *names = pf->sections;
    return true;
}

int sp_DeletePrivateProfileSection(const YString &file, const YString &section)
{
    std::lock_guard<std::mutex> guard(cache().lock);
    ProfileFile *pf = findFile(file.tocs());
    if (pf == nullptr)
        return 0;
    WriteScope scope(pf);
    refresh(pf);
    if (!pf->hasSection(section)) {
        flushIfDirty(pf);
        return 0;
    }
    std::vector<ProfileEntry> doomed;
    for (const ProfileEntry &e : pf->entries)
        if (sameName(e.section, section))
            doomed.push_back(keyOf(e.section, e.key));
    int removed = 0;
    for (const ProfileEntry &key : doomed)
        removed += pf->entries.removeAll(key);
    YList<YString> kept;
    for (const YString &s : pf->sections)
        if (!sameName(s, section))
            kept.append(s);
    pf->sections = kept;
    pf->dirty = true;
    flushIfDirty(pf);
    return removed;
}

long long sp_GetProfileTimeStamp(const YString &file)
{
    std::lock_guard<std::mutex> guard(cache().lock);
    ProfileFile *pf = findFile(file.tocs());
    if (pf == nullptr)
        return 0;
    long long t = sp_GetFileModifiedTime(pf->path.tocs());
    long long s = sp_GetFileSize64(pf->path.tocs());
    if (t == pf->modifiedTime && s == pf->size)
        return pf->modifiedTime;
    pf->modifiedTime = t;
    pf->size = s;
    pf->needReload = true;
    return t;
}
