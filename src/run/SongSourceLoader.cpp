#include "SongSourceLoader.h"

#include "RegenerateController.h"

#include "library/iTunesInterface.h"
#include "songs/CachedInfoTag.h"
#include "songs/SongFile.h"
#include "songs/SongFileInfoCache.h"
#include "support/LocalizedStrings.h"
#include "support/WMLog.h"
#include "web/WMUtility.h"
#include "tags/AudioInfoTag.h"
#include "text/FileNameEncoding.h"

#include <QCoreApplication>
#include <QFile>
#include <QHash>

#include <algorithm>

#include <sys/stat.h>

namespace {

constexpr qint64 kProgressIntervalMs = 250;

// Only the memory part of the cache is consulted while it lives.
class NoCacheDiskReads
{
public:
    NoCacheDiskReads() { SongFileInfoCache::sharedCache().setAllowDiskReads(false); }
    ~NoCacheDiskReads() { SongFileInfoCache::sharedCache().setAllowDiskReads(true); }
    NoCacheDiskReads(const NoCacheDiskReads&) = delete;
    NoCacheDiskReads& operator=(const NoCacheDiskReads&) = delete;
};

const QString kLocation = QStringLiteral("Location");

// The work list by path; of equal paths the last one wins, as a search from
// the end would find it.
QHash<QString, std::shared_ptr<SongFile>> indexByPath(const QList<std::shared_ptr<SongFile>>& songs)
{
    QHash<QString, std::shared_ptr<SongFile>> index;
    index.reserve(songs.size());
    for (const std::shared_ptr<SongFile>& song : songs) {
        if (song && !song->path().isEmpty())
            index.insert(song->path(), song);
    }
    return index;
}

bool claimsToBeSong(const QString& path)
{
    return SongFile::claimsToBeMP3(path) || SongFile::claimsToBeAAC(path);
}

} // namespace

SongSourceLoader::SongSourceLoader(QObject* parent) : QObject(parent) {}

SongSourceLoader::~SongSourceLoader() = default;

void SongSourceLoader::cancel()
{
    mCancelled = true;
}

// ---- the rules

QString SongSourceLoader::pathFromLocation(const QString& location, const QString& volumeRoot)
{
    if (!location.startsWith(QLatin1String("file:"), Qt::CaseInsensitive))
        return QString();
    // The URL's path: after "file:" and, when there is one, the authority.
    QString encoded = location.mid(5);
    if (encoded.startsWith(QLatin1String("//"))) {
        const qsizetype slash = encoded.indexOf(QLatin1Char('/'), 2);
        if (slash < 0)
            return QString();
        encoded = encoded.mid(slash);
    }
    const qsizetype query = encoded.indexOf(QLatin1Char('?'));
    if (query >= 0)
        encoded.truncate(query);
    QString path = QString::fromUtf8(QByteArray::fromPercentEncoding(encoded.toUtf8()));
    if (path.size() >= 5 && path.at(0) == QLatin1Char('/') && path.at(2) == QLatin1Char(':') &&
        path.at(3) == QLatin1Char('/'))
        path.remove(0, 1);
    if (!volumeRoot.isEmpty() && !path.startsWith(volumeRoot)) {
        QString tail = path;
        while (tail.startsWith(QLatin1Char('/')))
            tail.remove(0, 1);
        path = volumeRoot + tail;
    }
    return path;
}

QString SongSourceLoader::volumeRootOfLibraryPath(const QString& libraryPath)
{
    if (!libraryPath.startsWith(QLatin1String("/Volumes/")))
        return QString();
    const QStringList parts = libraryPath.split(QLatin1Char('/'));
    if (parts.size() < 3 || parts.at(2).isEmpty())
        return QString();
    return QStringLiteral("/Volumes/") + parts.at(2) + QLatin1Char('/');
}

bool SongSourceLoader::isListableTrack(const QVariantMap& track)
{
    const QString location = track.value(kLocation).toString();
    return track.contains(QStringLiteral("Kind")) && !track.value(QStringLiteral("Has Video")).toBool() &&
           track.contains(QStringLiteral("Total Time")) &&
           !location.endsWith(QLatin1String(".m4r"), Qt::CaseInsensitive) &&
           location.startsWith(QLatin1String("file:"), Qt::CaseInsensitive);
}

// ---- shared steps

void SongSourceLoader::begin(SongSourceKind kind)
{
    mCancelled = false;
    mAllSongs.clear();
    mSourceError.clear();
    mUnopenedFiles.clear();
    mSourceKind = kind;
    mLastProgress = -1;
    mProgressClock.start();
}

