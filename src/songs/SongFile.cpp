#include "SongFile.h"

#include "CachedInfoTag.h"
#include "FileAttributes.h"
#include "SongFileInfoCache.h"

#include "library/MprisPlayers.h"
#include "library/iTunesBridge.h"
#include "support/WMLog.h"
#include "tags/AudioInfoTag.h"
#include "tags/FileIdentity.h"
#include "tags/FileWriteLock.h"
#include "tags/PosixFile.h"
#include "tags/SafeFileRewriter.h"
#include "tags/SongFileType.h"
#include "tags/WriteBatch.h"

#include <QFile>
#include <QFileInfo>
#include <QMutex>

#include <algorithm>
#include <exception>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr qint64 kMinimumSongBytes = 255;

struct SourceRoot
{
    QMutex lock;
    QString folder;
};

SourceRoot& sourceRoot()
{
    static SourceRoot shared;
    return shared;
}

quint32 synchSafeSize(const uchar* bytes)
{
    return (quint32(bytes[0] & 0x7F) << 21) | (quint32(bytes[1] & 0x7F) << 14) |
           (quint32(bytes[2] & 0x7F) << 7) | quint32(bytes[3] & 0x7F);
}


} // namespace

SongDataType SongFile::songDataTypeAtPath(const QString& path)
{
    return SongFileType::songDataTypeAtPath(path);
}

bool SongFile::claimsToBeMP3(const QString& path)
{
    return SongFileType::claimsToBeMP3(path);
}

bool SongFile::claimsToBeAAC(const QString& path)
{
    return SongFileType::claimsToBeAAC(path);
}

bool SongFile::claimsToBeOGG(const QString& path)
{
    return SongFileType::claimsToBeOGG(path);
}

bool SongFile::claimsToBeAIFF(const QString& path)
{
    return SongFileType::claimsToBeAIFF(path);
}

bool SongFile::removeID3v2TagFromFileAtPath(const QString& path)
{
    QString error;
    const FileWriteLock lock = FileWriteLock::acquire(path, &error);
    if (!lock.isLocked() || !QFileInfo(path).isWritable())
        return false;
    const PosixFile file = PosixFile::openForReading(path);
    const FileIdentity identity = FileIdentity::ofDescriptor(file.fd());
    if (!identity.isValid())
        return false;
    const qint64 length = identity.size;
    if (length < 11) {
        WMLog("removeID3 file only %u bytes: %@", quint64(length), path);
        return false;
    }
    QByteArray header(10, '\0');
    if (!file.readAt(0, header.data(), 10) || !header.startsWith("ID3") || header[3] != 4)
        return false;
    const qint64 tagEnd = qint64(synchSafeSize(reinterpret_cast<const uchar*>(header.constData()) + 6)) + 10;
    if (length <= tagEnd) {
        WMLog("removeID3 invalid tag size: %@", path);
        return false;
    }
    if (!SafeFileRewriter::apply(path, {FileEdit{0, tagEnd, QByteArray()}}, identity, &error)) {
        WMLog("removeID3 could not rewrite %@: %@", path, error);
        return false;
    }
    return true;
}

// ---- the record

SongFile::SongFile(PrivateTag) {}

SongFile::~SongFile() = default;

std::shared_ptr<SongFile> SongFile::songWithPath(const QString& path)
{
    auto song = std::make_shared<SongFile>(PrivateTag{});
    if (!song->initWithPath(path))
        return nullptr;
    return song;
}

bool SongFile::initWithPath(const QString& path)
{
    struct stat info = {};
    if (path.isEmpty())
        return false;
    const QByteArray encoded = QFile::encodeName(path);
    if (::stat(encoded.constData(), &info) != 0 || !S_ISREG(info.st_mode))
        return false;
    const QDateTime modified = FileAttributes::modificationDate(info);
    if (!modified.isValid() || info.st_size < kMinimumSongBytes)
        return false;
    mPath = path;
    mModDate = modified;
    mIsWritableFile = ::access(encoded.constData(), W_OK) == 0;
    setDefaultActivityStatus();
    return true;
}

