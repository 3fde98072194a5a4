// Feeds arbitrary bytes to the MPEG frame scan that stands in when the quick
// header search finds nothing: the first two bytes choose where the audio
// starts, the rest is the file.
#include "tags/MP3FrameScanner.h"

#include <QBuffer>
#include <QByteArray>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    QByteArray file(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const qint64 start = size >= 2 ? ((qint64(data[0]) << 8) | data[1]) : 0;
    QBuffer device(&file);
    device.open(QIODevice::ReadOnly);
    if (const auto scanned = MP3FrameScanner::scan(device, start, file.size()))
        (void)(scanned->seconds + scanned->bitRate);
    (void)MP3FrameScanner::scan(device, 0, file.size() - 128);
    return 0;
}
