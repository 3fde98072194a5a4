#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QPair>
#include <QString>

#include <optional>

#include <sys/stat.h>

// The attributes of a file that a tag write must leave as they were:
// permissions, owner and group, and the extended attributes (which also
// carry access control lists on this platform). Taken before a write and put
// back after it. A creation date cannot be set here, and the other
// platform's hidden-extension flag and type/creator codes do not exist, so
// they are neither taken nor restored.
class FileAttributes
{
public:
    // The attributes of the file at `path` (links followed); none when the
    // file cannot be described.
    static std::optional<FileAttributes> ofFileAtPath(const QString& path);

    // Puts the attributes back on the file: permissions always, owner and
    // group only where the process may change them, each extended attribute
    // whose value differs or is missing. Attributes the file gained since are
    // left alone. False when the permissions could not be set.
    bool restoreToFileAtPath(const QString& path) const;

    // The file's content-modification date in UTC at millisecond precision;
    // a null date when the file is missing.
    static QDateTime modificationDate(const QString& path);
    // The same from the result of a stat() already made.
    static QDateTime modificationDate(const struct stat& info);

    unsigned int permissions() const { return mMode; }
    unsigned int ownerID() const { return mOwner; }
    unsigned int groupID() const { return mGroup; }
    const QList<QPair<QByteArray, QByteArray>>& extendedAttributes() const { return mExtendedAttributes; }

private:
    unsigned int mMode = 0;
    unsigned int mOwner = 0;
    unsigned int mGroup = 0;
    QList<QPair<QByteArray, QByteArray>> mExtendedAttributes;
};
