#pragma once

#include "SongChangeBatch.h"
#include "tags/ID3Image.h"

#include <QHash>
#include <QList>
#include <QString>

// The changes the window's commands make to the tags of the songs chosen,
// each for SongChangeBatch: artwork added or removed, lyrics set or removed,
// genres put into the names of the standard genre list. A change that would
// leave a tag as it is changes nothing, so that nothing is written.
class TagChanges
{
public:
    // Lyrics longer than this are not written: that is no song's lyrics.
    static constexpr qsizetype kMaxLyricsLength = 256 * 1024;

    // Adds the picture unless the tag holds one of the same bytes already.
    static SongChangeBatch::Change addPicture(const ID3Image& picture);
    // Removes the first picture of these bytes (the one shown).
    static SongChangeBatch::Change removePicture(const QByteArray& data);
    static SongChangeBatch::Change removeAllPictures();
    // Empty text removes the lyrics.
    static SongChangeBatch::Change setLyrics(const QString& lyrics);

    // One genre text of the songs given and the standard genre it becomes.
    struct GenreMapping
    {
        QString from;
        QString to;
        int songs = 0;
    };
    // The genres of the songs that are not a standard genre name but hold
    // one, by text; songs without a genre (or a file) are not counted.
    static QList<GenreMapping> genreMappings(const SongChangeBatch::SongList& songs);
    // Gives each song whose genre is a key of `chosen` that key's value.
    static SongChangeBatch::Change standardizeGenres(const QHash<QString, QString>& chosen);
};
