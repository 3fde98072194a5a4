#include "ChangeJson.h"

#include "songs/SongPathTags.h"

#include <QJsonObject>

QJsonValue ChangeJson::value(const TagSnapshot& values, TagAttribute attribute)
{
    if (attribute == TagAttribute::Lyrics)
        return values.lyrics.isEmpty() ? QJsonValue() : QJsonValue(values.lyrics);
    if (attribute == TagAttribute::Artwork) {
        QJsonArray pictures;
        for (const ID3Image& picture : values.pictures)
            pictures.append(QJsonObject{{QStringLiteral("mimeType"), picture.mimeFormat()},
                                        {QStringLiteral("pictureType"), picture.pictureType()},
                                        {QStringLiteral("bytes"), picture.imageData().size()}});
        return pictures;
    }
    const QString text = values.text(attribute);
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

QJsonArray ChangeJson::changes(const FileChangeRecord& record)
{
    QJsonArray changes;
    for (TagAttribute attribute : record.attributes) {
        const ChangeOrigin origin = record.originOf(attribute);
        changes.append(QJsonObject{{QStringLiteral("attribute"), TagSnapshot::nameOf(attribute)},
                                   {QStringLiteral("old"), value(record.before, attribute)},
                                   {QStringLiteral("new"), value(record.after, attribute)},
                                   {QStringLiteral("origin"), ChangeOrigin::nameOf(origin.kind)},
                                   {QStringLiteral("originDetail"),
                                    origin.detail.isEmpty() ? QJsonValue() : QJsonValue(origin.detail)}});
    }
    return changes;
}

QJsonValue ChangeJson::orNull(const QString& text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

QJsonValue ChangeJson::pathTags(const SongPathTags& tags)
{
    if (tags.isEmpty())
        return QJsonValue();
    return QJsonObject{{QStringLiteral("artist"), orNull(tags.artist)},
                       {QStringLiteral("album"), orNull(tags.album)},
                       {QStringLiteral("title"), orNull(tags.title)},
                       {QStringLiteral("track"), tags.track > 0 ? QJsonValue(tags.track) : QJsonValue()}};
}
