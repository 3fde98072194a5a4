#include "MP3FrameScanner.h"

#include "MP3Header.h"

#include <QIODevice>

#include <cmath>
#include <limits>

namespace {

constexpr qint64 kBlock = 64 * 1024;
// How far past a damaged frame the walk looks for the stream to go on.
constexpr qint64 kResyncWindow = 4096;

// One decoded frame header.
struct Frame
{
    int version = 0; // as MP3Header: 1 MPEG 1, 2 MPEG 2, 3 MPEG 2.5
    int layer = 0;
    int sampleRate = 0;
    int samples = 0; // per frame
    int length = 0;  // bytes, header included
    bool mono = false;
    bool crc = false;

    bool sameStream(const Frame& other) const
    {
        return version == other.version && layer == other.layer && sampleRate == other.sampleRate;
    }
};

// The four header bytes at `b` as a frame with a computable length;
// nothing for free-format, reserved or damaged headers.
std::optional<Frame> decodeFrame(const uchar* b)
{
    if (b[0] != 0xFF || (b[1] & 0xE0) != 0xE0)
        return std::nullopt;
    Frame f;
    f.version = MP3Header::versionOf(b[1]);
    f.layer = MP3Header::layerOf(b[1]);
    const int bitRate = MP3Header::bitRateFor(f.version, f.layer, b[2] >> 4);
    f.sampleRate = MP3Header::frequencyFor(f.version, (b[2] >> 2) & 3);
    if (bitRate <= 0 || f.sampleRate <= 0)
        return std::nullopt;
    const int padding = (b[2] >> 1) & 1;
    f.crc = (b[1] & 1) == 0;
    f.mono = (b[3] >> 6) == 3;
    if (f.layer == 1) {
        f.samples = 384;
        f.length = (12000 * bitRate / f.sampleRate + padding) * 4;
    } else {
        f.samples = f.layer == 3 && f.version != 1 ? 576 : 1152;
        f.length = f.samples / 8 * 1000 * bitRate / f.sampleRate + padding;
    }
    return f;
}

quint32 be32(const uchar* b)
{
    return (quint32(b[0]) << 24) | (quint32(b[1]) << 16) | (quint32(b[2]) << 8) | quint32(b[3]);
}

// A window of the device over which the scan moves forward, refilled a block
// at a time.
class Window
{
public:
    Window(QIODevice& device, qint64 end) : mDevice(device), mEnd(end) {}

    // The `count` bytes at `offset`, or null when the device does not hold them.
    const uchar* at(qint64 offset, qint64 count)
    {
        if (offset < 0 || count > kBlock || offset + count > mEnd)
            return nullptr;
        if (offset < mOffset || offset + count > mOffset + mBytes.size()) {
            if (!mDevice.seek(offset))
                return nullptr;
            mBytes = mDevice.read(qMin(kBlock, mEnd - offset));
            mOffset = offset;
            if (mBytes.size() < count)
                return nullptr;
        }
        return reinterpret_cast<const uchar*>(mBytes.constData()) + (offset - mOffset);
    }

private:
    QIODevice& mDevice;
    qint64 mEnd;
    QByteArray mBytes;
    qint64 mOffset = 0;
};

// The frame at `offset`, also when it belongs to `stream` (when given).
std::optional<Frame> frameAt(Window& window, qint64 offset, const Frame* stream = nullptr)
{
    const uchar* b = window.at(offset, 4);
    if (!b)
        return std::nullopt;
    std::optional<Frame> frame = decodeFrame(b);
    if (frame && stream && !frame->sameStream(*stream))
        return std::nullopt;
    return frame;
}

// The frame count of a Xing/Info or VBRI header in the first frame (and the
// audio bytes it states, 0 when it does not); 0 frames without one.
qint64 headerFrameCount(Window& window, qint64 offset, const Frame& first, qint64* bytes)
{
    *bytes = 0;
    int sideInfo = first.version == 1 ? (first.mono ? 17 : 32) : (first.mono ? 9 : 17);
    const qint64 xing = offset + 4 + (first.crc ? 2 : 0) + sideInfo;
    if (const uchar* b = xing + 16 <= offset + first.length ? window.at(xing, 16) : nullptr) {
        if ((b[0] == 'X' && b[1] == 'i' && b[2] == 'n' && b[3] == 'g') ||
            (b[0] == 'I' && b[1] == 'n' && b[2] == 'f' && b[3] == 'o')) {
            const quint32 flags = be32(b + 4);
            const quint32 frames = (flags & 1) ? be32(b + 8) : 0;
            if (flags & 2)
                *bytes = be32(b + ((flags & 1) ? 12 : 8));
            return frames;
        }
    }
    // VBRI: 32 bytes after the header; version, delay, quality, bytes, frames.
    const qint64 vbri = offset + 36;
    if (const uchar* b = vbri + 18 <= offset + first.length ? window.at(vbri, 18) : nullptr) {
        if (b[0] == 'V' && b[1] == 'B' && b[2] == 'R' && b[3] == 'I') {
            *bytes = be32(b + 10);
            return be32(b + 14);
        }
    }
    return 0;
}

} // namespace

