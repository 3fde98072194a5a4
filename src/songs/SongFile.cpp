#include "SongFile.h"

#include "CachedInfoTag.h"
#include "FileAttributes.h"
#include "SongFileInfoCache.h"

#include "library/iTunesBridge.h"
#include "support/WMLog.h"
#include "tags/AudioInfoTag.h"
#include "tags/FileIdentity.h"
#include "tags/FileWriteLock.h"
#include "tags/PosixFile.h"
#include "tags/SafeFileRewriter.h"
#include "tags/WriteBatch.h"

#include <QFile>
#include <QFileInfo>
#include <QMutex>

#include <algorithm>
#include <exception>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr qint64 kBlockSize = 4096;
constexpr qint64 kScanLimit = 499999;
constexpr int kFramesForMPEG = 30;
constexpr qint64 kMaxBytesPerFrame = 800;
constexpr int kFrameSkip = 200;
constexpr int kMaxFramesForMPEG4 = 9;
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

// An MPEG-1 layer III or layer II header with a usable rate and frequency.
bool isFrameHeader(const uchar* b)
{
    const uchar layer = b[1] & 0xFE;
    return b[0] == 0xFF && (layer == 0xFA || layer == 0xFC) && b[2] < 0xF0 && ((b[2] >> 2) & 3) != 3;
}

bool nameEndsAt(const uchar* block, int end, const char* name)
{
    return block[end - 3] == uchar(name[0]) && block[end - 2] == uchar(name[1]) &&
           block[end - 1] == uchar(name[2]) && block[end] == uchar(name[3]);
}

QString suffixOf(const QString& path)
{
    return QFileInfo(path).suffix().toLower();
}

} // namespace

SongDataType SongFile::songDataTypeAtPath(const QString& path)
{
    try {
        // A pipe or device of that name is refused here, never waited on.
        PosixFile opened = PosixFile::openForReading(path);
        if (!opened.isOpen()) {
            WMLog("songDataTypeAtPath %@ fileHandleForReadingAtPath: %@", path, PosixFile::lastError());
            return SongDataType::Unknown;
        }
        QFile file;
        if (!file.open(opened.release(), QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
            WMLog("songDataTypeAtPath %@ fileHandleForReadingAtPath: %@", path, file.errorString());
            return SongDataType::Unknown;
        }
        const qint64 length = file.size();
        if (length < kBlockSize)
            return SongDataType::Unknown;
        QByteArray block = file.read(kBlockSize);
        if (block.size() != kBlockSize)
            return SongDataType::Unknown;
        const auto* first = reinterpret_cast<const uchar*>(block.constData());

        qint64 offset = 0;
        if (block.startsWith("ID3") && first[3] < 255 && first[4] < 255 && first[6] < 128 && first[7] < 128 &&
            first[8] < 128 && first[9] < 128) {
            const qint64 tagSize = synchSafeSize(first + 6);
            if (tagSize >= 7)
                offset = tagSize + 10 > length ? 0 : tagSize + 10;
        }

        int frames = 0;
        bool sawMoov = false;
        bool sawUdta = false;
        bool sawMdia = false;
        for (; offset <= kScanLimit && offset < length - kBlockSize; offset += kBlockSize) {
            if (offset != 0) {
                if (!file.seek(offset))
                    return SongDataType::Unknown;
                block = file.read(kBlockSize);
                if (block.size() != kBlockSize)
                    return SongDataType::Unknown;
            }
            const auto* bytes = reinterpret_cast<const uchar*>(block.constData());
            for (int i = 0; i < kBlockSize - 4;) {
                if (isFrameHeader(bytes + i)) {
                    ++frames;
                    i += kFrameSkip;
                } else {
                    ++i;
                }
            }
            if (frames >= kFramesForMPEG) {
                if ((offset + kBlockSize) / frames < kMaxBytesPerFrame)
                    return SongDataType::MPEGAudio;
                continue;
            }
            for (int end = 3; end <= kBlockSize - 2; ++end) {
                sawMoov = sawMoov || nameEndsAt(bytes, end, "moov");
                sawUdta = sawUdta || nameEndsAt(bytes, end, "udta");
                sawMdia = sawMdia || nameEndsAt(bytes, end, "mdia");
            }
            if (sawMdia && sawUdta && frames <= kMaxFramesForMPEG4 && sawMoov)
                return SongDataType::MPEG4Audio;
        }
        return SongDataType::Unknown;
    } catch (const std::exception& e) {
        WMLog("songDataTypeAtPath exception %@ for path: %@", e.what(), path);
        return SongDataType::Unknown;
    }
}

QByteArray SongFile::typeCodeAtPath(const QString& path)
{
    // Four-letter type codes belong to another platform's file system; on
    // this one no file carries them.
    Q_UNUSED(path);
    return QByteArray();
}

bool SongFile::claimsToBeMP3(const QString& path)
{
    const QString suffix = suffixOf(path);
    if (suffix == QLatin1String("mp2") || suffix == QLatin1String("mp3"))
        return true;
    static const QByteArray codes[] = {"MP3 ", "MP3!", "MPG2", "MPG3", "Mp3 ", "mp3!", "mpg3"};
    const QByteArray code = typeCodeAtPath(path);
    return !code.isEmpty() && std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

bool SongFile::claimsToBeAAC(const QString& path)
{
    const QString suffix = suffixOf(path);
    if (suffix == QLatin1String("m4a") || suffix == QLatin1String("m4p"))
        return true;
    const QByteArray code = typeCodeAtPath(path);
    return code == "M4A " || code == "M4P ";
}

bool SongFile::claimsToBeOGG(const QString& path)
{
    return suffixOf(path) == QLatin1String("ogg");
}

bool SongFile::claimsToBeAIFF(const QString& path)
{
    const QString suffix = suffixOf(path);
    return suffix == QLatin1String("aif") || suffix == QLatin1String("aiff");
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
    mInfotag = AudioInfoTag::tagWithCachedInfo(info);
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

    if (!mInfotag->modifySongFileAtPath(mPath, errorText)) {
        if (paused)
            iTunesBridge::resumePlaying();
        mStatus = SongActivityStatus::Problem;
        return false;
    }
    // At once, or when the write batch holding the write has made it durable.
    WriteBatch::afterWrite(mPath, [song = weak_from_this(), path = mPath, attributes, paused,
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