void SongSourceLoader::reportProgress(qint64 current, qint64 total)
{
    const bool atEnd = current >= total;
    if (!atEnd && mLastProgress >= 0 && mProgressClock.elapsed() - mLastProgress < kProgressIntervalMs)
        return;
    mLastProgress = mProgressClock.elapsed();
    emit progress(current, total);
    // Lets a cancel from the front end arrive, as a modal panel would.
    QCoreApplication::processEvents();
}

void SongSourceLoader::logRed(const QString& key, const QString& path)
{
    const QString text = WMFormat::string("%@ %@", LocalizedStrings::text(key), path);
    WMLog("%@", text);
    // Songs left out are listed with the reason.
    if (key == QLatin1String("NoInitializeTag") || key == QLatin1String("NoInitializeSong"))
        mUnopenedFiles.append({path, LocalizedStrings::text(key == QLatin1String("NoInitializeTag")
                                                                ? QStringLiteral("ReasonTagUnreadable")
                                                                : QStringLiteral("ReasonNotASong"))});
    emit logLine(text, QColor(Qt::red));
}

void SongSourceLoader::reportUnrepresentable(const QList<QByteArray>& rawPaths)
{
    for (const QByteArray& raw : rawPaths) {
        struct stat info = {};
        const bool isFolder = ::stat(raw.constData(), &info) == 0 && S_ISDIR(info.st_mode);
        // The name as Qt has it still ends in the song's extension.
        if (!isFolder && !claimsToBeSong(QFile::decodeName(raw)))
            continue;
        const QString shown = FileNameEncoding::shellQuoted(raw);
        const QString text = LocalizedStrings::format(
            isFolder ? QStringLiteral("FolderNameNotUtf8") : QStringLiteral("SongNameNotUtf8"), shown);
        WMLog("%@", text);
        emit logLine(text, QColor(Qt::red));
        mUnopenedFiles.append({shown, LocalizedStrings::text(QStringLiteral("NameNotUtf8"))});
    }
}

void SongSourceLoader::collectCorrupt(const std::shared_ptr<SongFile>& song)
{
    if (mRegenerateController)
        mRegenerateController->addCorruptSong(song);
}

std::shared_ptr<SongFile>
SongSourceLoader::songForPath(const QString& path, const QHash<QString, std::shared_ptr<SongFile>>& workList,
                              bool adoptDateWhenReused)
{
    std::shared_ptr<SongFile> song = workList.value(path);
    if (song) {
        if (adoptDateWhenReused)
            song->adoptCurrentModificationDate();
        return song;
    }
    song = SongFile::songWithPath(path);
    if (!song)
        logRed(QStringLiteral("NoInitializeSong"), path);
    return song;
}

void SongSourceLoader::readTagThroughCache(SongFile& song, const std::shared_ptr<SongFile>& shared)
{
    SongFileInfoCache& cache = SongFileInfoCache::sharedCache();
    const QVariantMap cached = cache.infoForSongFileAtPath(song.path(), song.modificationDate());
    if (!cached.isEmpty()) {
        song.createInfotagUsingCachedInfoDict(cached);
        return;
    }
    song.uncacheInfotag();
    AudioInfoTag* tag = song.infotag();
    if (!tag)
        return;
    if (tag->encounteredProblemDecoding()) {
        collectCorrupt(shared);
        return;
    }
    const QVariantMap info = CachedInfoTag::infoDictForTag(*tag, song.path());
    cache.storeInfo(info, song.path());
    song.createInfotagUsingCachedInfoDict(info);
}

// ---- the library

bool SongSourceLoader::setiTunesLibrary(const QString& xmlPath)
{
    const QString path = xmlPath.isEmpty() ? iTunesInterface::mostRecentMusicLibraryPath(nullptr) : xmlPath;
    if (path.isEmpty()) {
        begin(SongSourceKind::Library);
        logRed(QStringLiteral("NoLibraryXML"), QString());
        return false;
    }
    QString error;
    const QVariantMap library = iTunesInterface::getMusicLibraryDictionaryAtPath(path, &error);
    if (library.isEmpty()) {
        begin(SongSourceKind::Library);
        logRed(QStringLiteral("LibraryUnreadable"), WMFormat::string("%@ (%@)", path, error));
        mSourceError = error;
        return false;
    }
    if (!error.isEmpty())
        logRed(QStringLiteral("LibraryDamaged"), WMFormat::string("%@ (%@)", path, error));
    const bool loaded = loadLibraryDictionary(library, path);
    mSourceError = error;
    return loaded;
}

