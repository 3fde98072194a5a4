#pragma once

#include "web/WebDBInterface.h"
#include "web/WikipediaPageReader.h"

#include <QByteArray>
#include <QStringList>
#include <QVariantMap>

#include <optional>

// The encyclopedia as an album source: searches the album title, reads the
// album article it lands on (information box and track listing) and, from
// pages that are no album article, follows disambiguation and album links
// to the articles. Compilations are never searched here. How the pages look
// is described by the resources alone (see WikipediaPageReader).
class WikipediaInterface : public WebDBInterface
{
    Q_OBJECT
public:
    explicit WikipediaInterface(const QVariantMap& resources = QVariantMap(), QObject* parent = nullptr);

    // Artwork, album name, year, song title, track number and genre.
    AlbumAssets resourcesPossiblyAvailable() const override;
    void beginSearch() override;
    // Also withdraws the pages in flight from the queue, then completes.
    void cancelSearch() override;

    // Receives every page of this source.
    Q_INVOKABLE void pageFinished(const QVariantMap& answer);

    // The album of an article page, or none.
    std::optional<AlbumInfo> albumFromHTMLData(const QByteArray& data) const;

    // Pages followed from one search at most (the search page included).
    static constexpr int kMaxPagesPerSearch = 40;

private:
    static QString pageText(const QByteArray& data);
    bool isAlbumOfSearchedArtist(const AlbumInfo& album) const;
    void followLinksOfPage(const QString& page);

    QStringList mVisitedURLStrings;
    WikipediaPageReader mReader;
};
