#pragma once

#include <QList>
#include <QString>
#include <QStringList>

class AudioInfoTag;

// The values of a song's tag that a lookup may change, taken before the
// lookup and compared with the tag after it: what a run changed, or would
// change in a dry run, one line per attribute.
class SongChangeReport
{
public:
    SongChangeReport() = default;
    // Takes the values of `tag` as the "before" state.
    explicit SongChangeReport(const AudioInfoTag& tag);

    // One line per attribute whose value differs in `tag`:
    // `year: "" → "1999"`, `artwork: none → 1 picture (48,210 bytes)`.
    QStringList changesTo(const AudioInfoTag& tag) const;

private:
    struct Values
    {
        QString album, title, genre, track, year, lyrics;
        int images = 0;
        qint64 artworkBytes = 0;
    };
    static Values valuesOf(const AudioInfoTag& tag);

    Values mBefore;
};
