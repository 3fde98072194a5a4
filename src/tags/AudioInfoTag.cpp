#include "AudioInfoTag.h"

#include "AACInfoTag.h"
#include "GenreList.h"
#include "ID3TextCodec.h"
#include "MP3InfoTag.h"
#include "SongFileDevice.h"
#include "SongFileType.h"

#include "support/WMLog.h"
#include "text/WendmarkTextExtensions.h"

#include <QFile>
#include <QFileInfo>

#include <cmath>
#include <mutex>

std::atomic<bool> AudioInfoTag::sDiscardMalformed{false};
std::atomic<bool> AudioInfoTag::sDiscardUnrecognized{false};

namespace {

const QString kDuration = QStringLiteral("kMDItemDurationSeconds");
const QString kBitRate = QStringLiteral("kMDItemAudioBitRate");
const QString kSampleRate = QStringLiteral("kMDItemAudioSampleRate");

// The last icon rendered anywhere in the process, with the picture bytes it
// was made from: the table of songs asks for the same artwork many times.
struct LastIcon
{
    std::mutex lock;
    QByteArray data;
    QImage icon;
};

LastIcon& lastIcon()
{
    static LastIcon shared;
    return shared;
}

std::unique_ptr<AudioInfoTag> newTagOfType(SongDataType type)
{
    if (type == SongDataType::MPEGAudio)
        return std::make_unique<MP3InfoTag>();
    if (type == SongDataType::MPEG4Audio)
        return std::make_unique<AACInfoTag>();
    return nullptr;
}

// The type a file's name claims, for files whose bytes tell none.
SongDataType typeByName(const QString& path)
{
    if (SongFileType::claimsToBeMP3(path))
        return SongDataType::MPEGAudio;
    if (SongFileType::claimsToBeAAC(path))
        return SongDataType::MPEG4Audio;
    return SongDataType::Unknown;
}

} // namespace

AudioInfoTag::AudioInfoTag() = default;
AudioInfoTag::~AudioInfoTag() = default;

std::unique_ptr<AudioInfoTag> AudioInfoTag::tagWithPath(const QString& path)
{
    SongFileDevice file(path);
    std::unique_ptr<AudioInfoTag> tag = tagFromFile(file, false);
    if (!tag)
        return nullptr;
    tag->gatherTagsFromPathname(path);
    tag->gatherFileMetadataFromPath(path);
    return tag;
}

std::unique_ptr<AudioInfoTag> AudioInfoTag::tagFromFileAtPath(const QString& path, bool withFileProperties)
{
    SongFileDevice file(path);
    return tagFromFile(file, withFileProperties);
}

std::unique_ptr<AudioInfoTag> AudioInfoTag::tagFromFile(SongFileDevice& file, bool withFileProperties,
                                                        SongDataType* type)
{
    if (type)
        *type = SongDataType::Unknown;
    if (!file.isOpen() && !file.open(QIODevice::ReadOnly)) {
        if (file.isSpecialFile()) {
            WMLog("Not reading %@: not a regular file", file.path());
            return nullptr;
        }
        WMLog("songDataTypeAtPath %@ fileHandleForReadingAtPath: %@", file.path(), file.openError());
    }
    // The bytes decide, else the name.
    const SongDataType claimed = typeByName(file.path());
    SongDataType found = file.isOpen() ? SongFileType::songDataType(file, claimed) : SongDataType::Unknown;
    if (found == SongDataType::Unknown)
        found = claimed;
    if (type)
        *type = found;
    std::unique_ptr<AudioInfoTag> tag = newTagOfType(found);
    if (!tag || !tag->initWithFile(file))
        return nullptr;
    if (withFileProperties)
        tag->gatherFileMetadataFromPath(file.path());
    return tag;
}

