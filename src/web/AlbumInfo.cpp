#include "web/AlbumInfo.h"

#include "support/LocalizedStrings.h"
#include "support/WMFormat.h"
#include "text/WMStringExtensions.h"
#include "text/WendmarkTextExtensions.h"
#include "web/CDDBTextParser.h"

#include <algorithm>
#include <climits>
#include <vector>

namespace {

QString cleanedText(const QString& text)
{
    return WMStringExtensions::correctedCaseString(WMStringExtensions::normalizedString(text).trimmed());
}

// Substring test in both directions; an empty side never matches.
bool containsEitherWay(const QString& a, const QString& b)
{
    if (a.isEmpty() || b.isEmpty())
        return false;
    return a.contains(b) || b.contains(a);
}

} // namespace

AlbumInfo::AlbumInfo(const QString& artist, const QString& name) : mName(name), mArtist(artist)
{
    cleanUpStrings();
}

AlbumInfo AlbumInfo::albumWithArtist(const QString& artist, const QString& name)
{
    return AlbumInfo(artist, name);
}

std::optional<AlbumInfo> AlbumInfo::albumWithFreeDBData(const QByteArray& data)
{
    if (data.isEmpty())
        return std::nullopt;
    const CDDBTextParser::Result parsed = CDDBTextParser::parse(data);
    AlbumInfo album;
    album.mArtist = parsed.artist;
    album.mName = parsed.name;
    album.mYear = parsed.year;
    album.mGenre = parsed.genre;
    if (!parsed.tracks.isEmpty())
        album.mTracks = parsed.tracks;
    album.cleanUpStrings();
    return album;
}

AlbumInfo AlbumInfo::copy() const
{
    AlbumInfo album(mArtist, mName);
    album.mGenre = mGenre;
    album.mYear = mYear;
    album.mTracks = mTracks;
    album.mArtURLString = mArtURLString;
    if (!mLyrics.isEmpty())
        album.mLyrics = mLyrics;
    album.mSourceInterface = mSourceInterface;
    album.mSourceReference = mSourceReference;
    return album;
}

void AlbumInfo::cleanUpStrings()
{
    if (!mName.isEmpty()) {
        while (mName.endsWith(QLatin1Char('*')))
            mName.chop(1);
        mName = cleanedText(mName);
    }
    if (!mArtist.isEmpty())
        mArtist = cleanedText(mArtist);
    if (!mGenre.isEmpty())
        mGenre = cleanedText(QString(mGenre).replace(QLatin1String(" / "), QLatin1String("/")));
    for (QString& track : mTracks)
        track = cleanedText(track);
}

void AlbumInfo::setGenres(const QStringList& genres)
{
    mGenre = genres.join(QLatin1String(", "));
}

void AlbumInfo::setArtURLString(const QString& url)
{
    if (url.startsWith(QLatin1String("//")))
        mArtURLString = QLatin1String("http:") + url;
    else if (url.isEmpty())
        mArtURLString.clear();
    else
        mArtURLString = url;
}

int AlbumInfo::numberOfTrackNamed(const QString& title, bool allowSubstrings) const
{
    const QString simpleTitle = WendmarkTextExtensions::simplified(title);
    std::vector<QString> simpleTracks;
    simpleTracks.reserve(size_t(mTracks.size()));
    for (const QString& track : mTracks)
        simpleTracks.push_back(WendmarkTextExtensions::simplified(track));

    for (qsizetype i = mTracks.size() - 1; i >= 0; --i) {
        if (simpleTracks[size_t(i)] == simpleTitle)
            return int(i + 1);
    }
    if (allowSubstrings) {
        for (qsizetype i = mTracks.size() - 1; i >= 0; --i) {
            if (containsEitherWay(simpleTracks[size_t(i)], simpleTitle))
                return int(i + 1);
        }
    }
    return 0;
}

QString AlbumInfo::trackSummary() const
{
    QStringList parts;
    parts.reserve(mTracks.size());
    for (qsizetype i = 0; i < mTracks.size(); ++i)
        parts.append(WMFormat::string("%d:%@", int(i + 1), mTracks.at(i)));
    return parts.join(QLatin1String(", "));
}

AlbumAssets AlbumInfo::assets() const
{
    AlbumAssets result = AlbumAsset::Track;
    if (!mArtURLString.isEmpty())
        result |= AlbumAsset::Artwork;
    if (!mName.isEmpty())
        result |= AlbumAsset::AlbumName;
    if (!mArtist.isEmpty())
        result |= AlbumAsset::Artist;
    if (!mYear.isEmpty())
        result |= AlbumAsset::Year;
    if (!mGenre.isEmpty())
        result |= AlbumAsset::Genre;
    if (!mLyrics.isEmpty())
        result |= AlbumAsset::Lyrics;
    return result;
}

