#pragma once

#include <QByteArray>
#include <QString>

// Reads the file path held in a stored file reference of the other
// platform: a classic alias record or a bookmark. Nothing is resolved
// against the file system; the path is answered as recorded, or an empty
// string when the data hold none. Safe on any input.
class AliasResolver
{
public:
    // Either kind, recognised by its header.
    static QString pathFromReferenceData(const QByteArray& data);
    static QString pathFromAliasRecord(const QByteArray& data);
    static QString pathFromBookmark(const QByteArray& data);
};
