// FileLock and the open-failure diagnosis.
#include <kvsupport/filelock.h>
#include <kvsupport/sysinfo.h>

#include "core/text_util.h"
#include "platform/lock_file.h"
#include "platform/lock_owner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>

#include <string>

FileLock::FileLock() : handle(-1), error(0) {}

FileLock::FileLock(const FileLock &other)
    : handle(kv::platform::duplicateLockFile(other.handle)), lockFile(other.lockFile), error(other.error)
{
}

FileLock &FileLock::operator=(const FileLock &other)
{
    if (this == &other)
        return *this;
    unlock();
    handle = kv::platform::duplicateLockFile(other.handle);
    lockFile = other.lockFile;
    error = other.error;
    return *this;
}

FileLock::~FileLock()
{
    if (locked())
        unlock();
    else if (!lockFile.isEmpty())
        kv::platform::removeLockFileIfFree(lockFile.tocs());
}

bool FileLock::lock(const YString &file)
{
    YString name = file & ".lck";
    if (kv::detail::stricmp(name.tocs(), lockFile.tocs()) != 0)
        unlock();
    lockFile = name;
    return relock();
}

bool FileLock::relock()
{
    if (locked()) {
        kv::platform::releaseLockFile(handle, lockFile.tocs());
        handle = -1;
    }
    handle = kv::platform::acquireLockFile(lockFile.tocs(), &error);
    if (handle < 0)
        return false;
    std::string text = std::string(sp_GetUserName().tocs()) + "@" + kv::platform::lockMachineName() + "\r\n";
    kv::platform::writeLockFile(handle, text.data(), static_cast<unsigned>(text.size()));
    return true;
}

void FileLock::unlock()
{
    if (!locked())
        return;
    kv::platform::releaseLockFile(handle, lockFile.tocs());
    handle = -1;
}

FileLockError FileLock::getError() const
{
    if (error == 0)
        return FileLockNoError;
    switch (kv::platform::classifyLockError(error)) {
    case kv::platform::LockFileHeldElsewhere:
        return FileLockInUse;
    case kv::platform::LockFileDenied:
        return FileLockAccessDenied;
    default:
        return FileLockOtherError;
    }
}

namespace {

QString toQ(const YString &s)
{
    return QString::fromUtf8(s.tocs());
}

bool opensForAppend(GfnOpenMode mode)
{
    return mode == GfnOpenNew || mode == GfnOpenAppend;
}

// Opens and closes the file as \p mode asks; a file that the attempt made is
// removed again when \p removeMade is set.
// A name that is a link to a missing file makes that file when opened for
// writing: then the file made is removed and the link stays as it was.
bool tryOpen(const QString &name, GfnOpenMode mode, bool removeMade)
{
    QFile file(name);
    QFileInfo before(name);
    bool danglingLink = before.isSymLink() && !before.exists();
    bool existed = file.exists() && !danglingLink;
    QIODevice::OpenMode how = opensForAppend(mode) ? (QIODevice::WriteOnly | QIODevice::Append)
                                                   : QIODevice::OpenMode(QIODevice::ReadOnly);
    bool opened = file.open(how);
    file.close();
    if (opened && !existed && removeMade) {
        if (danglingLink) {
            QString made = QFileInfo(name).canonicalFilePath();
            if (!made.isEmpty())
                QFile::remove(made);
        } else {
            file.remove();
        }
    }
    return opened;
}

FileOpenForensic diagnose(const QString &name, GfnOpenMode mode)
{
    if (mode == GfnOpenNew && !name.isEmpty() && tryOpen(name, mode, true))
        return FileOpenNameTaken;
    QFileInfo info(name);
    if (mode == GfnOpenRead) {
        if (!info.exists())
            return FileOpenMissing;
        return info.isReadable() ? FileOpenReadInUse : FileOpenReadDenied;
    }
    if (mode != GfnOpenNew && mode != GfnOpenWrite)
        return FileOpenInternalError;
    if (!info.exists())
        return info.dir().exists() ? FileOpenDirectoryDenied : FileOpenNoDirectory;
    return info.isWritable() ? FileOpenWriteInUse : FileOpenWriteDenied;
}

const char *tailOf(FileOpenForensic reason)
{
    switch (reason) {
    case FileOpenNameTaken:
        return " cannot be opened because another file of the same name already exists";
    case FileOpenMissing:
        return " does not exist";
    case FileOpenReadDenied:
        return " cannot be opened for read because of insufficient privilege";
    case FileOpenReadInUse:
        return " cannot be opened for read possibly because it is in use by another process";
    case FileOpenNoDirectory:
        return " cannot be opened because its directory does not exist";
    case FileOpenDirectoryDenied:
        return " cannot be opened for write possibly because of insufficient directory privilege";
    case FileOpenWriteDenied:
        return " cannot be opened for write because of insufficient privilege";
    case FileOpenWriteInUse:
        return " cannot be opened for write possibly because it is in use by another process";
    default:
        return nullptr;
    }
}

} // namespace

bool sp_CheckFileOpen(const YString &file, GfnOpenMode mode)
{
    if (file.isEmpty())
        return false;
    QString name = toQ(file);
    if (mode == GfnOpenNew && QFile::exists(name))
        return false;
    return tryOpen(name, mode, true);
}

bool sp_FileOpenForensic(const YString &file, GfnOpenMode mode, FileOpenForensic *out)
{
    FileOpenForensic reason = diagnose(toQ(file), mode);
    if (out != nullptr)
        *out = reason;
    return true;
}

bool sp_FileOpenForensicMsg(const YString &file, GfnOpenMode mode, YString *message)
{
    FileOpenForensic reason = FileOpenNameTaken;
    bool result = sp_FileOpenForensic(file, mode, &reason);
    if (message == nullptr)
        return result;
    if (reason == FileOpenInternalError) {
        *message = "Internal error";
    } else if (const char *tail = tailOf(reason)) {
        *message = YString("The file ") & file & tail;
    }
    return result;
}
