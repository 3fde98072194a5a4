#pragma once

#include "history/FileChangeRecord.h"

#include <QJsonArray>
#include <QJsonValue>

class SongPathTags;

// Values as the commands' JSON lines give them, the same for `history`,
// `fix` and `scan`: a text value or null, the lyrics' text, the pictures as
// {mimeType, pictureType, bytes}, what a song's path gives.
class ChangeJson
{
public:
    // The text, or null when it is empty.
    static QJsonValue orNull(const QString& text);
    // {artist, album, title, track}, each null when the path gives none; null
    // when it gives nothing.
    static QJsonValue pathTags(const SongPathTags& tags);
    static QJsonValue value(const TagSnapshot& values, TagAttribute attribute);
    // [{attribute, old, new, origin, originDetail}] of the record's changes.
    static QJsonArray changes(const FileChangeRecord& record);
};
