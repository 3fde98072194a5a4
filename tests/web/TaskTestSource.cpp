#include "TaskTestSource.h"

#include <QBuffer>
#include <QImage>
#include <QJsonDocument>
#include <QUrlQuery>

namespace {

QUrl gServerBase;

} // namespace

void TaskTestSource::setServerBase(const QUrl& base)
{
    gServerBase = base;
}

AlbumAssets TaskTestSource::resourcesPossiblyAvailable() const
{
    if (!mResources.contains(QStringLiteral("assets")))
        return AllAlbumAssets;
    return AlbumAssets::fromInt(mResources.value(QStringLiteral("assets")).toUInt());
}

void TaskTestSource::beginSearch()
{
    WebDBInterface::beginSearch();
    QUrl url = gServerBase.resolved(
        QUrl(mResources.value(QStringLiteral("path"), QStringLiteral("/albums")).toString()));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("artist"), artist());
    query.addQueryItem(QStringLiteral("album"), albumTitle());
    query.addQueryItem(QStringLiteral("title"), songTitle());
    url.setQuery(query);
    addSearchURL(url, "albumsLoaded", false);
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(false);
}

void TaskTestSource::cancelSearch()
{
    if (mResources.value(QStringLiteral("ignoreCancel")).toBool())
        return;
    WebDBInterface::cancelSearch();
    cancelSearchesInQueue();
}

void TaskTestSource::albumsLoaded(const QVariantMap& answer)
{
    finishedSearch(answer);
    const QJsonArray list =
        QJsonDocument::fromJson(answer.value(QStringLiteral("WMHTTPDataKey")).toByteArray()).array();
    for (const QJsonValue& value : list) {
        const QJsonObject o = value.toObject();
        AlbumInfo album(o.value(QStringLiteral("artist")).toString(),
                        o.value(QStringLiteral("name")).toString());
        album.setYear(o.value(QStringLiteral("year")).toString());
        album.setGenres(o.value(QStringLiteral("genre")).toString());
        QStringList tracks;
        for (const QJsonValue& t : o.value(QStringLiteral("tracks")).toArray())
            tracks.append(t.toString());
        album.setTracks(tracks);
        if (o.contains(QStringLiteral("art")))
            album.setArtURLString(
                gServerBase.resolved(QUrl(o.value(QStringLiteral("art")).toString())).toString());
        if (o.contains(QStringLiteral("lyrics")))
            album.lyrics().insert(o.value(QStringLiteral("lyricsKey")).toString(),
                                  o.value(QStringLiteral("lyrics")).toString());
        album.setSourceInterfaceName(QStringLiteral("TaskTestSource"));
        mAlbums.append(album);
    }
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(false);
}

QByteArray TaskTestSource::jpeg(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, qRgb((x * 7) % 256, (y * 13) % 256, ((x + y) * 3) % 256));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "JPEG", 95);
    return bytes;
}

QByteArray TaskTestSource::albumsJson(const QJsonArray& albums)
{
    return QJsonDocument(albums).toJson(QJsonDocument::Compact);
}

QJsonObject TaskTestSource::albumObject(const QString& name, const QString& year, const QStringList& tracks,
                                        const QString& genre, const QString& art)
{
    QJsonObject o{{QStringLiteral("artist"), QStringLiteral("The Testers")},
                  {QStringLiteral("name"), name},
                  {QStringLiteral("year"), year},
                  {QStringLiteral("genre"), genre},
                  {QStringLiteral("tracks"), QJsonArray::fromStringList(tracks)}};
    if (!art.isEmpty())
        o.insert(QStringLiteral("art"), art);
    return o;
}
