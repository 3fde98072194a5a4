#include "SongFileComparisons.h"

#include "SongFile.h"

#include "tags/AudioInfoTag.h"

#include <QHash>

#include <algorithm>
#include <initializer_list>
#include <limits>

namespace {

using Raw = SongOrdering (*)(SongFile&, SongFile&);

SongOrdering chain(SongFile& song, SongFile& other, std::initializer_list<Raw> steps)
{
    for (Raw step : steps) {
        const SongOrdering result = step(song, other);
        if (result != SongOrdering::Same)
            return result;
    }
    return SongOrdering::Same;
}

// Values of a song's tag; a song without a tag answers nothing.
template <typename F> qint64 tagValue(SongFile& song, F f, qint64 none = 0)
{
    AudioInfoTag* tag = song.infotag();
    return tag ? f(*tag) : none;
}

QString textOf(SongFile& song, QString (AudioInfoTag::*getter)() const)
{
    AudioInfoTag* tag = song.infotag();
    return tag ? (tag->*getter)() : QString();
}

// The integer a text begins with (after blanks and a sign), as the
// platform's integer value of a string reads it; 0 without one.
qint64 leadingInteger(const QString& text)
{
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace())
        ++i;
    bool negative = false;
    if (i < text.size() && (text.at(i) == QLatin1Char('-') || text.at(i) == QLatin1Char('+')))
        negative = text.at(i++) == QLatin1Char('-');
    qint64 value = 0;
    for (; i < text.size() && text.at(i) >= QLatin1Char('0') && text.at(i) <= QLatin1Char('9'); ++i) {
        if (value > (std::numeric_limits<qint64>::max() - 9) / 10)
            break;
        value = value * 10 + (text.at(i).unicode() - '0');
    }
    return negative ? -value : value;
}

qsizetype digitRunEnd(const QString& text, qsizetype from)
{
    while (from < text.size() && text.at(from).isDigit())
        ++from;
    return from;
}

int naturalCompare(const QString& a, const QString& b, bool numeric)
{
    qsizetype i = 0;
    qsizetype j = 0;
    while (i < a.size() && j < b.size()) {
        if (numeric && a.at(i).isDigit() && b.at(j).isDigit()) {
            qsizetype endA = digitRunEnd(a, i);
            qsizetype endB = digitRunEnd(b, j);
            // Leading zeros don't count; a longer run is a larger number.
            while (i < endA - 1 && a.at(i) == QLatin1Char('0'))
                ++i;
            while (j < endB - 1 && b.at(j) == QLatin1Char('0'))
                ++j;
            if (endA - i != endB - j)
                return endA - i < endB - j ? -1 : 1;
            const int digits = QStringView(a).mid(i, endA - i).compare(QStringView(b).mid(j, endB - j));
            if (digits != 0)
                return digits;
            i = endA;
            j = endB;
            continue;
        }
        const char32_t ca = a.at(i).toCaseFolded().unicode();
        const char32_t cb = b.at(j).toCaseFolded().unicode();
        if (ca != cb)
            return ca < cb ? -1 : 1;
        ++i;
        ++j;
    }
    if (i < a.size())
        return 1;
    return j < b.size() ? -1 : 0;
}

} // namespace

SongOrdering SongFileComparisons::compare(qint64 first, qint64 second)
{
    if (first > second)
        return SongOrdering::Ascending;
    return first == second ? SongOrdering::Same : SongOrdering::Descending;
}

SongOrdering SongFileComparisons::compareText(const QString& mine, const QString& other, bool numeric)
{
    if (mine.isEmpty() || other.isEmpty()) {
        if (mine.isEmpty() && other.isEmpty())
            return SongOrdering::Same;
        return mine.isEmpty() ? SongOrdering::Descending : SongOrdering::Ascending;
    }
    const int result = naturalCompare(mine, other, numeric);
    return result < 0 ? SongOrdering::Ascending : result > 0 ? SongOrdering::Descending : SongOrdering::Same;
}

SongOrdering SongFileComparisons::rawCompareArtist(SongFile& song, SongFile& other)
{
    return compareText(textOf(song, &AudioInfoTag::artist), textOf(other, &AudioInfoTag::artist));
}

SongOrdering SongFileComparisons::rawCompareTitle(SongFile& song, SongFile& other)
{
    return compareText(textOf(song, &AudioInfoTag::title), textOf(other, &AudioInfoTag::title));
}

