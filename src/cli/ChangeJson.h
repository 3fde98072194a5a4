#pragma once

#include "history/FileChangeRecord.h"

#include <QJsonArray>
#include <QJsonValue>

// Changes of tag values as JSON, the same for `history` and `fix`: a text
// value or null, the lyrics' text, the pictures as {mimeType, pictureType,
// bytes}.
class ChangeJson
{
public:
    static QJsonValue value(const TagSnapshot& values, TagAttribute attribute);
    // [{attribute, old, new, origin, originDetail}] of the record's changes.
    static QJsonArray changes(const FileChangeRecord& record);
};
