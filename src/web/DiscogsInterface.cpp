#include "web/DiscogsInterface.h"

#include "support/LocalizedStrings.h"
#include "support/WMLog.h"
#include "text/WMStringExtensions.h"
#include "text/WendmarkTextExtensions.h"
#include "web/URLTemplate.h"
#include "web/WMHTTPQueue.h"
#include "web/WMUtility.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QRegularExpression>
#include <QSettings>
#include <QUrl>

#include <atomic>

namespace {

const QString URLKey = QStringLiteral("WMHTTPURLKey");
const QString DataKey = QStringLiteral("WMHTTPDataKey");

// Bodies of this size or less are failed answers.
constexpr qsizetype kShortestAnswer = 9;
constexpr int kDefaultMaximumMatches = 100;
constexpr int kMaxListItems = 1000;

using WendmarkTextExtensions::simplified;

// `a` begins with `b`, or contains it; an empty `b` never fits.
bool fitsPrefix(const QString& a, const QString& b)
{
    return !b.isEmpty() && a.startsWith(b);
}
bool fitsContained(const QString& a, const QString& b)
{
    return !b.isEmpty() && a.contains(b);
}

} // namespace

DiscogsInterface::DiscogsInterface(const QVariantMap& resources, QObject* parent)
    : WebDBInterface(resources, parent)
{}

AlbumAssets DiscogsInterface::resourcesPossiblyAvailable() const
{
    return AlbumAssets(AlbumAsset::Artwork) | AlbumAsset::AlbumName | AlbumAsset::Artist | AlbumAsset::Year |
           AlbumAsset::SongTitle | AlbumAsset::Track | AlbumAsset::Genre;
}

QString DiscogsInterface::apiKey() const
{
    const QString key = mResources.value(QStringLiteral("apiKey")).toString();
    return key.isEmpty() ? QSettings().value(QStringLiteral("discogsApiKey")).toString() : key;
}

QString DiscogsInterface::secretHash() const
{
    const QString secret = mResources.value(QStringLiteral("secretHash")).toString();
    return secret.isEmpty() ? QSettings().value(QStringLiteral("discogsSecret")).toString() : secret;
}

int DiscogsInterface::maximumMatches() const
{
    const int maximum = mResources.value(QStringLiteral("maximumMatches")).toInt();
    return maximum < 1 ? kDefaultMaximumMatches : maximum;
}

void DiscogsInterface::beginSearch()
{
    WebDBInterface::beginSearch();
    mNumberOfMatches = 0;
    const QString key = apiKey().trimmed();
    const QString secret = secretHash().trimmed();
    const QString query = mResources.value(QStringLiteral("trackQuery")).toString();
    if (key.isEmpty() || secret.isEmpty()) {
        setFailure(
            SourceFailure::notConfigured(LocalizedStrings::text(QStringLiteral("SourceNeedsDiscogsKey"))));
        static std::atomic_bool told{false};
        if (!told.exchange(true))
            WMLog("discog: no API key or secret; Discogs skipped");
    } else if (!query.isEmpty() && !mArtist.isEmpty() && (!mSongTitle.isEmpty() || !mAlbumTitle.isEmpty()) &&
               !mIsCompilation) {
        QString title = mSongTitle.isEmpty() ? mAlbumTitle : mSongTitle;
        if (mWithoutParentheses)
            title = WMStringExtensions::stringWithStrippedParenthesizedText(title);
        const QString text =
            WMUtility::stringForPost(mArtist + QLatin1Char(' ') + title, false, QStringLiteral("+"));
        const QString filled = URLTemplate::filled(query, {key, secret.toLower(), text});
        const QUrl url(WMStringExtensions::safelyEscapedString(filled));
        if (url.isValid() && !url.isRelative()) {
            WMLog("discog #%d: searching '%@' by '%@'", mLogNum++, title, mArtist);
            addSearchURL(url, "discogResultsCompleted", false);
        } else {
            WMLog("discog #%d: no search URL from '%@'", mLogNum++, query);
        }
    }
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(true);
}

void DiscogsInterface::cancelSearch()
{
    WebDBInterface::cancelSearch();
    cancelSearchesInQueue();
}

