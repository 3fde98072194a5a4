#pragma once

#include <QByteArray>
#include <QColor>
#include <QList>
#include <QSize>
#include <QString>
#include <QVariantMap>

#include <ostream>

#ifndef QB_PRINT_QSTRING
#define QB_PRINT_QSTRING
// Readable failure messages for strings.
inline void PrintTo(const QString& text, std::ostream* os)
{
    *os << '"' << text.toStdString() << '"';
}
#endif

// Songs and library exports for the loading tests, made in code: MP3 files
// with an ID3v2.3 tag of real frames in front of valid MPEG audio, the same
// with a damaged frame behind two pictures, and music-library XML exports.
class LoadTestFiles
{
public:
    // A fresh, empty folder in the scratch area.
    static QString freshFolder(const QString& name);
    // An MP3 file with title, artist, album and year (empty ones left out).
    static bool writeSong(const QString& path, const QString& title, const QString& artist = QString(),
                          const QString& album = QString(), const QString& year = QString());
    // The year in the tag of the file at `path`, as our own reader reads it.
    static QString yearOf(const QString& path);
    // An MP3 whose tag holds a title, two PNG pictures and then a frame whose
    // size runs past the end of the tag.
    static bool writeDamagedSong(const QString& path, const QString& title);
    // A picture of one colour, encoded in `format` ("jpeg", "png", "bmp").
    static QByteArray picture(const char* format, const QColor& colour = QColor(40, 90, 200),
                              const QSize& size = QSize(120, 90));
    // An APIC frame body carrying a small PNG of the given width.
    static QByteArray pictureFrameBody(int width);
    // A "file://localhost" URL of a path, percent-encoded as exports do.
    static QString location(const QString& path);
    // A library export: "Tracks" keyed by each track's "Track ID", and the
    // playlists as given (their "Playlist Items" hold "Track ID"s).
    static QByteArray libraryXml(const QList<QVariantMap>& tracks, const QList<QVariantMap>& playlists = {});
    // A playlist of the tracks given by their "Track ID".
    static QVariantMap playlist(const QString& name, const QList<int>& trackIDs);
    // A track dictionary of a listable song at `path`.
    static QVariantMap track(int id, const QString& path, const QString& name);
};
