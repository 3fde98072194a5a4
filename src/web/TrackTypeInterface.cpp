#include "TrackTypeInterface.h"

#include "support/BundleInfo.h"
#include "support/WMLog.h"
#include "web/WMUtility.h"
#include "text/WendmarkTextExtensions.h"
#include "web/LyricsCandidateMatcher.h"
#include "web/URLTemplate.h"
#include "web/WMHTTPQueue.h"

namespace {

// Query answers longer than this are not disc lists.
constexpr qsizetype kMaxListBytes = 1024 * 1024;

const QString& shortVersion()
{
    static const QString version = BundleInfo::shortVersion();
    return version;
}

} // namespace

TrackTypeInterface::TrackTypeInterface(const QVariantMap& resources, QObject* parent)
    : WebDBInterface(resources, parent)
{}

AlbumAssets TrackTypeInterface::resourcesPossiblyAvailable() const
{
    return AlbumAssets(AlbumAsset::AlbumName) | AlbumAsset::Year | AlbumAsset::SongTitle | AlbumAsset::Track |
           AlbumAsset::Genre;
}

void TrackTypeInterface::beginSearch()
{
    WebDBInterface::beginSearch();
    if (!mResources.isEmpty() && !mArtist.isEmpty()) {
        QString format;
        QString text;
        if (!mSongTitle.isEmpty()) {
            format = mResources.value(QStringLiteral("querySong")).toString();
            text = mSongTitle;
        } else if (!mAlbumTitle.isEmpty()) {
            format = mResources.value(QStringLiteral("queryAlbum")).toString();
            text = mAlbumTitle;
        }
        if (!format.isEmpty()) {
            const QString encoded = WMUtility::stringForPost(text, true, QStringLiteral("+"));
            addSearchURL(URLTemplate::url(format, {encoded, shortVersion()}), "albumListCompleted", false);
        }
    }
    if (mLoadingURLs.isEmpty())
        notifySearchComplete();
}

void TrackTypeInterface::cancelSearch()
{
    WebDBInterface::cancelSearch();
    cancelSearchesInQueue();
}

QList<TrackTypeInterface::DiscListing> TrackTypeInterface::discListFromData(const QByteArray& data)
{
    QList<DiscListing> discs;
    if (data.isEmpty() || data.size() > kMaxListBytes)
        return discs;
    const QStringList lines = QString::fromUtf8(data).split(QLatin1Char('\n'));
    if (lines.size() < 3)
        return discs;
    bool numeric = false;
    const int status = lines.constFirst().left(3).toInt(&numeric);
    if (!numeric || status < 200 || status > 299)
        return discs;
    const QLatin1String separator(" / ");
    for (qsizetype i = 1; i < lines.size() && discs.size() < kMaxListings; ++i) {
        QString line = lines.at(i);
        if (line.endsWith(QLatin1Char('\r')))
            line.chop(1);
        const QStringList parts = line.split(QLatin1Char(' '));
        if (parts.size() < 5)
            continue;
        const QString& category = parts.at(0);
        const QString& discID = parts.at(1);
        const QString rest = line.mid(category.size() + discID.size() + 2);
        const qsizetype at = rest.indexOf(separator);
        if (at < 0 || category.isEmpty() || discID.isEmpty())
            continue;
        discs.append(DiscListing{category, discID, rest.left(at), rest.mid(at + separator.size())});
    }
    return discs;
}

bool TrackTypeInterface::discArtistMatches(const QString& discArtist) const
{
    if (mIsCompilation)
        return true;
    return LyricsCandidateMatcher::matchesAny(
        WendmarkTextExtensions::simplified(discArtist),
        LyricsCandidateMatcher::wantedArtists(mArtist, mAlternateArtist), mAllowSubstrings);
}

bool TrackTypeInterface::albumArtistMatches(const QString& albumArtist) const
{
    if (mIsCompilation)
        return true;
    const QString found = WendmarkTextExtensions::simplified(albumArtist);
    const QString artist = WendmarkTextExtensions::simplified(mArtist);
    const QString alternate =
        mAlternateArtist.isEmpty() ? artist : WendmarkTextExtensions::simplified(mAlternateArtist);
    if (found.isEmpty())
        return false;
    if (mAllowSubstrings) {
        return (!artist.isEmpty() && (found.contains(artist) || artist.contains(found))) ||
               (!alternate.isEmpty() && alternate.contains(found));
    }
    return found == artist || found == alternate;
}

void TrackTypeInterface::albumListCompleted(const QVariantMap& answer)
{
    finishedSearch(answer);
    const QByteArray body = answer.value(QStringLiteral("WMHTTPDataKey")).toByteArray();
    if (body.size() <= 9)
        WMHTTPQueue::queue()->removeURLFromCache(answer.value(QStringLiteral("WMHTTPURLKey")).toUrl());
    const QString format = mResources.value(QStringLiteral("discInfoURL")).toString();
    int queued = 0;
    for (const DiscListing& disc : discListFromData(body)) {
        if (queued >= mMaxAlbums || format.isEmpty())
            break;
        if (!discArtistMatches(disc.artist))
            continue;
        const QString category = QString::fromLatin1(QUrl::toPercentEncoding(disc.category));
        const QString discID = QString::fromLatin1(QUrl::toPercentEncoding(disc.discID));
        addSearchURL(URLTemplate::url(format, {category, discID}), "gotAlbum", false);
        ++queued;
    }
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(false);
}

void TrackTypeInterface::gotAlbum(const QVariantMap& answer)
{
    finishedSearch(answer);
    const QByteArray body = answer.value(QStringLiteral("WMHTTPDataKey")).toByteArray();
    if (!WMHTTPQueue::answerHasError(answer) && !body.isEmpty()) {
        std::optional<AlbumInfo> album = AlbumInfo::albumWithFreeDBData(body);
        if (!album || album->name().isEmpty()) {
            WMHTTPQueue::queue()->removeURLFromCache(answer.value(QStringLiteral("WMHTTPURLKey")).toUrl());
        } else if (albumArtistMatches(album->artist())) {
            album->setSourceInterfaceName(QString::fromLatin1(metaObject()->className()));
            album->setSourceReference(answer.value(QStringLiteral("WMHTTPURLKey")).toUrl().toString());
            mAlbums.append(*album);
        }
    }
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(false);
}
