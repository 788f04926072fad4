// Fuzzes profile files: any bytes as a file's text must load, list its
// sections and keys, find every key it lists, take a write that reads back
// exactly, and lose a deleted section, without crashing.
#include <kvsupport/profile.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace {

void check(bool ok)
{
    if (!ok)
        __builtin_trap();
}

const std::string &filePath()
{
    static QTemporaryDir dir(QDir::tempPath() + "/kvfuzz-profile-XXXXXX");
    static const std::string path = dir.filePath("fuzz.ini").toStdString();
    return path;
}

void checkListedKeys(const YString &file)
{
    YList<YString> sections;
    if (!sp_GetProfileSectionNames(file, &sections))
        return;
    for (const YString &section : sections) {
        YList<YString> keys;
        check(sp_GetProfileKeyNames(file, section, &keys));
        for (const YString &key : keys) {
            YString value;
            check(sp_GetPrivateProfileString(section.tocs(), key.tocs(), file.tocs(), &value));
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string &path = filePath();
    const YString file(path.c_str());
    FILE *f = std::fopen(path.c_str(), "wb");
    if (f == nullptr)
        return 0;
    std::fwrite(data, 1, size, f);
    std::fclose(f);

    checkListedKeys(file);
    const char *value = "a value = with \"quotes\"";
    check(sp_WritePrivateProfileString(path.c_str(), "fuzz section", "fuzz key", value));
    YString back;
    check(sp_GetPrivateProfileString("FUZZ SECTION", "FUZZ KEY", path.c_str(), &back));
    check(back == YString(value));
    checkListedKeys(file);
    check(sp_DeletePrivateProfileSection(file, YString("fuzz section")) >= 1);
    check(!sp_GetPrivateProfileString("fuzz section", "fuzz key", path.c_str(), &back));

    // Forget this text: the cache sees the file gone and empties its table,
    // so the next input is loaded whatever its time stamp.
    std::remove(path.c_str());
    check(!sp_GetPrivateProfileString("fuzz section", "fuzz key", path.c_str(), &back));
    return 0;
}
