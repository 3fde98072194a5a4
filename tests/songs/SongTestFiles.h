#pragma once

#include <QString>
#include <QVariantMap>

// Songs for the record and cache suites, written in code under the scratch
// folder.
class SongTestFiles
{
public:
    // A folder of its own for one test.
    static QString folder(const QString& name);
    // An MP3 file of plain audio frames (about 16 KB), optionally with an
    // ID3 tag carrying the given values ("title", "artist", "album", "track",
    // "year", "genre", "lyrics", "bpm").
    static QString writeMp3(const QString& path, const QVariantMap& values = QVariantMap());
    // Moves the file's modification time by `seconds`.
    static bool shiftModificationTime(const QString& path, int seconds);
};
