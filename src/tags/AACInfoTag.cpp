#include "AACInfoTag.h"

#include "AACFileWriter.h"
#include "Atom.h"
#include "FileWriteLock.h"
#include "SongFileDevice.h"

#include "support/WMLog.h"

#include <QHash>
#include <QtEndian>

#include <cmath>

namespace {

const QString kTitle = QStringLiteral("title");
const QString kArtist = QStringLiteral("artist");
const QString kAlbum = QStringLiteral("album");
const QString kYear = QStringLiteral("year");
const QString kTrack = QStringLiteral("track");
const QString kLyrics = QStringLiteral("lyrics");
const QString kGenre = QStringLiteral("genre");
const QString kBPM = QStringLiteral("bpm");
const QString kCompilation = QStringLiteral("compilation");

constexpr quint32 kData = 0x64617461; // "data"
constexpr quint32 kDrms = 0x64726D73; // "drms"
constexpr quint32 kMp4a = 0x6D703461; // "mp4a"

// The file property naming the audio of the first track.
const QString kCodec = QStringLiteral("QBAudioCodec");

// "AAC", "ALAC" ... for a sample entry's format code.
QString codecName(const QByteArray& code)
{
    static const QHash<QByteArray, QString> names = {
        {"mp4a", QStringLiteral("AAC")},    {"drms", QStringLiteral("AAC (protected)")},
        {"alac", QStringLiteral("ALAC")},   {"ac-3", QStringLiteral("AC-3")},
        {"ec-3", QStringLiteral("E-AC-3")}, {"fLaC", QStringLiteral("FLAC")},
        {"Opus", QStringLiteral("Opus")},   {".mp3", QStringLiteral("MP3")}};
    const QString name = names.value(code);
    return name.isEmpty() ? QString::fromLatin1(code).trimmed() : name;
}
constexpr quint32 kEsds = 0x65736473; // "esds"

quint32 be32At(const QByteArray& bytes, qsizetype at)
{
    return at >= 0 && at + 4 <= bytes.size() ? qFromBigEndian<quint32>(bytes.constData() + at) : 0;
}

quint16 be16At(const QByteArray& bytes, qsizetype at)
{
    return at >= 0 && at + 2 <= bytes.size() ? qFromBigEndian<quint16>(bytes.constData() + at) : 0;
}

// The first child of `parent` named `name`.
Atom* firstChildNamed(Atom* parent, quint32 name)
{
    for (const Atom::Ptr& child : parent->contents()) {
        if (child->name() == name)
            return child.get();
    }
    return nullptr;
}

// The bytes of the first "data" child of an item atom; null when absent.
// Found as the path "ilst:<item>:data" finds it: the first item of that name,
// which must be a container.
QByteArray itemValue(Atom* ilst, const QString& item)
{
    Atom* entry = firstChildNamed(ilst, Atom::codeOf(item));
    Atom* data = entry && entry->isContainer() ? firstChildNamed(entry, kData) : nullptr;
    return data ? data->data() : QByteArray();
}

QString itemText(Atom* ilst, const QString& item)
{
    const QByteArray value = itemValue(ilst, item);
    return value.size() < 9 ? QString() : QString::fromUtf8(value.constData() + 8, value.size() - 8);
}

} // namespace

AACInfoTag::AACInfoTag() = default;
AACInfoTag::~AACInfoTag() = default;

std::unique_ptr<AACInfoTag> AACInfoTag::tagAtPath(const QString& path)
{
    auto tag = std::make_unique<AACInfoTag>();
    if (!tag->initWithPath(path))
        return nullptr;
    return tag;
}

bool AACInfoTag::initWithPath(const QString& path)
{
    SongFileDevice file(path);
    file.open(QIODevice::ReadOnly);
    return initWithFile(file);
}

bool AACInfoTag::initWithFile(SongFileDevice& file)
{
    AudioInfoTag::initWithFile(file);
    if (!file.isOpen()) {
        WMLog("AACInfoTag cannot open %@: %@", file.path(), file.openError());
        return false;
    }
    try {
        getAttributesFromAACFile(&file);
    } catch (const std::exception& e) {
        WMLog("AACInfoTag cannot read %@: %@", file.path(), e.what());
        return false;
    }
    return true;
}

