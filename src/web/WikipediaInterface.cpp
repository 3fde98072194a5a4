#include "web/WikipediaInterface.h"

#include "support/WMLog.h"
#include "web/WMUtility.h"
#include "text/WendmarkTextExtensions.h"
#include "web/URLTemplate.h"
#include "web/WMHTTPQueue.h"

#include <QStringDecoder>
#include <QUrl>

namespace {

const QString URLKey = QStringLiteral("WMHTTPURLKey");
const QString DataKey = QStringLiteral("WMHTTPDataKey");

// Bodies of this size or less are failed pages (an empty answer, a stub).
constexpr qsizetype kShortestPage = 99;

} // namespace

WikipediaInterface::WikipediaInterface(const QVariantMap& resources, QObject* parent)
    : WebDBInterface(resources, parent), mReader(resources)
{}

AlbumAssets WikipediaInterface::resourcesPossiblyAvailable() const
{
    return AlbumAssets(AlbumAsset::Artwork) | AlbumAsset::AlbumName | AlbumAsset::Year |
           AlbumAsset::SongTitle | AlbumAsset::Track | AlbumAsset::Genre;
}

void WikipediaInterface::beginSearch()
{
    WebDBInterface::beginSearch();
    const QString query = mResources.value(QStringLiteral("queryAlbum")).toString();
    if (!mIsCompilation && !mArtist.isEmpty() && !query.isEmpty() && !mAlbumTitle.isEmpty()) {
        const QString title = WMUtility::stringForPost(mAlbumTitle, false, QStringLiteral("+"));
        const QUrl url = URLTemplate::url(query, {title});
        if (url.isEmpty()) {
            WMLog("wiki #%d: no search URL from '%@'", mLogNum++, query);
        } else if (!mVisitedURLStrings.contains(url.toString())) {
            mVisitedURLStrings.append(url.toString());
            WMLog("wiki #%d: searching '%@' by '%@': %@", mLogNum++, mAlbumTitle, mArtist, url.toString());
            addSearchURL(url, "pageFinished", false);
        }
    }
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(false);
}

void WikipediaInterface::cancelSearch()
{
    WebDBInterface::cancelSearch();
    cancelSearchesInQueue();
}

QString WikipediaInterface::pageText(const QByteArray& input)
{
    const QByteArray data = input.size() > WikipediaPageReader::kMaxPageLength
                                ? input.left(WikipediaPageReader::kMaxPageLength)
                                : input;
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(data);
    if (!decoder.hasError())
        return text;
    return QString::fromLatin1(data);
}

std::optional<AlbumInfo> WikipediaInterface::albumFromHTMLData(const QByteArray& data) const
{
    if (data.isEmpty())
        return std::nullopt;
    return mReader.albumFromHTML(pageText(data));
}

bool WikipediaInterface::isAlbumOfSearchedArtist(const AlbumInfo& album) const
{
    using WendmarkTextExtensions::simplified;
    const QString albumArtist = simplified(album.artist());
    const QString artist = simplified(mArtist);
    const QString alternate = mAlternateArtist.isEmpty() ? artist : simplified(mAlternateArtist);
    if (albumArtist.isEmpty() || artist.isEmpty())
        return false;
    if (!mAllowSubstrings)
        return albumArtist == artist || albumArtist == alternate;
    // The alternate form is deliberately not tested the other way round.
    return albumArtist.contains(artist) || artist.contains(albumArtist) ||
           (!alternate.isEmpty() && alternate.contains(albumArtist));
}

void WikipediaInterface::followLinksOfPage(const QString& page)
{
    for (const QString& link : mReader.linksToFollow(page, mAlbumTitle)) {
        if (mTotalSearches >= kMaxPagesPerSearch) {
            WMLog("wiki #%d: enough pages followed for '%@'", mLogNum++, mAlbumTitle);
            break;
        }
        if (mVisitedURLStrings.contains(link))
            continue;
        const QUrl url(link);
        if (!url.isValid())
            continue;
        mVisitedURLStrings.append(link);
        addSearchURL(url, "pageFinished", false);
    }
}

void WikipediaInterface::pageFinished(const QVariantMap& answer)
{
    finishedSearch(answer);
    const QUrl url = answer.value(URLKey).toUrl();
    const QByteArray data = answer.value(DataKey).toByteArray();
    if (!url.isEmpty() && !mVisitedURLStrings.contains(url.toString()))
        mVisitedURLStrings.append(url.toString());

    if (data.size() <= kShortestPage) {
        WMLog("wiki #%d: failed page (%d bytes) %@", mLogNum++, static_cast<int>(data.size()),
              url.toString());
        WMHTTPQueue::queue()->removeURLFromCache(url);
    } else if (WMHTTPQueue::answerHasError(answer)) {
        WMLog("wiki #%d: error %d for %@", mLogNum++, WMHTTPQueue::errorCode(answer), url.toString());
    } else if (!mWasCancelled) {
        const QString page = pageText(data);
        if (const std::optional<AlbumInfo> found = mReader.albumFromHTML(page)) {
            AlbumInfo album = *found;
            if (isAlbumOfSearchedArtist(album) && mAlbums.size() < mMaxAlbums) {
                album.setSourceInterfaceName(QStringLiteral("WikipediaInterface"));
                album.setSourceReference(url.toString());
                WMLog("wiki #%d: found %@", mLogNum++, album);
                mAlbums.append(album);
            } else {
                WMLog("wiki #%d: not by '%@': %@", mLogNum++, mArtist, album);
            }
        } else {
            followLinksOfPage(page);
        }
    }
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(false);
}