std::shared_ptr<SongFile> SongFile::songWithPath(const QString& path,
                                                 const QList<std::shared_ptr<SongFile>>& songs)
{
    if (path.isEmpty())
        return nullptr;
    for (auto it = songs.crbegin(); it != songs.crend(); ++it) {
        if (*it && (*it)->mPath == path)
            return *it;
    }
    return nullptr;
}

std::shared_ptr<SongFile> SongFile::copy() const
{
    std::shared_ptr<SongFile> song = songWithPath(mPath);
    if (!song)
        return nullptr;
    song->mStatus = mStatus;
    song->miTunesDBID = miTunesDBID;
    song->mPersistentID = mPersistentID;
    song->mPlaylist = mPlaylist;
    song->mPlaylistIndex = mPlaylistIndex;
    return song;
}

QString SongFile::description() const
{
    return WMFormat::string("<SongFile %p> %@", static_cast<const void*>(this), mPath);
}

void SongFile::setSongSourceRoot(const QString& folder)
{
    QMutexLocker locker(&sourceRoot().lock);
    sourceRoot().folder = folder;
}

QString SongFile::songSourceRoot()
{
    QMutexLocker locker(&sourceRoot().lock);
    return sourceRoot().folder;
}

void SongFile::setPath(const QString& path)
{
    if (path == mPath)
        return;
    mPath = path;
    mAlias.reset();
}

QString SongFile::filename() const
{
    return mPath.mid(mPath.lastIndexOf(QLatin1Char('/')) + 1);
}

void SongFile::setPlayList(const QString& playlist, qint64 index)
{
    mPlaylist = playlist;
    mPlaylistIndex = playlist.isNull() ? NotFound : index;
    if (mInfotag)
        mInfotag->setPlayList(mPlaylist, mPlaylistIndex);
}

AudioInfoTag* SongFile::infotag()
{
    if (!mInfotag) {
        mInfotag = AudioInfoTag::tagWithPath(mPath);
        if (mInfotag && !mPlaylist.isNull())
            mInfotag->setPlayList(mPlaylist, mPlaylistIndex);
        setDefaultActivityStatus();
        // A file that went away is a problem, not an idle song.
        if (!mInfotag && !QFileInfo::exists(mPath))
            mStatus = SongActivityStatus::Problem;
        gatheriTunesArtwork();
    }
    return mInfotag.get();
}

void SongFile::setInfotag(std::unique_ptr<AudioInfoTag> tag)
{
    mInfotag = std::move(tag);
}

void SongFile::uncacheInfotag()
{
    mInfotag.reset();
}

void SongFile::createInfotagUsingCachedInfoDict(const QVariantMap& info)
{
    mInfotag = CachedInfoTag::tagWithCachedInfo(info);
    setDefaultActivityStatus();
}

bool SongFile::revertToCachedInfotag()
{
    if (mPath.isEmpty())
        return false;
    const QVariantMap info = SongFileInfoCache::sharedCache().infoForSongFileAtPath(mPath);
    if (info.isEmpty())
        return false;
    mInfotag.reset();
    createInfotagUsingCachedInfoDict(info);
    return true;
}

void SongFile::createLazyInfoTagFromDictionary(const QVariantMap& track, const QString& path)
{
    mInfotag = AudioInfoTag::tagWithiTunesTrackInfo(track, path);
    setDefaultActivityStatus();
}

void SongFile::ensureInfotagIsReal()
{
    if (mInfotag && mInfotag->isLazy())
        mInfotag.reset();
}

void SongFile::setDefaultActivityStatus()
{
    if (mInfotag && mInfotag->encounteredProblemDecoding())
        mStatus = SongActivityStatus::Problem;
    else
        mStatus = mIsWritableFile ? SongActivityStatus::Idle : SongActivityStatus::Locked;
}

bool SongFile::canWriteToOriginalPath() const
{
    return mStatus != SongActivityStatus::Problem && mStatus != SongActivityStatus::Locked;
}

void SongFile::setAliasFromPath()
{
    if (!mAlias)
        mAlias = FileReference::fromPath(mPath);
}

