#include "Mp4TestFiles.h"

#include <QtEndian>

#include <gtest/gtest.h>

QByteArray Mp4TestFiles::be16(quint16 v)
{
    QByteArray b(2, '\0');
    qToBigEndian(v, b.data());
    return b;
}

QByteArray Mp4TestFiles::be32(quint32 v)
{
    QByteArray b(4, '\0');
    qToBigEndian(v, b.data());
    return b;
}

QByteArray Mp4TestFiles::be64(quint64 v)
{
    QByteArray b(8, '\0');
    qToBigEndian(v, b.data());
    return b;
}

QByteArray Mp4TestFiles::atom(const QString& name, const QByteArray& body)
{
    return be32(static_cast<quint32>(body.size() + 8)) + name.toLatin1().left(4) + body;
}

QByteArray Mp4TestFiles::fullAtom(const QString& name, quint32 versionAndFlags, const QByteArray& body)
{
    return atom(name, be32(versionAndFlags) + body);
}

QByteArray Mp4TestFiles::dataAtom(quint32 type, const QByteArray& value)
{
    return atom(QStringLiteral("data"), be32(type) + be32(0) + value);
}

QByteArray Mp4TestFiles::textItem(const QString& name, const QString& text)
{
    return atom(name, dataAtom(1, text.toUtf8()));
}

QByteArray Mp4TestFiles::trackItem(quint16 track, quint16 total)
{
    return atom(QStringLiteral("trkn"), dataAtom(0, be16(0) + be16(track) + be16(total) + be16(0)));
}

QByteArray Mp4TestFiles::tempoItem(quint16 bpm)
{
    return atom(QStringLiteral("tmpo"), dataAtom(21, be16(bpm)));
}

QByteArray Mp4TestFiles::genreNumberItem(quint16 oneBasedGenre)
{
    return atom(QStringLiteral("gnre"), dataAtom(0, be16(oneBasedGenre)));
}

QByteArray Mp4TestFiles::compilationItem(bool on)
{
    return atom(QStringLiteral("cpil"), dataAtom(21, QByteArray(1, on ? '\1' : '\0')));
}

QByteArray Mp4TestFiles::coverItem(const QList<QByteArray>& pictures, quint32 type)
{
    QByteArray body;
    for (const QByteArray& picture : pictures)
        body += dataAtom(type, picture);
    return atom(QStringLiteral("covr"), body);
}

QByteArray Mp4TestFiles::chunkBytes(int index, int length)
{
    QByteArray bytes(length, '\0');
    for (int i = 0; i < length; ++i)
        bytes[i] = static_cast<char>((index * 37 + i * 7 + (i >> 8) * 13) & 0xFF);
    if (length >= 8)
        bytes.replace(0, 8, QByteArray(QByteArray("CHNK") + be32(static_cast<quint32>(index))));
    return bytes;
}

QByteArray Mp4TestFiles::fakeJpeg(int length)
{
    QByteArray bytes = QByteArray::fromHex("FFD8FFE000104A46494600010100000100010000");
    for (int i = 0; bytes.size() < length - 2; ++i)
        bytes += static_cast<char>((i * 31 + 5) & 0x7F);
    return bytes + QByteArray::fromHex("FFD9");
}

QByteArray Mp4TestFiles::fakePng(int length)
{
    QByteArray bytes = QByteArray::fromHex("89504E470D0A1A0A0000000D49484452");
    for (int i = 0; bytes.size() < length; ++i)
        bytes += static_cast<char>((i * 17 + 3) & 0x7F);
    return bytes;
}