std::unique_ptr<AudioInfoTag> AudioInfoTag::tagWithiTunesTrackInfo(const QVariantMap& track,
                                                                   const QString& path)
{
    std::unique_ptr<AudioInfoTag> tag = newTagOfType(typeByName(path));
    if (!tag)
        return nullptr;
    // Made once: a library load builds tens of thousands of these tags.
    static const QString kName = QStringLiteral("Name");
    static const QString kArtist = QStringLiteral("Artist");
    static const QString kAlbum = QStringLiteral("Album");
    static const QString kGenre = QStringLiteral("Genre");
    static const QString kYear = QStringLiteral("Year");
    static const QString kTrackNumber = QStringLiteral("Track Number");
    static const QString kTrackCount = QStringLiteral("Track Count");
    static const QString kCompilation = QStringLiteral("Compilation");
    static const QString kArtworkCount = QStringLiteral("Artwork Count");
    const auto end = track.constEnd();
    if (const auto it = track.constFind(kName); it != end)
        tag->setTitle(it.value().toString());
    if (const auto it = track.constFind(kArtist); it != end)
        tag->setArtist(it.value().toString());
    if (const auto it = track.constFind(kAlbum); it != end)
        tag->setAlbum(it.value().toString());
    if (const auto it = track.constFind(kGenre); it != end)
        tag->setGenres(it.value().toString());
    const qint64 year = track.value(kYear).toLongLong();
    if (year >= 1 && year <= 2049)
        tag->setYear(QString::number(year));
    const qint64 number = track.value(kTrackNumber).toLongLong();
    const qint64 count = track.value(kTrackCount).toLongLong();
    if (number != 0) {
        tag->setTrack(count != 0 && count >= number
                          ? QString::number(number) + QLatin1Char('/') + QString::number(count)
                          : QString::number(number));
    }
    if (track.contains(kCompilation))
        tag->setIsPartOfCompilation(true);
    tag->setMetadataFromiTunesTrack(track);
    tag->setLazyNumberOfImages(track.value(kArtworkCount).toInt());
    tag->setIsLazy(true);
    return tag;
}

void AudioInfoTag::setMetadataFromiTunesTrack(const QVariantMap& track)
{
    static const QString kTotalTime = QStringLiteral("Total Time");
    static const QString kTrackBitRate = QStringLiteral("Bit Rate");
    static const QString kTrackSampleRate = QStringLiteral("Sample Rate");
    // Merged over what the tag already has, value by value.
    const auto end = track.constEnd();
    if (const auto it = track.constFind(kTotalTime); it != end) {
        // iTunes counts a little more than the audio plays; 0.75 s brings its
        // figure in line with the one read from the file.
        mMetadata.insert(kDuration, it.value().toDouble() / 1000.0 - 0.75);
    }
    if (const auto it = track.constFind(kTrackBitRate); it != end)
        mMetadata.insert(kBitRate, it.value());
    if (const auto it = track.constFind(kTrackSampleRate); it != end)
        mMetadata.insert(kSampleRate, it.value());
}

bool AudioInfoTag::initWithPath(const QString& path)
{
    // Taken before the format class reads a byte: whatever changes after
    // this moment shows in the identity when the tag is written back.
    setSource(path, FileIdentity::of(path));
    mPlaylistIndex = NotFound;
    return true;
}

bool AudioInfoTag::initWithFile(SongFileDevice& file)
{
    // The device took the identity from the open file before its first read.
    setSource(file.path(), file.identity());
    mPlaylistIndex = NotFound;
    return true;
}

void AudioInfoTag::setSource(const QString& path, const FileIdentity& identity)
{
    mSourcePath = path;
    mSourceIdentity = identity;
}

FileIdentity AudioInfoTag::expectedIdentityAt(const QString& path) const
{
    const FileIdentity now = FileIdentity::of(path);
    if (mSourceIdentity.isValid() && (path == mSourcePath || now.isSameFile(mSourceIdentity)))
        return mSourceIdentity;
    return now;
}

void AudioInfoTag::gatherTagsFromPathname(const QString& path)
{
    if (!title().isNull())
        return;
    QString name = QFileInfo(path).fileName().trimmed();
    if (name.size() >= 5 && name.at(name.size() - 4) == QLatin1Char('.'))
        name.chop(4);
    setTitle(name);
}

void AudioInfoTag::gatherFileMetadataFromPath(const QString& path)
{
    // There is no system metadata index to ask on this platform.
    Q_UNUSED(path);
}

void AudioInfoTag::mergeMetadata(const QVariantMap& values)
{
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        mMetadata.insert(it.key(), it.value());
}

QString AudioInfoTag::title() const
{
    return QString();
}
QString AudioInfoTag::artist() const
{
    return QString();
}
QString AudioInfoTag::album() const
{
    return QString();
}
QString AudioInfoTag::track() const
{
    return QString();
}
QString AudioInfoTag::year() const
{
    return QString();
}
QString AudioInfoTag::genres() const
{
    return QString();
}
QString AudioInfoTag::lyrics() const
{
    return QString();
}
QString AudioInfoTag::bpm() const
{
    return QString();
}
void AudioInfoTag::setArtist(const QString&) {}
void AudioInfoTag::setTitle(const QString&) {}
void AudioInfoTag::setAlbum(const QString&) {}
void AudioInfoTag::setYear(const QString&) {}
void AudioInfoTag::setGenres(const QString&) {}
void AudioInfoTag::setTrack(const QString&) {}
void AudioInfoTag::setLyrics(const QString&) {}
void AudioInfoTag::setBPM(const QString&) {}
void AudioInfoTag::setIsPartOfCompilation(bool) {}
bool AudioInfoTag::isPartOfCompilation() const
{
    return false;
}

