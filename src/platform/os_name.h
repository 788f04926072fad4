// Naming of the operating system from its release file: pure text work,
// kept apart so that it can be checked on any text.
#ifndef KVSUPPORT_PLATFORM_OS_NAME_H
#define KVSUPPORT_PLATFORM_OS_NAME_H

#include <string>

namespace kv {
namespace platform {

/// Value of \p key in an os-release text ("KEY=value" lines, the value
/// possibly in single or double quotes, with "\" escapes in double quotes);
/// empty if absent.
inline std::string osReleaseField(const std::string &text, const std::string &key)
{
    std::string::size_type start = 0;
    while (start < text.size()) {
        std::string::size_type end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        std::string line = text.substr(start, end - start);
        start = end + 1;
        if (line.compare(0, key.size() + 1, key + "=") != 0)
            continue;
        std::string v = line.substr(key.size() + 1);
        if (v.size() >= 2 && (v[0] == '"' || v[0] == '\'') && v.back() == v[0]) {
            char quote = v[0];
            std::string out;
            for (std::string::size_type i = 1; i + 1 < v.size(); ++i) {
                if (quote == '"' && v[i] == '\\' && i + 2 < v.size())
                    ++i;
                out += v[i];
            }
            return out;
        }
        return v;
    }
    return std::string();
}

/// The name of the system: PRETTY_NAME, else NAME with VERSION, else
/// "Linux version <major>.<minor>".
inline std::string osNameFromRelease(const std::string &text, int major, int minor)
{
    std::string pretty = osReleaseField(text, "PRETTY_NAME");
    if (!pretty.empty())
        return pretty;
    std::string name = osReleaseField(text, "NAME");
    if (!name.empty()) {
        std::string version = osReleaseField(text, "VERSION");
        return version.empty() ? name : name + " " + version;
    }
    return "Linux version " + std::to_string(major) + "." + std::to_string(minor);
}

/// The first two numbers of a kernel release ("6.1.0-18-amd64" gives 6 and
/// 1); 0 for what is missing.
inline void kernelVersionNumbers(const std::string &release, int *major, int *minor)
{
    *major = 0;
    *minor = 0;
    std::string::size_type i = 0;
    while (i < release.size() && release[i] >= '0' && release[i] <= '9' && *major < 100000)
        *major = *major * 10 + (release[i++] - '0');
    if (i < release.size() && release[i] == '.')
        ++i;
    while (i < release.size() && release[i] >= '0' && release[i] <= '9' && *minor < 100000)
        *minor = *minor * 10 + (release[i++] - '0');
}

} // namespace platform
} // namespace kv

#endif