namespace {

QByteArray esds(quint32 bitRate)
{
    // ES descriptor with four-byte lengths, as the common encoders write it.
    auto descriptor = [](quint8 tag, const QByteArray& body) -> QByteArray {
        QByteArray d(1, static_cast<char>(tag));
        d += QByteArray::fromHex("808080");
        d += static_cast<char>(body.size());
        return d + body;
    };
    const QByteArray decoderSpecific = descriptor(0x05, QByteArray::fromHex("1210"));
    const QByteArray decoderConfig = descriptor(
        0x04, QByteArray::fromHex("40") + QByteArray::fromHex("15") + QByteArray::fromHex("000300") +
                  Mp4TestFiles::be32(bitRate) + Mp4TestFiles::be32(bitRate) + decoderSpecific);
    const QByteArray sl = descriptor(0x06, QByteArray::fromHex("02"));
    const QByteArray es =
        descriptor(0x03, QByteArray::fromHex("0000") + QByteArray(1, '\0') + decoderConfig + sl);
    return Mp4TestFiles::fullAtom(QStringLiteral("esds"), 0, es);
}

QByteArray track(const Mp4TestFiles::Options& o, const QList<quint64>& offsets, quint32 trackId)
{
    using F = Mp4TestFiles;
    const QByteArray matrix = F::be32(0x00010000) + F::be32(0) + F::be32(0) + F::be32(0) +
                              F::be32(0x00010000) + F::be32(0) + F::be32(0) + F::be32(0) +
                              F::be32(0x40000000);
    const QByteArray tkhd =
        F::fullAtom(QStringLiteral("tkhd"), 7,
                    F::be32(0) + F::be32(0) + F::be32(trackId) + F::be32(0) + F::be32(o.durationUnits) +
                        QByteArray(8, '\0') + F::be16(0) + F::be16(0) + F::be16(0x0100) + F::be16(0) +
                        matrix + F::be32(0) + F::be32(0));
    const QByteArray mdhd = F::fullAtom(QStringLiteral("mdhd"), 0,
                                        F::be32(0) + F::be32(0) + F::be32(o.timeScale) +
                                            F::be32(o.durationUnits) + F::be16(0x55C4) + F::be16(0));
    const QByteArray hdlr =
        F::fullAtom(QStringLiteral("hdlr"), 0,
                    F::be32(0) + QByteArray("soun") + QByteArray(12, '\0') + QByteArray("SoundHandler", 13));
    const QByteArray sampleEntry =
        F::atom(o.protectedTrack ? QStringLiteral("drms") : QStringLiteral("mp4a"),
                QByteArray(6, '\0') + F::be16(1) + QByteArray(8, '\0') + F::be16(2) + F::be16(16) +
                    F::be16(0) + F::be16(0) + F::be32(o.sampleRate << 16) + esds(o.esdsBitRate));
    const QByteArray stsd = F::fullAtom(QStringLiteral("stsd"), 0, F::be32(1) + sampleEntry);
    const int samplesPerChunk = 2;
    const quint32 samples = static_cast<quint32>(o.chunkCount * samplesPerChunk);
    const QByteArray stts =
        F::fullAtom(QStringLiteral("stts"), 0,
                    F::be32(1) + F::be32(samples) + F::be32(samples ? o.durationUnits / samples : 0));
    const QByteArray stsc = F::fullAtom(QStringLiteral("stsc"), 0,
                                        F::be32(1) + F::be32(1) + F::be32(samplesPerChunk) + F::be32(1));
    QByteArray sizes;
    for (quint32 i = 0; i < samples; ++i)
        sizes += F::be32(static_cast<quint32>(o.chunkBytes / samplesPerChunk));
    const QByteArray stsz = F::fullAtom(QStringLiteral("stsz"), 0, F::be32(0) + F::be32(samples) + sizes);
    QByteArray table = F::be32(static_cast<quint32>(offsets.size()));
    for (quint64 offset : offsets)
        table += o.useCo64 ? F::be64(offset) : F::be32(static_cast<quint32>(offset));
    const QByteArray chunkTable =
        F::fullAtom(o.useCo64 ? QStringLiteral("co64") : QStringLiteral("stco"), 0, table);
    const QByteArray stbl = F::atom(QStringLiteral("stbl"), stsd + stts + stsc + stsz + chunkTable);
    const QByteArray dinf =
        F::atom(QStringLiteral("dinf"), F::fullAtom(QStringLiteral("dref"), 0,
                                                    F::be32(1) + F::fullAtom(QStringLiteral("url "), 1, {})));
    const QByteArray smhd = F::fullAtom(QStringLiteral("smhd"), 0, F::be32(0));
    const QByteArray minf = F::atom(QStringLiteral("minf"), smhd + dinf + stbl);
    const QByteArray mdia = F::atom(QStringLiteral("mdia"), mdhd + hdlr + minf);
    return F::atom(QStringLiteral("trak"), tkhd + mdia);
}

QByteArray moov(const Mp4TestFiles::Options& o, const QList<quint64>& offsets)
{
    using F = Mp4TestFiles;
    const QByteArray matrix = F::be32(0x00010000) + QByteArray(12, '\0') + F::be32(0x00010000) +
                              QByteArray(12, '\0') + F::be32(0x40000000);
    const QByteArray mvhd =
        F::fullAtom(QStringLiteral("mvhd"), 0,
                    F::be32(0) + F::be32(0) + F::be32(o.timeScale) + F::be32(o.durationUnits) +
                        F::be32(0x00010000) + F::be16(0x0100) + QByteArray(10, '\0') + matrix +
                        QByteArray(24, '\0') + F::be32(static_cast<quint32>(o.tracks + 1)));
    QByteArray body = mvhd;
    for (int t = 0; t < o.tracks; ++t)
        body += track(o, offsets, static_cast<quint32>(t + 1));
    if (o.withUdta) {
        QByteArray udta;
        if (o.withMeta) {
            QByteArray meta = F::fullAtom(QStringLiteral("hdlr"), 0,
                                          F::be32(0) + QByteArray("mdirappl") + QByteArray(9, '\0'));
            if (o.withIlst)
                meta += F::atom(QStringLiteral("ilst"), o.items.join());
            if (o.freeInMeta >= 0)
                meta += F::atom(QStringLiteral("free"), QByteArray(o.freeInMeta, '\0'));
            udta = F::fullAtom(QStringLiteral("meta"), 0, meta);
        } else {
            udta = F::atom(QStringLiteral("\u00A9cmt"), F::dataAtom(1, "no meta here"));
        }
        body += F::atom(QStringLiteral("udta"), udta);
    }
    return F::atom(QStringLiteral("moov"), body);
}

} // namespace