int AudioInfoTag::trackNumber() const
{
    const QString t = track();
    if (t.isEmpty())
        return 0;
    const qsizetype slash = t.indexOf(QLatin1Char('/'));
    return static_cast<int>(
        ID3TextCodec::integerValue(slash > 0 ? QStringView(t).left(slash) : QStringView(t)));
}

int AudioInfoTag::numberOfTracksOnAlbum() const
{
    const QString t = track();
    if (t.isEmpty())
        return 0;
    const qsizetype slash = t.indexOf(QLatin1Char('/'));
    // A track without a total answers its own number, as it always has.
    if (slash < 0 || slash == t.size() - 1)
        return static_cast<int>(ID3TextCodec::integerValue(t));
    return static_cast<int>(ID3TextCodec::integerValue(QStringView(t).mid(slash + 1)));
}

QString AudioInfoTag::normalizedArtist() const
{
    const QString a = artist();
    const qsizetype comma = a.indexOf(QLatin1Char(','));
    if (comma < 0)
        return a;
    qsizetype start = comma + 1;
    while (start < a.size() && a.at(start) == QLatin1Char(' '))
        ++start;
    const qsizetype blank = a.indexOf(QLatin1Char(' '), start);
    const QString before = a.left(comma);
    if (blank < 0)
        return a.mid(start) + QLatin1Char(' ') + before;
    return a.mid(start, blank - start) + QLatin1Char(' ') + before + a.mid(blank);
}

QString AudioInfoTag::reversedArtist() const
{
    const QString a = artist();
    if (a.contains(QLatin1Char(',')) || a.split(QLatin1Char(' '), Qt::SkipEmptyParts).size() < 2)
        return a;
    const QString trimmed = a.trimmed();
    const qsizetype blank = trimmed.lastIndexOf(QLatin1Char(' '));
    return trimmed.mid(blank + 1) + QStringLiteral(", ") + trimmed.left(blank);
}

double AudioInfoTag::duration() const
{
    const QVariant v = mMetadata.value(kDuration);
    return v.isValid() ? v.toDouble() : -1.0;
}

int AudioInfoTag::bitrate() const
{
    const QVariant v = mMetadata.value(kBitRate);
    return v.isValid() ? static_cast<int>(std::ceil(v.toDouble())) : -1;
}

int AudioInfoTag::samplerate() const
{
    const QVariant v = mMetadata.value(kSampleRate);
    return v.isValid() ? v.toInt() : -1;
}

QString AudioInfoTag::formattedDuration() const
{
    const double d = duration();
    if (!(d > 0))
        return QString();
    qint64 seconds = static_cast<qint64>(std::ceil(d));
    QString text;
    const bool withHours = seconds >= 3600;
    if (withHours) {
        text = QString::number(seconds / 3600) + QLatin1Char(':');
        seconds %= 3600;
    }
    if (withHours && seconds < 600)
        text += QLatin1Char('0');
    text += QString::number(seconds / 60) + QLatin1Char(':');
    if (seconds % 60 <= 9)
        text += QLatin1Char('0');
    text += QString::number(seconds % 60);
    return text;
}

bool AudioInfoTag::matchString(const QString& text) const
{
    // One value at a time: the first that holds the text ends the search.
    using Getter = QString (AudioInfoTag::*)() const;
    for (Getter value : {&AudioInfoTag::title, &AudioInfoTag::artist, &AudioInfoTag::album,
                         &AudioInfoTag::genres, &AudioInfoTag::year}) {
        if (WendmarkTextExtensions::containsString((this->*value)(), text))
            return true;
    }
    return false;
}

int AudioInfoTag::numberOfImages() const
{
    return mLazy ? mLazyNumberOfImages : static_cast<int>(AudioInfoTag::images().size());
}

QList<ID3Image> AudioInfoTag::images() const
{
    return miTunesArtworks;
}

bool AudioInfoTag::removeImageAtIndex(int index)
{
    Q_UNUSED(index);
    mCachedIcon = QImage();
    if (miTunesArtworks.isEmpty())
        return false;
    // iTunes artwork is all or nothing: whatever the index, it all goes.
    miTunesArtworks.clear();
    return true;
}

bool AudioInfoTag::addImage(const ID3Image& image)
{
    Q_UNUSED(image);
    return false;
}

qint64 AudioInfoTag::numberOfArtworkBytes() const
{
    qint64 total = 0;
    for (const ID3Image& image : images())
        total += image.imageData().size();
    return total;
}

void AudioInfoTag::removeAllImages()
{
    // A lazy tag keeps answering its stored count, so stop when nothing goes.
    while (numberOfImages() > 0) {
        if (!removeImageAtIndex(0))
            break;
    }
}