void SongFile::updatePathFromAlias()
{
    if (!mAlias)
        return;
    const QString resolved = mAlias->resolve(songSourceRoot());
    if (resolved.isEmpty()) {
        mStatus = SongActivityStatus::Problem;
        return;
    }
    if (resolved != mPath)
        mPath = resolved;
}

void SongFile::adoptCurrentModificationDate()
{
    const QDateTime modified = FileAttributes::modificationDate(mPath);
    if (modified.isValid())
        mModDate = modified;
}

bool SongFile::refresh()
{
    updatePathFromAlias();
    if (mPath.isEmpty())
        return false;
    const QDateTime modified = FileAttributes::modificationDate(mPath);
    if (!modified.isValid()) {
        mStatus = SongActivityStatus::Problem;
        return false;
    }
    if (modified.toMSecsSinceEpoch() == mModDate.toMSecsSinceEpoch())
        return false;
    mModDate = modified;
    mInfotag.reset();
    mHasiTunesArtwork = -1;
    return true;
}

void SongFile::rememberOriginalValuesForLaterRefresh()
{
    QVariantMap values;
    if (AudioInfoTag* tag = mInfotag.get()) {
        if (!tag->title().isNull())
            values.insert(QStringLiteral("Title"), tag->title());
        if (!tag->artist().isNull())
            values.insert(QStringLiteral("Artist"), tag->artist());
    }
    mOriginalProperties = values;
}

bool SongFile::writeToOriginalPath(QString* errorText, bool refreshiTunes)
{
    if (mPath.isEmpty())
        return true;
    setAliasFromPath();
    if (!mInfotag) {
        mStatus = SongActivityStatus::Problem;
        return false;
    }
    // Held until the attributes are back, so that the tag then describes
    // the file as it is; the tag refuses a file changed since it was read.
    const FileWriteLock lock = FileWriteLock::acquire(mPath, errorText);
    if (!lock.isLocked()) {
        mStatus = SongActivityStatus::Problem;
        return false;
    }
    const std::optional<FileAttributes> attributes = FileAttributes::ofFileAtPath(mPath);
    const std::optional<QString> playing = iTunesBridge::pathOfCurrentlyPlayingTrack();
    const bool paused = playing && *playing == mPath;
    if (paused)
        iTunesBridge::pausePlaying();
    const QStringList pausedPlayers = MprisPlayers::pausePlayersPlaying(mPath);

    if (!mInfotag->modifySongFileAtPath(mPath, errorText)) {
        if (paused)
            iTunesBridge::resumePlaying();
        MprisPlayers::resumePlayers(pausedPlayers);
        mStatus = SongActivityStatus::Problem;
        return false;
    }
    // At once, or when the write batch holding the write has made it durable.
    WriteBatch::afterWrite(mPath, [song = weak_from_this(), path = mPath, attributes, paused, pausedPlayers,
                                   refreshiTunes](bool written, const QString&) {
        if (written && attributes)
            attributes->restoreToFileAtPath(path);
        if (const std::shared_ptr<SongFile> self = song.lock()) {
            if (written)
                self->adoptWrittenFile(refreshiTunes);
            else
                self->mStatus = SongActivityStatus::Problem;
        }
        if (paused)
            iTunesBridge::resumePlaying();
        MprisPlayers::resumePlayers(pausedPlayers);
    });
    return true;
}

void SongFile::adoptWrittenFile(bool refreshiTunes)
{
    if (mInfotag)
        mInfotag->setSource(mPath, FileIdentity::of(mPath));
    // No workspace to tell about the change on this platform: file
    // managers watch the folders themselves.
    if (refreshiTunes && !mPersistentID.isEmpty()) {
        const std::optional<QString> path = iTunesBridge::refreshAndGetPathOfSongWithPID(mPersistentID);
        if (path && !path->isEmpty() && !path->startsWith(QLatin1String("error")))
            mPath = *path;
    }
    if (!QFileInfo::exists(mPath))
        updatePathFromAlias();
    adoptCurrentModificationDate();
}
