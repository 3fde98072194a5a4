#include "LyredInterface.h"

#include "support/WMLog.h"
#include "web/WMUtility.h"
#include "text/WMStringExtensions.h"
#include "text/WendmarkTextExtensions.h"
#include "web/LyricsCandidateMatcher.h"
#include "web/LyricsPageText.h"
#include "web/URLTemplate.h"
#include "web/WMHTTPQueue.h"

namespace {

// Song rows kept for the retry without parentheses, over all albums.
constexpr qsizetype kMaxKeptRows = 5000;

} // namespace

LyredInterface::LyredInterface(const QVariantMap& resources, QObject* parent)
    : WebDBInterface(resources, parent)
{
    const int maxAlbums = resources.value(QStringLiteral("maxAlbums")).toInt();
    if (maxAlbums > 0)
        mMaxAlbumsToRead = maxAlbums;
}

AlbumAssets LyredInterface::resourcesPossiblyAvailable() const
{
    return AlbumAsset::Lyrics;
}

QString LyredInterface::wantedTitle() const
{
    return LyricsCandidateMatcher::wantedTitle(mSongTitle, mWithoutParentheses, QString());
}

void LyredInterface::beginSearch()
{
    WebDBInterface::beginSearch();
    const QString format = mResources.value(QStringLiteral("queryArtist")).toString();
    if (!mResources.isEmpty() && !mArtist.isEmpty() && !format.isEmpty() && !mSongTitle.isEmpty()) {
        if (mWithoutParentheses) {
            for (const SongList& list : std::as_const(mSongLists)) {
                if (followSongIn(list.rows, list.page))
                    break;
            }
            if (mLoadingURLs.isEmpty())
                getAnAlbum();
        } else {
            QString space = mResources.value(QStringLiteral("querySpace")).toString();
            if (space.isEmpty())
                space = QStringLiteral("+");
            const QString artist = WMUtility::stringForPost(mArtist, false, space);
            addSearchURL(URLTemplate::url(format, {artist}), "lyredArtistCompleted", false);
        }
    }
    if (mLoadingURLs.isEmpty())
        notifySearchComplete();
}

void LyredInterface::cancelSearch()
{
    WebDBInterface::cancelSearch();
    mAlbumURLs.clear();
    cancelSearchesInQueue();
}

QList<QUrl> LyredInterface::albumLinksInPage(const QByteArray& page, const QUrl& pageURL,
                                             const QVariantMap& resources, const QString& wantedAlbum)
{
    const QString html =
        LyricsPageText::decodedText(page, resources.value(QStringLiteral("encoding")).toInt());
    const auto entries =
        WMUtility::parsedContentsOfHTML(html, resources.value(QStringLiteral("parseAlbumList")).toMap());
    if (!entries)
        return {};
    QList<QUrl> named;
    QList<QUrl> others;
    for (const QStringList& entry : *entries) {
        const QString& cell = entry.constFirst();
        const QUrl url =
            LyricsCandidateMatcher::linkRelativeToPage(LyricsCandidateMatcher::linkInCell(cell), pageURL);
        if (url.isEmpty() || named.contains(url) || others.contains(url))
            continue;
        const bool isWanted =
            !wantedAlbum.isEmpty() && LyricsCandidateMatcher::simplifiedCellText(cell) == wantedAlbum;
        (isWanted ? named : others).append(url);
    }
    return named + others;
}

QList<QStringList> LyredInterface::songRowsInPage(const QByteArray& page, const QVariantMap& resources)
{
    const QString html =
        LyricsPageText::decodedText(page, resources.value(QStringLiteral("encoding")).toInt());
    const auto rows =
        WMUtility::parsedContentsOfHTML(html, resources.value(QStringLiteral("parseSongList")).toMap());
    return rows ? *rows : QList<QStringList>();
}

QUrl LyredInterface::songLinkInRows(const QList<QStringList>& rows, const QUrl& pageURL,
                                    const QString& wantedTitle, bool allowSubstrings)
{
    for (const QStringList& row : rows) {
        const QString& cell = row.constLast();
        if (!LyricsCandidateMatcher::namesMatch(LyricsCandidateMatcher::simplifiedCellText(cell), wantedTitle,
                                                allowSubstrings))
            continue;
        const QUrl url =
            LyricsCandidateMatcher::linkRelativeToPage(LyricsCandidateMatcher::linkInCell(cell), pageURL);
        if (!url.isEmpty())
            return url;
    }
    return QUrl();
}

