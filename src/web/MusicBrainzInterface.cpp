#include "web/MusicBrainzInterface.h"

#include "support/WMLog.h"
#include "text/WMStringExtensions.h"
#include "text/WendmarkTextExtensions.h"
#include "web/LyricsCandidateMatcher.h"
#include "web/MusicBrainzReleaseReader.h"
#include "web/URLTemplate.h"
#include "web/WMHTTPQueue.h"

namespace {

const QString kDataKey = QStringLiteral("WMHTTPDataKey");
const QString kURLKey = QStringLiteral("WMHTTPURLKey");
const QString kErrorKey = QStringLiteral("WMHTTPErrorKey");

constexpr int kDefaultMaximumMatches = 5;
constexpr int kDefaultSearchLimit = 25;

} // namespace

MusicBrainzInterface::MusicBrainzInterface(const QVariantMap& resources, QObject* parent)
    : WebDBInterface(resources, parent)
{}

AlbumAssets MusicBrainzInterface::resourcesPossiblyAvailable() const
{
    return AlbumAssets(AlbumAsset::AlbumName) | AlbumAsset::Year | AlbumAsset::SongTitle | AlbumAsset::Track |
           AlbumAsset::Genre | AlbumAsset::Artwork;
}

int MusicBrainzInterface::maximumMatches() const
{
    const int maximum = mResources.value(QStringLiteral("maximumMatches")).toInt();
    return maximum < 1 ? kDefaultMaximumMatches : maximum;
}

bool MusicBrainzInterface::searchesByRecording() const
{
    return mAlbumTitle.isEmpty();
}

QUrl MusicBrainzInterface::searchURL() const
{
    if (mResources.isEmpty() || mArtist.isEmpty())
        return QUrl();
    int limit = mResources.value(QStringLiteral("searchLimit")).toInt();
    if (limit < 1 || limit > 100)
        limit = kDefaultSearchLimit;
    QString base;
    QString query;
    if (!searchesByRecording()) {
        base = mResources.value(QStringLiteral("releaseSearchURL")).toString();
        // A compilation is credited to no one artist: its title alone is asked for.
        query = MusicBrainzReleaseReader::releaseQuery(mAlbumTitle, mIsCompilation ? QString() : mArtist);
    } else if (!searchedTitle().isEmpty()) {
        base = mResources.value(QStringLiteral("recordingSearchURL")).toString();
        query = MusicBrainzReleaseReader::recordingQuery(searchedTitle(), mArtist);
    }
    if (base.isEmpty())
        return QUrl();
    return MusicBrainzReleaseReader::urlWithQuery(base, {{QStringLiteral("query"), query},
                                                         {QStringLiteral("fmt"), QStringLiteral("json")},
                                                         {QStringLiteral("limit"), QString::number(limit)}});
}

void MusicBrainzInterface::beginSearch()
{
    WebDBInterface::beginSearch();
    mNumberOfMatches = 0;
    const QUrl url = searchURL();
    if (!url.isEmpty())
        addSearchURL(url, "musicBrainzSearchCompleted", false);
    if (mLoadingURLs.isEmpty())
        notifySearchComplete();
}

void MusicBrainzInterface::cancelSearch()
{
    WebDBInterface::cancelSearch();
    cancelSearchesInQueue();
}

std::optional<QJsonObject> MusicBrainzInterface::jsonObjectOfAnswer(const QVariantMap& answer,
                                                                    const char* what)
{
    const QUrl url = answer.value(kURLKey).toUrl();
    if (answer.contains(kErrorKey)) {
        // A 429 or 503 arrives here only once the queue has given up waiting.
        WMLog("musicbrainz: %@ error %@ [%@]", what,
              answer.value(kErrorKey).toMap().value(QStringLiteral("description")), url.toString());
        WMHTTPQueue::queue()->removeURLFromCache(url);
        return std::nullopt;
    }
    QString reason;
    std::optional<QJsonObject> object =
        MusicBrainzReleaseReader::jsonObject(answer.value(kDataKey).toByteArray(), &reason);
    if (!object) {
        WMLog("musicbrainz: %@ error %@ [%@]", what, reason, url.toString());
        WMHTTPQueue::queue()->removeURLFromCache(url);
    }
    return object;
}