QByteArray Mp4TestFiles::m4a(const Options& o)
{
    const QByteArray ftyp =
        atom(QStringLiteral("ftyp"), QByteArray("M4A ") + be32(0) + QByteArray("M4A mp42isom"));
    QByteArray media;
    for (int i = 0; i < o.chunkCount; ++i)
        media += chunkBytes(i, o.chunkBytes);
    const QByteArray mdat = atom(QStringLiteral("mdat"), media);
    const QByteArray freeAtom =
        o.freeAfterMoov >= 0 ? atom(QStringLiteral("free"), QByteArray(o.freeAfterMoov, '\0')) : QByteArray();
    QList<quint64> offsets(o.chunkCount, 0);
    const QByteArray sizing = moov(o, offsets);
    const quint64 mdatBody = static_cast<quint64>(ftyp.size()) + 8 +
                             (o.moovAfterMdat ? 0 : static_cast<quint64>(sizing.size() + freeAtom.size()));
    for (int i = 0; i < o.chunkCount; ++i)
        offsets[i] = mdatBody + static_cast<quint64>(i) * static_cast<quint64>(o.chunkBytes);
    const QByteArray movie = moov(o, offsets);
    if (o.moovAfterMdat)
        return ftyp + mdat + movie + freeAtom;
    return ftyp + movie + freeAtom + mdat;
}

QList<quint64> Mp4TestFiles::chunkOffsets(const QByteArray& file, int trackNumber)
{
    // A plain search for the table by name is enough for our own files.
    QList<quint64> offsets;
    qsizetype at = -1;
    bool wide = false;
    for (int t = 0; t < trackNumber; ++t) {
        const qsizetype stco = file.indexOf("stco", at + 1);
        const qsizetype co64 = file.indexOf("co64", at + 1);
        if (stco < 0 && co64 < 0)
            return offsets;
        wide = stco < 0 || (co64 >= 0 && co64 < stco);
        at = wide ? co64 : stco;
    }
    const quint32 count = qFromBigEndian<quint32>(file.constData() + at + 8);
    for (quint32 i = 0; i < count; ++i) {
        const char* p = file.constData() + at + 12 + i * (wide ? 8 : 4);
        offsets.append(wide ? qFromBigEndian<quint64>(p) : qFromBigEndian<quint32>(p));
    }
    return offsets;
}

void Mp4TestFiles::expectChunksInPlace(const QByteArray& file, const Options& o)
{
    const QList<quint64> offsets = chunkOffsets(file);
    ASSERT_EQ(offsets.size(), o.chunkCount);
    for (int i = 0; i < o.chunkCount; ++i)
        EXPECT_EQ(file.mid(static_cast<qsizetype>(offsets[i]), o.chunkBytes), chunkBytes(i, o.chunkBytes))
            << "chunk " << i;
}
