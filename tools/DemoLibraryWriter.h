#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>

// Writes a folder of demo songs that a new user can repair without a
// network: albums of invented artists whose songs all carry artist, album,
// title, track and lyrics, while some songs lack the year, the genre or the
// artwork that their sibling songs have. Every second song of an album lacks
// one of the three, in turn from album to album. "Bare" albums (for the
// benchmarks) have no year, genre or artwork on any song, so that only a web
// source can fill them. One song gets an ID3 tag whose last frame claims a
// size that runs past the tag, so that it is listed as damaged. The second
// album of every three is MPEG-4 audio, the others MP3. Tags are written through
// the core's own tag classes.
class DemoLibraryWriter
{
public:
    struct Options
    {
        int albums = 3;
        int songsPerAlbum = 4;
        int bareAlbums = 0; // the last this many albums are bare
        int seconds = 30;   // length of each song
        bool damagedSong = true;
    };

    enum class Lack
    {
        Nothing = 0,
        Year = 1,
        Genre = 2,
        Artwork = 3
    };

    struct Song
    {
        QString title;
        QString path; // relative to the folder
        int track = 0;
        Lack lack = Lack::Nothing;
        bool damaged = false;
    };

    struct Album
    {
        QString artist;
        QString name;
        QString year;
        QString genre;
        bool mpeg4 = false;
        bool bare = false;
        int hue = 0;
        QList<Song> songs;
    };

    explicit DemoLibraryWriter(const Options& options);

    // The planned albums (made by the constructor, written by write()).
    const QList<Album>& albums() const { return mAlbums; }

    // Writes every song under `folder`, which must be missing or empty.
    // False with a reason on the first failure.
    bool write(const QString& folder, QString* errorText);

    // A few lines saying what was made and what is lacking.
    QString summary(const QString& folder) const;
    // The albums as they truly are (with the values the files lack): artist,
    // album, year, genre and the track titles, for a local test server.
    QJsonObject manifest() const;

    // A 500x500 JPEG cover: colours from the hue, the album and artist name.
    static QByteArray coverArt(const QString& album, const QString& artist, int hue);
    // Makes the last frame of the file's ID3v2 tag claim a size past the end
    // of the tag; false with a reason when the file has no such tag.
    static bool damageID3Tag(const QString& path, QString* errorText);

private:
    void plan();
    bool writeSong(const QString& folder, const Album& album, const Song& song, int serial,
                   const QByteArray& cover, QString* errorText) const;

    Options mOptions;
    QList<Album> mAlbums;
};