float AlbumInfo::matchToDesiredAssets(AlbumAssets desired) const
{
    if (desired.toInt() == 0)
        return -1.0f;
    const AlbumAssets have = assets();
    int wanted = 0;
    int met = 0;
    for (quint32 bit = quint32(AlbumAsset::Lyrics); bit != 0; bit >>= 1) {
        const auto asset = AlbumAsset(bit);
        if (!desired.testFlag(asset))
            continue;
        ++wanted;
        if (have.testFlag(asset))
            ++met;
    }
    return float(met) / float(wanted);
}

QString AlbumInfo::summaryOfAssets(AlbumAssets assets)
{
    static const struct
    {
        AlbumAsset asset;
        const char* key;
    } order[] = {{AlbumAsset::Artist, "Artist"},       {AlbumAsset::AlbumName, "AlbumName"},
                 {AlbumAsset::SongTitle, "SongTitle"}, {AlbumAsset::Lyrics, "Lyrics"},
                 {AlbumAsset::Genre, "Genre"},         {AlbumAsset::Year, "Year"},
                 {AlbumAsset::Track, "Track"},         {AlbumAsset::Artwork, "Artwork"}};
    QStringList names;
    for (const auto& entry : order) {
        if (assets.testFlag(entry.asset))
            names.append(LocalizedStrings::text(QLatin1String(entry.key)));
    }
    return names.join(QLatin1String(", "));
}

void AlbumInfo::simplifyAlbumArray(QList<AlbumInfo>& albums, const QString& title)
{
    QStringList simpleNames;
    simpleNames.reserve(albums.size());
    for (const AlbumInfo& album : albums)
        simpleNames.append(WendmarkTextExtensions::simplified(album.mName));

    bool someAlbumHoldsTitle = false;
    for (qsizetype i = 0; i < albums.size(); ++i) {
        AlbumInfo& album = albums[i];
        if (!title.isEmpty() && !someAlbumHoldsTitle)
            someAlbumHoldsTitle = album.numberOfTrackNamed(title, true) != 0;

        // The earliest plausible year among albums of this name.
        int earliest = 3000;
        for (qsizetype j = 0; j < albums.size(); ++j) {
            if (simpleNames.at(j) != simpleNames.at(i))
                continue;
            const int year =
                int(std::clamp<qint64>(WMStringExtensions::intValue(albums.at(j).mYear), INT_MIN, INT_MAX));
            if (year > 1600 && year < earliest)
                earliest = year;
        }
        if (earliest < 3000)
            album.mYear = WMFormat::string("%d", earliest);

        // Genre and cover lent by albums of the same name, last first.
        for (qsizetype j = albums.size() - 1; j >= 0; --j) {
            if (!album.mGenre.isEmpty() && !album.mArtURLString.isEmpty())
                break;
            if (j == i || simpleNames.at(j) != simpleNames.at(i))
                continue;
            const AlbumInfo& other = albums.at(j);
            if (album.mGenre.isEmpty() && !other.mGenre.isEmpty())
                album.mGenre = other.mGenre;
            if (album.mArtURLString.isEmpty() && !other.mArtURLString.isEmpty())
                album.mArtURLString = other.mArtURLString;
        }
    }

    if (someAlbumHoldsTitle) {
        for (qsizetype i = albums.size() - 1; i >= 0; --i) {
            if (albums.at(i).numberOfTrackNamed(title, true) == 0) {
                albums.removeAt(i);
                simpleNames.removeAt(i);
            }
        }
    }

    for (qsizetype i = 0; i < albums.size(); ++i) {
        for (qsizetype j = albums.size() - 1; j > i; --j) {
            if (simpleNames.at(j) == simpleNames.at(i)) {
                albums.removeAt(j);
                simpleNames.removeAt(j);
                albums[i].incDuplicates();
            }
        }
    }
}

void AlbumInfo::eliminateAlbumsFromArray(QList<AlbumInfo>& albums, int count)
{
    const auto hasCount = [count](const AlbumInfo& album) {
        return album.mTracks.size() == count;
    };
    if (std::none_of(albums.cbegin(), albums.cend(), hasCount))
        return;
    albums.removeIf([&](const AlbumInfo& album) { return !hasCount(album); });
}

QString AlbumInfo::description() const
{
    QString text =
        WMFormat::string("<%p %@ '%@' by %@", static_cast<const void*>(this), "AlbumInfo", mName, mArtist);
    if (!mLyrics.isEmpty())
        text += WMFormat::string(" lyrics (%d songs)", int(mLyrics.size()));
    if (!mYear.isEmpty())
        text += WMFormat::string(" year=%@", mYear);
    if (!mGenre.isEmpty())
        text += WMFormat::string(" genre=%@", mGenre);
    if (mDuplicates != 0)
        text += WMFormat::string(" dupes=%d", mDuplicates);
    if (!mArtURLString.isEmpty())
        text += WMFormat::string(" cover=%@", mArtURLString);
    text += QLatin1String(" (") + trackSummary() + QLatin1String(")>");
    return text;
}
