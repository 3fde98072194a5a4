#include "MP3InfoTag.h"

#include "FileIdentity.h"
#include "FileWriteLock.h"
#include "GenreList.h"
#include "ID3FrameIDs.h"
#include "ID3FrameReader.h"
#include "ID3FrameWriter.h"
#include "ID3TextCodec.h"
#include "ID3v1Tag.h"
#include "MP3FrameScanner.h"
#include "MP3Header.h"
#include "PosixFile.h"
#include "SafeFileRewriter.h"
#include "SongFileDevice.h"

#include "support/LocalizedStrings.h"
#include "support/WMLog.h"

#include <QFileInfo>

#include <atomic>
#include <cstring>

namespace {

std::atomic<bool> sWriteSynchSafeSizesInV24{false};

const QString kImageID = QStringLiteral("[image]");

// The `length` bytes at `offset`, read once by the file's device; throws
// when the file does not hold them.
QByteArrayView readExactly(SongFileDevice& file, qint64 offset, qint64 length)
{
    const QByteArrayView bytes = file.bytesAt(offset, length);
    if (bytes.size() != length)
        throw ID3ReadError(file.errorString(), "NSFileHandleOperationException");
    return bytes;
}

} // namespace

MP3InfoTag::MP3InfoTag() = default;
MP3InfoTag::~MP3InfoTag() = default;

std::unique_ptr<MP3InfoTag> MP3InfoTag::tagAtPath(const QString& path)
{
    auto tag = std::make_unique<MP3InfoTag>();
    if (!tag->initWithPath(path))
        return nullptr;
    return tag;
}

bool MP3InfoTag::initWithPath(const QString& path)
{
    SongFileDevice file(path);
    file.open(QIODevice::ReadOnly);
    return initWithFile(file);
}

bool MP3InfoTag::initWithFile(SongFileDevice& file)
{
    AudioInfoTag::initWithFile(file);
    try {
        readTags(file, true);
        return true;
    } catch (const ID3ReadError& error) {
        WMLog("MP3InfoTag cannot read %@: %@", file.path(), error.reason());
    } catch (const std::exception& error) {
        WMLog("MP3InfoTag cannot read %@: %@", file.path(), error.what());
    }
    return false;
}

void MP3InfoTag::readTags(SongFileDevice& file, bool withAudioHeader)
{
    // The device was opened so that a pipe or device of that name is
    // refused, not waited on.
    if (!file.isOpen())
        throw ID3ReadError(QStringLiteral("nil filehandle"), "NSObjectNotAvailableException");
    const QString& path = file.path();
    const qint64 length = file.size();
    if (length < ID3v1Tag::kSize) {
        WMLog("MP3 only %qu bytes in %@", static_cast<quint64>(length), path);
        markProblemDecoding();
        throw ID3ReadError(QStringLiteral("file too small"), "NSRangeException");
    }
    uchar h[10];
    std::memcpy(h, readExactly(file, 0, 10).data(), sizeof h);
    bool hasID3v2 = h[0] == 'I' && h[1] == 'D' && h[2] == '3' && h[3] < 255 && h[4] < 255 && h[6] < 128 &&
                    h[7] < 128 && h[8] < 128;
    if (hasID3v2 && h[9] >= 128)
        hasID3v2 = false;
    if (hasID3v2) {
        const qint64 size =
            ID3TextCodec::getSynchSafeIntIn(QByteArrayView(reinterpret_cast<const char*>(h), sizeof h), 6);
        if (size < 7 || size + 10 > length) {
            WMLog("MP3 tag length wrong for file: %@", path);
            markProblemDecoding();
            throw ID3ReadError(QStringLiteral("bad size tag"), "NSRangeException");
        }
        mID3v2Range = ID3Range{0, size + 10};
        // The header is read again with the tag so that the frame offsets
        // are those of the tag as a whole.
        getAttributesFromID3v2(readExactly(file, 0, size + 10));
    }
    const QByteArrayView last = readExactly(file, length - ID3v1Tag::kSize, ID3v1Tag::kSize);
    if (last.startsWith("TAG")) {
        mID3v1Range = ID3Range{length - ID3v1Tag::kSize, ID3v1Tag::kSize};
        if (!hasID3v2)
            getAttributesFromID3v1(last);
    }
    if (withAudioHeader)
        readAudioProperties(file, path);
}

