#pragma once

#include <QList>
#include <QString>
#include <QtGlobal>

#include <memory>

class SongFile;

// The order of two records in the song table: ascending when the receiver
// sorts first.
enum class SongOrdering
{
    Ascending = -1,
    Same = 0,
    Descending = 1
};

// The comparisons by which the song table sorts. Each raw comparison looks
// at one attribute of the receiver and the other record (reading a tag when
// none is loaded); each composite comparison chains raw ones, a later one
// deciding only on a tie. Numbers go through compare(), which answers
// ascending when its FIRST argument is greater: the raw comparisons pass the
// other record's value first, so a smaller value sorts first, except the
// activity column, which passes the receiver's first and so puts higher
// statuses (problems) on top. Also on purpose: a song without a year sorts
// before one with a year, and the lyrics column breaks ties by album in the
// opposite direction.
class SongFileComparisons
{
public:
    using Comparison = SongOrdering (*)(SongFile& song, SongFile& other);

    // The comparison by which a song table column sorts, by the column's
    // identifier ("artist", "formattedDuration" ...); null for a column
    // without one.
    static Comparison comparisonForColumn(const QString& identifier);
    // Sorts the songs ascending by the column's comparison (equal songs keep
    // their order), then reverses them when `descending`. A column without a
    // comparison keeps the order and only honours the direction.
    static void sortSongs(QList<std::shared_ptr<SongFile>>& songs, const QString& identifier,
                          bool descending);

    static SongOrdering compare(qint64 first, qint64 second);
    // Present before absent (empty counts as absent), then case-insensitive
    // with runs of digits compared by value.
    static SongOrdering compareText(const QString& mine, const QString& other, bool numeric = true);

    static SongOrdering rawCompareArtist(SongFile& song, SongFile& other);
    static SongOrdering rawCompareTitle(SongFile& song, SongFile& other);
    static SongOrdering rawCompareAlbum(SongFile& song, SongFile& other);
    static SongOrdering rawCompareGenre(SongFile& song, SongFile& other);
    static SongOrdering rawCompareReadVersion(SongFile& song, SongFile& other);
    static SongOrdering rawCompareTrack(SongFile& song, SongFile& other);
    static SongOrdering rawCompareYear(SongFile& song, SongFile& other);
    static SongOrdering rawCompareLyrics(SongFile& song, SongFile& other);
    static SongOrdering rawCompareArt(SongFile& song, SongFile& other);
    static SongOrdering rawCompareIndex(SongFile& song, SongFile& other);
    static SongOrdering rawCompareBPM(SongFile& song, SongFile& other);
    static SongOrdering rawCompareIsCompilation(SongFile& song, SongFile& other);
    static SongOrdering rawCompareDuration(SongFile& song, SongFile& other);
    static SongOrdering rawCompareActivity(SongFile& song, SongFile& other);

    static SongOrdering compareIndex(SongFile& song, SongFile& other);
    static SongOrdering compareCompilation(SongFile& song, SongFile& other);
    static SongOrdering compareArtist(SongFile& song, SongFile& other);
    static SongOrdering compareTitle(SongFile& song, SongFile& other);
    static SongOrdering compareAlbum(SongFile& song, SongFile& other);
    static SongOrdering compareTrack(SongFile& song, SongFile& other);
    static SongOrdering compareYear(SongFile& song, SongFile& other);
    static SongOrdering compareGenre(SongFile& song, SongFile& other);
    static SongOrdering compareLyrics(SongFile& song, SongFile& other);
    static SongOrdering compareArt(SongFile& song, SongFile& other);
    static SongOrdering compareReadVersion(SongFile& song, SongFile& other);
    static SongOrdering compareBPM(SongFile& song, SongFile& other);
    static SongOrdering compareActivity(SongFile& song, SongFile& other);
    static SongOrdering compareDuration(SongFile& song, SongFile& other);

    // The scores behind the lyrics and art columns.
    static int lyricsScore(SongFile& song);
    static int artScore(SongFile& song);
};