void AACInfoTag::getAttributesFromAACFile(QIODevice* file)
{
    Atom::Ptr root = Atom::atomContainerFromFile(file);
    if (root->hadTolerableDamage())
        setEncounteredProblemDecoding(true);
    if (Atom* ilst = root->childAtAtomPath(QStringLiteral("FILE:moov:udta:meta:ilst")))
        readItems(ilst);
    readFileProperties(root.get());
}

void AACInfoTag::readItems(Atom* ilst)
{
    const auto keepText = [this](const QString& key, const QString& value) {
        if (!value.isEmpty())
            mAttribs.insert(key, value);
    };
    keepText(kTitle, itemText(ilst, QStringLiteral("\u00A9nam")));
    keepText(kArtist, itemText(ilst, QStringLiteral("\u00A9ART")));
    keepText(kAlbum, itemText(ilst, QStringLiteral("\u00A9alb")));
    keepText(kYear, itemText(ilst, QStringLiteral("\u00A9day")));
    keepText(kLyrics, itemText(ilst, QStringLiteral("\u00A9lyr")));

    // A numeric genre (ID3v1 number + 1) wins over a genre text.
    QString genre;
    const quint16 genreNumber = be16At(itemValue(ilst, QStringLiteral("gnre")), 8);
    if (genreNumber != 0)
        genre = QStringLiteral("(%1)").arg(genreNumber - 1);
    else
        genre = itemText(ilst, QStringLiteral("\u00A9gen"));
    if (!genre.isEmpty())
        keepText(kGenre, AudioInfoTag::expandedGenres(genre));

    const QByteArray trkn = itemValue(ilst, QStringLiteral("trkn"));
    const quint16 trackNumber = be16At(trkn, 10);
    const quint16 trackTotal = be16At(trkn, 12);
    if (trackNumber != 0)
        keepText(kTrack, trackTotal != 0 ? QStringLiteral("%1/%2").arg(trackNumber).arg(trackTotal)
                                         : QString::number(trackNumber));

    const QByteArray tmpo = itemValue(ilst, QStringLiteral("tmpo"));
    const int tempo =
        tmpo.size() >= 10 ? be16At(tmpo, 8) : (tmpo.size() == 9 ? static_cast<quint8>(tmpo.at(8)) : 0);
    if (tempo > 0)
        keepText(kBPM, QString::number(tempo));

    const QByteArray cpil = itemValue(ilst, QStringLiteral("cpil"));
    if (cpil.size() >= 9)
        mAttribs.insert(kCompilation, cpil.at(8) != 0);

    if (Atom* covr = firstChildNamed(ilst, Atom::codeOf(u"covr"))) {
        for (const Atom::Ptr& child : covr->contents()) {
            if (child->name() != kData || child->isContainer() || child->size() < 9)
                continue;
            if (auto picture = ID3Image::imageWithData(child->dataFrom(8)))
                mImages.append(*picture);
        }
    }
}