void MP3InfoTag::readAudioProperties(QIODevice& file, const QString& path)
{
    MP3Header header;
    const bool found = header.openDevice(file, mID3v2Range.length, path);
    if (found && header.getSeconds() > 0 && header.getBitRate() > 0 && header.getFrequency() > 0) {
        mAudioProperties.insert(QStringLiteral("kMDItemDurationSeconds"), double(header.getSeconds()));
        mAudioProperties.insert(QStringLiteral("kMDItemAudioBitRate"), header.getBitRate());
        mAudioProperties.insert(QStringLiteral("kMDItemAudioSampleRate"), header.getFrequency());
        return;
    }
    // Nothing usable in the blocks the quick search reads: the frames
    // themselves tell (a short file, frames further in, a free first frame).
    const qint64 audioEnd = file.size() - mID3v1Range.length;
    if (const auto scanned = MP3FrameScanner::scan(file, mID3v2Range.length, audioEnd)) {
        WMLog("MP3 frames of %@ scanned from %qd: %.3f s", path, scanned->firstFrame, scanned->seconds);
        mAudioProperties.insert(QStringLiteral("kMDItemDurationSeconds"), scanned->seconds);
        mAudioProperties.insert(QStringLiteral("kMDItemAudioBitRate"), scanned->bitRate);
        mAudioProperties.insert(QStringLiteral("kMDItemAudioSampleRate"), scanned->sampleRate);
    } else if (found) {
        mAudioProperties.insert(QStringLiteral("kMDItemDurationSeconds"), double(header.getSeconds()));
        mAudioProperties.insert(QStringLiteral("kMDItemAudioBitRate"), header.getBitRate());
        mAudioProperties.insert(QStringLiteral("kMDItemAudioSampleRate"), header.getFrequency());
    }
}

void MP3InfoTag::gatherFileMetadataFromPath(const QString& path)
{
    mergeMetadata(mAudioProperties);
    bool complete = mAudioProperties.size() == 3;
    for (const QVariant& value : std::as_const(mAudioProperties))
        complete = complete && value.toDouble() > 0;
    if (!complete)
        AudioInfoTag::gatherFileMetadataFromPath(path);
}

void MP3InfoTag::getAttributesFromID3v2(QByteArrayView tag)
{
    ID3FrameReader(*this).readTag(tag);
}

void MP3InfoTag::getAttributesFromID3v1(QByteArrayView block)
{
    ID3v1Tag::read(*this, block);
}

// ---- frame lists

void MP3InfoTag::appendFrame(const QString& frameID, ID3FrameObject object)
{
    mFrameIDs.append(frameID);
    mFrameObjects.append(std::move(object));
}

qsizetype MP3InfoTag::indexOfFrame(const QString& id, const QString& otherID) const
{
    qsizetype i = mFrameIDs.indexOf(id);
    if (i < 0 && !otherID.isEmpty())
        i = mFrameIDs.indexOf(otherID);
    return i;
}

QString MP3InfoTag::stringForFrame(const QString& id23, const QString& id22) const
{
    const qsizetype i = indexOfFrame(id23, id22);
    if (i < 0)
        return QString();
    const auto* strings = std::get_if<QStringList>(&mFrameObjects.at(i));
    return strings && !strings->isEmpty() ? strings->first() : QString();
}

QString MP3InfoTag::frameIDForVersion(const QString& id23, const QString& id22) const
{
    return mReadVersionString.startsWith(QLatin1String("2.2")) ? id22 : id23;
}

void MP3InfoTag::setStringForFrame(const QString& id23, const QString& id22, const QString& value)
{
    setStringForID(frameIDForVersion(id23, id22), value);
    mTagModified = true;
}

void MP3InfoTag::setStringForID(const QString& frameID, const QString& value)
{
    if (value.isEmpty()) {
        removeFramesWithID(frameID);
        return;
    }
    const qsizetype i = mFrameIDs.indexOf(frameID);
    if (i >= 0)
        mFrameObjects[i] = QStringList{value};
    else
        appendFrame(frameID, QStringList{value});
}