bool LyredInterface::getAnAlbum()
{
    while (!mAlbumURLs.isEmpty() && mLoadingURLs.isEmpty())
        addSearchURL(mAlbumURLs.takeFirst(), "lyredAlbumCompleted", false);
    return !mLoadingURLs.isEmpty();
}

bool LyredInterface::followSongIn(const QList<QStringList>& rows, const QUrl& pageURL)
{
    const QUrl link = songLinkInRows(rows, pageURL, wantedTitle(), mAllowSubstrings);
    if (link.isEmpty())
        return false;
    addSearchURL(link, "lyredSongCompleted", false);
    return !mLoadingURLs.isEmpty();
}

void LyredInterface::lyredArtistCompleted(const QVariantMap& answer)
{
    finishedSearch(answer);
    const QByteArray body = answer.value(QStringLiteral("WMHTTPDataKey")).toByteArray();
    const QUrl url = answer.value(QStringLiteral("WMHTTPURLKey")).toUrl();
    if (body.size() <= LyricsPageText::kMinPageBytes) {
        WMHTTPQueue::queue()->removeURLFromCache(url);
    } else {
        const QString wantedAlbum =
            mAlbumTitle.isEmpty() ? QString() : WendmarkTextExtensions::simplified(mAlbumTitle);
        QList<QUrl> albums = albumLinksInPage(body, url, mResources, wantedAlbum);
        if (albums.size() > mMaxAlbumsToRead)
            albums.resize(mMaxAlbumsToRead);
        QStringList shown;
        for (const QUrl& album : std::as_const(albums))
            shown.append(album.toString());
        WMLog("lyred got album URLs:\n%@", shown.join(QLatin1Char('\n')));
        mAlbumURLs = albums;
        getAnAlbum();
    }
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(true);
}

void LyredInterface::lyredAlbumCompleted(const QVariantMap& answer)
{
    finishedSearch(answer);
    const QByteArray body = answer.value(QStringLiteral("WMHTTPDataKey")).toByteArray();
    const QUrl url = answer.value(QStringLiteral("WMHTTPURLKey")).toUrl();
    if (body.size() <= LyricsPageText::kMinPageBytes) {
        WMHTTPQueue::queue()->removeURLFromCache(url);
        getAnAlbum();
    } else {
        const QList<QStringList> rows = songRowsInPage(body, mResources);
        qsizetype kept = 0;
        for (const SongList& list : std::as_const(mSongLists))
            kept += list.rows.size();
        if (kept + rows.size() <= kMaxKeptRows)
            mSongLists.append(SongList{url, rows});
        if (!followSongIn(rows, url))
            getAnAlbum();
    }
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(true);
}

void LyredInterface::lyredSongCompleted(const QVariantMap& answer)
{
    finishedSearch(answer);
    const QByteArray body = answer.value(QStringLiteral("WMHTTPDataKey")).toByteArray();
    const QUrl url = answer.value(QStringLiteral("WMHTTPURLKey")).toUrl();
    QString lyrics;
    if (body.size() <= LyricsPageText::kMinPageBytes) {
        WMHTTPQueue::queue()->removeURLFromCache(url);
    } else {
        const std::optional<QByteArray> fragment = LyricsPageText::bytesBetweenMarkers(
            LyricsPageText::cappedPage(body), mResources.value(QStringLiteral("lyricsBegin")).toString(),
            mResources.value(QStringLiteral("lyricsEnd")).toString());
        if (fragment)
            lyrics = LyricsPageText::lyricsFromFragment(*fragment,
                                                        mResources.value(QStringLiteral("encoding")).toInt());
    }
    if (lyrics.isEmpty()) {
        WMLog("%@ #%d: no lyrics in %@", metaObject()->className(), mLogNum++, url.toString());
        getAnAlbum();
        notifyIfCompleteOrTryAgainWithoutTitleParentheses(true);
        return;
    }
    mAlbumURLs.clear();
    endSearchWithAlbum(LyricsPageText::lyricsAlbum(mArtist, mAlbumTitle, mSongTitle, lyrics,
                                                   QString::fromLatin1(metaObject()->className())));
}
