#include "SongSourceSession.h"

#include "library/iTunesInterface.h"
#include "run/RegenerateController.h"
#include "run/SongSourceLoader.h"
#include "support/LocalizedStrings.h"
#include "support/WMLog.h"

#include <QFileInfo>
#include <QtConcurrent/QtConcurrentRun>

SongSourceSession::SongSourceSession(QObject* parent)
    : QObject(parent), mLoader(std::make_unique<SongSourceLoader>()),
      mRegenerate(std::make_unique<RegenerateController>())
{
    mLoader->setRegenerateController(mRegenerate.get());
    connect(mLoader.get(), &SongSourceLoader::progress, this, &SongSourceSession::progress);
    connect(mLoader.get(), &SongSourceLoader::logLine, this,
            [this](const QString& text, const QColor& color) {
                // The files left out are counted for the notice at the end.
                if (text.startsWith(LocalizedStrings::text(QStringLiteral("NoInitializeTag"))) ||
                    text.startsWith(LocalizedStrings::text(QStringLiteral("NoInitializeSong"))))
                    ++mUnusable;
                emit logLine(text, color);
            });
    connect(mLoader.get(), &SongSourceLoader::playlistNotFound, this, [this](const QString& name) {
        emit problem(LocalizedStrings::format(QStringLiteral("PlaylistNotFoundMessage"), name));
    });
}

SongSourceSession::~SongSourceSession() = default;

bool SongSourceSession::startLoading(SongSourceKind kind, const QString& name, const QString& text)
{
    if (mLoading) {
        // The panel of the load in progress is modal; a late request waits
        // for nothing and is dropped.
        WMLog("Source change to %@ ignored: a source is loading", name);
        return false;
    }
    mLoading = true;
    mCancelled = false;
    mUnusable = 0;
    mPendingKind = kind;
    mPendingName = name;
    mLoader->setWorkList(mWorkListSource ? mWorkListSource() : SongList());
    emit loadingStarted(text);
    return true;
}

void SongSourceSession::finishLoading(bool loaded)
{
    mLoading = false;
    emit loadingFinished();
    if (mUnusable > 0)
        emit problem(LocalizedStrings::format(QStringLiteral("UnusableFilesNotice"), qint64(mUnusable)));
    if (!loaded && !mCancelled)
        return;
    // The source is the one shown from now on.
    mKind = mPendingKind;
    mName = mPendingName;
    const SongList& songs = mLoader->allSongs();
    if (songs.isEmpty() && mUnusable == 0 && !mCancelled && mKind == SongSourceKind::Folder)
        emit problem(LocalizedStrings::format(QStringLiteral("FolderHasNoSongs"), mName));
    emit songsLoaded(songs);
}

void SongSourceSession::cancel()
{
    mCancelled = true;
    mLoader->cancel();
}

void SongSourceSession::loadFolder(const QString& folder)
{
    if (!QFileInfo(folder).isDir()) {
        emit problem(LocalizedStrings::format(QStringLiteral("FolderMissing"), folder));
        return;
    }
    const QString path = QFileInfo(folder).absoluteFilePath();
    if (!startLoading(SongSourceKind::Folder, path,
                      LocalizedStrings::text(QStringLiteral("ScanningDirectory"))))
        return;
    PrefsController::sharedInstance().setLibraryDirectory(path);
    const bool loaded = mLoader->gatherSongsFromDirectory(path);
    finishLoading(loaded || !mLoader->allSongs().isEmpty());
}

QString SongSourceSession::libraryPath(const QString& xmlPath)
{
    mXmlPath = xmlPath;
    return xmlPath.isEmpty() ? iTunesInterface::mostRecentMusicLibraryPath(nullptr) : xmlPath;
}

