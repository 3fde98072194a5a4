#pragma once

#include "PrefsController.h"

#include <QColor>
#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <atomic>
#include <memory>

class RegenerateController;
class SongFile;

// Loads the songs of one source into the list of all songs: the whole music
// library (from its export), one of its playlists, or a folder walked
// recursively. Songs of the work list are reused rather than made again.
// Each song's tag comes from the song information cache when the file is
// unchanged; otherwise a library song gets a lazy tag built from its track
// dictionary (read later by the Delazifier), while playlist and folder songs
// have their tags read at once and cached. Songs whose tag failed to decode
// stay listed and also go to the regenerate list.
//
// Loading runs on the main thread; progress is signalled at most every
// 0.25 seconds and at the end (the event loop turns then, so that cancel()
// can arrive). Unusable tracks and files are logged in red and left out.
class SongSourceLoader : public QObject
{
    Q_OBJECT

public:
    // Folder listings stop after this many paths.
    static constexpr int kMaxFolderPaths = 250000;

    explicit SongSourceLoader(QObject* parent = nullptr);
    ~SongSourceLoader() override;

    // Songs to reuse when they turn up again (the work list of a run).
    void setWorkList(const QList<std::shared_ptr<SongFile>>& songs) { mWorkList = songs; }
    // Where songs with undecodable tags are collected; none: not collected.
    void setRegenerateController(RegenerateController* controller) { mRegenerateController = controller; }

    // ---- loading; each replaces the list of all songs. False when the
    // source could not be read at all (nothing listed) or was cancelled.
    // The library export the program finds (or `xmlPath` when given).
    bool setiTunesLibrary(const QString& xmlPath = QString());
    // The same over a library dictionary already read from `libraryPath`.
    bool loadLibraryDictionary(const QVariantMap& library, const QString& libraryPath);
    // One playlist of the library export, by persistent ID or, when that is
    // empty or unknown, by name. `xmlPath` as for setiTunesLibrary.
    bool gatherSongsFromPlaylistPID(const QString& playlistPID, const QString& name,
                                    const QString& xmlPath = QString());
    bool gatherSongsFromPlaylist(const QVariantMap& library, const QString& playlistPID, const QString& name);
    bool gatherSongsFromDirectory(const QString& folder);

    const QList<std::shared_ptr<SongFile>>& allSongs() const { return mAllSongs; }
    SongSourceKind sourceKind() const { return mSourceKind; }
    bool wasCancelled() const { return mCancelled; }
    // Why the library export of the last load was damaged (what could be
    // read was loaded) or unreadable; empty when it was read whole.
    QString sourceError() const { return mSourceError; }

    // A song file (or folder) of the last load that could not be opened or
    // read: its path (as the user's shell shows it when it is not UTF-8),
    // and why.
    struct UnopenedFile
    {
        QString path;
        QString reason;
    };
    const QList<UnopenedFile>& unopenedFiles() const { return mUnopenedFiles; }

    // ---- the rules, for the loaders and their tests
    // The path of a track's "Location": the URL's path with percent escapes
    // decoded as UTF-8, a drive-letter path ("/C:/...") without its leading
    // slash, and `volumeRoot` put in front when the path lacks it. Empty for
    // a location that is not a "file:" URL.
    static QString pathFromLocation(const QString& location, const QString& volumeRoot = QString());
    // "/Volumes/<name>/" for a library file on another volume, else empty.
    static QString volumeRootOfLibraryPath(const QString& libraryPath);
    // A library track is listed only when it has a "Kind" and a "Total Time",
    // is not a video, and its location is a "file:" URL not ending in ".m4r".
    static bool isListableTrack(const QVariantMap& track);

public slots:
    // Stops the load in progress at its next song. Safe from any thread.
    void cancel();

signals:
    // `current` of `total` songs looked at.
    void progress(qint64 current, qint64 total);
    // A line for the activity view; also written to the log.
    void logLine(const QString& text, const QColor& color);
    // The playlist asked for is not in the library.
    void playlistNotFound(const QString& name);

private:
    void begin(SongSourceKind kind);
    void reportProgress(qint64 current, qint64 total);
    void logRed(const QString& key, const QString& path);
    // Takes the cache's entry as the tag, or reads the tag now, caching it
    // when it decoded; a song whose tag failed to decode is collected.
    void readTagThroughCache(SongFile& song, const std::shared_ptr<SongFile>& shared);
    // The work list's record of the path (its date taken again when asked),
    // else a new record; none, logged, when the file does not qualify.
    std::shared_ptr<SongFile> songForPath(const QString& path,
                                          const QHash<QString, std::shared_ptr<SongFile>>& workList,
                                          bool adoptDateWhenReused);
    void collectCorrupt(const std::shared_ptr<SongFile>& song);
    // Reports the songs and folders of a walk whose names are not UTF-8.
    void reportUnrepresentable(const QList<QByteArray>& rawPaths);

    QList<std::shared_ptr<SongFile>> mAllSongs;
    QList<std::shared_ptr<SongFile>> mWorkList;
    RegenerateController* mRegenerateController = nullptr;
    SongSourceKind mSourceKind = SongSourceKind::Folder;
    std::atomic<bool> mCancelled{false};
    QString mSourceError;
    QList<UnopenedFile> mUnopenedFiles;
    QElapsedTimer mProgressClock;
    qint64 mLastProgress = -1;
};