void MP3InfoTag::removeFramesWithID(const QString& frameID)
{
    for (qsizetype i = mFrameIDs.size() - 1; i >= 0; --i) {
        if (mFrameIDs.at(i) == frameID) {
            mFrameIDs.removeAt(i);
            mFrameObjects.removeAt(i);
        }
    }
}

// ---- values

QString MP3InfoTag::title() const
{
    return stringForFrame(QStringLiteral("TIT2"), QStringLiteral("TT2"));
}
QString MP3InfoTag::artist() const
{
    return stringForFrame(QStringLiteral("TPE1"), QStringLiteral("TP1"));
}
QString MP3InfoTag::album() const
{
    return stringForFrame(QStringLiteral("TALB"), QStringLiteral("TAL"));
}
QString MP3InfoTag::track() const
{
    return stringForFrame(QStringLiteral("TRCK"), QStringLiteral("TRK"));
}
QString MP3InfoTag::year() const
{
    return stringForFrame(QStringLiteral("TDRC"), QStringLiteral("TYE"));
}
QString MP3InfoTag::genres() const
{
    return stringForFrame(QStringLiteral("TCON"), QStringLiteral("TCO"));
}
QString MP3InfoTag::bpm() const
{
    return stringForFrame(QStringLiteral("TBPM"), QStringLiteral("TBP"));
}

QString MP3InfoTag::lyrics() const
{
    const qsizetype i = indexOfFrame(QStringLiteral("USLT"), QStringLiteral("ULT"));
    if (i < 0)
        return QString();
    const auto* block = std::get_if<QVariantMap>(&mFrameObjects.at(i));
    return block ? block->value(QStringLiteral("text")).toString() : QString();
}

bool MP3InfoTag::isPartOfCompilation() const
{
    return ID3TextCodec::integerValue(stringForFrame(QStringLiteral("TCMP"), QStringLiteral("TCP"))) != 0;
}

void MP3InfoTag::setArtist(const QString& v)
{
    setStringForFrame(QStringLiteral("TPE1"), QStringLiteral("TP1"), v);
}
void MP3InfoTag::setTitle(const QString& v)
{
    setStringForFrame(QStringLiteral("TIT2"), QStringLiteral("TT2"), v);
}
void MP3InfoTag::setAlbum(const QString& v)
{
    setStringForFrame(QStringLiteral("TALB"), QStringLiteral("TAL"), v);
}
void MP3InfoTag::setYear(const QString& v)
{
    setStringForFrame(QStringLiteral("TDRC"), QStringLiteral("TYE"), v);
}
void MP3InfoTag::setGenres(const QString& v)
{
    setStringForFrame(QStringLiteral("TCON"), QStringLiteral("TCO"), v);
}
void MP3InfoTag::setTrack(const QString& v)
{
    setStringForFrame(QStringLiteral("TRCK"), QStringLiteral("TRK"), v);
}
void MP3InfoTag::setBPM(const QString& v)
{
    setStringForFrame(QStringLiteral("TBPM"), QStringLiteral("TBP"), v);
}

void MP3InfoTag::setIsPartOfCompilation(bool value)
{
    setStringForFrame(QStringLiteral("TCMP"), QStringLiteral("TCP"), value ? QStringLiteral("1") : QString());
}

void MP3InfoTag::setLyrics(const QString& value)
{
    const QString id = frameIDForVersion(QStringLiteral("USLT"), QStringLiteral("ULT"));
    mTagModified = true;
    if (value.isEmpty()) {
        removeFramesWithID(id);
        return;
    }
    const QVariantMap block{{QStringLiteral("lang"), QStringLiteral("eng")}, {QStringLiteral("text"), value}};
    const qsizetype i = mFrameIDs.indexOf(id);
    if (i >= 0)
        mFrameObjects[i] = block;
    else
        appendFrame(id, block);
}

// ---- pictures