void AACInfoTag::readFileProperties(Atom* root)
{
    QVariantMap properties;
    double seconds = 0;
    if (Atom* mvhd = root->childAtAtomPath(QStringLiteral("FILE:moov:mvhd"))) {
        const QByteArray header = mvhd->data();
        quint64 timeScale = 0;
        quint64 duration = 0;
        if (header.size() >= 32 && header.at(0) == 1) { // 64-bit times
            timeScale = be32At(header, 20);
            duration = qFromBigEndian<quint64>(header.constData() + 24);
        } else if (header.size() >= 20) {
            timeScale = be32At(header, 12);
            duration = be32At(header, 16);
        }
        if (timeScale >= 1 && timeScale <= 99999)
            seconds = static_cast<double>(duration) / static_cast<double>(timeScale);
    }

    int sampleRate = 0;
    double bitRate = 0;
    bool protectedTrack = false;
    if (Atom* stsd = root->childAtAtomPath(QStringLiteral("FILE:moov:trak:mdia:minf:stbl:stsd"))) {
        const QByteArray desc = stsd->data();
        // What the first sample entry holds, for the tag's version.
        if (desc.size() >= 16)
            properties.insert(kCodec, codecName(desc.mid(12, 4)));
        // Walks the first sample entry and its esds in 36-byte steps, which
        // land on the entry's name and then on the esds name.
        for (qsizetype at = 12; at < desc.size() - 8 && (sampleRate == 0 || bitRate == 0); at += 36) {
            const quint32 code = be32At(desc, at);
            if (code == kDrms || code == kMp4a) {
                sampleRate = be16At(desc, at + 28);
                protectedTrack = protectedTrack || code == kDrms;
            } else if (code == kEsds) {
                bitRate = qMin(be32At(desc, at + 26) / 1000.0, 320.0);
            }
        }
    }
    if (protectedTrack)
        bitRate = 0;
    if (seconds > 0 && bitRate <= 0) {
        if (Atom* mdat = root->childAtAtomPath(QStringLiteral("FILE:mdat"))) {
            bitRate = static_cast<double>(mdat->size()) / (124.0 * seconds);
            if (bitRate >= 125 && bitRate <= 131)
                bitRate = 128;
        }
    }
    if (sampleRate > 0)
        properties.insert(QStringLiteral("kMDItemAudioSampleRate"), sampleRate);
    if (bitRate > 0)
        properties.insert(QStringLiteral("kMDItemAudioBitRate"), bitRate);
    if (seconds > 0)
        properties.insert(QStringLiteral("kMDItemDurationSeconds"), seconds);
    mergeMetadata(properties);
}

void AACInfoTag::gatherFileMetadataFromPath(const QString& path)
{
    if (duration() > 0 && bitrate() >= 1 && samplerate() > 0)
        return;
    AudioInfoTag::gatherFileMetadataFromPath(path);
}

// ---- values

QString AACInfoTag::stringFor(const QString& key) const
{
    // Found in place: the table reads these for every row it sorts or searches.
    const auto found = mAttribs.constFind(key);
    return found == mAttribs.constEnd() ? QString() : found->toString();
}

void AACInfoTag::setString(const QString& value, const QString& key)
{
    mTagModified = true;
    if (value.isEmpty())
        mAttribs.remove(key);
    else
        mAttribs.insert(key, value);
}

QString AACInfoTag::title() const
{
    return stringFor(kTitle);
}
QString AACInfoTag::artist() const
{
    return stringFor(kArtist);
}
QString AACInfoTag::album() const
{
    return stringFor(kAlbum);
}
QString AACInfoTag::track() const
{
    return stringFor(kTrack);
}
QString AACInfoTag::genres() const
{
    return stringFor(kGenre);
}
QString AACInfoTag::lyrics() const
{
    return stringFor(kLyrics);
}
QString AACInfoTag::bpm() const
{
    return stringFor(kBPM);
}

QString AACInfoTag::year() const
{
    const QString date = stringFor(kYear);
    return date.size() < 4 ? QString() : date.left(4);
}

void AACInfoTag::setArtist(const QString& value)
{
    setString(value, kArtist);
}
void AACInfoTag::setTitle(const QString& value)
{
    setString(value, kTitle);
}
void AACInfoTag::setAlbum(const QString& value)
{
    setString(value, kAlbum);
}
void AACInfoTag::setYear(const QString& value)
{
    setString(value, kYear);
}
void AACInfoTag::setGenres(const QString& value)
{
    setString(value, kGenre);
}
void AACInfoTag::setTrack(const QString& value)
{
    setString(value, kTrack);
}
void AACInfoTag::setLyrics(const QString& value)
{
    setString(value, kLyrics);
}
void AACInfoTag::setBPM(const QString& value)
{
    setString(value, kBPM);
}

void AACInfoTag::setIsPartOfCompilation(bool value)
{
    mTagModified = true;
    mAttribs.insert(kCompilation, value);
}

bool AACInfoTag::isPartOfCompilation() const
{
    return mAttribs.value(kCompilation).toBool();
}

// ---- pictures

int AACInfoTag::numberOfImages() const
{
    const int inherited = AudioInfoTag::numberOfImages();
    return inherited != 0 ? inherited : static_cast<int>(mImages.size());
}

QList<ID3Image> AACInfoTag::images() const
{
    return miTunesArtworks.isEmpty() ? mImages : miTunesArtworks;
}

