#include "ID3FrameReader.h"

#include "GenreList.h"
#include "ID3FrameIDs.h"
#include "ID3Image.h"
#include "ID3TextCodec.h"
#include "MP3InfoTag.h"

#include "support/WMLog.h"

#include <QHash>

namespace {

// Known frame ids by their bytes, so that reading a frame id allocates
// nothing for the frames that matter.
const QHash<quint32, QString>& knownFrameIDs()
{
    static const QHash<quint32, QString> known = [] {
        QHash<quint32, QString> map;
        for (const QString& id : ID3FrameIDs::iTunesRecognizedFrameIDs()) {
            quint32 key = 0;
            for (const QChar c : id)
                key = (key << 8) | c.unicode();
            map.insert(key | (quint32(id.size()) << 28), id);
        }
        return map;
    }();
    return known;
}

bool isFrameIDByte(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

quint32 uint24At(QByteArrayView data, qsizetype offset)
{
    if (offset < 0 || offset + 3 > data.size())
        return 0;
    const auto* b = reinterpret_cast<const uchar*>(data.data() + offset);
    return (quint32(b[0]) << 16) | (quint32(b[1]) << 8) | quint32(b[2]);
}

// The number before any "/" of a track text.
qint64 leadingTrackNumber(const QString& track)
{
    const qsizetype slash = track.indexOf(QLatin1Char('/'));
    return ID3TextCodec::integerValue(slash >= 0 ? QStringView(track).left(slash) : QStringView(track));
}

} // namespace

QString ID3FrameReader::frameIDAt(QByteArrayView tag, qsizetype position, qsizetype length) const
{
    if (position >= 0 && position + length <= tag.size()) {
        quint32 key = 0;
        bool plain = true;
        for (qsizetype i = 0; i < length; ++i) {
            const char c = tag[position + i];
            plain = plain && isFrameIDByte(c);
            key = (key << 8) | static_cast<uchar>(c);
        }
        if (plain) {
            const auto it = knownFrameIDs().constFind(key | (quint32(length) << 28));
            if (it != knownFrameIDs().cend())
                return it.value();
        }
    }
    return ID3TextCodec::id3v1StringIn(tag, position, length);
}

void ID3FrameReader::readTag(QByteArrayView tag)
{
    if (tag.size() < 10)
        return;
    const int major = static_cast<uchar>(tag[3]);
    const int revision = static_cast<uchar>(tag[4]);
    const QString version = QStringLiteral("2.%1.%2").arg(major).arg(revision);
    mTag.setReadVersion(version);
    switch (major) {
    case 2:
        readID3v22(tag);
        break;
    case 3:
        readID3v2x(tag, false);
        break;
    case 4:
        readID3v2x(tag, true);
        break;
    default:
        mTag.markProblemDecoding();
        throw ID3ReadError(WMFormat::string("cannot read ID3v%@", version), "NSRangeException");
    }
}

bool ID3FrameReader::isPlausibleFrameEnd(QByteArrayView tag, qint64 end)
{
    const qint64 length = tag.size();
    if (end == length)
        return true;
    if (end > length)
        return false;
    if (length - end > 4) {
        bool frameID = true;
        for (qint64 i = 0; i < 4; ++i)
            frameID = frameID && isFrameIDByte(tag[end + i]);
        if (frameID)
            return true;
    }
    const qint64 n = std::min<qint64>(4, length - end);
    for (qint64 i = 0; i < n; ++i) {
        if (tag[end + i] != 0)
            return false;
    }
    return true;
}

void ID3FrameReader::readID3v2x(QByteArrayView tag, bool assumeSynchSafeSizes)
{
    const qint64 L = tag.size();
    if (L < 10)
        return;
    const int flags = static_cast<uchar>(tag[5]);
    if (flags & 0x80)
        WMLog("*** ID3V2.4 UNSYNCHRONIZED ***");
    qint64 p = 10;
    if (flags & 0x40) {
        const qint64 extended = ID3TextCodec::bigEndianIntIn(tag, 10);
        if (extended >= L + 24) {
            WMLog("*** EXTENDER HEADER %u bytes ( >%u, IGNORED ) ***", static_cast<quint64>(extended),
                  static_cast<quint64>(L));
            mTag.markProblemDecoding();
        } else {
            p = extended + 14;
        }
    }
    const bool discardMalformed = AudioInfoTag::shouldDiscardMalformedInfo();
    const bool discardUnrecognized = AudioInfoTag::shouldDiscardUnrecognizedInfo();
    const QStringList& internal = ID3FrameIDs::internalRecognizedFrameIDs();
    const QStringList& iTunes = ID3FrameIDs::iTunesRecognizedFrameIDs();
    const QStringList& dangerous = ID3FrameIDs::dangerousFrameIDs();

    while (p <= L - 10) {
        QString id = frameIDAt(tag, p, 4);
        if (id.isEmpty())
            break;
        if (id.size() == 3)
            id = ID3FrameIDs::frameIDUpgrade(id);
        const qint64 plain = ID3TextCodec::bigEndianIntIn(tag, p + 4);
        const int flags2 = static_cast<uchar>(tag[p + 9]);
        qint64 dataStart = p + 10;
        qint64 size = plain;
        if (plain >= 128) {
            const qint64 synchSafe = ID3TextCodec::getSynchSafeIntIn(tag, p + 4);
            const bool plainOK = isPlausibleFrameEnd(tag, dataStart + plain);
            const bool synchSafeOK = isPlausibleFrameEnd(tag, dataStart + synchSafe);
            if (plainOK && synchSafeOK) {
                size = assumeSynchSafeSizes ? synchSafe : plain;
            } else if (plainOK || synchSafeOK) {
                size = plainOK ? plain : synchSafe;
            } else {
                mTag.markProblemDecoding();
                WMLog("*** id3v23/4 '%@' invalid size (%@)", id, mTag.title());
                if (discardMalformed)
                    break;
                size = L - dataStart;
            }
        }
        if ((flags2 & 0x01) && size >= 4) {
            const qint64 indicated = ID3TextCodec::getSynchSafeIntIn(tag, dataStart);
            if (indicated != 0 && indicated == size) {
                WMLog("*** id3v23 '%@' length indicator used OK (%@)", id, mTag.title());
                // The size stays as it is: the frames this rule is for were
                // written with the indicator counted in.
                dataStart += 4;
            }
        }
        if (dataStart + size > L) {
            WMLog("*** id3v23 '%@' overrun (%@)", id, mTag.title());
            mTag.markProblemDecoding();
            break;
        }
        if (dangerous.contains(id)) {
            WMLog("*** id3v23 '%@' dangerous (%@)", id, mTag.title());
            mTag.markProblemDecoding();
        }

        if (!internal.contains(id)) {
            if (!(discardUnrecognized && !iTunes.contains(id)))
                mTag.appendFrame(id, tag.sliced(dataStart - 2, size + 2).toByteArray());
        } else if (id.startsWith(QLatin1Char('T'))) {
            if (id == QLatin1String("TYER"))
                id = QStringLiteral("TDRC");
            QStringList strings = ID3TextCodec::id3v23StringsIn(tag, dataStart, size);
            bool keep = !strings.isEmpty();
            if (keep && id == QLatin1String("TDRC") && ID3TextCodec::integerValue(strings.first()) < 1000)
                keep = false;
            if (keep && id == QLatin1String("TRCK") && leadingTrackNumber(strings.first()) < 1)
                keep = false;
            if (keep && id == QLatin1String("TCON") && strings.size() == 1)
                strings.first() = GenreList::expandedGenres(strings.first());
            if (keep)
                mTag.appendFrame(id, std::move(strings));
        } else if (id == QLatin1String("USLT")) {
            QVariantMap block = ID3TextCodec::textBlockIn(tag, dataStart, size);
            if (!block.isEmpty())
                mTag.appendFrame(id, std::move(block));
        } else if (id == QLatin1String("APIC")) {
            if (size >= 5) {
                std::optional<ID3Image> picture = ID3Image::imageWithID3v23Frame(tag.sliced(dataStart, size));
                if (!picture) {
                    mTag.markProblemDecoding();
                    WMLog("*** ID3v23 APIC thePicture nil!");
                    if (!discardMalformed)
                        throw ID3ReadError(QStringLiteral("getAttributesFromID3v23"),
                                           "NSObjectNotAvailableException");
                } else {
                    mTag.appendFrame(QStringLiteral("[image]"), std::move(*picture));
                }
            }
        } else {
            mTag.markProblemDecoding();
            WMLog("*** ID3v23 '%@' recognized but no handler", id);
            throw ID3ReadError(QStringLiteral("getAttributesFromID3v23"), "NSInternalInconsistencyException");
        }
        p = dataStart + size;
    }
}

void ID3FrameReader::readID3v22(QByteArrayView tag)
{
    const qint64 L = tag.size();
    if (L < 16)
        return;
    const bool discardMalformed = AudioInfoTag::shouldDiscardMalformedInfo();
    const bool discardUnrecognized = AudioInfoTag::shouldDiscardUnrecognizedInfo();
    const QStringList& internal = ID3FrameIDs::internalRecognizedFrameIDs();
    const QStringList& iTunes = ID3FrameIDs::iTunesRecognizedFrameIDs();

    qint64 p = 10;
    while (p <= L - 6) {
        const QString id = frameIDAt(tag, p, 3);
        qint64 size = uint24At(tag, p + 3);
        if (id.isEmpty() || size == 0)
            break;
        const qint64 dataStart = p + 6;
        if (dataStart + size > L) {
            mTag.markProblemDecoding();
            if (discardMalformed)
                break;
            size = L - dataStart;
            if (size == 0)
                break;
        }
        if (!internal.contains(id)) {
            if (!(discardUnrecognized && !iTunes.contains(id)))
                mTag.appendFrame(id, tag.sliced(dataStart, size).toByteArray());
        } else if (id == QLatin1String("PIC")) {
            std::optional<ID3Image> picture = ID3Image::imageWithID3v22Frame(tag.sliced(dataStart, size));
            if (!picture) {
                WMLog("ID3v22 PIC nil (%@/%@)", mTag.artist(), mTag.title());
                mTag.markProblemDecoding();
                if (!discardMalformed)
                    throw ID3ReadError(QStringLiteral("getAttributesFromID3v22"),
                                       "NSObjectInaccessibleException");
            } else {
                mTag.appendFrame(QStringLiteral("[image]"), std::move(*picture));
            }
        } else if (id == QLatin1String("ULT")) {
            QVariantMap block = ID3TextCodec::textBlockIn(tag, dataStart, size);
            if (!block.isEmpty())
                mTag.appendFrame(id, std::move(block));
        } else {
            const int encoding = static_cast<uchar>(tag[dataStart]);
            QString text = ID3TextCodec::id3v22StringIn(tag, dataStart + 1, encoding, size - 1);
            bool keep = !text.isEmpty();
            if (keep && id == QLatin1String("TYE") && ID3TextCodec::integerValue(text) < 1000)
                keep = false;
            if (keep && id == QLatin1String("TRK") && leadingTrackNumber(text) < 1)
                keep = false;
            if (keep && id == QLatin1String("TCO"))
                text = GenreList::expandedGenres(text);
            if (keep)
                mTag.setStringForID(id, text);
        }
        p = dataStart + size;
    }
}