int MP3InfoTag::numberOfImages() const
{
    const int inherited = AudioInfoTag::numberOfImages();
    return inherited != 0 ? inherited : static_cast<int>(mFrameIDs.count(kImageID));
}

QList<ID3Image> MP3InfoTag::images() const
{
    if (!miTunesArtworks.isEmpty())
        return miTunesArtworks;
    QList<ID3Image> pictures;
    for (qsizetype i = 0; i < mFrameIDs.size(); ++i) {
        if (const auto* picture = std::get_if<ID3Image>(&mFrameObjects.at(i));
            picture && mFrameIDs.at(i) == kImageID)
            pictures.append(*picture);
    }
    return pictures;
}

bool MP3InfoTag::removeImageAtIndex(int index)
{
    if (AudioInfoTag::removeImageAtIndex(index))
        return true;
    int seen = 0;
    for (qsizetype i = 0; i < mFrameIDs.size(); ++i) {
        if (mFrameIDs.at(i) != kImageID)
            continue;
        if (seen++ == index) {
            mFrameIDs.removeAt(i);
            mFrameObjects.removeAt(i);
            mTagModified = true;
            return true;
        }
    }
    return false;
}

bool MP3InfoTag::addImage(const ID3Image& image)
{
    if (image.isNull())
        return false;
    if (!miTunesArtworks.isEmpty()) {
        const QList<ID3Image> artworks = miTunesArtworks;
        AudioInfoTag::removeImageAtIndex(0);
        for (const ID3Image& artwork : artworks)
            appendFrame(kImageID, artwork.copy());
    }
    appendFrame(kImageID, image);
    mTagModified = true;
    return true;
}

// ---- writing

QString MP3InfoTag::writeVersion() const
{
    if (mReadVersionString.startsWith(QLatin1String("2.2")))
        return QStringLiteral("2.2.0");
    if (mReadVersionString.startsWith(QLatin1String("2.4")))
        return QStringLiteral("2.4.0");
    if (mReadVersionString.startsWith(QLatin1Char('1')) && canWriteID3v11WithoutLoss())
        return QStringLiteral("1.1");
    return QStringLiteral("2.3.0");
}

QByteArray MP3InfoTag::dataForID3v11() const
{
    return ID3v1Tag::data(*this);
}
QByteArray MP3InfoTag::dataForID3v22() const
{
    return ID3FrameWriter::dataForID3v22(*this);
}
bool MP3InfoTag::canWriteID3v11WithoutLoss() const
{
    return ID3v1Tag::canHoldWithoutLoss(*this);
}

QByteArray MP3InfoTag::dataForID3V23orV24(bool v24) const
{
    return ID3FrameWriter::dataForID3v2x(*this, v24, writeSynchSafeSizesInV24());
}

void MP3InfoTag::setWriteSynchSafeSizesInV24(bool synchSafe)
{
    sWriteSynchSafeSizesInV24.store(synchSafe);
}
bool MP3InfoTag::writeSynchSafeSizesInV24()
{
    return sWriteSynchSafeSizesInV24.load();
}