SongOrdering SongFileComparisons::rawCompareAlbum(SongFile& song, SongFile& other)
{
    return compareText(textOf(song, &AudioInfoTag::album), textOf(other, &AudioInfoTag::album));
}

SongOrdering SongFileComparisons::rawCompareGenre(SongFile& song, SongFile& other)
{
    return compareText(textOf(song, &AudioInfoTag::genres), textOf(other, &AudioInfoTag::genres));
}

SongOrdering SongFileComparisons::rawCompareReadVersion(SongFile& song, SongFile& other)
{
    return compareText(textOf(song, &AudioInfoTag::readVersion), textOf(other, &AudioInfoTag::readVersion),
                       false);
}

SongOrdering SongFileComparisons::rawCompareTrack(SongFile& song, SongFile& other)
{
    const bool mine = !textOf(song, &AudioInfoTag::track).isEmpty();
    const bool theirs = !textOf(other, &AudioInfoTag::track).isEmpty();
    if (mine != theirs)
        return mine ? SongOrdering::Ascending : SongOrdering::Descending;
    if (!mine)
        return SongOrdering::Same;
    const auto number = [](AudioInfoTag& tag) {
        return qint64(tag.trackNumber());
    };
    return compare(tagValue(other, number), tagValue(song, number));
}

SongOrdering SongFileComparisons::rawCompareYear(SongFile& song, SongFile& other)
{
    const QString mine = textOf(song, &AudioInfoTag::year);
    const QString theirs = textOf(other, &AudioInfoTag::year);
    // Deliberately the other way round from the text columns: no year first.
    if (mine.isEmpty() != theirs.isEmpty())
        return mine.isEmpty() ? SongOrdering::Ascending : SongOrdering::Descending;
    if (mine.isEmpty())
        return SongOrdering::Same;
    return compare(leadingInteger(theirs), leadingInteger(mine));
}

int SongFileComparisons::lyricsScore(SongFile& song)
{
    const QString lyrics = textOf(song, &AudioInfoTag::lyrics);
    if (lyrics.isEmpty())
        return 0;
    return lyrics.size() > 99 ? 2 : 1;
}

int SongFileComparisons::artScore(SongFile& song)
{
    const int images = tagValue(song, [](AudioInfoTag& tag) { return tag.numberOfImages(); });
    if (images > 0)
        return images + 1;
    return song.hasiTunesArtwork() == 1 ? 1 : images;
}

SongOrdering SongFileComparisons::rawCompareLyrics(SongFile& song, SongFile& other)
{
    return compare(lyricsScore(other), lyricsScore(song));
}

SongOrdering SongFileComparisons::rawCompareArt(SongFile& song, SongFile& other)
{
    return compare(artScore(other), artScore(song));
}

SongOrdering SongFileComparisons::rawCompareIndex(SongFile& song, SongFile& other)
{
    const auto index = [](AudioInfoTag& tag) {
        return tag.playlistIndex();
    };
    return compare(tagValue(other, index, AudioInfoTag::NotFound),
                   tagValue(song, index, AudioInfoTag::NotFound));
}

SongOrdering SongFileComparisons::rawCompareBPM(SongFile& song, SongFile& other)
{
    return compare(leadingInteger(textOf(other, &AudioInfoTag::bpm)),
                   leadingInteger(textOf(song, &AudioInfoTag::bpm)));
}

SongOrdering SongFileComparisons::rawCompareIsCompilation(SongFile& song, SongFile& other)
{
    const auto flag = [](AudioInfoTag& tag) {
        return qint64(tag.isPartOfCompilation() ? 1 : 0);
    };
    return compare(tagValue(other, flag), tagValue(song, flag));
}

SongOrdering SongFileComparisons::rawCompareDuration(SongFile& song, SongFile& other)
{
    const auto millis = [](AudioInfoTag& tag) {
        return qint64(tag.duration() * 1000.0);
    };
    return compare(tagValue(other, millis), tagValue(song, millis));
}

SongOrdering SongFileComparisons::rawCompareActivity(SongFile& song, SongFile& other)
{
    // The receiver's value first: higher statuses sort first.
    return compare(qint64(song.activityStatus()), qint64(other.activityStatus()));
}

SongOrdering SongFileComparisons::compareIndex(SongFile& song, SongFile& other)
{
    return chain(song, other, {rawCompareIndex, compareTitle});
}

