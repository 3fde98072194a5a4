#pragma once

#include "web/WebDBInterface.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>

// A lyrics source that searches by song title and walks the result pages:
// the rows of each page are tested like those of SeekALyricInterface, the
// next result page is read while no row matched (at most "keepLooking"
// pages more), and the lyrics lie between "lyricHead" and "lyricFoot".
// Resources: "queryTitle", "parseSearchResults", "songListSplit",
// "songListSuffix", "baseURL", "nextResultsPage" (a parse description whose
// first piece holds the next page's link), "keepLooking", "lyricHead",
// "lyricFoot", "adBegin"/"adEnd" (a string or a list each; the runs between
// them are advertising and removed), "forceISO8859", "encoding".
class LeosLyricsInterface : public WebDBInterface
{
    Q_OBJECT
public:
    explicit LeosLyricsInterface(const QVariantMap& resources = QVariantMap(), QObject* parent = nullptr);

    AlbumAssets resourcesPossiblyAvailable() const override;
    void beginSearch() override;
    void cancelSearch() override;

    Q_INVOKABLE void leoAlbumListCompleted(const QVariantMap& answer);
    Q_INVOKABLE void leoLyricsReceived(const QVariantMap& answer);

    // The page text as this source reads it: "encoding" (ISO Latin-1 with
    // "forceISO8859"); none when the bytes are not valid in it.
    static std::optional<QString> decodedPage(const QByteArray& body, const QVariantMap& resources);
    static QList<QUrl> resultLinksInPage(const QString& page, const QVariantMap& resources,
                                         const QStringList& artists, const QString& wantedTitle,
                                         bool allowSubstrings);
    // The link to the next result page; empty when there is none.
    static QUrl nextPageInPage(const QString& page, const QVariantMap& resources);
    // The cleaned lyrics of a lyrics page, advertising removed; null when
    // there are none.
    static QString lyricsInPage(const QByteArray& page, const QVariantMap& resources);

private:
    int mResultPagesRead = 0;
};
