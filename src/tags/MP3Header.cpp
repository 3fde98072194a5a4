#include "MP3Header.h"

#include "PosixFile.h"

#include "support/WMLog.h"

#include <QFile>

#include <exception>
#include <limits>

#include <zlib.h>

namespace {

// kbit/s by bit-rate index 0..14 (15 is "bad").
constexpr int bitRatesMPEG1[3][15] = {
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
};
// MPEG 2 and 2.5: layer I, then layers II and III alike.
constexpr int bitRatesMPEG2[2][15] = {
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
};
constexpr int frequencyTables[3][3] = {
    {44100, 48000, 32000},
    {22050, 24000, 16000},
    {11025, 12000, 8000},
};
constexpr int versionTable[4] = {3, 0, 2, 1};
constexpr int layerTable[4] = {0, 3, 2, 1};
constexpr int channelTable[4] = {0, 1, 2, 3};

constexpr int kScanLimit = 8190;
constexpr int kMaxCandidates = 5;
constexpr qint64 kMinimumAudioLength = 2 * MP3Header::kBufferSize;

int clampToInt(qint64 value)
{
    if (value > std::numeric_limits<int>::max())
        return std::numeric_limits<int>::max();
    if (value < 0)
        return 0;
    return static_cast<int>(value);
}

} // namespace

int MP3Header::versionOf(uchar headerByte1)
{
    return versionTable[(headerByte1 >> 3) & 3];
}

int MP3Header::layerOf(uchar headerByte1)
{
    return layerTable[(headerByte1 >> 1) & 3];
}

int MP3Header::bitRateFor(int version, int layer, int rateIndex)
{
    if (version < 1 || version > 3 || layer < 1 || layer > 3 || rateIndex <= 0 || rateIndex > 15)
        return 0;
    if (rateIndex == 15)
        return -1;
    if (version == 1)
        return bitRatesMPEG1[layer - 1][rateIndex];
    return bitRatesMPEG2[layer == 1 ? 0 : 1][rateIndex];
}

int MP3Header::frequencyFor(int version, int frequencyIndex)
{
    if (version < 1 || version > 3 || frequencyIndex < 0 || frequencyIndex > 2)
        return 0;
    return frequencyTables[version - 1][frequencyIndex];
}

void MP3Header::releaseAttributes()
{
    *this = MP3Header();
}

void MP3Header::setBuffer(const QByteArray& bytes, qint64 offsetInFile, qint64 fileSize)
{
    releaseAttributes();
    mBuffer = bytes.left(kBufferSize);
    mBufferOffsetInFile = static_cast<quint32>(qBound<qint64>(0, offsetInFile, 0xFFFFFFFFLL));
    mStartFrame = mBufferOffsetInFile;
    mFileSize = qMax<qint64>(0, fileSize);
}

