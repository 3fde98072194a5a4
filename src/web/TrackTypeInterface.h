#pragma once

#include "web/WebDBInterface.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

// A source that asks a disc database speaking the CDDB text conventions: a
// query by song (or album) title lists matching discs one per line, and the
// entry of each disc by a fitting artist is fetched and read as xmcd text.
// Resources: "querySong" and "queryAlbum" (query URLs; "%@" for the
// encoded title, then for the program's short version), "discInfoURL"
// (entry URL; "%@" for the category, then for the disc identifier).
class TrackTypeInterface : public WebDBInterface
{
    Q_OBJECT
public:
    // One line of a disc list: "category discid Artist / Title".
    struct DiscListing
    {
        QString category;
        QString discID;
        QString artist;
        QString title;
    };

    // Most listings read from one answer.
    static constexpr qsizetype kMaxListings = 200;

    explicit TrackTypeInterface(const QVariantMap& resources = QVariantMap(), QObject* parent = nullptr);

    // Album name, year, song title, track and genre.
    AlbumAssets resourcesPossiblyAvailable() const override;
    void beginSearch() override;
    void cancelSearch() override;

    Q_INVOKABLE void albumListCompleted(const QVariantMap& answer);
    Q_INVOKABLE void gotAlbum(const QVariantMap& answer);

    // The discs of a query answer: nothing unless it has at least three
    // lines and its status (the first three characters) lies from 200 to
    // 299. Lines with fewer than five blank-separated parts or without
    // " / " are skipped; at most kMaxListings are answered.
    static QList<DiscListing> discListFromData(const QByteArray& data);

private:
    bool discArtistMatches(const QString& discArtist) const;
    bool albumArtistMatches(const QString& albumArtist) const;
};