bool SongSourceLoader::loadLibraryDictionary(const QVariantMap& library, const QString& libraryPath)
{
    begin(SongSourceKind::Library);
    WMLog("%@", LocalizedStrings::text(QStringLiteral("ScanningiTunesLibrary")));
    const QString volumeRoot = volumeRootOfLibraryPath(libraryPath);
    const QVariantMap tracks = library.value(QStringLiteral("Tracks")).toMap();
    // The tracks in the order of their IDs, kept as positions in the map so
    // that no track is looked up again by its key.
    QList<std::pair<qint64, QVariantMap::const_iterator>> keys;
    keys.reserve(tracks.size());
    for (auto it = tracks.constBegin(); it != tracks.constEnd(); ++it)
        keys.append({it.key().toLongLong(), it});
    std::sort(keys.begin(), keys.end(), [](const auto& a, const auto& b) {
        return a.first != b.first ? a.first < b.first : a.second.key() < b.second.key();
    });
    SongFile::setSongSourceRoot(volumeRoot);

    const QHash<QString, std::shared_ptr<SongFile>> workList = indexByPath(mWorkList);
    SongFileInfoCache& cache = SongFileInfoCache::sharedCache();
    const auto total = static_cast<qint64>(keys.size());
    mAllSongs.reserve(keys.size());
    {
        const NoCacheDiskReads memoryOnly;
        qint64 current = 0;
        for (const auto& [number, position] : keys) {
            if (mCancelled)
                break;
            reportProgress(current++, total);
            const QVariantMap track = position.value().toMap();
            if (!isListableTrack(track))
                continue;
            const QString path = pathFromLocation(track.value(kLocation).toString(), volumeRoot);
            if (path.isEmpty() || !claimsToBeSong(path))
                continue;
            std::shared_ptr<SongFile> song = songForPath(path, workList, false);
            if (!song)
                continue;
            song->setiTunesDBID(static_cast<quint32>(number));
            song->setPersistentID(track.value(QStringLiteral("Persistent ID")).toString());
            const QVariantMap cached = cache.infoForSongFileAtPath(path, song->modificationDate());
            if (!cached.isEmpty())
                song->createInfotagUsingCachedInfoDict(cached);
            else
                song->createLazyInfoTagFromDictionary(track, path);
            if (song->hasInfotagCached())
                mAllSongs.append(song);
            else
                logRed(QStringLiteral("NoInitializeTag"), path);
        }
    }
    reportProgress(total, total);
    return !mCancelled;
}

// ---- a playlist

bool SongSourceLoader::gatherSongsFromPlaylistPID(const QString& playlistPID, const QString& name,
                                                  const QString& xmlPath)
{
    const QString path = xmlPath.isEmpty() ? iTunesInterface::mostRecentMusicLibraryPath(nullptr) : xmlPath;
    QString error;
    const QVariantMap library =
        path.isEmpty() ? QVariantMap() : iTunesInterface::getMusicLibraryDictionaryAtPath(path, &error);
    if (library.isEmpty()) {
        begin(SongSourceKind::Playlist);
        if (path.isEmpty())
            logRed(QStringLiteral("NoLibraryXML"), QString());
        else
            logRed(QStringLiteral("LibraryUnreadable"), WMFormat::string("%@ (%@)", path, error));
        mSourceError = error;
        return false;
    }
    if (!error.isEmpty())
        logRed(QStringLiteral("LibraryDamaged"), WMFormat::string("%@ (%@)", path, error));
    const bool loaded = gatherSongsFromPlaylist(library, playlistPID, name);
    mSourceError = error;
    return loaded;
}

