#include "SeekALyricInterface.h"

#include "support/WMLog.h"
#include "web/WMUtility.h"
#include "text/WMStringExtensions.h"
#include "web/LyricsCandidateMatcher.h"
#include "web/LyricsPageText.h"
#include "web/URLTemplate.h"
#include "web/WMHTTPQueue.h"

SeekALyricInterface::SeekALyricInterface(const QVariantMap& resources, QObject* parent)
    : WebDBInterface(resources, parent)
{}

AlbumAssets SeekALyricInterface::resourcesPossiblyAvailable() const
{
    return AlbumAsset::Lyrics;
}

void SeekALyricInterface::beginSearch()
{
    WebDBInterface::beginSearch();
    const QString format = mResources.value(QStringLiteral("queryTitle")).toString();
    if (!mResources.isEmpty() && !mArtist.isEmpty() && !format.isEmpty() && !mSongTitle.isEmpty()) {
        const QString title = WMUtility::stringForPost(searchedTitle(), true, QStringLiteral("+"));
        // The artist is there for formats that search by both ("%2$@").
        const QString artist = WMUtility::stringForPost(mArtist, true, QStringLiteral("+"));
        addSearchURL(URLTemplate::url(format, {title, artist}), "seekALyricSongListCompleted", false);
    }
    if (mLoadingURLs.isEmpty())
        notifySearchComplete();
}

void SeekALyricInterface::cancelSearch()
{
    WebDBInterface::cancelSearch();
    cancelSearchesInQueue();
}

QList<QUrl> SeekALyricInterface::songLinksInPage(const QByteArray& page, const QVariantMap& resources,
                                                 const QStringList& artists, const QString& wantedTitle,
                                                 bool allowSubstrings)
{
    // Read in the site's encoding, so that names beyond ASCII compare as
    // written; ISO Latin-1 when the resources name none.
    const QString html =
        LyricsPageText::decodedText(page, resources.value(QStringLiteral("encoding")).toInt());
    const auto rows =
        WMUtility::parsedContentsOfHTML(html, resources.value(QStringLiteral("parseSongs")).toMap());
    if (!rows)
        return {};
    return LyricsCandidateMatcher::matchingLinks(*rows, artists, wantedTitle, allowSubstrings,
                                                 resources.value(QStringLiteral("baseURL")).toString(),
                                                 resources.value(QStringLiteral("songListSplit")).toString());
}

QString SeekALyricInterface::lyricsInPage(const QByteArray& page, const QVariantMap& resources)
{
    const std::optional<QByteArray> fragment = LyricsPageText::bytesBetweenMarkers(
        LyricsPageText::cappedPage(page), resources.value(QStringLiteral("lyricsBegin")).toString(),
        resources.value(QStringLiteral("lyricsEnd")).toString());
    if (!fragment)
        return QString();
    return LyricsPageText::lyricsFromFragment(*fragment, resources.value(QStringLiteral("encoding")).toInt());
}

void SeekALyricInterface::seekALyricSongListCompleted(const QVariantMap& answer)
{
    finishedSearch(answer);
    const QByteArray body = answer.value(QStringLiteral("WMHTTPDataKey")).toByteArray();
    const QUrl url = answer.value(QStringLiteral("WMHTTPURLKey")).toUrl();
    if (body.size() <= LyricsPageText::kMinPageBytes) {
        WMLog("%@ #%d: %ld song list bytes from %@", metaObject()->className(), mLogNum++,
              static_cast<long>(body.size()), url.toString());
        WMHTTPQueue::queue()->removeURLFromCache(url);
    } else {
        const QString wanted = LyricsCandidateMatcher::wantedTitle(
            mSongTitle, mWithoutParentheses, mResources.value(QStringLiteral("songListSuffix")).toString());
        const QList<QUrl> links = songLinksInPage(
            body, mResources, LyricsCandidateMatcher::wantedArtists(mArtist, mAlternateArtist), wanted,
            mAllowSubstrings);
        // Only the first row that is actually scheduled is followed.
        for (const QUrl& link : links) {
            if (!mLoadingURLs.isEmpty())
                break;
            addSearchURL(link, "seekALyricSongCompleted", false);
        }
    }
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(true);
}

void SeekALyricInterface::seekALyricSongCompleted(const QVariantMap& answer)
{
    takeLyricsPage(answer, [this](const QByteArray& page) { return lyricsInPage(page, mResources); });
}