SongOrdering SongFileComparisons::compareCompilation(SongFile& song, SongFile& other)
{
    return chain(song, other, {rawCompareIsCompilation, compareAlbum});
}

SongOrdering SongFileComparisons::compareArtist(SongFile& song, SongFile& other)
{
    return chain(song, other, {rawCompareArtist, rawCompareAlbum, rawCompareTrack});
}

SongOrdering SongFileComparisons::compareTitle(SongFile& song, SongFile& other)
{
    return chain(song, other, {rawCompareTitle, rawCompareArtist, rawCompareAlbum});
}

SongOrdering SongFileComparisons::compareAlbum(SongFile& song, SongFile& other)
{
    return chain(song, other, {rawCompareAlbum, rawCompareTrack, rawCompareTitle, rawCompareArtist});
}

SongOrdering SongFileComparisons::compareTrack(SongFile& song, SongFile& other)
{
    return chain(song, other, {rawCompareTrack, rawCompareAlbum, rawCompareTitle, rawCompareArtist});
}

SongOrdering SongFileComparisons::compareYear(SongFile& song, SongFile& other)
{
    return chain(song, other, {rawCompareYear, rawCompareAlbum, rawCompareArtist, rawCompareTrack});
}

SongOrdering SongFileComparisons::compareGenre(SongFile& song, SongFile& other)
{
    return chain(song, other, {rawCompareGenre, rawCompareAlbum, rawCompareArtist});
}

SongOrdering SongFileComparisons::compareLyrics(SongFile& song, SongFile& other)
{
    const SongOrdering result = rawCompareLyrics(song, other);
    if (result != SongOrdering::Same)
        return result;
    // The tie-break runs the other way on purpose: the other record asks.
    return compareAlbum(other, song);
}

SongOrdering SongFileComparisons::compareArt(SongFile& song, SongFile& other)
{
    return chain(song, other, {rawCompareArt, rawCompareArtist, rawCompareAlbum, rawCompareTrack});
}

SongOrdering SongFileComparisons::compareReadVersion(SongFile& song, SongFile& other)
{
    return chain(song, other, {rawCompareReadVersion, rawCompareAlbum, rawCompareArtist});
}

SongOrdering SongFileComparisons::compareBPM(SongFile& song, SongFile& other)
{
    return chain(song, other, {rawCompareBPM, rawCompareTitle, rawCompareArtist, rawCompareAlbum});
}

SongOrdering SongFileComparisons::compareActivity(SongFile& song, SongFile& other)
{
    return rawCompareActivity(song, other);
}

SongOrdering SongFileComparisons::compareDuration(SongFile& song, SongFile& other)
{
    return chain(song, other, {rawCompareDuration, rawCompareTitle, rawCompareArtist, rawCompareAlbum});
}

SongFileComparisons::Comparison SongFileComparisons::comparisonForColumn(const QString& identifier)
{
    static const QHash<QString, Comparison> byColumn = {
        {QStringLiteral("active"), compareActivity},
        {QStringLiteral("index"), compareIndex},
        {QStringLiteral("compilation"), compareCompilation},
        {QStringLiteral("artist"), compareArtist},
        {QStringLiteral("title"), compareTitle},
        {QStringLiteral("album"), compareAlbum},
        {QStringLiteral("track"), compareTrack},
        {QStringLiteral("year"), compareYear},
        {QStringLiteral("genre"), compareGenre},
        {QStringLiteral("version"), compareReadVersion},
        {QStringLiteral("bpm"), compareBPM},
        {QStringLiteral("formattedDuration"), compareDuration},
        {QStringLiteral("lyrics"), compareLyrics},
        {QStringLiteral("art"), compareArt},
    };
    return byColumn.value(identifier, nullptr);
}

void SongFileComparisons::sortSongs(QList<std::shared_ptr<SongFile>>& songs, const QString& identifier,
                                    bool descending)
{
    if (const Comparison comparison = comparisonForColumn(identifier)) {
        std::stable_sort(
            songs.begin(), songs.end(),
            [comparison](const std::shared_ptr<SongFile>& a, const std::shared_ptr<SongFile>& b) {
                return comparison(*a, *b) == SongOrdering::Ascending;
            });
    }
    if (descending)
        std::reverse(songs.begin(), songs.end());
}