bool AACInfoTag::removeImageAtIndex(int index)
{
    if (AudioInfoTag::removeImageAtIndex(index))
        return true;
    if (index < 0 || index >= mImages.size())
        return false;
    mImages.removeAt(index);
    mTagModified = true;
    return true;
}

bool AACInfoTag::addImage(const ID3Image& image)
{
    if (image.isNull())
        return false;
    if (!miTunesArtworks.isEmpty()) {
        const QList<ID3Image> artworks = miTunesArtworks;
        AudioInfoTag::removeImageAtIndex(0);
        for (const ID3Image& artwork : artworks)
            mImages.append(artwork.copy());
    }
    mImages.append(image);
    mTagModified = true;
    return true;
}

QString AACInfoTag::readVersion() const
{
    // What the file holds, once its audio properties were read.
    return metadata().value(kCodec, QStringLiteral("AAC")).toString();
}
QString AACInfoTag::writeVersion() const
{
    return QStringLiteral("AAC");
}

// ---- writing

bool AACInfoTag::modifySongFileAtPath(const QString& path, QString* errorText)
{
    // Held from the look at the file's atoms to the end of the write.
    const FileWriteLock lock = FileWriteLock::acquire(path, errorText);
    if (!lock.isLocked())
        return false;
    AACFileWriter writer(path);
    const bool done = writer.write(*this, errorText);
    mLastSaveInPlace = done && writer.keptMediaInPlace();
    if (done)
        setSource(path, FileIdentity::of(path));
    return done;
}

bool AACInfoTag::adjustChunkOffsetsInAtomData(QByteArray& movie, qint64 oldMdatOffset, qint64 newMdatOffset)
{
    const qint64 at = Atom::offsetToAtomIn(movie, QStringLiteral("moov:trak:mdia:minf:stbl:stco"),
                                           QStringLiteral("1:1:1:1:1:1"));
    if (at < 0)
        return false;
    const quint64 size =
        qMin<quint64>(Atom::sizeOfAtomIn(movie, at), static_cast<quint64>(movie.size() - at));
    const quint64 count = be32At(movie, at + 12);
    if (16 + 4 * count > size) {
        WMLog("adjustChunkOffsets failed sanity check (%d > %qu)", 16 + 4 * count, size);
        return false;
    }
    const qint64 delta = newMdatOffset - oldMdatOffset;
    QByteArray table = movie.mid(at + 16, static_cast<qsizetype>(4 * count));
    for (quint64 i = 0; i < count; ++i) {
        char* entry = table.data() + 4 * i;
        const qint64 offset = qFromBigEndian<quint32>(entry);
        if (offset < oldMdatOffset)
            continue;
        const qint64 moved = offset + delta;
        if (moved < 0 || moved > 0xFFFFFFFFLL) {
            WMLog("adjustChunkOffsets: chunk offset %qu cannot move by %qd", offset, delta);
            return false;
        }
        qToBigEndian<quint32>(static_cast<quint32>(moved), entry);
    }
    movie.replace(at + 16, table.size(), table);
    return true;
}

bool AACInfoTag::setModifiedTime(const QDateTime& date, QByteArray& movie)
{
    static const QDateTime epoch(QDate(1904, 1, 1), QTime(0, 0), Qt::UTC);
    const quint64 seconds = static_cast<quint64>(qMax<qint64>(epoch.secsTo(date), 0));
    const QString paths[3][2] = {{QStringLiteral("moov:mvhd"), QStringLiteral("1:1")},
                                 {QStringLiteral("moov:trak:tkhd"), QStringLiteral("1:1:1")},
                                 {QStringLiteral("moov:trak:mdia:mdhd"), QStringLiteral("1:1:1:1")}};
    for (const auto& path : paths) {
        const qint64 at = Atom::offsetToAtomIn(movie, path[0], path[1]);
        if (at < 0)
            return false;
        const quint64 size =
            qMin<quint64>(Atom::sizeOfAtomIn(movie, at), static_cast<quint64>(movie.size() - at));
        if (size >= 36 && movie.at(at + 8) == 1) // version 1: 64-bit times
            qToBigEndian<quint64>(seconds, movie.data() + at + 20);
        else if (size >= 20)
            qToBigEndian<quint32>(static_cast<quint32>(seconds), movie.data() + at + 16);
    }
    return true;
}
