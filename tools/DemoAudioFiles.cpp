#include "DemoAudioFiles.h"

#include <QDir>
#include <QFileInfo>
#include <QList>
#include <QSaveFile>
#include <QtEndian>

namespace {

// MPEG-1 layer III, no CRC; 32 kbit/s (index 1), 32 kHz (index 2); mono.
constexpr int kBitRate = 32000;
constexpr int kSampleRate = 32000;
constexpr int kSamplesPerFrame = 1152;
// Mono MPEG-1 layer III frames carry 17 bytes of side information.
constexpr int kSideInfoBytes = 17;

// The MPEG-4 track: 44.1 kHz, one sample per chunk, one chunk per second.
constexpr quint32 kTimeScale = 44100;
constexpr quint32 kChunkBytes = 8000; // 64 kbit/s

// A deterministic byte pattern below 0xFF: no frame sync can appear in it.
void fillPattern(char* bytes, int length, quint32 seed)
{
    quint32 state = 0x6D2B79F5u ^ (seed * 2246822519u);
    for (int i = 0; i < length; ++i) {
        state = state * 1664525u + 1013904223u;
        bytes[i] = char((state >> 17) % 255);
    }
}

} // namespace

QByteArray DemoAudioFiles::mpegFrameHeader()
{
    return QByteArray::fromHex("FFFB18C0");
}

int DemoAudioFiles::mpegFrameLength()
{
    return 144 * kBitRate / kSampleRate;
}

QByteArray DemoAudioFiles::mpegAudio(int seconds, int serial)
{
    const int count = qMax(1, seconds) * kSampleRate / kSamplesPerFrame;
    const int length = mpegFrameLength();
    const int payloadStart = 4 + kSideInfoBytes;
    const QByteArray header = mpegFrameHeader();
    QByteArray audio(qsizetype(count) * length, '\0');
    for (int f = 0; f < count; ++f) {
        char* frame = audio.data() + qsizetype(f) * length;
        std::copy(header.cbegin(), header.cend(), frame);
        fillPattern(frame + payloadStart, length - payloadStart, quint32(serial) * 7919u + quint32(f));
    }
    return audio;
}

QByteArray DemoAudioFiles::be16(quint16 value)
{
    QByteArray bytes(2, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

QByteArray DemoAudioFiles::be32(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

QByteArray DemoAudioFiles::atom(const char* name, const QByteArray& body)
{
    return be32(quint32(body.size() + 8)) + QByteArray(name, 4) + body;
}

QByteArray DemoAudioFiles::fullAtom(const char* name, quint32 versionAndFlags, const QByteArray& body)
{
    return atom(name, be32(versionAndFlags) + body);
}

QByteArray DemoAudioFiles::movie(int seconds, const QList<quint32>& chunkOffsets, quint32 chunkBytes)
{
    const quint32 duration = quint32(seconds) * kTimeScale;
    const quint32 samples = quint32(chunkOffsets.size());
    const QByteArray matrix =
        be32(0x00010000) + QByteArray(12, '\0') + be32(0x00010000) + QByteArray(12, '\0') + be32(0x40000000);
    const QByteArray mvhd =
        fullAtom("mvhd", 0,
                 be32(0) + be32(0) + be32(kTimeScale) + be32(duration) + be32(0x00010000) + be16(0x0100) +
                     QByteArray(10, '\0') + matrix + QByteArray(24, '\0') + be32(2));
    const QByteArray tkhd =
        fullAtom("tkhd", 7,
                 be32(0) + be32(0) + be32(1) + be32(0) + be32(duration) + QByteArray(8, '\0') + be16(0) +
                     be16(0) + be16(0x0100) + be16(0) + matrix + be32(0) + be32(0));
    const QByteArray mdhd =
        fullAtom("mdhd", 0, be32(0) + be32(0) + be32(kTimeScale) + be32(duration) + be16(0x55C4) + be16(0));
    const QByteArray hdlr = fullAtom(
        "hdlr", 0, be32(0) + QByteArray("soun") + QByteArray(12, '\0') + QByteArray("SoundHandler", 13));

    // Elementary stream descriptor: AAC LC, 44.1 kHz, stereo; lengths in
    // the four-byte form that the common encoders write.
    auto descriptor = [](char tag, const QByteArray& body) -> QByteArray {
        return QByteArray(1, tag) + QByteArray::fromHex("808080") + char(body.size()) + body;
    };
    const QByteArray decoderConfig =
        descriptor(0x04, QByteArray::fromHex("4015000300") + be32(kChunkBytes * 8) + be32(kChunkBytes * 8) +
                             descriptor(0x05, QByteArray::fromHex("1210")));
    const QByteArray esds =
        fullAtom("esds", 0,
                 descriptor(0x03, be16(0) + QByteArray(1, '\0') + decoderConfig + descriptor(0x06, "\x02")));
    const QByteArray mp4a = atom("mp4a", QByteArray(6, '\0') + be16(1) + QByteArray(8, '\0') + be16(2) +
                                             be16(16) + be16(0) + be16(0) + be32(kTimeScale << 16) + esds);
    const QByteArray stsd = fullAtom("stsd", 0, be32(1) + mp4a);
    const QByteArray stts = fullAtom("stts", 0, be32(1) + be32(samples) + be32(kTimeScale));
    const QByteArray stsc = fullAtom("stsc", 0, be32(1) + be32(1) + be32(1) + be32(1));
    const QByteArray stsz = fullAtom("stsz", 0, be32(chunkBytes) + be32(samples));
    QByteArray offsets = be32(samples);
    for (quint32 offset : chunkOffsets)
        offsets += be32(offset);
    const QByteArray stco = fullAtom("stco", 0, offsets);
    const QByteArray stbl = atom("stbl", stsd + stts + stsc + stsz + stco);
    const QByteArray dinf = atom("dinf", fullAtom("dref", 0, be32(1) + fullAtom("url ", 1, QByteArray())));
    const QByteArray minf = atom("minf", fullAtom("smhd", 0, be32(0)) + dinf + stbl);
    const QByteArray trak = atom("trak", tkhd + atom("mdia", mdhd + hdlr + minf));

    // An empty item list for the tag writer to fill.
    const QByteArray metaHandler =
        fullAtom("hdlr", 0, be32(0) + QByteArray("mdirappl") + QByteArray(9, '\0'));
    const QByteArray udta = atom("udta", fullAtom("meta", 0, metaHandler + atom("ilst", QByteArray())));
    return atom("moov", mvhd + trak + udta);
}

QByteArray DemoAudioFiles::mpeg4Audio(int seconds, int serial)
{
    seconds = qMax(1, seconds);
    const QByteArray ftyp = atom("ftyp", QByteArray("M4A ") + be32(0) + QByteArray("M4A mp42isom"));
    // The movie's size does not depend on the offsets' values: measure it
    // once with zeros, then place the chunks right behind it.
    QList<quint32> offsets(seconds, 0);
    const quint32 mediaStart = quint32(ftyp.size() + movie(seconds, offsets, kChunkBytes).size() + 8);
    for (int i = 0; i < seconds; ++i)
        offsets[i] = mediaStart + quint32(i) * kChunkBytes;
    QByteArray media(qsizetype(seconds) * kChunkBytes, '\0');
    fillPattern(media.data(), int(media.size()), quint32(serial));
    return ftyp + movie(seconds, offsets, kChunkBytes) + atom("mdat", media);
}

bool DemoAudioFiles::writeFile(const QString& path, const QByteArray& bytes, QString* errorText)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        if (errorText)
            *errorText = file.errorString();
        return false;
    }
    return true;
}
