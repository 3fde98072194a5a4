#pragma once

#include "web/WebDBInterface.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>

// A lyrics source that walks a site by artist: the artist page lists the
// artist's albums, the albums are fetched one at a time until one lists the
// song, and the song's page holds the lyrics between two markers.
// Resources: "queryArtist" (artist URL, "%@" for the artist),
// "querySpace" (what stands for a blank in the artist, "+" when absent),
// "parseAlbumList" (entries whose first piece holds an album link),
// "parseSongList" (entries whose last piece is the title cell with the
// link), "maxAlbums" (most albums fetched, 25 when absent), "lyricsBegin",
// "lyricsEnd", "encoding" (of every page read; ISO Latin-1 when absent).
class LyredInterface : public WebDBInterface
{
    Q_OBJECT
public:
    explicit LyredInterface(const QVariantMap& resources = QVariantMap(), QObject* parent = nullptr);

    AlbumAssets resourcesPossiblyAvailable() const override;
    // Searches the artist; in the retry without parentheses, the song lists
    // already read are searched again before any further album is fetched.
    void beginSearch() override;
    void cancelSearch() override;

    Q_INVOKABLE void lyredArtistCompleted(const QVariantMap& answer);
    Q_INVOKABLE void lyredAlbumCompleted(const QVariantMap& answer);
    Q_INVOKABLE void lyredSongCompleted(const QVariantMap& answer);

    // The album links of an artist page, absolute, without repeats; those
    // whose entry names the wanted album (simplified) come first.
    static QList<QUrl> albumLinksInPage(const QByteArray& page, const QUrl& pageURL,
                                        const QVariantMap& resources, const QString& wantedAlbum = QString());
    // The rows of an album page's song list.
    static QList<QStringList> songRowsInPage(const QByteArray& page, const QVariantMap& resources);
    // The link of the first row whose title matches; empty when none does.
    static QUrl songLinkInRows(const QList<QStringList>& rows, const QUrl& pageURL,
                               const QString& wantedTitle, bool allowSubstrings);

private:
    // Schedules the next album still to be read; false when none is left.
    bool getAnAlbum();
    // Looks for the song in a song list and schedules its page.
    bool followSongIn(const QList<QStringList>& rows, const QUrl& pageURL);
    QString wantedTitle() const;

    struct SongList
    {
        QUrl page;
        QList<QStringList> rows;
    };
    QList<QUrl> mAlbumURLs;
    QList<SongList> mSongLists;
    int mMaxAlbumsToRead = 25;
};