bool SongSourceLoader::gatherSongsFromPlaylist(const QVariantMap& library, const QString& playlistPID,
                                               const QString& name)
{
    begin(SongSourceKind::Playlist);
    QVariantMap playlist;
    const QVariantList playlists = library.value(QStringLiteral("Playlists")).toList();
    // By persistent ID, then by name as written, then by name in any case.
    for (int pass = 0; pass < 3 && playlist.isEmpty(); ++pass) {
        for (const QVariant& entry : playlists) {
            const QVariantMap candidate = entry.toMap();
            const bool byPID =
                pass == 0 && !playlistPID.isEmpty() &&
                candidate.value(QStringLiteral("Playlist Persistent ID")).toString() == playlistPID;
            const QString candidateName = candidate.value(QStringLiteral("Name")).toString();
            const bool byName = (pass == 1 && candidateName == name) ||
                                (pass == 2 && candidateName.compare(name, Qt::CaseInsensitive) == 0);
            if (byPID || byName) {
                playlist = candidate;
                break;
            }
        }
    }
    if (playlist.isEmpty()) {
        const QString title = name.isEmpty() ? playlistPID : name;
        QStringList names;
        for (const QVariant& entry : playlists)
            names.append(QStringLiteral("“") + entry.toMap().value(QStringLiteral("Name")).toString() +
                         QStringLiteral("”"));
        const QString message =
            LocalizedStrings::format(QStringLiteral("PlaylistNotFoundMessage"), title) + QLatin1Char(' ') +
            LocalizedStrings::format(QStringLiteral("PlaylistsThatExist"), names.join(QStringLiteral(", ")));
        WMLog("%@", message);
        emit logLine(message, QColor(Qt::red));
        emit playlistNotFound(title);
        return false;
    }
    const QString playlistName = playlist.value(QStringLiteral("Name")).toString();
    WMLog("%@", LocalizedStrings::format(QStringLiteral("LoadingPlaylist"), playlistName));

    const QVariantMap tracks = library.value(QStringLiteral("Tracks")).toMap();
    // Items of the framework's form name their track by persistent ID.
    QHash<QString, QString> keyOfPersistentID;
    const QVariantList items = playlist.value(QStringLiteral("Playlist Items")).toList();
    const QHash<QString, std::shared_ptr<SongFile>> workList = indexByPath(mWorkList);
    const auto total = static_cast<qint64>(items.size());
    qint64 index = 0;
    for (const QVariant& entry : items) {
        if (mCancelled)
            break;
        reportProgress(index++, total);
        const QVariantMap item = entry.toMap();
        QString key = item.value(QStringLiteral("Track ID")).toString();
        if (key.isEmpty() && item.contains(QStringLiteral("Track Persistent ID"))) {
            if (keyOfPersistentID.isEmpty()) {
                for (auto it = tracks.constBegin(); it != tracks.constEnd(); ++it)
                    keyOfPersistentID.insert(
                        it.value().toMap().value(QStringLiteral("Persistent ID")).toString(), it.key());
            }
            key = keyOfPersistentID.value(item.value(QStringLiteral("Track Persistent ID")).toString());
        }
        const QVariantMap track = tracks.value(key).toMap();
        const QString path = pathFromLocation(track.value(kLocation).toString());
        if (path.isEmpty() || !claimsToBeSong(path))
            continue;
        std::shared_ptr<SongFile> song = songForPath(path, workList, true);
        if (!song)
            continue;
        song->setiTunesDBID(track.value(QStringLiteral("Track ID")).toUInt());
        song->setPersistentID(track.value(QStringLiteral("Persistent ID")).toString());
        readTagThroughCache(*song, song);
        AudioInfoTag* tag = song->hasInfotagCached() ? song->infotag() : nullptr;
        if (!tag) {
            logRed(QStringLiteral("NoInitializeTag"), path);
            continue;
        }
        song->setPlayList(playlistName, index);
        song->setHasiTunesArtwork(tag->numberOfImages() > 0
                                      ? 0
                                      : (track.value(QStringLiteral("Artwork Count")).toInt() > 0 ? 1 : 0));
        mAllSongs.append(song);
    }
    reportProgress(total, total);
    return !mCancelled;
}

// ---- a folder

bool SongSourceLoader::gatherSongsFromDirectory(const QString& folder)
{
    begin(SongSourceKind::Folder);
    WMLog("%@", LocalizedStrings::text(QStringLiteral("ScanningDirectory")));
    QList<QByteArray> unrepresentable;
    const QStringList paths =
        WMUtility::recursiveFilePathsInDirectory(folder, false, kMaxFolderPaths, &unrepresentable);
    reportUnrepresentable(unrepresentable);
    if (paths.isEmpty())
        return !mCancelled;
    SongFile::setSongSourceRoot(folder);
    const QHash<QString, std::shared_ptr<SongFile>> workList = indexByPath(mWorkList);
    const int corruptBefore = mRegenerateController ? mRegenerateController->numberOfRows() : 0;
    const auto total = static_cast<qint64>(paths.size());
    qint64 current = 0;
    for (const QString& path : paths) {
        if (mCancelled)
            break;
        reportProgress(current++, total);
        if (!claimsToBeSong(path))
            continue;
        std::shared_ptr<SongFile> song = songForPath(path, workList, true);
        if (!song)
            continue;
        readTagThroughCache(*song, song);
        if (song->hasInfotagCached())
            mAllSongs.append(song);
        else
            logRed(QStringLiteral("NoInitializeTag"), path);
    }
    reportProgress(total, total);
    if (mRegenerateController && mRegenerateController->numberOfRows() > corruptBefore)
        mRegenerateController->reveal();
    return !mCancelled;
}
