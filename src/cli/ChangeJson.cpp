#include "ChangeJson.h"

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
