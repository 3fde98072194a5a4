#pragma once

#include <QHash>
#include <QList>
#include <QPair>
#include <QString>

#include <memory>

class SongFile;

// The songs of the current source filed by simplified album and artist, so
// that a song's lookup finds the other songs of its album without walking
// every song. The songs of an album and artist are filed together, and the
// songs marked as part of a compilation also under their album alone; each
// list keeps the order of the song list, the order a walk over it would
// meet them in. Songs are filed from their tags at the first question, and
// filed again when told that a song's values changed (the run does so when
// a song's lookup ends), so that a value written earlier in a run is seen by
// the songs after it.
//
// It also knows which songs (by path) still wait for their own lookup, and
// whose values may therefore still change.
class SiblingIndex
{
public:
    using SongList = QList<std::shared_ptr<SongFile>>;

    explicit SiblingIndex(SongList songs);
    ~SiblingIndex();

    qsizetype size() const { return mSongs.size(); }

    // The songs filed with this simplified album and artist, or, for a
    // compilation, the compilation songs filed with this album, in the order
    // of the song list. The caller still compares what it needs: a song
    // whose values changed without being filed again may be among them.
    SongList candidates(const QString& simplifiedAlbum, const QString& simplifiedArtist, bool compilation);

    // Files the song again under the values its tag holds now.
    void refile(const SongFile& song);

    // Songs waiting for their own lookup, counted by path.
    void setWaiting(const QString& path, bool waiting);
    bool isWaiting(const QString& path) const { return mWaiting.value(path) > 0; }

private:
    // Where a song of the list is filed.
    struct Filing
    {
        QString album;
        QString artist;
        bool compilation = false;
        bool filed = false;
    };

    void fileAll();
    void file(qsizetype position);
    void unfile(qsizetype position);
    QString simplifiedOf(const QString& text);

    SongList mSongs;
    bool mFiled = false;
    QList<Filing> mFilings;
    // Positions in mSongs, ascending.
    QHash<QPair<QString, QString>, QList<qsizetype>> mByAlbumAndArtist;
    QHash<QString, QList<qsizetype>> mCompilationsByAlbum;
    QHash<const SongFile*, QList<qsizetype>> mPositions;
    // Albums and artists repeat from song to song: each text is simplified once.
    QHash<QString, QString> mSimplified;
    QHash<QString, int> mWaiting;
};
