#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <memory>

class SongFile;

// The song table's search: the songs a search text lets through. The text
// is split at spaces into words; a song passes when every word occurs,
// ignoring case, in its tag (title, artist, album, genres or year) or, when
// searching lyrics, in its lyrics (a song without lyrics never passes then).
class SongFilter
{
public:
    // The words of a search text, empty ones left out.
    static QStringList searchWords(const QString& text);
    static bool songMatches(SongFile& song, const QStringList& words, bool searchLyrics);
    // The songs that pass, in their order; all of them for a text without words.
    static QList<std::shared_ptr<SongFile>> songsMatching(const QList<std::shared_ptr<SongFile>>& songs,
                                                          const QString& text, bool searchLyrics);
    // True when every song that passes `newText` also passes `oldText` (the
    // new text only adds to the old one), so that the songs passing the old
    // text are enough to search.
    static bool narrows(const QString& oldText, const QString& newText);
};
