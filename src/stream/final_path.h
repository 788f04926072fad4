// The file that a save must replace: a symbolic link is followed to the file
// it names, so that writing through a link changes the linked file and keeps
// the link, instead of putting a plain file in the link's place.
#ifndef KVSUPPORT_STREAM_FINAL_PATH_H
#define KVSUPPORT_STREAM_FINAL_PATH_H

#include <kvsupport/ystring.h>

#include <QByteArray>
#include <QFileInfo>
#include <QString>

namespace kv {
namespace detail {

/// \p path itself unless it is a symbolic link; then the end of the chain of
/// links (the path it would have, for a link to a file not yet made).
inline YString finalPathOf(const YString &path)
{
    QFileInfo info(QString::fromUtf8(path.tocs()));
    if (!info.isSymLink())
        return path;
    QString target = info.canonicalFilePath();
    if (target.isEmpty())
        target = info.symLinkTarget();
    if (target.isEmpty())
        return path;
    return YString(target.toUtf8().constData());
}

} // namespace detail
} // namespace kv

#endif
