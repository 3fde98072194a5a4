#pragma once

#include "SongColumns.h"

#include <QImage>
#include <QString>
#include <QVariant>

class AudioInfoTag;
class SongFile;

// What one cell of the song table shows of a song: its text, the value an
// editor starts from, its icon, tool tip and the text a screen reader says
// for it. Reading a cell never opens a file that is known to be gone.
class SongCells
{
public:
    // The largest artwork thumbnail kept for a cell, in pixels.
    static constexpr int kArtWidth = 28;
    static constexpr int kArtHeight = 14;

    // The song's tag for showing it: null for a song whose file is gone and
    // whose tag is not loaded.
    static AudioInfoTag* tagForDisplay(SongFile& song);

    static QString displayText(SongFile& song, SongColumn column, int row);
    // The whole value (a year as stored, not cut to four digits).
    static QString editText(SongFile& song, SongColumn column);
    // The name of the picture of an icon column (none: empty).
    static QString iconName(SongFile& song, SongColumn column, bool noiTunesArtwork);
    // The artwork thumbnail of the art column; null when an icon stands in.
    static QImage artwork(SongFile& song, bool noiTunesArtwork);
    static QString toolTip(SongFile& song, SongColumn column);
    // For the icon and check columns: what the icon says in words.
    static QString accessibleText(SongFile& song, SongColumn column, bool noiTunesArtwork);
    static bool isCompilation(SongFile& song);
    // The compilation box can be changed only for an idle or queued song.
    static bool canChangeCompilation(SongFile& song);
    // A lazy tag that stands in for a library track until the file is read.
    static bool hasUnreadLibraryTag(SongFile& song);
};
