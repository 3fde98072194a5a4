#pragma once

#include "run/PrefsController.h"

#include <QColor>
#include <QFutureWatcher>
#include <QList>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <memory>

class RegenerateController;
class SongFile;
class SongSourceLoader;

// The window's song source: loads a folder, the music library or one of
// its playlists through the core's loader, remembers the choice, and says
// in words what went wrong (a missing folder, a library export that can't be
// read, files that aren't songs). A library export is read on a worker
// thread, so the window keeps drawing while it is parsed; the songs are then
// made on the main thread, which turns the event loop a few times a second.
class SongSourceSession : public QObject
{
    Q_OBJECT

public:
    using SongList = QList<std::shared_ptr<SongFile>>;

    explicit SongSourceSession(QObject* parent = nullptr);
    ~SongSourceSession() override;

    void loadFolder(const QString& folder);
    // The library export the program finds, or the one at `xmlPath`.
    void loadLibrary(const QString& xmlPath = QString());
    void loadPlaylist(const QString& persistentID, const QString& name, const QString& xmlPath = QString());
    // The current source again.
    void rescan();
    // Stops a load at its next song (or drops a library being parsed).
    void cancel();
    bool isLoading() const { return mLoading; }

    // The source whose songs were loaded last (a source that could not be
    // read doesn't count).
    SongSourceKind kind() const { return mKind; }
    // The folder's path or the playlist's name; empty for the library.
    QString sourceName() const { return mName; }
    // Asked at the start of every load: the songs to reuse when they turn up
    // again (those of a run that runs).
    void setWorkListSource(std::function<SongList()> source) { mWorkListSource = std::move(source); }
    RegenerateController& regenerateController() { return *mRegenerate; }

    // Reads the library export (when one can be found) in the background
    // for the playlists of the source menu.
    void readLibraryForMenu();

signals:
    // A modal panel shows `text` until loadingFinished().
    void loadingStarted(const QString& text);
    void progress(qint64 current, qint64 total);
    void loadingFinished();
    void songsLoaded(const QList<std::shared_ptr<SongFile>>& songs);
    void logLine(const QString& text, const QColor& color);
    // What went wrong, for the user.
    void problem(const QString& text);
    // The library could be read: its playlists.
    void libraryRead(const QVariantList& playlists);

private:
    struct LibraryRead
    {
        QVariantMap library;
        QString error;
    };
    // Reads the export on a worker thread, then calls `then` on this thread.
    void readLibrary(const QString& path, std::function<void(const LibraryRead&)> then);
    bool startLoading(SongSourceKind kind, const QString& name, const QString& text);
    void finishLoading(bool loaded);
    // The export to read: the one given or the one the program finds.
    QString libraryPath(const QString& xmlPath);
    // False (and the user told) when the export could not be read at all.
    bool acceptLibrary(const LibraryRead& read, const QString& path);

    std::unique_ptr<SongSourceLoader> mLoader;
    std::unique_ptr<RegenerateController> mRegenerate;
    std::function<SongList()> mWorkListSource;
    SongSourceKind mKind = SongSourceKind::Folder;
    QString mName;
    SongSourceKind mPendingKind = SongSourceKind::Folder;
    QString mPendingName;
    QString mPlaylistID;
    QString mXmlPath;
    bool mLoading = false;
    bool mCancelled = false;
    int mUnusable = 0;
};