bool MP3Header::openFile(const QString& path, qint64 tagLength)
{
    PosixFile opened = PosixFile::openForReading(path);
    QFile file;
    if (!opened.isOpen() || !file.open(opened.release(), QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        releaseAttributes();
        WMLog("MP3 header: no fileHandleForReadingAtPath %@", path);
        return false;
    }
    return openDevice(file, tagLength, path);
}

bool MP3Header::openDevice(QIODevice& device, qint64 tagLength, const QString& path)
{
    try {
        releaseAttributes();
        // Offsets are 32-bit; a tag that reaches past 4 GB leaves no header to find.
        if (tagLength < 0 || tagLength > 0xFFFFFFFFLL - 3 * kBufferSize)
            return false;
        mStartFrame = mBufferOffsetInFile = static_cast<quint32>(tagLength);
        mFileSize = device.size();
        if (mFileSize < tagLength + kMinimumAudioLength)
            return false;
        if (!readBlock(device, mBufferOffsetInFile)) {
            WMLog("MP3 header: (1) could not read %@", path);
            return false;
        }
        if (!findHeader()) {
            mBufferOffsetInFile += kBufferSize - 1;
            mStartFrame += kBufferSize - 1;
            if (!readBlock(device, mBufferOffsetInFile)) {
                WMLog("MP3 header: (2) could not read %@", path);
                return false;
            }
            if (!findHeader()) {
                WMLog("MP3 header: invalid MPEG header %@", path);
                return false;
            }
        }
        decodeHeader(static_cast<int>(mStartFrame - mBufferOffsetInFile));
        if (mBuffer.size() - static_cast<qint64>(mStartFrame - mBufferOffsetInFile) < kHashSpan) {
            // Keep the values; only the hash needs the bytes from the first frame on.
            const QByteArray decoded = mBuffer;
            const quint32 decodedOffset = mBufferOffsetInFile;
            if (readBlock(device, mStartFrame)) {
                mBufferOffsetInFile = mStartFrame;
            } else {
                mBuffer = decoded;
                mBufferOffsetInFile = decodedOffset;
            }
        }
        return true;
    } catch (const std::exception& e) {
        WMLog("*** MP3Header openFile:withTag: %@", e.what());
        return false;
    }
}

bool MP3Header::readBlock(QIODevice& device, qint64 offset)
{
    if (!device.seek(offset))
        return false;
    mBuffer = device.read(kBufferSize);
    mHashComputed = false;
    return !mBuffer.isEmpty();
}

bool MP3Header::isCandidate(int position) const
{
    const auto* b = reinterpret_cast<const uchar*>(mBuffer.constData()) + position;
    return b[0] == 0xFF && (b[1] & 0xE0) == 0xE0 && ((b[1] >> 1) & 3) != 0 && (b[2] >> 4) != 15 &&
           ((b[2] >> 2) & 3) != 3;
}

// A candidate is a sync byte followed by valid layer, bit-rate and frequency
// bits. From each candidate the scan jumps by the frame length the header
// gives (layers II and III use 144000 x rate / frequency for every version)
// and counts the candidates found there. A Xing frame ends the search at
// once; otherwise the fifth candidate is taken, or, when the buffer runs out
// first, the first one.
bool MP3Header::findHeader()
{
    int first = -1;
    int count = 0;
    int position = 0;
    const int end = static_cast<int>(qMin<qsizetype>(mBuffer.size() - 3, kScanLimit));
    while (position < end) {
        if (!isCandidate(position)) {
            ++position;
            continue;
        }
        decodeHeader(position);
        ++count;
        if (first < 0)
            first = position;
        if (mXINGHeaderFound || count == kMaxCandidates) {
            mStartFrame = mBufferOffsetInFile + static_cast<quint32>(position);
            return true;
        }
        if (mBitRate > 0 && mFrequency > 0) {
            const int padding = (static_cast<uchar>(mBuffer[position + 2]) >> 1) & 1;
            const qint64 step = mLayer == 1 ? ((12000LL * mBitRate / mFrequency) + padding) * 4
                                            : 144000LL * mBitRate / mFrequency + padding;
            position += static_cast<int>(qBound<qint64>(1, step, qint64(kBufferSize)));
        } else {
            ++position;
        }
    }
    if (first < 0)
        return false;
    mStartFrame = mBufferOffsetInFile + static_cast<quint32>(first);
    decodeHeader(first);
    return true;
}

void MP3Header::decodeHeader(int position)
{
    mXINGHeaderFound = false;
    mNumberOfFrames = 0;
    if (position < 0 || position + 4 > mBuffer.size())
        return;
    const auto* bytes = reinterpret_cast<const uchar*>(mBuffer.constData());
    const uchar b1 = bytes[position + 1];
    const uchar b2 = bytes[position + 2];
    const uchar b3 = bytes[position + 3];

    mVersion = versionOf(b1);
    mLayer = layerOf(b1);
    mBitRate = bitRateFor(mVersion, mLayer, b2 >> 4);
    mFrequency = frequencyFor(mVersion, (b2 >> 2) & 3);
    mChannels = channelTable[b3 & 3];

    const qint64 firstFrame = static_cast<qint64>(mBufferOffsetInFile) + position;
    const qint64 audioBytes = qMax<qint64>(0, mFileSize - firstFrame);
    int xingOffset = 0;
    if (mVersion == 1)
        xingOffset = mChannels == 3 ? 21 : 36;
    else
        xingOffset = mChannels == 3 ? 14 : 17;
    const qint64 xing = static_cast<qint64>(position) + xingOffset;
    if (xing + 12 <= mBuffer.size() && bytes[xing] == 'X' && bytes[xing + 1] == 'i' &&
        bytes[xing + 2] == 'n' && bytes[xing + 3] == 'g' && (bytes[xing + 7] & 1) != 0) {
        const quint32 frames = (quint32(bytes[xing + 8]) << 24) | (quint32(bytes[xing + 9]) << 16) |
                               (quint32(bytes[xing + 10]) << 8) | quint32(bytes[xing + 11]);
        if (frames >= 1) {
            mXINGHeaderFound = true;
            mNumberOfFrames = frames;
            mSeconds = clampToInt(static_cast<qint64>(frames) * 26 / 994);
            // 26 ms per frame, whatever the sampling rate.
            const qint64 perFrame = static_cast<qint64>(frames) * 26;
            const qint64 scaled = audioBytes > std::numeric_limits<qint64>::max() / 7952
                                      ? std::numeric_limits<qint64>::max() / perFrame
                                      : audioBytes * 7952 / perFrame;
            mBitRate = clampToInt((scaled + 500) / 1000);
            return;
        }
    }
    mSeconds = mBitRate > 0 ? clampToInt(audioBytes * 8 / (static_cast<qint64>(mBitRate) * 1000)) : 0;
}

quint32 MP3Header::getHash() const
{
    const qint64 from = static_cast<qint64>(mStartFrame) - mBufferOffsetInFile;
    if (from < 0 || mBuffer.size() - from < kHashSpan)
        return 0;
    if (!mHashComputed) {
        const auto* bytes = reinterpret_cast<const Bytef*>(mBuffer.constData() + from);
        mHash = static_cast<quint32>(crc32(crc32(0L, Z_NULL, 0), bytes, kHashSpan));
        mHashComputed = true;
    }
    return mHash;
}

QString MP3Header::getSecondsString() const
{
    const int days = mSeconds / 86400;
    const int hours = (mSeconds / 3600) % 24;
    const int minutes = (mSeconds / 60) % 60;
    const int seconds = mSeconds % 60;
    if (mSeconds >= 172799)
        return QString::asprintf("%i:%i:%i:%02i", days, hours, minutes, seconds);
    if (mSeconds >= 7199)
        return QString::asprintf("%i:%i:%02i", hours, minutes, seconds);
    if (mSeconds >= 119)
        return QString::asprintf("%i:%02i", minutes, seconds);
    return QString::asprintf("%i", mSeconds);
}

QString MP3Header::getVersionString() const
{
    switch (mVersion) {
    case 1:
        return QStringLiteral("MPEG 1");
    case 2:
        return QStringLiteral("MPEG 2");
    case 3:
        return QStringLiteral("MPEG 2.5");
    default:
        return QStringLiteral("UNKNOWN");
    }
}

QString MP3Header::getLayerString() const
{
    if (mLayer >= 1 && mLayer <= 3)
        return QStringLiteral("Layer ") + QString::number(mLayer);
    return QStringLiteral("UNKNOWN");
}

QString MP3Header::getBitRateString() const
{
    return QString::asprintf("%i kbps", mBitRate);
}

QString MP3Header::getFrequencyString() const
{
    return QString::asprintf("%i,%i kHz", mFrequency / 1000, mFrequency % 1000);
}

QString MP3Header::getChannelString() const
{
    switch (mChannels) {
    case 0:
        return QStringLiteral("Stereo");
    case 1:
        return QStringLiteral("Joined Stereo");
    case 2:
        return QStringLiteral("Dual Channel");
    case 3:
        return QStringLiteral("Single Channel");
    default:
        return QStringLiteral("UNKNOWN");
    }
}

QString MP3Header::getEncodingString() const
{
    return getVersionString() + QStringLiteral(", ") + getLayerString() + QStringLiteral(", ") +
           QString::number(mBitRate) + QStringLiteral("bps, ") + QString::number(mFrequency) +
           QStringLiteral("Hz, ") + getChannelString() + QLatin1Char('.');
}