std::optional<QVariantMap> DiscogsInterface::jsonObjectOfAnswer(const QVariantMap& answer, const char* what)
{
    const QUrl url = answer.value(URLKey).toUrl();
    const QByteArray data = answer.value(DataKey).toByteArray();
    if (data.size() <= kShortestAnswer) {
        WMHTTPQueue::queue()->removeURLFromCache(url);
        return std::nullopt;
    }
    if (WMHTTPQueue::answerHasError(answer)) {
        WMLog("discog: %@ error %d [%@]", what, WMHTTPQueue::errorCode(answer), url.toString());
        return std::nullopt;
    }
    if (mWasCancelled)
        return std::nullopt;
    if (data.size() > kMaxAnswerLength) {
        WMLog("discog: %@ too large (%d bytes) [%@]", what, static_cast<int>(data.size()), url.toString());
        return std::nullopt;
    }
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        const QString reason =
            error.error != QJsonParseError::NoError ? error.errorString() : QStringLiteral("not an object");
        if (qstrcmp(what, "search results") == 0)
            WMLog("discog: search results error %@ [%@]", reason, url.toString());
        else
            WMLog("discog: release error %@ [%@]", reason, url.toString());
        return std::nullopt;
    }
    return document.object().toVariantMap();
}

void DiscogsInterface::discogResultsCompleted(const QVariantMap& answer)
{
    finishedSearch(answer);
    const QUrl searchURL = answer.value(URLKey).toUrl();
    if (const std::optional<QVariantMap> results = jsonObjectOfAnswer(answer, "search results")) {
        const QString artist = simplified(mArtist);
        const QString alternate = mAlternateArtist.isEmpty() ? QString() : simplified(mAlternateArtist);
        const QString album = mAlbumTitle.isEmpty() ? QString() : simplified(mAlbumTitle);
        const int maximum = maximumMatches();
        const QVariantList entries = results->value(QStringLiteral("results")).toList();
        for (qsizetype i = 0; i < entries.size() && mNumberOfMatches < maximum; ++i) {
            const QVariantMap entry = entries.at(i).toMap();
            // Artists and labels have no track lists.
            const QString type = entry.value(QStringLiteral("type")).toString();
            if (!type.isEmpty() && type != QLatin1String("release") && type != QLatin1String("master"))
                continue;
            const QString title = simplified(entry.value(QStringLiteral("title")).toString());
            if (!fitsContained(title, artist) && !fitsContained(title, alternate))
                continue;
            if (!album.isEmpty() && !fitsContained(title, album) && !fitsContained(album, title))
                continue;
            const QString resource = entry.value(QStringLiteral("resource_url")).toString().trimmed();
            if (resource.isEmpty())
                continue;
            // Releases are fetched from the service that answered the search.
            const QUrl releaseURL = searchURL.resolved(QUrl(resource));
            if (releaseURL.host().compare(searchURL.host(), Qt::CaseInsensitive) != 0)
                continue;
            ++mNumberOfMatches;
            addSearchURL(releaseURL, "discogReleaseCompleted", false);
        }
        WMLog("discog #%d: %d of %d results to fetch", mLogNum++, mNumberOfMatches,
              static_cast<int>(entries.size()));
    }
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(true);
}

bool DiscogsInterface::artistFits(const QString& albumArtist) const
{
    const QString found = simplified(albumArtist);
    const QString artist = simplified(mArtist);
    const QString alternate = mAlternateArtist.isEmpty() ? QString() : simplified(mAlternateArtist);
    if (mAllowSubstrings)
        return fitsContained(found, artist) || fitsContained(found, alternate) ||
               fitsContained(artist, found) || fitsContained(alternate, found);
    // A guest after the artist ("Artist feat. Guest") still fits.
    return fitsPrefix(found, artist) || fitsPrefix(found, alternate) || fitsPrefix(artist, found) ||
           fitsPrefix(alternate, found);
}

bool DiscogsInterface::albumTitleFits(const QString& albumName) const
{
    if (mAlbumTitle.isEmpty())
        return true;
    const QString found = simplified(albumName);
    const QString wanted = simplified(mAlbumTitle);
    if (mAllowSubstrings)
        return fitsContained(found, wanted) || fitsContained(wanted, found);
    return fitsPrefix(found, wanted) || fitsPrefix(wanted, found);
}