QImage AudioInfoTag::imageIconNoLargerThan(const QSize& size)
{
    if (!mCachedIcon.isNull()) {
        if (mCachedIcon.width() <= size.width() && mCachedIcon.height() <= size.height())
            return mCachedIcon;
        mCachedIcon = QImage();
    }
    const QList<ID3Image> pictures = images();
    if (pictures.isEmpty() || size.isEmpty())
        return QImage();
    const QByteArray& data = pictures.first().imageData();
    LastIcon& last = lastIcon();
    std::lock_guard<std::mutex> guard(last.lock);
    if (!last.icon.isNull() && last.data == data && last.icon.width() <= size.width() &&
        last.icon.height() <= size.height()) {
        mCachedIcon = last.icon;
        return mCachedIcon;
    }
    QImage picture;
    if (!picture.loadFromData(data))
        return QImage();
    QImage icon = picture;
    if (picture.width() > size.width() || picture.height() > size.height())
        icon = picture.scaled(size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    last.data = data;
    last.icon = icon;
    mCachedIcon = icon;
    return icon;
}

bool AudioInfoTag::addiTunesArtworkAtPath(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray data = file.readAll();
    if (data.size() < 1024)
        return false;
    const auto* b = reinterpret_cast<const uchar*>(data.constData());
    const qint64 offset = (qint64(b[0]) << 24) | (qint64(b[1]) << 16) | (qint64(b[2]) << 8) | qint64(b[3]);
    if (offset > data.size() - 1024)
        return false;
    const bool png = data.mid(offset + 48, 3) == "PNG" && data.at(offset + 51) == 'f';
    std::optional<ID3Image> image = ID3Image::imageWithData(
        data.mid(offset + 60), png ? QStringLiteral("image/png") : QStringLiteral("image/jpeg"));
    if (!image)
        return false;
    miTunesArtworks = {*image};
    return true;
}

void AudioInfoTag::setPlayList(const QString& playlist, qint64 index)
{
    mPlaylist = playlist;
    mPlaylistIndex = playlist.isNull() ? NotFound : index;
}

bool AudioInfoTag::modifySongFileAtPath(const QString& path, QString* errorText)
{
    Q_UNUSED(path);
    if (errorText)
        errorText->clear();
    return false;
}

QString AudioInfoTag::readVersion() const
{
    return QString();
}
QString AudioInfoTag::writeVersion() const
{
    return QString();
}

bool AudioInfoTag::shouldDiscardMalformedInfo()
{
    return sDiscardMalformed.load();
}
void AudioInfoTag::setShouldDiscardMalformedInfo(bool discard)
{
    sDiscardMalformed.store(discard);
}
bool AudioInfoTag::shouldDiscardUnrecognizedInfo()
{
    return sDiscardUnrecognized.load();
}
void AudioInfoTag::setShouldDiscardUnrecognizedInfo(bool discard)
{
    sDiscardUnrecognized.store(discard);
}

QStringList AudioInfoTag::allGenres()
{
    return GenreList::allGenres();
}
QString AudioInfoTag::genreForIndex(qint64 index)
{
    return GenreList::genreForIndex(index);
}
qint64 AudioInfoTag::indexOfGenre(const QString& name)
{
    return GenreList::indexOfGenre(name);
}
QString AudioInfoTag::standardizedGenreFrom(const QString& text)
{
    return GenreList::standardizedGenreFrom(text);
}
QString AudioInfoTag::expandedGenres(const QString& text)
{
    return GenreList::expandedGenres(text);
}

QVariantMap AudioInfoTag::archived() const
{
    QVariantMap archive;
    if (!mPlaylist.isNull())
        archive.insert(QStringLiteral("playlist"), mPlaylist);
    archive.insert(QStringLiteral("playlistIndex"), static_cast<qint32>(mPlaylistIndex));
    archive.insert(QStringLiteral("id3Modified"), mTagModified);
    return archive;
}

void AudioInfoTag::restoreArchived(const QVariantMap& archive)
{
    const QVariant playlist = archive.value(QStringLiteral("playlist"));
    setPlayList(playlist.isValid() ? playlist.toString() : QString(),
                archive.value(QStringLiteral("playlistIndex")).toInt());
    mTagModified = archive.value(QStringLiteral("id3Modified")).toBool();
}

void AudioInfoTag::encode(QDataStream& out) const
{
    out << mPlaylist << static_cast<qint32>(mPlaylistIndex) << static_cast<qint8>(mTagModified ? 1 : 0);
}

void AudioInfoTag::decode(QDataStream& in)
{
    QString playlist;
    qint32 index = 0;
    qint8 modified = 0;
    in >> playlist >> index >> modified;
    if (in.status() != QDataStream::Ok)
        return;
    setPlayList(playlist, index);
    mTagModified = modified != 0;
}
