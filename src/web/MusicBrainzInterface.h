#pragma once

#include "web/WebDBInterface.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <optional>

// The open music database as an album source, with covers from its art
// archive. No key is needed. With an album title it searches releases by
// title and artist; without one, recordings by song title and artist, and
// takes the releases they appear on. The fitting releases (at most
// "maximumMatches", one per release group first) are then looked up with
// their tracks and read as albums; the cover address is computed, not
// fetched. Resources: "releaseSearchURL", "recordingSearchURL" (bases to
// which the query is added), "releaseLookupURL" ("%@" for the release),
// "coverArtURL" (release, width), "coverArtOriginalURL" (release),
// "coverArtSizes", "defaultCoverArtSize", "searchLimit", "maximumMatches",
// "variousArtists", and the frame's "minIntervalSeconds" and "simulConns".
class MusicBrainzInterface : public WebDBInterface
{
    Q_OBJECT
public:
    explicit MusicBrainzInterface(const QVariantMap& resources = QVariantMap(), QObject* parent = nullptr);

    // Album name, year, song title, track, genre and artwork.
    AlbumAssets resourcesPossiblyAvailable() const override;
    void beginSearch() override;
    // Also withdraws the requests in flight from the queue, then completes.
    void cancelSearch() override;

    // The widest cover wanted (0: no limit); picks the archive's thumbnail.
    void setMaximumAcceptableImageSize(float width) { mMaxImageWidth = width; }

    // Answer of a release or recording search: queues the lookups.
    Q_INVOKABLE void musicBrainzSearchCompleted(const QVariantMap& answer);
    // Answer of one release lookup: keeps its album when artist and title fit.
    Q_INVOKABLE void musicBrainzReleaseCompleted(const QVariantMap& answer);

    // "maximumMatches", or 5 when missing or below 1.
    int maximumMatches() const;

    // The URL of the first search for these values; empty when the source
    // would not search.
    QUrl searchURL() const;

private:
    std::optional<QJsonObject> jsonObjectOfAnswer(const QVariantMap& answer, const char* what);
    bool artistFits(const QString& foundArtist) const;
    bool titleFits(const QString& found, const QString& wanted) const;
    bool searchesByRecording() const;

    int mNumberOfMatches = 0;
    float mMaxImageWidth = 0.0f;
};
