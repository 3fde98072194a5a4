#include "SongFileComparisons.h"

#include "SongFile.h"

#include "tags/AudioInfoTag.h"

#include <QHash>

#include <algorithm>
#include <limits>
#include <vector>

namespace {

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

// The one value of a song that a raw comparison reads: a text, or a number
// (with whether the text it comes from was there).
enum class Field
{
    Artist,
    Title,
    Album,
    Genre,
    ReadVersion,
    Track,
    Year,
    Lyrics,
    Art,
    Index,
    BPM,
    Compilation,
    Duration,
    Activity
};

struct FieldValue
{
    QString text;
    qint64 number = 0;
    bool present = false;
};

// A step of a composite comparison: a field, compared the other way round
// when `reversed`.
struct Step
{
    Field field;
    bool reversed = false;
};

QString textOf(AudioInfoTag* tag, QString (AudioInfoTag::*getter)() const)
{
    return tag ? (tag->*getter)() : QString();
}

FieldValue valueOf(SongFile& song, Field field)
{
    AudioInfoTag* tag = field == Field::Activity ? nullptr : song.infotag();
    FieldValue value;
    switch (field) {
    case Field::Artist:
        value.text = textOf(tag, &AudioInfoTag::artist);
        break;
    case Field::Title:
        value.text = textOf(tag, &AudioInfoTag::title);
        break;
    case Field::Album:
        value.text = textOf(tag, &AudioInfoTag::album);
        break;
    case Field::Genre:
        value.text = textOf(tag, &AudioInfoTag::genres);
        break;
    case Field::ReadVersion:
        value.text = textOf(tag, &AudioInfoTag::readVersion);
        break;
    case Field::Track:
        value.present = !textOf(tag, &AudioInfoTag::track).isEmpty();
        value.number = value.present ? tag->trackNumber() : 0;
        break;
    case Field::Year: {
        const QString year = textOf(tag, &AudioInfoTag::year);
        value.present = !year.isEmpty();
        value.number = leadingInteger(year);
        break;
    }
    case Field::Lyrics:
        value.number = SongFileComparisons::lyricsScore(song);
        break;
    case Field::Art:
        value.number = SongFileComparisons::artScore(song);
        break;
    case Field::Index:
        value.number = tag ? tag->playlistIndex() : AudioInfoTag::NotFound;
        break;
    case Field::BPM:
        value.number = leadingInteger(textOf(tag, &AudioInfoTag::bpm));
        break;
    case Field::Compilation:
        value.number = tag && tag->isPartOfCompilation() ? 1 : 0;
        break;
    case Field::Duration:
        value.number = tag ? qint64(tag->duration() * 1000.0) : 0;
        break;
    case Field::Activity:
        value.number = qint64(song.activityStatus());
        break;
    }
    return value;
}

// Numbers go through compare() with the other record's value first, so a
// smaller value sorts first; activity passes the receiver's first.
SongOrdering compareValues(Field field, const FieldValue& mine, const FieldValue& other)
{
    switch (field) {
    case Field::Artist:
    case Field::Title:
    case Field::Album:
    case Field::Genre:
        return SongFileComparisons::compareText(mine.text, other.text);
    case Field::ReadVersion:
        return SongFileComparisons::compareText(mine.text, other.text, false);
    case Field::Track:
        if (mine.present != other.present)
            return mine.present ? SongOrdering::Ascending : SongOrdering::Descending;
        return mine.present ? SongFileComparisons::compare(other.number, mine.number) : SongOrdering::Same;
    case Field::Year:
        // Deliberately the other way round from the text columns: no year first.
        if (mine.present != other.present)
            return mine.present ? SongOrdering::Descending : SongOrdering::Ascending;
        return mine.present ? SongFileComparisons::compare(other.number, mine.number) : SongOrdering::Same;
    case Field::Activity:
        return SongFileComparisons::compare(mine.number, other.number);
    default:
        return SongFileComparisons::compare(other.number, mine.number);
    }
}

SongOrdering compareField(Field field, SongFile& song, SongFile& other)
{
    return compareValues(field, valueOf(song, field), valueOf(other, field));
}

const QList<Step>& stepsOf(SongFileComparisons::Comparison comparison);

SongOrdering chain(const QList<Step>& steps, SongFile& song, SongFile& other)
{
    for (const Step& step : steps) {
        const SongOrdering result =
            step.reversed ? compareField(step.field, other, song) : compareField(step.field, song, other);
        if (result != SongOrdering::Same)
            return result;
    }
    return SongOrdering::Same;
}

QList<Step> reversedSteps(QList<Step> steps)
{
    for (Step& step : steps)
        step.reversed = !step.reversed;
    return steps;
}

// The composite comparisons, as chains of fields: a later step decides only
// on a tie. The lyrics column breaks its ties by album the other way round.
const QList<Step> kTitleSteps = {{Field::Title}, {Field::Artist}, {Field::Album}};
const QList<Step> kAlbumSteps = {{Field::Album}, {Field::Track}, {Field::Title}, {Field::Artist}};

const QList<Step>& stepsOf(SongFileComparisons::Comparison comparison)
{
    using C = SongFileComparisons;
    struct Chain
    {
        C::Comparison comparison;
        QList<Step> steps;
    };
    static const QList<Chain> chains = {
        {C::compareIndex, QList<Step>{{Field::Index}} + kTitleSteps},
        {C::compareCompilation, QList<Step>{{Field::Compilation}} + kAlbumSteps},
        {C::compareArtist, {{Field::Artist}, {Field::Album}, {Field::Track}}},
        {C::compareTitle, kTitleSteps},
        {C::compareAlbum, kAlbumSteps},
        {C::compareTrack, {{Field::Track}, {Field::Album}, {Field::Title}, {Field::Artist}}},
        {C::compareYear, {{Field::Year}, {Field::Album}, {Field::Artist}, {Field::Track}}},
        {C::compareGenre, {{Field::Genre}, {Field::Album}, {Field::Artist}}},
        {C::compareLyrics, QList<Step>{{Field::Lyrics}} + reversedSteps(kAlbumSteps)},
        {C::compareArt, {{Field::Art}, {Field::Artist}, {Field::Album}, {Field::Track}}},
        {C::compareReadVersion, {{Field::ReadVersion}, {Field::Album}, {Field::Artist}}},
        {C::compareBPM, {{Field::BPM}, {Field::Title}, {Field::Artist}, {Field::Album}}},
        {C::compareActivity, {{Field::Activity}}},
        {C::compareDuration, {{Field::Duration}, {Field::Title}, {Field::Artist}, {Field::Album}}},
    };
    for (const Chain& chain : chains) {
        if (chain.comparison == comparison)
            return chain.steps;
    }
    static const QList<Step> none;
    return none;
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

int SongFileComparisons::lyricsScore(SongFile& song)
{
    AudioInfoTag* tag = song.infotag();
    const QString lyrics = tag ? tag->lyrics() : QString();
    if (lyrics.isEmpty())
        return 0;
    return lyrics.size() > 99 ? 2 : 1;
}

int SongFileComparisons::artScore(SongFile& song)
{
    AudioInfoTag* tag = song.infotag();
    const int images = tag ? tag->numberOfImages() : 0;
    if (images > 0)
        return images + 1;
    return song.hasiTunesArtwork() == 1 ? 1 : images;
}

// clang-format off
SongOrdering SongFileComparisons::rawCompareArtist(SongFile& s, SongFile& o) { return compareField(Field::Artist, s, o); }
SongOrdering SongFileComparisons::rawCompareTitle(SongFile& s, SongFile& o) { return compareField(Field::Title, s, o); }
SongOrdering SongFileComparisons::rawCompareAlbum(SongFile& s, SongFile& o) { return compareField(Field::Album, s, o); }
SongOrdering SongFileComparisons::rawCompareGenre(SongFile& s, SongFile& o) { return compareField(Field::Genre, s, o); }
SongOrdering SongFileComparisons::rawCompareReadVersion(SongFile& s, SongFile& o) { return compareField(Field::ReadVersion, s, o); }
SongOrdering SongFileComparisons::rawCompareTrack(SongFile& s, SongFile& o) { return compareField(Field::Track, s, o); }
SongOrdering SongFileComparisons::rawCompareYear(SongFile& s, SongFile& o) { return compareField(Field::Year, s, o); }
SongOrdering SongFileComparisons::rawCompareLyrics(SongFile& s, SongFile& o) { return compareField(Field::Lyrics, s, o); }
SongOrdering SongFileComparisons::rawCompareArt(SongFile& s, SongFile& o) { return compareField(Field::Art, s, o); }
SongOrdering SongFileComparisons::rawCompareIndex(SongFile& s, SongFile& o) { return compareField(Field::Index, s, o); }
SongOrdering SongFileComparisons::rawCompareBPM(SongFile& s, SongFile& o) { return compareField(Field::BPM, s, o); }
SongOrdering SongFileComparisons::rawCompareIsCompilation(SongFile& s, SongFile& o) { return compareField(Field::Compilation, s, o); }
SongOrdering SongFileComparisons::rawCompareDuration(SongFile& s, SongFile& o) { return compareField(Field::Duration, s, o); }
SongOrdering SongFileComparisons::rawCompareActivity(SongFile& s, SongFile& o) { return compareField(Field::Activity, s, o); }

SongOrdering SongFileComparisons::compareIndex(SongFile& s, SongFile& o) { return chain(stepsOf(compareIndex), s, o); }
SongOrdering SongFileComparisons::compareCompilation(SongFile& s, SongFile& o) { return chain(stepsOf(compareCompilation), s, o); }
SongOrdering SongFileComparisons::compareArtist(SongFile& s, SongFile& o) { return chain(stepsOf(compareArtist), s, o); }
SongOrdering SongFileComparisons::compareTitle(SongFile& s, SongFile& o) { return chain(stepsOf(compareTitle), s, o); }
SongOrdering SongFileComparisons::compareAlbum(SongFile& s, SongFile& o) { return chain(stepsOf(compareAlbum), s, o); }
SongOrdering SongFileComparisons::compareTrack(SongFile& s, SongFile& o) { return chain(stepsOf(compareTrack), s, o); }
SongOrdering SongFileComparisons::compareYear(SongFile& s, SongFile& o) { return chain(stepsOf(compareYear), s, o); }
SongOrdering SongFileComparisons::compareGenre(SongFile& s, SongFile& o) { return chain(stepsOf(compareGenre), s, o); }
SongOrdering SongFileComparisons::compareLyrics(SongFile& s, SongFile& o) { return chain(stepsOf(compareLyrics), s, o); }
SongOrdering SongFileComparisons::compareArt(SongFile& s, SongFile& o) { return chain(stepsOf(compareArt), s, o); }
SongOrdering SongFileComparisons::compareReadVersion(SongFile& s, SongFile& o) { return chain(stepsOf(compareReadVersion), s, o); }
SongOrdering SongFileComparisons::compareBPM(SongFile& s, SongFile& o) { return chain(stepsOf(compareBPM), s, o); }
SongOrdering SongFileComparisons::compareActivity(SongFile& s, SongFile& o) { return chain(stepsOf(compareActivity), s, o); }
SongOrdering SongFileComparisons::compareDuration(SongFile& s, SongFile& o) { return chain(stepsOf(compareDuration), s, o); }
// clang-format on

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
        // Each song's values are read once, not at every comparison: the
        // order is the one the composite comparison gives, at a fraction of
        // the tag look-ups.
        const QList<Step>& steps = stepsOf(comparison);
        const qsizetype width = steps.size();
        std::vector<FieldValue> values(size_t(songs.size() * width));
        for (qsizetype i = 0; i < songs.size(); ++i) {
            for (qsizetype f = 0; f < width; ++f)
                values[size_t(i * width + f)] = valueOf(*songs.at(i), steps.at(f).field);
        }
        std::vector<qsizetype> order(size_t(songs.size()));
        for (qsizetype i = 0; i < songs.size(); ++i)
            order[size_t(i)] = i;
        std::stable_sort(order.begin(), order.end(), [&](qsizetype a, qsizetype b) {
            for (qsizetype f = 0; f < width; ++f) {
                const FieldValue& mine = values[size_t(a * width + f)];
                const FieldValue& other = values[size_t(b * width + f)];
                const SongOrdering result = steps.at(f).reversed
                                                ? compareValues(steps.at(f).field, other, mine)
                                                : compareValues(steps.at(f).field, mine, other);
                if (result != SongOrdering::Same)
                    return result == SongOrdering::Ascending;
            }
            return false;
        });
        QList<std::shared_ptr<SongFile>> sorted;
        sorted.reserve(songs.size());
        for (qsizetype index : order)
            sorted.append(songs.at(index));
        songs = std::move(sorted);
    }
    if (descending)
        std::reverse(songs.begin(), songs.end());
}
