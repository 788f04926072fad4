// Fuzzes the registry store's file reading through the public functions: any
// file content must be read or refused without a crash, and a file that is
// accepted must take a write and give the value back.
#include <kvsupport/containers.h>
#include <kvsupport/sysinfo.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

QTemporaryDir *configDir = nullptr;
QString rootFile;

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    configDir = new QTemporaryDir;
    if (!configDir->isValid())
        std::abort();
    setenv("XDG_CONFIG_HOME", QFile::encodeName(configDir->path()).constData(), 1);
    sp_WriteCurrentUserValue("Init", "v", "1"); // makes the directory
    rootFile = configDir->path() + "/kvsupport/registry/current-user.reg";
    std::atexit([] { delete configDir; });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    QFile file(rootFile);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        std::abort();
    file.write(reinterpret_cast<const char *>(data), static_cast<qint64>(size));
    file.close();

    YString value;
    sp_ReadCurrentUserValue("A\\B", "c", &value);
    YList<YString> names;
    sp_GetCurrentUserSubKeyNames("", &names);
    sp_GetCurrentUserSubKeyNames("a", &names);
    sp_GetCurrentUserValueNames("a\\b", &names);

    // Accepted: empty, or a first line (less one carriage return) that is the
    // header.
    const char *text = reinterpret_cast<const char *>(data);
    const void *newline = std::memchr(text, '\n', size);
    std::size_t lineLength = newline ? static_cast<std::size_t>(static_cast<const char *>(newline) - text) : size;
    if (lineLength > 0 && text[lineLength - 1] == '\r')
        --lineLength;
    bool accepted = size == 0 || (lineLength == 12 && std::memcmp(text, "KVREGISTRY 1", 12) == 0);
    bool wrote = sp_WriteCurrentUserValue("Fuzz\\Key", "Name", "va=l%ue\n");
    if (wrote != accepted)
        std::abort();
    if (wrote) {
        YString back;
        if (!sp_ReadCurrentUserValue("fuzz\\KEY", "name", &back) || std::strcmp(back.tocs(), "va=l%ue\n") != 0)
            std::abort();
        sp_DeleteCurrentUserTree("Fuzz");
    }
    return 0;
}
