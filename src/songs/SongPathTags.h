#pragma once

#include <QString>

// The tag values a song's path gives in the usual layouts of a music folder,
// for songs whose tags lack them: "Artist/Album/NN Title.ext" and
// "Artist - Album/NN - Title.ext" (a "CD 1" or "Disc 2" folder between album
// and file is passed over). The track number is the file name's leading
// number. Without the folder the songs were loaded from, the folders count
// only when the file name starts with a track number.
class SongPathTags
{
public:
    QString artist;
    QString album;
    QString title;
    int track = 0;

    // The values of `path`, read below `root` (the source folder; empty when
    // unknown).
    static SongPathTags fromPath(const QString& path, const QString& root);

    // True when `title` is only the file's name, as a tag without a title
    // shows it ("03 Undertow" for "03 Undertow.mp3"): no title of its own.
    static bool isFileNameTitle(const QString& title, const QString& path);

    bool isEmpty() const { return artist.isEmpty() && album.isEmpty() && title.isEmpty() && track == 0; }
};
