// Feeds arbitrary bytes to the ID3 reader: as a whole file (ID3v2 tag, ID3v1
// block, first MPEG frame), as a bare ID3v2 tag and to the picture and string
// readers. A tag that was read is written out again and the result re-read.
#include "support/WMLog.h"
#include "tags/ID3Image.h"
#include "tags/ID3TextCodec.h"
#include "tags/MP3InfoTag.h"
#include "tags/SongFileDevice.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const bool quiet = [] {
        WMLogSetLocation(QStringLiteral("/dev/null"));
        return true;
    }();
    (void)quiet;
    QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));

    // Half of the runs keep damaged frames, half drop them.
    AudioInfoTag::setShouldDiscardMalformedInfo(size > 0 && (data[0] & 1));
    AudioInfoTag::setShouldDiscardUnrecognizedInfo(size > 0 && (data[0] & 2));

    SongFileDevice device(bytes, QStringLiteral("fuzz"));
    device.open(QIODevice::ReadOnly);
    MP3InfoTag tag;
    if (tag.initWithFile(device)) {
        (void)tag.title();
        (void)tag.lyrics();
        (void)tag.images();
        (void)tag.dataForID3v11();
        (void)tag.dataForID3v22();
        QByteArray written = tag.dataForID3V23orV24(size > 1 && (data[1] & 1));
        MP3InfoTag reread;
        try {
            reread.getAttributesFromID3v2(written);
        } catch (const std::exception&) {
        }
    }

    MP3InfoTag bare;
    try {
        bare.getAttributesFromID3v2(bytes);
    } catch (const std::exception&) {
    }

    (void)ID3Image::imageWithID3v22Frame(bytes);
    (void)ID3Image::imageWithID3v23Frame(bytes);
    (void)ID3TextCodec::id3v23StringsIn(bytes, 0, bytes.size());
    (void)ID3TextCodec::textBlockIn(bytes, 0, bytes.size());
    qsizetype consumed = bytes.size();
    (void)ID3TextCodec::id3v23StringIn(bytes, 1, size > 0 ? data[0] & 3 : 0, &consumed);
    (void)ID3TextCodec::id3v22StringIn(bytes, 1, size > 0 ? data[0] & 1 : 0, bytes.size());
    return 0;
}
