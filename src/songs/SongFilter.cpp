#include "SongFilter.h"

#include "SongFile.h"

#include "tags/AudioInfoTag.h"

QStringList SongFilter::searchWords(const QString& text)
{
    return text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

bool SongFilter::songMatches(SongFile& song, const QStringList& words, bool searchLyrics)
{
    AudioInfoTag* tag = song.infotag();
    if (!tag)
        return words.isEmpty();
    if (searchLyrics) {
        const QString lyrics = tag->lyrics();
        if (lyrics.isEmpty())
            return false;
        for (const QString& word : words) {
            if (!lyrics.contains(word, Qt::CaseInsensitive))
                return false;
        }
        return true;
    }
    for (const QString& word : words) {
        if (!tag->matchString(word))
            return false;
    }
    return true;
}

QList<std::shared_ptr<SongFile>> SongFilter::songsMatching(const QList<std::shared_ptr<SongFile>>& songs,
                                                           const QString& text, bool searchLyrics)
{
    const QStringList words = searchWords(text);
    if (words.isEmpty())
        return songs;
    QList<std::shared_ptr<SongFile>> matching;
    matching.reserve(songs.size());
    for (const std::shared_ptr<SongFile>& song : songs) {
        if (song && songMatches(*song, words, searchLyrics))
            matching.append(song);
    }
    return matching;
}

bool SongFilter::narrows(const QString& oldText, const QString& newText)
{
    // Each old word is then a part of the new word in its place, and words
    // may only be added: every match of the new words is a match of the old.
    return newText.startsWith(oldText) && !searchWords(oldText).isEmpty();
}
