#pragma once

#include "web/AlbumInfo.h"

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>

#include <optional>

// Reading the answers of the music database's WS/2 JSON service and the
// addresses of the cover art archive: search answers become lists of
// release candidates, a release lookup becomes an album. Nothing here makes
// a request; the MusicBrainzInterface source does that. Every reader takes
// hostile input: answers are size-capped and every list is walked only up to
// a fixed count.
class MusicBrainzReleaseReader
{
public:
    // A release worth looking up, as a search answer names it. For a release
    // search, title and artist are the release's; for a recording search they
    // are the recording's (the release only carries the identifier).
    struct Candidate
    {
        QString releaseID;
        QString releaseGroupID;
        QString title;
        QString artist;
        // 0 an official album, 1 another official release, 2 anything else.
        int rank = 2;
    };

    // Answers longer than this are not parsed.
    static constexpr qsizetype kMaxAnswerLength = 8 * 1024 * 1024;
    // Most entries of one list that are looked at (releases, recordings,
    // releases per recording, artist credits, genres).
    static constexpr qsizetype kMaxListEntries = 200;
    // Most media of a release, and most tracks of an album in all.
    static constexpr qsizetype kMaxMedia = 64;
    static constexpr qsizetype kMaxTracks = 1000;

    // A Lucene phrase: the text in double quotes with quotes and backslashes
    // escaped.
    static QString quotedTerm(const QString& text);
    // `release:"<album>" AND artist:"<artist>"`; without an artist only the
    // release part.
    static QString releaseQuery(const QString& album, const QString& artist);
    // `recording:"<title>" AND artist:"<artist>"`.
    static QString recordingQuery(const QString& title, const QString& artist);
    // `base` with these query items, each value fully percent-encoded (so
    // "+" and "&" in a name survive), in a form that compares equal to the
    // URL the HTTP queue answers with.
    static QUrl urlWithQuery(const QString& base, const QList<QPair<QString, QString>>& items);

    // The answer's JSON object; none (and a reason) for an oversized body,
    // broken JSON or a top level that is no object.
    static std::optional<QJsonObject> jsonObject(const QByteArray& body, QString* reason = nullptr);

    // The releases of a release search answer ("releases"), in answer order.
    static QList<Candidate> candidatesOfReleaseSearch(const QJsonObject& answer);
    // The releases of the recordings of a recording search answer
    // ("recordings", each with "releases"), in answer order.
    static QList<Candidate> candidatesOfRecordingSearch(const QJsonObject& answer);
    // Up to `maximum` distinct release identifiers: better ranks first
    // (answer order within a rank), one release per release group before a
    // second of any group.
    static QStringList chosenReleaseIDs(const QList<Candidate>& candidates, int maximum);

    // A release identifier as the service writes it (36 characters of hex
    // digits and dashes); anything else never goes into a URL.
    static bool isReleaseID(const QString& text);

    // The credited names joined by their join phrases ("A feat. B").
    static QString artistCreditText(const QJsonValue& credits);
    // The year of the first release: the release group's first release date,
    // else the release's date, else its earliest release event. Null when
    // none begins with four digits.
    static QString yearOfRelease(const QJsonObject& release);
    // The release's genre with the most votes (its release group's when it
    // has none), in corrected case; null without genres.
    static QString genreOfRelease(const QJsonObject& release);
    // Track titles in medium order, then track order; a track without a
    // title takes its recording's.
    static QStringList trackNamesOfRelease(const QJsonObject& release);
    // False only when the lookup says the archive holds no front cover.
    static bool hasFrontCover(const QJsonObject& release);

    // The thumbnail width to ask the archive for: the smallest of `sizes` at
    // least `minWidth`; without a minimum `preferred`, or the largest size
    // not above `maxWidth` when that is set and smaller. 0 (the original
    // image) when no size reaches the minimum.
    static int coverArtSize(float minWidth, float maxWidth, QList<int> sizes, int preferred);
    // The cover address for a release under the resources "coverArtURL"
    // (identifier, width) or, for width 0, "coverArtOriginalURL"
    // (identifier); null when the template is missing.
    static QString coverArtURL(const QVariantMap& resources, const QString& releaseID, int width);
    // "coverArtSizes" of the resources, else 250, 500 and 1200.
    static QList<int> coverArtSizes(const QVariantMap& resources);

    // The album of a release lookup: artist, name, year, genre, tracks and
    // the cover address. None, with the reason, without a title, an artist
    // or any track.
    static std::optional<AlbumInfo> albumFromRelease(const QJsonObject& release, const QVariantMap& resources,
                                                     float minImageWidth, float maxImageWidth,
                                                     QString* reason = nullptr);
    // The same from the answer's bytes.
    static std::optional<AlbumInfo> albumFromReleaseJSON(const QByteArray& body, const QVariantMap& resources,
                                                         float minImageWidth, float maxImageWidth,
                                                         QString* reason = nullptr);

private:
    static Candidate candidateOfRelease(const QJsonObject& release);
    static int rankOfRelease(const QJsonObject& release);
    static QString yearPrefix(const QString& date);
};
