#include "web/LrclibInterface.h"

#include "support/WMLog.h"
#include "text/WMStringExtensions.h"
#include "text/WendmarkTextExtensions.h"
#include "web/LyricsCandidateMatcher.h"
#include "web/LyricsCleaner.h"
#include "web/LyricsPageText.h"
#include "web/MusicBrainzReleaseReader.h"
#include "web/WMHTTPQueue.h"

#include <cmath>

namespace {

const QString kDataKey = QStringLiteral("WMHTTPDataKey");
const QString kURLKey = QStringLiteral("WMHTTPURLKey");
const QString kErrorKey = QStringLiteral("WMHTTPErrorKey");

constexpr double kDefaultMaxDurationDifference = 2.0;

} // namespace

LrclibInterface::LrclibInterface(const QVariantMap& resources, QObject* parent)
    : WebDBInterface(resources, parent)
{}

AlbumAssets LrclibInterface::resourcesPossiblyAvailable() const
{
    return AlbumAsset::Lyrics;
}

double LrclibInterface::songDuration() const
{
    if (mSongDuration > 0.0)
        return mSongDuration;
    const double fromResources = mResources.value(QStringLiteral("songDuration")).toDouble();
    return std::isfinite(fromResources) && fromResources > 0.0 ? fromResources : 0.0;
}

LrclibAnswerReader::Wanted LrclibInterface::wanted() const
{
    LrclibAnswerReader::Wanted wanted;
    wanted.artists = LyricsCandidateMatcher::wantedArtists(mArtist, mAlternateArtist);
    wanted.title = WendmarkTextExtensions::simplified(searchedTitle());
    wanted.album = mAlbumTitle.isEmpty() ? QString() : WendmarkTextExtensions::simplified(mAlbumTitle);
    wanted.duration = songDuration();
    const QVariant difference = mResources.value(QStringLiteral("maxDurationDifference"));
    wanted.maxDurationDifference = difference.isValid() && difference.toDouble() >= 0.0
                                       ? difference.toDouble()
                                       : kDefaultMaxDurationDifference;
    wanted.allowSubstrings = mAllowSubstrings;
    return wanted;
}

QUrl LrclibInterface::getURL() const
{
    const QString base = mResources.value(QStringLiteral("getURL")).toString();
    const double duration = songDuration();
    if (base.isEmpty() || mArtist.isEmpty() || searchedTitle().isEmpty() || duration <= 0.0 || duration > 1e6)
        return QUrl();
    return MusicBrainzReleaseReader::urlWithQuery(
        base, {{QStringLiteral("artist_name"), mArtist},
               {QStringLiteral("track_name"), searchedTitle()},
               {QStringLiteral("album_name"), mAlbumTitle},
               {QStringLiteral("duration"), QString::number(qRound64(duration))}});
}

QUrl LrclibInterface::searchURL() const
{
    const QString base = mResources.value(QStringLiteral("searchURL")).toString();
    if (base.isEmpty() || mArtist.isEmpty() || searchedTitle().isEmpty())
        return QUrl();
    return MusicBrainzReleaseReader::urlWithQuery(
        base, {{QStringLiteral("track_name"), searchedTitle()}, {QStringLiteral("artist_name"), mArtist}});
}

void LrclibInterface::beginSearch()
{
    WebDBInterface::beginSearch();
    const QUrl exact = getURL();
    if (!exact.isEmpty())
        addSearchURL(exact, "lrclibGetCompleted", false);
    else
        queueSearch();
    if (mLoadingURLs.isEmpty())
        notifySearchComplete();
}

void LrclibInterface::queueSearch()
{
    const QUrl url = searchURL();
    if (!url.isEmpty())
        addSearchURL(url, "lrclibSearchCompleted", false);
}

void LrclibInterface::cancelSearch()
{
    WebDBInterface::cancelSearch();
    cancelSearchesInQueue();
}

bool LrclibInterface::deliverLyrics(const LrclibAnswerReader::Record& record)
{
    QString text = LrclibAnswerReader::lyricsText(record);
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    const QString lyrics = LyricsCleaner::cleanUpLyrics(text);
    if (lyrics.isEmpty())
        return false;
    mAlbums.append(LyricsPageText::lyricsAlbum(mArtist, mAlbumTitle, mSongTitle, lyrics,
                                               QString::fromLatin1(metaObject()->className())));
    // The first lyrics found end the search.
    mWaitingURLs.clear();
    mWaitingMethods.clear();
    mWaitingPriorities.clear();
    return true;
}

void LrclibInterface::lrclibGetCompleted(const QVariantMap& answer)
{
    finishedSearch(answer);
    const QUrl url = answer.value(kURLKey).toUrl();
    if (answer.contains(kErrorKey)) {
        const QVariantMap error = answer.value(kErrorKey).toMap();
        if (error.value(QStringLiteral("code")).toInt() == 404)
            WMLog("lrclib #%d: no exact match [%@]", mLogNum++, url.toString());
        else
            WMLog("lrclib: exact request error %@ [%@]", error.value(QStringLiteral("description")),
                  url.toString());
        WMHTTPQueue::queue()->removeURLFromCache(url);
    } else if (const auto record =
                   LrclibAnswerReader::recordOfGetAnswer(answer.value(kDataKey).toByteArray())) {
        if (LrclibAnswerReader::recordFits(*record, wanted())) {
            if (record->instrumental) {
                WMLog("lrclib #%d: '%@' is instrumental [%@]", mLogNum++, record->trackName, url.toString());
                notifyIfCompleteOrTryAgainWithoutTitleParentheses(false);
                return;
            }
            if (deliverLyrics(*record)) {
                notifyIfCompleteOrTryAgainWithoutTitleParentheses(false);
                return;
            }
        }
        WMLog("lrclib #%d: exact answer '%@' by '%@' not used [%@]", mLogNum++, record->trackName,
              record->artistName, url.toString());
    } else {
        WMLog("lrclib: exact answer of unexpected shape [%@]", url.toString());
    }
    queueSearch();
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(true);
}

void LrclibInterface::lrclibSearchCompleted(const QVariantMap& answer)
{
    finishedSearch(answer);
    const QUrl url = answer.value(kURLKey).toUrl();
    if (answer.contains(kErrorKey)) {
        WMLog("lrclib: search error %@ [%@]",
              answer.value(kErrorKey).toMap().value(QStringLiteral("description")), url.toString());
        WMHTTPQueue::queue()->removeURLFromCache(url);
        notifyIfCompleteOrTryAgainWithoutTitleParentheses(true);
        return;
    }
    const QList<LrclibAnswerReader::Record> records =
        LrclibAnswerReader::recordsOfSearchAnswer(answer.value(kDataKey).toByteArray());
    const QList<qsizetype> ranked = LrclibAnswerReader::rankedCandidates(records, wanted());
    WMLog("lrclib #%d: %d of %d records fit [%@]", mLogNum++, int(ranked.size()), int(records.size()),
          url.toString());
    for (const qsizetype index : ranked) {
        if (deliverLyrics(records.at(index))) {
            notifyIfCompleteOrTryAgainWithoutTitleParentheses(false);
            return;
        }
    }
    notifyIfCompleteOrTryAgainWithoutTitleParentheses(true);
}