bool MusicBrainzInterface::artistFits(const QString& foundArtist) const
{
    const QString found = WendmarkTextExtensions::simplified(foundArtist);
    if (LyricsCandidateMatcher::matchesAny(
            found, LyricsCandidateMatcher::wantedArtists(mArtist, mAlternateArtist), mAllowSubstrings))
        return true;
    if (!mIsCompilation)
        return false;
    QString various = mResources.value(QStringLiteral("variousArtists")).toString();
    if (various.isEmpty())
        various = QStringLiteral("Various Artists");
    return !found.isEmpty() && found == WendmarkTextExtensions::simplified(various);
}

bool MusicBrainzInterface::titleFits(const QString& found, const QString& wanted) const
{
    if (wanted.isEmpty())
        return true;
    return LyricsCandidateMatcher::namesMatch(WendmarkTextExtensions::simplified(found),
                                              WendmarkTextExtensions::simplified(wanted), mAllowSubstrings);
}

void MusicBrainzInterface::musicBrainzSearchCompleted(const QVariantMap& answer)
{
    finishedSearch(answer);
    const QUrl url = answer.value(kURLKey).toUrl();
    const bool byRecording = searchesByRecording();
    if (const std::optional<QJsonObject> object = jsonObjectOfAnswer(answer, "search results")) {
        const QList<MusicBrainzReleaseReader::Candidate> all =
            byRecording ? MusicBrainzReleaseReader::candidatesOfRecordingSearch(*object)
                        : MusicBrainzReleaseReader::candidatesOfReleaseSearch(*object);
        QList<MusicBrainzReleaseReader::Candidate> fitting;
        const QString wanted = byRecording ? searchedTitle() : mAlbumTitle;
        for (const auto& candidate : all) {
            if (artistFits(candidate.artist) && titleFits(candidate.title, wanted))
                fitting.append(candidate);
        }
        const QString lookupFormat = mResources.value(QStringLiteral("releaseLookupURL")).toString();
        const QStringList ids =
            MusicBrainzReleaseReader::chosenReleaseIDs(fitting, maximumMatches() - mNumberOfMatches);
        WMLog("musicbrainz #%d: %d of %d releases fit [%@]", mLogNum++, int(fitting.size()), int(all.size()),
              url.toString());
        for (const QString& id : ids) {
            const QUrl lookup = URLTemplate::url(lookupFormat, {id});
            if (lookup.isEmpty())
                continue;
            ++mNumberOfMatches;
            addSearchURL(lookup, "musicBrainzReleaseCompleted", false);
        }
    }
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(byRecording && mAlbums.isEmpty());
}

void MusicBrainzInterface::musicBrainzReleaseCompleted(const QVariantMap& answer)
{
    finishedSearch(answer);
    const QUrl url = answer.value(kURLKey).toUrl();
    if (const std::optional<QJsonObject> release = jsonObjectOfAnswer(answer, "release")) {
        QString reason;
        std::optional<AlbumInfo> album = MusicBrainzReleaseReader::albumFromRelease(
            *release, mResources, mMinImageWidth, mMaxImageWidth, &reason);
        if (!album) {
            WMLog("musicbrainz: no album in release, %@ [%@]", reason, url.toString());
        } else if (!artistFits(album->artist())) {
            WMLog("musicbrainz: artist '%@' does not fit [%@]", album->artist(), url.toString());
        } else if (!titleFits(album->name(), mAlbumTitle)) {
            WMLog("musicbrainz: album '%@' does not fit [%@]", album->name(), url.toString());
        } else if (mAlbums.size() < mMaxAlbums) {
            album->setSourceInterfaceName(QString::fromLatin1(metaObject()->className()));
            album->setSourceReference(url.toString());
            mAlbums.append(*album);
        }
    }
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(searchesByRecording() && mAlbums.isEmpty());
}
