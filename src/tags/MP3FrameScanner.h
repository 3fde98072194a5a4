#pragma once

#include <QByteArray>

#include <optional>

class QIODevice;

// Playing time, average bit rate and sampling rate of MPEG audio worked out
// from the frames themselves, for the files where MP3Header's quick search
// finds nothing usable: a file shorter than the blocks it reads, first frames
// beyond them, a first frame without a bit rate. The first frame is the first
// sync whose frame is followed by another frame of the same stream (or ends
// the audio). A Xing/Info or VBRI header in it gives the frame count;
// otherwise the frames are walked one by one. Every read is bounded: at most
// kMaxSearch bytes are searched for the first frame and kMaxWalk bytes
// walked, the time of a longer stream being scaled up from the part walked.
class MP3FrameScanner
{
public:
    static constexpr qint64 kMaxSearch = qint64(1) << 20;
    static constexpr qint64 kMaxWalk = qint64(4) << 20;

    struct Properties
    {
        double seconds = 0;
        int bitRate = 0; // kbit/s, rounded
        int sampleRate = 0;
        qint64 firstFrame = 0;
        qint64 frames = 0; // from the header, or the frames walked
    };

    // Scans the audio in [start, end) of the device (after the ID3v2 tag,
    // before any ID3v1 block); nothing when it holds no MPEG frames.
    static std::optional<Properties> scan(QIODevice& device, qint64 start, qint64 end);
};
