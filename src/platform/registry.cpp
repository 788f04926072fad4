// The registry functions over the file-backed store: one file per root under
// the user's configuration directory. Reads take the file as it is (it is
// only ever replaced whole); changes lock a companion ".lock" file around
// the read-modify-write so that concurrent writers lose nothing.
#include <kvsupport/sysinfo.h>

#include <kvsupport/containers.h>

#include "platform/registry_store.h"
#include "platform/runtime_dir.h"
#include "platform/store_file.h"

#include <QDir>
#include <QStandardPaths>

namespace {

using kv::registry::Store;

enum class Root { CurrentUser, LocalMachine, ClassesRoot };

// The directory of the root files, made private on first use; empty if it
// can't be had.
std::string registryDir()
{
    QString config = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    if (config.isEmpty())
        return std::string();
    QString base = config + QStringLiteral("/kvsupport");
    if (!QDir().mkpath(base))
        return std::string();
    std::string dir = QFile::encodeName(base + QStringLiteral("/registry")).toStdString();
    return kv::platform::ensurePrivateDir(dir) ? dir : std::string();
}

std::string rootFile(Root root)
{
    std::string dir = registryDir();
    if (dir.empty())
        return dir;
    switch (root) {
    case Root::CurrentUser:
        return dir + "/current-user.reg";
    case Root::LocalMachine:
        return dir + "/local-machine.reg";
    case Root::ClassesRoot:
        break;
    }
    return dir + "/classes-root.reg";
}

bool load(const std::string &path, Store *store)
{
    std::string text;
    bool exists = false;
    return !path.empty() && kv::platform::readFileContents(path, &text, &exists) && store->parse(text);
}

// Runs \p query on the root's current content.
template <typename F>
bool query(Root root, F query)
{
    Store store;
    return load(rootFile(root), &store) && query(store);
}

// Runs \p change on the root's content under the root's lock and writes the
// content back if \p change succeeded. A file that can't be read as a root is
// left alone and the change fails.
template <typename F>
bool modify(Root root, F change)
{
    std::string path = rootFile(root);
    if (path.empty())
        return false;
    kv::platform::ExclusiveFileLock lock(path + ".lock");
    Store store;
    if (!lock.locked() || !load(path, &store) || !change(store))
        return false;
    return kv::platform::replaceFileContents(path, store.serialize());
}

QByteArray bytes(const YString &s)
{
    return QByteArray(s.tocs());
}

bool readValue(Root root, const YString &key, const YString &name, YString *value)
{
    if (value == nullptr)
        return false;
    QByteArray found;
    if (!query(root, [&](const Store &s) { return s.read(bytes(key), bytes(name), &found); }))
        return false;
    *value = found.constData();
    return true;
}

bool writeValue(Root root, const YString &key, const YString &name, const YString &value, bool *created)
{
    bool made = false;
    bool ok = modify(root, [&](Store &s) { return s.write(bytes(key), bytes(name), bytes(value), &made); });
    if (created != nullptr)
        *created = ok && made;
    return ok;
}

bool deleteValue(Root root, const YString &key, const YString &name)
{
    return modify(root, [&](Store &s) { return s.removeValue(bytes(key), bytes(name)); });
}

bool subKeyNames(Root root, const YString &key, YList<YString> *names)
{
    std::vector<QByteArray> found;
    if (names == nullptr || !query(root, [&](const Store &s) { return s.subKeys(bytes(key), &found); }))
        return false;
    for (const QByteArray &name : found)
        names->append(name.constData());
    return true;
}

} // namespace

bool sp_ReadCurrentUserValue(const YString &key, const YString &name, YString *value)
{
    return readValue(Root::CurrentUser, key, name, value);
}

bool sp_ReadLocalMachineValue(const YString &key, const YString &name, YString *value)
{
    return readValue(Root::LocalMachine, key, name, value);
}

bool sp_ReadClassesRootValue(const YString &key, const YString &name, YString *value)
{
    return readValue(Root::ClassesRoot, key, name, value);
}

bool sp_WriteCurrentUserValue(const YString &key, const YString &name, const YString &value)
{
    return writeValue(Root::CurrentUser, key, name, value, nullptr);
}

bool sp_WriteCurrentUserValue(const YString &key, const YString &name, const YString &value, bool *created)
{
    return writeValue(Root::CurrentUser, key, name, value, created);
}

bool sp_WriteLocalMachineValue(const YString &key, const YString &name, const YString &value)
{
    return writeValue(Root::LocalMachine, key, name, value, nullptr);
}

bool sp_WriteLocalMachineValue(const YString &key, const YString &name, const YString &value, bool *created)
{
    return writeValue(Root::LocalMachine, key, name, value, created);
}

bool sp_WriteClassesRootValue(const YString &key, const YString &name, const YString &value)
{
    return writeValue(Root::ClassesRoot, key, name, value, nullptr);
}

bool sp_DeleteCurrentUserValue(const YString &key, const YString &name)
{
    return deleteValue(Root::CurrentUser, key, name);
}

bool sp_DeleteLocalMachineValue(const YString &key, const YString &name)
{
    return deleteValue(Root::LocalMachine, key, name);
}

bool sp_DeleteCurrentUserKey(const YString &key)
{
    return modify(Root::CurrentUser, [&](Store &s) { return s.removeKey(bytes(key)); });
}

bool sp_DeleteCurrentUserTree(const YString &key)
{
    return modify(Root::CurrentUser, [&](Store &s) { return s.removeTree(bytes(key)); });
}

bool sp_GetCurrentUserSubKeyNames(const YString &key, YList<YString> *names)
{
    return subKeyNames(Root::CurrentUser, key, names);
}

bool sp_GetClassesRootSubKeyNames(const YString &key, YList<YString> *names)
{
    return subKeyNames(Root::ClassesRoot, key, names);
}

bool sp_GetCurrentUserValueNames(const YString &key, YList<YString> *names)
{
    std::vector<QByteArray> found;
    if (names == nullptr ||
        !query(Root::CurrentUser, [&](const Store &s) { return s.valueNames(bytes(key), &found); }))
        return false;
    for (const QByteArray &name : found) {
        QString text = QString::fromUtf8(name);
        names->append(text.size() > 32767 ? text.left(32767).toUtf8().constData() : name.constData());
    }
    return !found.empty();
}
