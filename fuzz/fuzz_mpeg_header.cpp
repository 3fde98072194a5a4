// Feeds arbitrary bytes to the MPEG frame search: once as a raw buffer, once
// as a whole file behind a tag length taken from the first bytes.
#include "tags/MP3Header.h"

#include <QBuffer>
#include <QByteArray>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));

    MP3Header raw;
    raw.setBuffer(bytes, 0, bytes.size());
    if (raw.findHeader()) {
        (void)raw.getHash();
        (void)raw.getEncodingString();
        (void)raw.getSecondsString();
        (void)raw.getFrequencyString();
    }

    // The first two bytes choose the tag length; the file is padded up to the
    // minimum length so that the search itself runs.
    const qint64 tagLength = size >= 2 ? ((qint64(data[0]) << 8) | data[1]) : 0;
    QByteArray file = bytes;
    if (file.size() < tagLength + 2 * MP3Header::kBufferSize)
        file.append(QByteArray(tagLength + 2 * MP3Header::kBufferSize - file.size(), '\0'));
    QBuffer device(&file);
    device.open(QIODevice::ReadOnly);
    MP3Header header;
    if (header.openDevice(device, tagLength, QStringLiteral("fuzz"))) {
        (void)header.getHash();
        (void)header.getEncodingString();
    }
    return 0;
}
