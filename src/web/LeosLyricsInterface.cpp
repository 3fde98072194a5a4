#include "LeosLyricsInterface.h"

#include "support/WMLog.h"
#include "web/WMUtility.h"
#include "text/WMStringExtensions.h"
#include "web/LyricsCandidateMatcher.h"
#include "web/LyricsPageText.h"
#include "web/URLTemplate.h"
#include "web/WMHTTPQueue.h"

namespace {

int pageEncoding(const QVariantMap& resources)
{
    if (resources.value(QStringLiteral("forceISO8859")).toBool())
        return 5;
    return resources.value(QStringLiteral("encoding")).toInt();
}

} // namespace

LeosLyricsInterface::LeosLyricsInterface(const QVariantMap& resources, QObject* parent)
    : WebDBInterface(resources, parent)
{}

AlbumAssets LeosLyricsInterface::resourcesPossiblyAvailable() const
{
    return AlbumAsset::Lyrics;
}

void LeosLyricsInterface::beginSearch()
{
    WebDBInterface::beginSearch();
    const QString format = mResources.value(QStringLiteral("queryTitle")).toString();
    if (!mResources.isEmpty() && !mArtist.isEmpty() && !format.isEmpty() && !mSongTitle.isEmpty()) {
        mResultPagesRead = 0;
        const QString title = WMUtility::stringForPost(searchedTitle(), true, QStringLiteral("+"));
        addSearchURL(URLTemplate::url(format, {title}), "leoAlbumListCompleted", false);
    }
    if (mLoadingURLs.isEmpty())
        notifySearchComplete();
}

void LeosLyricsInterface::cancelSearch()
{
    WebDBInterface::cancelSearch();
    cancelSearchesInQueue();
}

std::optional<QString> LeosLyricsInterface::decodedPage(const QByteArray& body, const QVariantMap& resources)
{
    return LyricsPageText::strictlyDecodedText(LyricsPageText::cappedPage(body), pageEncoding(resources));
}

QList<QUrl> LeosLyricsInterface::resultLinksInPage(const QString& page, const QVariantMap& resources,
                                                   const QStringList& artists, const QString& wantedTitle,
                                                   bool allowSubstrings)
{
    const auto rows =
        WMUtility::parsedContentsOfHTML(page, resources.value(QStringLiteral("parseSearchResults")).toMap());
    if (!rows)
        return {};
    return LyricsCandidateMatcher::matchingLinks(*rows, artists, wantedTitle, allowSubstrings,
                                                 resources.value(QStringLiteral("baseURL")).toString(),
                                                 resources.value(QStringLiteral("songListSplit")).toString());
}

QUrl LeosLyricsInterface::nextPageInPage(const QString& page, const QVariantMap& resources)
{
    const auto entries =
        WMUtility::parsedContentsOfHTML(page, resources.value(QStringLiteral("nextResultsPage")).toMap());
    if (!entries || entries->isEmpty())
        return QUrl();
    return LyricsCandidateMatcher::absoluteLink(
        LyricsCandidateMatcher::linkInCell(entries->constFirst().constFirst()),
        resources.value(QStringLiteral("baseURL")).toString());
}

QString LeosLyricsInterface::lyricsInPage(const QByteArray& page, const QVariantMap& resources)
{
    const std::optional<QByteArray> fragment = LyricsPageText::bytesBetweenMarkers(
        LyricsPageText::cappedPage(page), resources.value(QStringLiteral("lyricHead")).toString(),
        resources.value(QStringLiteral("lyricFoot")).toString());
    if (!fragment)
        return QString();
    return LyricsPageText::lyricsFromFragment(
        *fragment, pageEncoding(resources),
        LyricsPageText::stringList(resources.value(QStringLiteral("adBegin"))),
        LyricsPageText::stringList(resources.value(QStringLiteral("adEnd"))));
}

void LeosLyricsInterface::leoAlbumListCompleted(const QVariantMap& answer)
{
    finishedSearch(answer);
    const QByteArray body = answer.value(QStringLiteral("WMHTTPDataKey")).toByteArray();
    const QUrl url = answer.value(QStringLiteral("WMHTTPURLKey")).toUrl();
    if (body.size() <= LyricsPageText::kMinPageBytes) {
        WMLog("leo: %u list bytes :-(", static_cast<unsigned>(body.size()));
        WMHTTPQueue::queue()->removeURLFromCache(url);
        notifyIfCompleteOrTryAgainWithoutTitleParentheses(true);
        return;
    }
    std::optional<QString> page = decodedPage(body, mResources);
    if (!page) {
        WMLog("leo: NSString initWithData %@", url.toString());
        page = QString::fromLatin1(LyricsPageText::cappedPage(body));
    }
    ++mResultPagesRead;
    const QString wanted = LyricsCandidateMatcher::wantedTitle(
        mSongTitle, mWithoutParentheses, mResources.value(QStringLiteral("songListSuffix")).toString());
    const QList<QUrl> links =
        resultLinksInPage(*page, mResources, LyricsCandidateMatcher::wantedArtists(mArtist, mAlternateArtist),
                          wanted, mAllowSubstrings);
    for (const QUrl& link : links) {
        if (!mLoadingURLs.isEmpty())
            break;
        addSearchURL(link, "leoLyricsReceived", false);
    }
    // Nothing here: the next result page, while pages are left to read.
    if (mLoadingURLs.isEmpty() && mResultPagesRead <= mResources.value(QStringLiteral("keepLooking")).toInt())
        addSearchURL(nextPageInPage(*page, mResources), "leoAlbumListCompleted", false);
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(true);
}

void LeosLyricsInterface::leoLyricsReceived(const QVariantMap& answer)
{
    takeLyricsPage(answer, [this](const QByteArray& page) { return lyricsInPage(page, mResources); });
}