void DiscogsInterface::discogReleaseCompleted(const QVariantMap& answer)
{
    finishedSearch(answer);
    const QUrl releaseURL = answer.value(URLKey).toUrl();
    if (const std::optional<QVariantMap> release = jsonObjectOfAnswer(answer, "release")) {
        std::optional<AlbumInfo> album = createAlbumWithJSONDict(*release);
        if (!album) {
            WMLog("discog #%d: no album in %@", mLogNum++, releaseURL.toString());
        } else if (!artistFits(album->artist()) || !albumTitleFits(album->name())) {
            WMLog("discog #%d: does not fit: %@", mLogNum++, *album);
        } else if (mAlbums.size() < mMaxAlbums) {
            // Some answers give the cover's address relative to the service.
            if (!album->artURLString().isEmpty() && QUrl(album->artURLString()).isRelative())
                album->setArtURLString(releaseURL.resolved(QUrl(album->artURLString())).toString());
            album->setSourceInterfaceName(QStringLiteral("DiscogsInterface"));
            album->setSourceReference(releaseURL.toString());
            WMLog("discog #%d: found %@", mLogNum++, *album);
            mAlbums.append(*album);
        }
    }
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(true);
}

QString DiscogsInterface::combinedStringFromObject(const QVariant& object, const QString& delimiter,
                                                   const QString& key)
{
    if (object.typeId() == QMetaType::QString)
        return object.toString();
    if (object.typeId() != QMetaType::QVariantList)
        return QString();
    QStringList parts;
    const QVariantList items = object.toList();
    for (qsizetype i = 0; i < items.size() && i < kMaxListItems; ++i) {
        QVariant item = items.at(i);
        if (!key.isEmpty() && item.typeId() == QMetaType::QVariantMap)
            item = item.toMap().value(key);
        if (item.typeId() == QMetaType::QString && !item.toString().isEmpty())
            parts.append(item.toString());
    }
    return parts.isEmpty() ? QString() : parts.join(delimiter);
}

std::optional<AlbumInfo> DiscogsInterface::createAlbumWithJSONDict(const QVariantMap& release) const
{
    // The service tells artists of the same name apart by " (2)" behind it.
    static const QRegularExpression artistNumber(QStringLiteral("\\s\\(\\d{1,4}\\)(?=/|$)"));
    QString artist = combinedStringFromObject(release.value(QStringLiteral("artists")), QStringLiteral("/"),
                                              QStringLiteral("name"));
    artist.remove(artistNumber);
    const QString name =
        combinedStringFromObject(release.value(QStringLiteral("title")), QStringLiteral("/"), {});
    if (artist.trimmed().isEmpty() || name.trimmed().isEmpty())
        return std::nullopt;

    QStringList tracks;
    const QVariantList tracklist = release.value(QStringLiteral("tracklist")).toList();
    for (qsizetype i = 0; i < tracklist.size() && i < kMaxListItems; ++i) {
        const QVariantMap track = tracklist.at(i).toMap();
        // Headings ("Side A", "Bonus") are not tracks.
        if (track.value(QStringLiteral("type_")).toString() == QLatin1String("heading"))
            continue;
        const QString title = track.value(QStringLiteral("title")).toString().trimmed();
        if (!title.isEmpty())
            tracks.append(title);
    }
    if (tracks.isEmpty())
        return std::nullopt;

    AlbumInfo album(artist, name);
    album.setTracks(tracks);
    const QVariantList images = release.value(QStringLiteral("images")).toList();
    for (qsizetype i = 0; i < images.size() && i < kMaxListItems; ++i) {
        const QVariantMap image = images.at(i).toMap();
        if (image.value(QStringLiteral("type")).toString() == QLatin1String("primary") &&
            image.value(QStringLiteral("width")).toFloat() >= mMinImageWidth) {
            album.setArtURLString(image.value(QStringLiteral("resource_url")).toString());
            break;
        }
    }
    const QString genre =
        combinedStringFromObject(release.value(QStringLiteral("genres")), QStringLiteral("/"), {});
    if (!genre.isEmpty())
        album.setGenres(genre);
    const QVariant year = release.value(QStringLiteral("year"));
    QString yearText = year.toString().trimmed();
    if (year.typeId() == QMetaType::Double) {
        const double value = year.toDouble();
        yearText = value >= 1.0 && value < 10000.0 ? QString::number(static_cast<int>(value)) : QString();
    }
    // The service answers 0 for an unknown year.
    if (!yearText.isEmpty() && yearText != QLatin1String("0"))
        album.setYear(yearText);
    return album;
}
