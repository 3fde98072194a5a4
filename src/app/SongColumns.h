#pragma once

#include <QString>

// The columns of the song table, in their default order. Stored (the
// header's saved state refers to them by position), so the values are fixed.
enum class SongColumn : int
{
    Active = 0,
    Index = 1,
    Compilation = 2,
    Artist = 3,
    Title = 4,
    Album = 5,
    Track = 6,
    Year = 7,
    Genre = 8,
    Version = 9,
    BPM = 10,
    Duration = 11,
    Lyrics = 12,
    Art = 13
};

// What the table knows of each column: its identifier (the name under
// which its sort is saved and its texts are looked up), the direction a
// first click sorts in, whether its text can be edited and how it looks.
class SongColumns
{
public:
    static constexpr int kCount = 14;

    static QString identifier(SongColumn column);
    // The column of an identifier; -1 for none.
    static int indexOf(const QString& identifier);
    static SongColumn at(int index) { return SongColumn(index); }

    // The header's title ("SongsTableTitle_<identifier>"; empty for the
    // status column, which shows an icon) and the name a screen reader says.
    static QString title(SongColumn column);
    static QString accessibleTitle(SongColumn column);
    // The header's tool tip, "SongsTableHeader_<identifier>".
    static QString headerToolTip(SongColumn column);

    // Descending for duration, year, compilation, artwork and lyrics.
    static bool sortsDescendingFirst(SongColumn column);
    // A click on the status column does not sort.
    static bool isSortable(SongColumn column);
    // Artist, title, album, track, year, genre and BPM are edited as text.
    static bool isEditableText(SongColumn column);
    // Columns that show an icon and no text (status, lyrics, artwork).
    static bool isIconColumn(SongColumn column);
    // Numbers are aligned to the right.
    static bool isNumeric(SongColumn column);
    // Width in average characters of the table's font.
    static int defaultWidthInCharacters(SongColumn column);
    static bool isHiddenByDefault(SongColumn column);
};
