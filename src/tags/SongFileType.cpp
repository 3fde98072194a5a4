#include "SongFileType.h"

#include "SongFileDevice.h"
#include "support/WMLog.h"

#include <QFileInfo>

#include <algorithm>
#include <cstring>
#include <exception>

namespace {

constexpr qint64 kBlockSize = 4096;
constexpr qint64 kScanLimit = 499999;
constexpr int kFramesForMPEG = 30;
constexpr qint64 kMaxBytesPerFrame = 800;
constexpr int kFrameSkip = 200;
constexpr int kMaxFramesForMPEG4 = 9;

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

// Whether `name` (four bytes) starts anywhere in the first `length` bytes:
// the search jumps from one occurrence of its first byte to the next.
bool containsName(const uchar* bytes, qint64 length, const char* name)
{
    for (qint64 i = 0; i + 4 <= length;) {
        const void* first = std::memchr(bytes + i, name[0], static_cast<size_t>(length - 3 - i));
        if (!first)
            return false;
        i = static_cast<const uchar*>(first) - bytes;
        if (std::memcmp(bytes + i, name, 4) == 0)
            return true;
        ++i;
    }
    return false;
}

QString suffixOf(const QString& path)
{
    return QFileInfo(path).suffix().toLower();
}

} // namespace

SongDataType SongFileType::songDataTypeAtPath(const QString& path)
{
    // A pipe or device of that name is refused here, never waited on.
    SongFileDevice file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        WMLog("songDataTypeAtPath %@ fileHandleForReadingAtPath: %@", path, file.openError());
        return SongDataType::Unknown;
    }
    return songDataType(file);
}

SongDataType SongFileType::songDataType(SongFileDevice& file, SongDataType claimed)
{
    try {
        const qint64 length = file.size();
        if (length < kBlockSize)
            return SongDataType::Unknown;
        QByteArrayView block = file.bytesAt(0, kBlockSize);
        if (block.size() != kBlockSize)
            return SongDataType::Unknown;
        const auto* first = reinterpret_cast<const uchar*>(block.data());

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
                block = file.bytesAt(offset, kBlockSize);
                if (block.size() != kBlockSize)
                    return SongDataType::Unknown;
            }
            const auto* bytes = reinterpret_cast<const uchar*>(block.data());
            // Only a 0xFF byte can start a header: the search jumps from one
            // to the next.
            for (qint64 i = 0; i < kBlockSize - 4;) {
                const void* sync = std::memchr(bytes + i, 0xFF, static_cast<size_t>(kBlockSize - 4 - i));
                if (!sync)
                    break;
                i = static_cast<const uchar*>(sync) - bytes;
                if (isFrameHeader(bytes + i)) {
                    ++frames;
                    i += kFrameSkip;
                } else {
                    ++i;
                }
            }
            if (claimed == SongDataType::MPEGAudio && frames > kMaxFramesForMPEG4)
                return SongDataType::MPEGAudio;
            if (frames >= kFramesForMPEG) {
                if ((offset + kBlockSize) / frames < kMaxBytesPerFrame)
                    return SongDataType::MPEGAudio;
                continue;
            }
            // A name counts when it ends before the block's last byte.
            sawMoov = sawMoov || containsName(bytes, kBlockSize - 1, "moov");
            sawUdta = sawUdta || containsName(bytes, kBlockSize - 1, "udta");
            sawMdia = sawMdia || containsName(bytes, kBlockSize - 1, "mdia");
            if (sawMdia && sawUdta && frames <= kMaxFramesForMPEG4 && sawMoov)
                return SongDataType::MPEG4Audio;
        }
        return SongDataType::Unknown;
    } catch (const std::exception& e) {
        WMLog("songDataTypeAtPath exception %@ for path: %@", e.what(), file.path());
        return SongDataType::Unknown;
    }
}

QByteArray SongFileType::typeCodeAtPath(const QString& path)
{
    // Four-letter type codes belong to another platform's file system; on
    // this one no file carries them.
    Q_UNUSED(path);
    return QByteArray();
}

bool SongFileType::claimsToBeMP3(const QString& path)
{
    const QString suffix = suffixOf(path);
    if (suffix == QLatin1String("mp2") || suffix == QLatin1String("mp3"))
        return true;
    static const QByteArray codes[] = {"MP3 ", "MP3!", "MPG2", "MPG3", "Mp3 ", "mp3!", "mpg3"};
    const QByteArray code = typeCodeAtPath(path);
    return !code.isEmpty() && std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

bool SongFileType::claimsToBeAAC(const QString& path)
{
    const QString suffix = suffixOf(path);
    if (suffix == QLatin1String("m4a") || suffix == QLatin1String("m4p"))
        return true;
    const QByteArray code = typeCodeAtPath(path);
    return code == "M4A " || code == "M4P ";
}

bool SongFileType::claimsToBeOGG(const QString& path)
{
    return suffixOf(path) == QLatin1String("ogg");
}

bool SongFileType::claimsToBeAIFF(const QString& path)
{
    const QString suffix = suffixOf(path);
    return suffix == QLatin1String("aif") || suffix == QLatin1String("aiff");
}
