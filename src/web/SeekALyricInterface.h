#pragma once

#include "web/WebDBInterface.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>

// A lyrics source that searches a site by song title: the search page lists
// songs with artist and title, the first row that matches the song leads to
// its lyrics page, and the text between two markers is the lyrics.
// Resources: "queryTitle" (search URL, "%@" for the title; "%2$@" may
// place the artist too), "parseSongs"
// (rows of artist cell and title cell with the link), "songListSplit"
// (optional: rows hold "Artist<split>Title" in one cell), "songListSuffix",
// "baseURL", "lyricsBegin", "lyricsEnd", "encoding".
class SeekALyricInterface : public WebDBInterface
{
    Q_OBJECT
public:
    explicit SeekALyricInterface(const QVariantMap& resources = QVariantMap(), QObject* parent = nullptr);

    AlbumAssets resourcesPossiblyAvailable() const override;
    void beginSearch() override;
    // Cancels this source's URLs in the queue and completes at once.
    void cancelSearch() override;

    Q_INVOKABLE void seekALyricSongListCompleted(const QVariantMap& answer);
    Q_INVOKABLE void seekALyricSongCompleted(const QVariantMap& answer);

    // The links of the matching rows of a song-list page, in page order. The
    // page is read in the "encoding" of the resources (ISO Latin-1 without).
    static QList<QUrl> songLinksInPage(const QByteArray& page, const QVariantMap& resources,
                                       const QStringList& artists, const QString& wantedTitle,
                                       bool allowSubstrings);
    // The cleaned lyrics of a lyrics page; null when the markers are missing
    // or what lies between them is not lyrics.
    static QString lyricsInPage(const QByteArray& page, const QVariantMap& resources);
};
