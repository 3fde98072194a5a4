#include "MpegTestFiles.h"
#include "TestSupport.h"

namespace {

// Bit rates in kbit/s by index 1..14, per version family and layer.
constexpr int kMpeg1Rates[3][14] = {
    {32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
    {32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
    {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
};
constexpr int kMpeg2Rates[2][14] = {
    {32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
    {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
};
constexpr int kSampleRates[3][3] = {
    {44100, 48000, 32000},
    {22050, 24000, 16000},
    {11025, 12000, 8000},
};

int bitRateIndex(const MpegTestFiles::FrameSpec& spec)
{
    if (spec.layer < 1 || spec.layer > 3)
        return -1;
    const int* row = spec.version == MpegTestFiles::Version::Mpeg1 ? kMpeg1Rates[spec.layer - 1]
                                                                   : kMpeg2Rates[spec.layer == 1 ? 0 : 1];
    for (int i = 0; i < 14; ++i) {
        if (row[i] == spec.bitRateKbps)
            return i + 1;
    }
    return -1;
}

int sampleRateIndex(const MpegTestFiles::FrameSpec& spec)
{
    const int family = static_cast<int>(spec.version) - 1;
    if (family < 0 || family > 2)
        return -1;
    for (int i = 0; i < 3; ++i) {
        if (kSampleRates[family][i] == spec.sampleRate)
            return i;
    }
    return -1;
}

void putBigEndian32(QByteArray& bytes, int at, quint32 value)
{
    bytes[at] = char(value >> 24);
    bytes[at + 1] = char(value >> 16);
    bytes[at + 2] = char(value >> 8);
    bytes[at + 3] = char(value);
}

QByteArray fixedField(const QByteArray& value, int length)
{
    QByteArray field = value.left(length);
    field.append(QByteArray(length - field.size(), '\0'));
    return field;
}

} // namespace

QByteArray MpegTestFiles::frameHeader(const FrameSpec& spec)
{
    const int rate = bitRateIndex(spec);
    const int frequency = sampleRateIndex(spec);
    if (rate < 0 || frequency < 0)
        return QByteArray();
    const int versionBits = spec.version == Version::Mpeg1 ? 3 : spec.version == Version::Mpeg2 ? 2 : 0;
    const int layerBits = 4 - spec.layer;
    QByteArray header(4, '\0');
    header[0] = char(0xFF);
    header[1] = char(0xE0 | (versionBits << 3) | (layerBits << 1) | (spec.crc ? 0 : 1));
    header[2] = char((rate << 4) | (frequency << 2) | (spec.padding ? 2 : 0));
    header[3] = char((static_cast<int>(spec.channelMode) << 6) | (spec.copyright ? 8 : 0) |
                     (spec.original ? 4 : 0) | (spec.emphasis & 3));
    return header;
}

int MpegTestFiles::frameLength(const FrameSpec& spec)
{
    if (bitRateIndex(spec) < 0 || sampleRateIndex(spec) < 0)
        return 0;
    const int pad = spec.padding ? 1 : 0;
    if (spec.layer == 1)
        return (12000 * spec.bitRateKbps / spec.sampleRate + pad) * 4;
    if (spec.layer == 3 && spec.version != Version::Mpeg1)
        return 72000 * spec.bitRateKbps / spec.sampleRate + pad;
    return 144000 * spec.bitRateKbps / spec.sampleRate + pad;
}

QByteArray MpegTestFiles::frame(const FrameSpec& spec, int serial)
{
    const QByteArray header = frameHeader(spec);
    const int length = frameLength(spec);
    if (header.isEmpty() || length < 4)
        return QByteArray();
    QByteArray bytes(length, '\0');
    std::copy(header.begin(), header.end(), bytes.begin());
    // Payload after header, CRC and side information: a pattern below 0xFF.
    const int start = standardXingOffset(spec);
    quint32 state = 0x9E3779B9u ^ quint32(serial) * 2654435761u;
    for (int i = start; i < length; ++i) {
        state = state * 1103515245u + 12345u;
        bytes[i] = char((state >> 16) % 255);
    }
    return bytes;
}

QByteArray MpegTestFiles::frames(const FrameSpec& spec, int count)
{
    QByteArray bytes;
    bytes.reserve(qMax(0, count) * frameLength(spec));
    for (int i = 0; i < count; ++i)
        bytes.append(frame(spec, i));
    return bytes;
}

int MpegTestFiles::standardXingOffset(const FrameSpec& spec)
{
    const bool mono = spec.channelMode == ChannelMode::Mono;
    int sideInfo = 0;
    if (spec.version == Version::Mpeg1)
        sideInfo = mono ? 17 : 32;
    else
        sideInfo = mono ? 9 : 17;
    return 4 + (spec.crc ? 2 : 0) + sideInfo;
}

QByteArray MpegTestFiles::xingFrame(const FrameSpec& spec, quint32 frameCount, quint32 byteCount,
                                    bool infoTag, int offsetInFrame)
{
    QByteArray bytes = frameHeader(spec);
    const int length = frameLength(spec);
    if (bytes.isEmpty())
        return bytes;
    bytes.append(QByteArray(length - 4, '\0'));
    const int at = offsetInFrame < 0 ? standardXingOffset(spec) : offsetInFrame;
    if (at + 16 > length)
        return bytes;
    const QByteArray name = infoTag ? QByteArrayLiteral("Info") : QByteArrayLiteral("Xing");
    std::copy(name.begin(), name.end(), bytes.begin() + at);
    putBigEndian32(bytes, at + 4, 0x3); // frame count and byte count present
    putBigEndian32(bytes, at + 8, frameCount);
    putBigEndian32(bytes, at + 12, byteCount);
    return bytes;
}

QByteArray MpegTestFiles::vbriFrame(const FrameSpec& spec, quint32 frameCount, quint32 byteCount)
{
    QByteArray bytes = frameHeader(spec);
    const int length = frameLength(spec);
    if (bytes.isEmpty() || length < 36 + 18)
        return bytes;
    bytes.append(QByteArray(length - 4, '\0'));
    std::copy_n("VBRI", 4, bytes.begin() + 36);
    bytes[36 + 5] = 1; // version 1, then delay and quality left at 0
    putBigEndian32(bytes, 36 + 10, byteCount);
    putBigEndian32(bytes, 36 + 14, frameCount);
    return bytes;
}

QByteArray MpegTestFiles::audio(const FrameSpec& spec, int count, bool withXing)
{
    QByteArray body = frames(spec, count);
    if (!withXing)
        return body;
    const int length = frameLength(spec);
    return xingFrame(spec, quint32(count), quint32(body.size() + length)) + body;
}

QByteArray MpegTestFiles::id3v1Trailer(const Id3v1Fields& fields)
{
    QByteArray bytes = QByteArrayLiteral("TAG");
    bytes += fixedField(fields.title, 30);
    bytes += fixedField(fields.artist, 30);
    bytes += fixedField(fields.album, 30);
    bytes += fixedField(fields.year, 4);
    if (fields.track > 0) {
        bytes += fixedField(fields.comment, 28);
        bytes += '\0';
        bytes += char(fields.track & 0xFF);
    } else {
        bytes += fixedField(fields.comment, 30);
    }
    bytes += char(fields.genre & 0xFF);
    return bytes;
}

QByteArray MpegTestFiles::synchSafe(quint32 value)
{
    QByteArray bytes(4, '\0');
    bytes[0] = char((value >> 21) & 0x7F);
    bytes[1] = char((value >> 14) & 0x7F);
    bytes[2] = char((value >> 7) & 0x7F);
    bytes[3] = char(value & 0x7F);
    return bytes;
}

QByteArray MpegTestFiles::id3v2Header(int majorVersion, quint32 size, quint8 flags, bool synchSafeSize)
{
    QByteArray bytes = QByteArrayLiteral("ID3");
    bytes += char(majorVersion);
    bytes += '\0';
    bytes += char(flags);
    if (synchSafeSize) {
        bytes += synchSafe(size);
    } else {
        bytes.append(QByteArray(4, '\0'));
        putBigEndian32(bytes, 6, size);
    }
    return bytes;
}

bool MpegTestFiles::writeFile(const QString& path, const QByteArray& prefix, const QByteArray& audioBytes,
                              const QByteArray& trailer)
{
    return TestSupport::writeFile(path, prefix + audioBytes + trailer);
}

bool MpegTestFiles::writeSimpleMp3(const QString& path, int count, const QByteArray& prefix,
                                   const QByteArray& trailer)
{
    return writeFile(path, prefix, frames(FrameSpec(), count), trailer);
}
