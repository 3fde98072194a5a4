#pragma once

#include <QByteArray>
#include <QString>

// Builds MPEG audio test material in code: frame headers and whole frames
// with real lengths (MPEG-1, 2 and 2.5; layers I to III), a Xing/Info frame,
// ID3v1/v1.1 trailers, a bare ID3v2 header, and files made of prefix bytes,
// frames and a trailer. Frame payloads are a deterministic byte pattern that
// never contains 0xFF, so no false frame sync appears inside the audio.
class MpegTestFiles
{
public:
    enum class Version
    {
        Mpeg1 = 1,
        Mpeg2 = 2,
        Mpeg25 = 3
    };
    enum class ChannelMode
    {
        Stereo = 0,
        JointStereo = 1,
        DualChannel = 2,
        Mono = 3
    };

    struct FrameSpec
    {
        Version version = Version::Mpeg1;
        int layer = 3;          // 1, 2 or 3
        int bitRateKbps = 128;  // must be in the table of the version/layer
        int sampleRate = 44100; // must belong to the version
        ChannelMode channelMode = ChannelMode::Stereo;
        bool padding = false;
        bool crc = false; // protection bit cleared: two CRC bytes follow the header
        int emphasis = 0; // the low two bits of the fourth header byte
        bool original = false;
        bool copyright = false;
    };

    // The four header bytes, or an empty array when the frame cannot be encoded.
    static QByteArray frameHeader(const FrameSpec& spec);
    // The true length of one frame in bytes (0 when the frame cannot be encoded).
    static int frameLength(const FrameSpec& spec);
    // One complete frame: header, zero side information, pattern payload.
    // `serial` varies the payload so that frames differ from one another.
    static QByteArray frame(const FrameSpec& spec, int serial = 0);
    // `count` consecutive frames.
    static QByteArray frames(const FrameSpec& spec, int count);
    // The byte offset inside a frame where encoders put the Xing/Info text
    // (after header and side information, by version and channel mode).
    static int standardXingOffset(const FrameSpec& spec);
    // A frame carrying a "Xing" (or "Info") header with the frame and byte
    // counts. `offsetInFrame` < 0 places it at standardXingOffset().
    static QByteArray xingFrame(const FrameSpec& spec, quint32 frameCount, quint32 byteCount,
                                bool infoTag = false, int offsetInFrame = -1);
    // A frame carrying a VBRI header (32 bytes after the frame header) with
    // the byte and frame counts.
    static QByteArray vbriFrame(const FrameSpec& spec, quint32 frameCount, quint32 byteCount);
    // Audio of `count` frames, optionally led by a Xing frame counting them.
    static QByteArray audio(const FrameSpec& spec, int count, bool withXing = false);

    // ID3v1 fields; track > 0 makes a v1.1 trailer (comment cut to 28 bytes).
    struct Id3v1Fields
    {
        QByteArray title, artist, album, year, comment;
        int track = 0;
        int genre = 255;
    };
    // The 128-byte "TAG" trailer; longer fields are cut, shorter ones zero-padded.
    static QByteArray id3v1Trailer(const Id3v1Fields& fields);

    // 28-bit synch-safe encoding (four bytes of 7 bits, most significant first).
    static QByteArray synchSafe(quint32 value);
    // A ten-byte ID3v2 header: "ID3", major version, revision 0, flags, size.
    static QByteArray id3v2Header(int majorVersion, quint32 size, quint8 flags = 0,
                                  bool synchSafeSize = true);

    // Writes prefix + audio + trailer to `path` (folders made as needed).
    static bool writeFile(const QString& path, const QByteArray& prefix, const QByteArray& audioBytes,
                          const QByteArray& trailer = QByteArray());
    // Convenience: a file of `count` MPEG-1 Layer III 128 kbit/s 44.1 kHz frames.
    static bool writeSimpleMp3(const QString& path, int count, const QByteArray& prefix = QByteArray(),
                               const QByteArray& trailer = QByteArray());
};
