#include "ManualSearch.h"

#include "tags/AudioInfoTag.h"
#include "web/URLTemplate.h"

#include <QStringList>

QUrl ManualSearch::url(Kind kind, const AudioInfoTag& tag, const QVariantMap& resources)
{
    const QString format = resources
                               .value(kind == Kind::Artwork ? QStringLiteral("ManualArtworkSearchURL")
                                                            : QStringLiteral("ManualLyricsSearchURL"))
                               .toString();
    QStringList words;
    for (const QString& value : {tag.artist(), kind == Kind::Artwork ? tag.album() : tag.title()}) {
        if (!value.trimmed().isEmpty())
            words.append(value.trimmed());
    }
    if (format.isEmpty() || words.isEmpty())
        return QUrl();
    const QString query = QString::fromLatin1(QUrl::toPercentEncoding(words.join(QLatin1Char(' '))));
    return URLTemplate::url(format, {query});
}
