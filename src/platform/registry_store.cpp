// The registry's content for one root and its file form.
#include "platform/registry_store.h"

#include <QList>

namespace kv {
namespace registry {

namespace {

const char kHeader[] = "KVREGISTRY 1";

bool needsEscape(unsigned char c)
{
    return c < 0x20 || c == 0x7F || c == '%' || c == '=' || c == '[' || c == ']';
}

void appendEscaped(std::string *out, const QByteArray &text)
{
    static const char hex[] = "0123456789ABCDEF";
    for (char ch : text) {
        auto c = static_cast<unsigned char>(ch);
        if (needsEscape(c)) {
            *out += '%';
            *out += hex[c >> 4];
            *out += hex[c & 15];
        } else {
            *out += ch;
        }
    }
}

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

QByteArray unescape(const std::string &text)
{
    QByteArray out;
    for (std::string::size_type i = 0; i < text.size(); ++i) {
        int hi = 0, lo = 0;
        if (text[i] == '%' && i + 2 < text.size() && (hi = hexDigit(text[i + 1])) >= 0 &&
            (lo = hexDigit(text[i + 2])) >= 0) {
            out += static_cast<char>(hi * 16 + lo);
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

} // namespace

Store::Store()
{
    keys[QString()] = Key();
}

QString Store::fold(const QByteArray &text)
{
    return QString::fromUtf8(text).toCaseFolded();
}

QByteArray Store::normalise(const QByteArray &key)
{
    QList<QByteArray> parts = key.split('\\');
    QByteArray out;
    for (const QByteArray &part : parts) {
        if (part.isEmpty())
            continue;
        if (!out.isEmpty())
            out += '\\';
        out += part;
    }
    return out;
}

Store::Key *Store::find(const QByteArray &key)
{
    auto it = keys.find(fold(normalise(key)));
    return it == keys.end() ? nullptr : &it->second;
}

const Store::Key *Store::find(const QByteArray &key) const
{
    auto it = keys.find(fold(normalise(key)));
    return it == keys.end() ? nullptr : &it->second;
}

bool Store::parse(const std::string &text)
{
    std::map<QString, Key> parsed;
    parsed[QString()] = Key();
    Key *current = &parsed[QString()];
    std::string::size_type start = 0;
    bool first = true;
    while (start < text.size()) {
        std::string::size_type end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        std::string line = text.substr(start, end - start);
        start = end + 1;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (first) {
            if (line != kHeader)
                return false;
            first = false;
        } else if (line.size() >= 2 && line.front() == '[' && line.back() == ']') {
            QByteArray path = normalise(unescape(line.substr(1, line.size() - 2)));
            Key &key = parsed[fold(path)];
            if (key.path.isEmpty())
                key.path = path;
            current = &key;
        } else if (line.find('=') != std::string::npos) {
            std::string::size_type eq = line.find('=');
            QByteArray name = unescape(line.substr(0, eq));
            QByteArray value = unescape(line.substr(eq + 1));
            current->values.emplace_back(name, value);
        }
    }
    keys.swap(parsed);
    return true;
}

std::string Store::serialize() const
{
    std::string out = std::string(kHeader) + "\n";
    for (const auto &entry : keys) {
        out += '[';
        appendEscaped(&out, entry.second.path);
        out += "]\n";
        for (const auto &value : entry.second.values) {
            appendEscaped(&out, value.first);
            out += '=';
            appendEscaped(&out, value.second);
            out += '\n';
        }
    }
    return out;
}

bool Store::read(const QByteArray &key, const QByteArray &name, QByteArray *value) const
{
    const Key *k = find(key);
    if (k == nullptr)
        return false;
    QString folded = fold(name);
    for (const auto &v : k->values) {
        if (fold(v.first) == folded) {
            *value = v.second;
            return true;
        }
    }
    return false;
}

bool Store::write(const QByteArray &key, const QByteArray &name, const QByteArray &value, bool *created)
{
    QByteArray path = normalise(key);
    *created = false;
    // Make the key and every missing parent, the parents first.
    int from = 0;
    for (;;) {
        int sep = path.indexOf('\\', from);
        QByteArray prefix = sep < 0 ? path : path.left(sep);
        Key &k = keys[fold(prefix)];
        if (k.path.isEmpty() && !prefix.isEmpty()) {
            k.path = prefix;
            *created = sep < 0;
        }
        if (sep < 0)
            break;
        from = sep + 1;
    }
    Key &k = keys[fold(path)];
    QString folded = fold(name);
    for (auto &v : k.values) {
        if (fold(v.first) == folded) {
            v.second = value;
            return true;
        }
    }
    k.values.emplace_back(name, value);
    return true;
}

bool Store::removeValue(const QByteArray &key, const QByteArray &name)
{
    Key *k = find(key);
    if (k == nullptr)
        return false;
    QString folded = fold(name);
    for (auto it = k->values.begin(); it != k->values.end(); ++it) {
        if (fold(it->first) == folded) {
            k->values.erase(it);
            return true;
        }
    }
    return false;
}

bool Store::removeKey(const QByteArray &key)
{
    QString folded = fold(normalise(key));
    auto it = keys.find(folded);
    if (folded.isEmpty() || it == keys.end())
        return false;
    // Keys sharing a prefix are contiguous from the prefix's lower bound.
    QString below = folded + QLatin1Char('\\');
    auto child = keys.lower_bound(below);
    if (child != keys.end() && child->first.startsWith(below))
        return false;
    keys.erase(it);
    return true;
}

bool Store::removeTree(const QByteArray &key)
{
    QString folded = fold(normalise(key));
    auto it = keys.find(folded);
    if (it == keys.end())
        return false;
    if (folded.isEmpty()) {
        keys.clear();
        keys[QString()] = Key();
        return true;
    }
    QString below = folded + QLatin1Char('\\');
    keys.erase(it);
    for (auto child = keys.lower_bound(below); child != keys.end() && child->first.startsWith(below);)
        child = keys.erase(child);
    return true;
}

bool Store::subKeys(const QByteArray &key, std::vector<QByteArray> *out) const
{
    QString folded = fold(normalise(key));
    auto it = keys.find(folded);
    if (it == keys.end())
        return false;
    QString below = folded.isEmpty() ? QString() : folded + QLatin1Char('\\');
    for (it = keys.lower_bound(below); it != keys.end() && it->first.startsWith(below); ++it) {
        if (it->first.isEmpty() || it->first.indexOf(QLatin1Char('\\'), below.size()) >= 0)
            continue; // deeper than one level
        const QByteArray &path = it->second.path;
        out->push_back(path.mid(path.lastIndexOf('\\') + 1));
    }
    return true;
}

bool Store::valueNames(const QByteArray &key, std::vector<QByteArray> *out) const
{
    const Key *k = find(key);
    if (k == nullptr)
        return false;
    for (const auto &v : k->values)
        out->push_back(v.first);
    return true;
}

} // namespace registry
} // namespace kv