void SongSourceSession::readLibrary(const QString& path, std::function<void(const LibraryRead&)> then)
{
    auto* watcher = new QFutureWatcher<LibraryRead>(this);
    connect(watcher, &QFutureWatcher<LibraryRead>::finished, this, [watcher, then = std::move(then)] {
        const LibraryRead read = watcher->result();
        watcher->deleteLater();
        then(read);
    });
    watcher->setFuture(QtConcurrent::run([path] {
        LibraryRead read;
        read.library = iTunesInterface::getMusicLibraryDictionaryAtPath(path, &read.error);
        return read;
    }));
}

bool SongSourceSession::acceptLibrary(const LibraryRead& read, const QString& path)
{
    if (read.library.isEmpty()) {
        const QString reason =
            read.error.isEmpty() ? LocalizedStrings::text(QStringLiteral("LibraryNoTracks")) : read.error;
        emit logLine(WMFormat::string("%@ %@ (%@)",
                                      LocalizedStrings::text(QStringLiteral("LibraryUnreadable")), path,
                                      reason),
                     QColor(Qt::red));
        emit problem(LocalizedStrings::format(QStringLiteral("LibraryUnreadableNotice"), path, reason));
        return false;
    }
    if (!read.error.isEmpty())
        emit problem(LocalizedStrings::format(QStringLiteral("LibraryDamagedNotice"), path, read.error));
    emit libraryRead(read.library.value(QStringLiteral("Playlists")).toList());
    return true;
}

void SongSourceSession::loadLibrary(const QString& xmlPath)
{
    const QString path = libraryPath(xmlPath);
    if (path.isEmpty()) {
        emit problem(LocalizedStrings::text(QStringLiteral("NoLibraryXML")));
        return;
    }
    if (!startLoading(SongSourceKind::Library, QString(),
                      LocalizedStrings::text(QStringLiteral("ScanningiTunesLibrary"))))
        return;
    readLibrary(path, [this, path](const LibraryRead& read) {
        if (mCancelled || !acceptLibrary(read, path)) {
            finishLoading(false);
            return;
        }
        // Only a library that could be read is the source of the next start.
        PrefsController::sharedInstance().setiTunesLibrary();
        finishLoading(mLoader->loadLibraryDictionary(read.library, path) || !mLoader->allSongs().isEmpty());
    });
}

void SongSourceSession::loadPlaylist(const QString& persistentID, const QString& name, const QString& xmlPath)
{
    const QString path = libraryPath(xmlPath);
    if (path.isEmpty()) {
        emit problem(LocalizedStrings::text(QStringLiteral("NoLibraryXML")));
        return;
    }
    if (!startLoading(SongSourceKind::Playlist, name,
                      LocalizedStrings::format(QStringLiteral("LoadingPlaylist"), name)))
        return;
    mPlaylistID = persistentID;
    readLibrary(path, [this, path, persistentID, name](const LibraryRead& read) {
        if (mCancelled || !acceptLibrary(read, path)) {
            finishLoading(false);
            return;
        }
        const bool loaded = mLoader->gatherSongsFromPlaylist(read.library, persistentID, name);
        if (loaded)
            PrefsController::sharedInstance().setLibraryPlaylist(name);
        finishLoading(loaded);
    });
}

void SongSourceSession::rescan()
{
    switch (mKind) {
    case SongSourceKind::Library:
        loadLibrary(mXmlPath);
        break;
    case SongSourceKind::Playlist:
        loadPlaylist(mPlaylistID, mName, mXmlPath);
        break;
    default:
        loadFolder(mName);
        break;
    }
}

void SongSourceSession::readLibraryForMenu()
{
    if (!iTunesInterface::canGetMusicLibrary())
        return;
    const QString path = iTunesInterface::mostRecentMusicLibraryPath(nullptr);
    if (path.isEmpty())
        return;
    readLibrary(path, [this](const LibraryRead& read) {
        if (!read.library.isEmpty())
            emit libraryRead(read.library.value(QStringLiteral("Playlists")).toList());
    });
}