bool MP3InfoTag::modifySongFileAtPath(const QString& path, QString* errorText)
{
    const auto fail = [errorText](const QString& key) {
        if (errorText)
            *errorText = LocalizedStrings::text(key);
        return false;
    };
    // Nobody of ours writes the file between the look at its tag and the write.
    const FileWriteLock lock = FileWriteLock::acquire(path, errorText);
    if (!lock.isLocked())
        return false;
    // The file's tag as it is now: its ranges are what gets replaced. A file
    // whose tag cannot be read is never written. The write itself refuses a
    // file that is no longer in the state this tag's values were read from.
    const FileIdentity identity = expectedIdentityAt(path);
    MP3InfoTag current;
    try {
        SongFileDevice file(path);
        file.open(QIODevice::ReadOnly);
        current.readTags(file, false);
    } catch (const std::exception&) {
        WMLog("MP3InfoTag cannot write %@: its tag is unreadable", path);
        return fail(QStringLiteral("ErrorCannotOpenForWrite"));
    }
    if (!identity.isValid() || !QFileInfo(path).isWritable())
        return fail(QStringLiteral("ErrorCannotOpenForWrite"));
    if (FileIdentity::of(path) != identity) {
        if (errorText)
            *errorText = LocalizedStrings::format(QStringLiteral("RewriteErrorChanged"), path);
        WMLog("MP3InfoTag will not write %@: it changed since its tag was read", path);
        return false;
    }

    const QString version = writeVersion();
    const bool v1Only = version.startsWith(QLatin1Char('1'));
    QByteArray tagData;
    if (v1Only)
        tagData = dataForID3v11();
    else if (version.startsWith(QLatin1String("2.2")))
        tagData = dataForID3v22();
    else
        tagData = dataForID3V23orV24(version.startsWith(QLatin1String("2.4")));
    if (tagData.isEmpty())
        return fail(QStringLiteral("ErrorCannotMakeID3"));

    const ID3Range v2 = current.id3v2Range();
    const ID3Range v1 = current.id3v1Range();
    const qint64 audioLength = identity.size - v2.length - v1.length;
    if (audioLength <= 100) {
        WMLog("MP3InfoTag will not write %@: only %d audio bytes", path, audioLength);
        return fail(QStringLiteral("ErrorCannotOpenForWrite"));
    }

    // New ID3v2 tag (none when writing ID3v1 only), the audio as it is, then
    // a fresh ID3v1.1 block where the file had one. The rewriter writes only
    // the bytes that differ when no length changes.
    QList<FileEdit> edits;
    const auto replace = [&edits](qint64 offset, qint64 length, const QByteArray& bytes) {
        if (length > 0 || !bytes.isEmpty())
            edits.append(FileEdit{offset, length, bytes});
    };
    replace(0, v2.length, v1Only ? QByteArray() : tagData);
    if (v1Only)
        replace(v1.length ? v1.location : identity.size, v1.length, tagData);
    else if (v1.length)
        replace(v1.location, v1.length, dataForID3v11());
    QString rewriteError;
    if (!SafeFileRewriter::apply(path, edits, identity, &rewriteError)) {
        WMLog("MP3InfoTag could not write %@: %@", path, rewriteError);
        if (errorText)
            *errorText = rewriteError;
        return false;
    }
    setSource(path, FileIdentity::of(path));
    return true;
}

// ---- class-wide lists and readers

const QStringList& MP3InfoTag::internalRecognizedFrameIDs()
{
    return ID3FrameIDs::internalRecognizedFrameIDs();
}
const QStringList& MP3InfoTag::iTunesRecognizedFrameIDs()
{
    return ID3FrameIDs::iTunesRecognizedFrameIDs();
}
const QStringList& MP3InfoTag::dangerousFrameIDs()
{
    return ID3FrameIDs::dangerousFrameIDs();
}
QString MP3InfoTag::frameIDUpgrade(const QString& frameID)
{
    return ID3FrameIDs::frameIDUpgrade(frameID);
}

quint32 MP3InfoTag::getSynchSafeIntIn(QByteArrayView data, qsizetype offset)
{
    return ID3TextCodec::getSynchSafeIntIn(data, offset);
}

QString MP3InfoTag::id3v1StringIn(QByteArrayView data, qsizetype offset, qsizetype maxLength)
{
    return ID3TextCodec::id3v1StringIn(data, offset, maxLength);
}

QString MP3InfoTag::id3v22StringIn(QByteArrayView data, qsizetype offset, int encoding, qsizetype maxLength)
{
    return ID3TextCodec::id3v22StringIn(data, offset, encoding, maxLength);
}

QString MP3InfoTag::id3v23StringIn(QByteArrayView data, qsizetype offset, int encoding, qsizetype* length)
{
    return ID3TextCodec::id3v23StringIn(data, offset, encoding, length);
}

QStringList MP3InfoTag::id3v23StringsIn(QByteArrayView data, qsizetype location, qsizetype length)
{
    return ID3TextCodec::id3v23StringsIn(data, location, length);
}

QVariantMap MP3InfoTag::textBlockIn(QByteArrayView data, qsizetype location, qsizetype length)
{
    return ID3TextCodec::textBlockIn(data, location, length);
}
