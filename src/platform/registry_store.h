// The registry's content for one root, as held in memory and in its file.
//
// File form (UTF-8 text, one item per line):
//   KVREGISTRY 1
//   [path\of\key]
//   name=value
// The root itself is "[]". In paths, names and values the bytes '%', '=',
// '[', ']', DEL and those below 0x20 are written as %XX; everything else is
// kept as it is, so values survive byte for byte.
#ifndef KVSUPPORT_PLATFORM_REGISTRY_STORE_H
#define KVSUPPORT_PLATFORM_REGISTRY_STORE_H

#include <QByteArray>
#include <QString>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace kv {
namespace registry {

/// One root's keys and values. Keys and value names compare by their
/// case-folded text; their first spelling is kept.
class Store {
public:
    /// An empty root.
    Store();
    /// Replaces the content by the file text \p text; empty text is an empty
    /// root. False (content unchanged) if the text is not of this form.
    bool parse(const std::string &text);
    /// The file text of the content.
    std::string serialize() const;

    /// The value \p name of \p key; false if either is missing.
    bool read(const QByteArray &key, const QByteArray &name, QByteArray *value) const;
    /// Creates \p key and its parents as needed and sets the value. Sets
    /// \p created if the key was made. Always true.
    bool write(const QByteArray &key, const QByteArray &name, const QByteArray &value, bool *created);
    /// Removes one value; false if the key or the value is missing.
    bool removeValue(const QByteArray &key, const QByteArray &name);
    /// Removes a key without sub-keys; false if missing, if it has sub-keys,
    /// or for the root.
    bool removeKey(const QByteArray &key);
    /// Removes a key and all below it (the root: everything in it); false if
    /// the key is missing.
    bool removeTree(const QByteArray &key);
    /// Names of the immediate sub-keys, in folded order; false if the key is
    /// missing.
    bool subKeys(const QByteArray &key, std::vector<QByteArray> *out) const;
    /// Names of the values, in the order of their first writing; false if
    /// the key is missing.
    bool valueNames(const QByteArray &key, std::vector<QByteArray> *out) const;

    /// "A\\\\B\\" and "A\\B" are the same key: empty parts are dropped.
    static QByteArray normalise(const QByteArray &key);

private:
    struct Key {
        QByteArray path;
        std::vector<std::pair<QByteArray, QByteArray>> values;
    };
    static QString fold(const QByteArray &text);
    Key *find(const QByteArray &key);
    const Key *find(const QByteArray &key) const;

    std::map<QString, Key> keys; // by folded normalised path; "" is the root
};

} // namespace registry
} // namespace kv

#endif