std::optional<MP3FrameScanner::Properties> MP3FrameScanner::scan(QIODevice& device, qint64 start, qint64 end)
{
    end = qMin(end, device.size());
    if (start < 0 || end - start < 4)
        return std::nullopt;
    Window window(device, end);

    // The first frame: followed by a frame of the same stream, or ending the
    // audio. Both headers are asked for in one range, so that the window
    // only ever moves forward.
    std::optional<Frame> first;
    qint64 position = start;
    for (; position + 4 <= end && position - start < kMaxSearch; ++position) {
        first = frameAt(window, position);
        if (!first)
            continue;
        const qint64 next = position + first->length;
        if (next == end)
            break;
        const uchar* both = next + 4 <= end ? window.at(position, first->length + 4) : nullptr;
        if (both) {
            const std::optional<Frame> second = decodeFrame(both + first->length);
            if (second && second->sameStream(*first))
                break;
        }
        first.reset();
    }
    if (!first)
        return std::nullopt;

    Properties p;
    p.firstFrame = position;
    p.sampleRate = first->sampleRate;
    const qint64 audioBytes = end - position;
    qint64 statedBytes = 0;
    p.frames = headerFrameCount(window, position, *first, &statedBytes);
    if (p.frames > 0) {
        p.seconds = double(p.frames) * first->samples / first->sampleRate;
    } else {
        // Walk the frames; a damaged stretch is skipped when the stream goes
        // on within a few kilobytes, otherwise the walk ends there.
        qint64 samples = 0;
        qint64 at = position;
        while (at + 4 <= end && at - position < kMaxWalk) {
            std::optional<Frame> frame = frameAt(window, at, &*first);
            if (!frame) {
                qint64 resync = at + 1;
                while (resync + 4 <= end && resync - at < kResyncWindow && !frameAt(window, resync, &*first))
                    ++resync;
                if (resync + 4 > end || resync - at >= kResyncWindow)
                    break;
                at = resync;
                continue;
            }
            if (at + frame->length > end)
                break;
            ++p.frames;
            samples += frame->samples;
            at += frame->length;
        }
        if (p.frames == 0)
            return std::nullopt;
        p.seconds = double(samples) / first->sampleRate;
        // Stopped by the bound: the rest of the stream is taken to be alike.
        const qint64 walked = at - position;
        if (at + 4 <= end && at - position >= kMaxWalk && walked > 0)
            p.seconds *= double(audioBytes) / double(walked);
    }
    if (p.seconds <= 0)
        return std::nullopt;
    const qint64 bytes = statedBytes > 0 ? statedBytes : audioBytes;
    p.bitRate = static_cast<int>(
        qMin<double>(std::lround(bytes * 8.0 / p.seconds / 1000.0), std::numeric_limits<int>::max()));
    return p;
}
