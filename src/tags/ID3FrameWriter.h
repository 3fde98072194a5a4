#pragma once

#include <QByteArray>

class MP3InfoTag;

// Lays out a whole ID3v2 tag (header and frames, no padding, no extended
// header, no unsynchronisation) from an MP3InfoTag's frame lists. Frames the
// reader kept as raw bytes are written back unchanged. An empty result means
// the tag cannot be written (a size beyond what the format can say).
class ID3FrameWriter
{
public:
    static QByteArray dataForID3v22(const MP3InfoTag& tag);
    // v2.3 or v2.4; frame sizes sync-safe only for v2.4 with synchSafeSizes.
    static QByteArray dataForID3v2x(const MP3InfoTag& tag, bool v24, bool synchSafeSizes);
};
