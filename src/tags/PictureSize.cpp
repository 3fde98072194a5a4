#include "PictureSize.h"

#include <QBuffer>
#include <QImageReader>
#include <QtEndian>

#include <zlib.h>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace {

// The JPEG decoder's limits: 8-bit samples, at most 65500 pixels a side,
// sampling factors 1 to 4, at most 4 components in a scan.
constexpr int kJpegMaxDimension = 65500;
constexpr int kJpegMaxScanComponents = 4;
// The PNG decoder's default limits: 1,000,000 pixels a side, 8,000,000
// bytes in a chunk (more only for image data the size calls for).
constexpr quint32 kPngMaxDimension = 1000000;
constexpr quint32 kPngMaxChunk = 8000000;
// Ancillary chunks are taken up to this length; longer ones are left to the
// decoder.
constexpr quint32 kPngMaxAncillary = 1 << 20;

quint16 be16(const uchar* b)
{
    return static_cast<quint16>((b[0] << 8) | b[1]);
}

quint32 be32(const uchar* b)
{
    return qFromBigEndian<quint32>(b);
}

// Which JPEG markers may stand between the start of the image and its first
// scan without the decoder doing anything but read them.
enum class JpegMarker
{
    Other = 0,
    Frame = 1,   // SOF0, SOF1, SOF2: Huffman-coded, baseline to progressive
    Tables = 2,  // DQT, DHT, DRI
    Skipped = 3, // APP0 to APP15, COM
    Scan = 4,    // SOS
    End = 5      // EOI
};

JpegMarker kindOf(uchar marker)
{
    if (marker == 0xC0 || marker == 0xC1 || marker == 0xC2)
        return JpegMarker::Frame;
    if (marker == 0xC4 || marker == 0xDB || marker == 0xDD)
        return JpegMarker::Tables;
    if ((marker >= 0xE0 && marker <= 0xEF) || marker == 0xFE)
        return JpegMarker::Skipped;
    if (marker == 0xDA)
        return JpegMarker::Scan;
    if (marker == 0xD9)
        return JpegMarker::End;
    return JpegMarker::Other;
}

// A quantisation table segment (after its length): tables of 64 one-byte
// or two-byte entries for table numbers 0 to 3, filling it exactly.
bool quantisationTablesFit(const uchar* b, qsizetype length)
{
    qsizetype at = 0;
    while (at < length) {
        const int precision = b[at] >> 4;
        if ((b[at] & 0x0F) >= 4 || precision > 1)
            return false;
        at += 1 + 64 * (precision + 1);
    }
    return at == length;
}

// A Huffman table segment (after its length): class 0 or 1, tables 0 to 3,
// at most 256 codes each, filling it exactly.
bool huffmanTablesFit(const uchar* b, qsizetype length)
{
    qsizetype at = 0;
    while (length - at > 16) {
        const int index = b[at];
        int count = 0;
        for (int i = 1; i <= 16; ++i)
            count += b[at + i];
        at += 17;
        if (count > 256 || count > length - at || (index & ~0x13) != 0)
            return false;
        at += count;
    }
    return at == length;
}

bool isPngChunkName(const uchar* b)
{
    return std::all_of(b, b + 4, [](uchar c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); });
}

bool pngCrcMatches(const uchar* chunk, quint32 length)
{
    const uLong crc = crc32(crc32(0L, Z_NULL, 0), chunk + 4, static_cast<uInt>(length + 4));
    return static_cast<quint32>(crc) == be32(chunk + 8 + length);
}

// The ancillary chunks the PNG decoder reads without ever refusing the
// picture over them (damage in them is only warned about).
bool isHarmlessAncillary(const uchar* name)
{
    static const char* const names[] = {"bKGD", "cHRM", "eXIf", "gAMA", "hIST", "iCCP",
                                        "iTXt", "oFFs", "pCAL", "pHYs", "sBIT", "sCAL",
                                        "sPLT", "sRGB", "tEXt", "tIME", "tRNS", "zTXt"};
    return std::any_of(std::begin(names), std::end(names),
                       [name](const char* known) { return std::equal(name, name + 4, known); });
}

bool isValidPngHeader(quint32 width, quint32 height, int depth, int colour, const uchar* methods)
{
    if (width == 0 || height == 0 || width > kPngMaxDimension || height > kPngMaxDimension)
        return false;
    if (depth != 1 && depth != 2 && depth != 4 && depth != 8 && depth != 16)
        return false;
    if (colour == 1 || colour == 5 || colour > 6)
        return false;
    if ((colour == 3 && depth > 8) || ((colour == 2 || colour == 4 || colour == 6) && depth < 8))
        return false;
    // Compression and filter method 0, interlace none or Adam7.
    return methods[0] == 0 && methods[1] == 0 && methods[2] <= 1;
}

} // namespace

QSize PictureSize::of(const QByteArray& data)
{
    if (const std::optional<QSize> size = fromHeader(data))
        return *size;
    return fromImageReader(data);
}

QSize PictureSize::fromImageReader(const QByteArray& data)
{
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    return reader.size();
}

std::optional<QSize> PictureSize::fromHeader(QByteArrayView data)
{
    static const char pngSignature[] = "\x89PNG\r\n\x1a\n";
    if (data.size() >= 2 && static_cast<uchar>(data[0]) == 0xFF && static_cast<uchar>(data[1]) == 0xD8)
        return fromJpeg(data);
    if (data.startsWith(QByteArrayView(pngSignature, 8)))
        return fromPng(data);
    return std::nullopt;
}

// The decoder reads markers from the start of the image to the first scan.
// Bytes before a marker that are not 0xFF, fill bytes 0xFF and stuffed zeros
// are skipped. When the bytes end first, the decoder meets the end of the
// image it then supplies itself: no picture. The size is the frame's once
// the scan header names its components.
std::optional<QSize> PictureSize::fromJpeg(QByteArrayView data)
{
    const auto* b = reinterpret_cast<const uchar*>(data.data());
    const qsizetype n = data.size();
    const QSize none;
    qsizetype at = 2;
    QSize frame;
    int components = 0;
    uchar ids[kJpegMaxScanComponents] = {};
    for (;;) {
        uchar marker = 0;
        while (marker == 0) {
            while (at < n && b[at] != 0xFF)
                ++at;
            while (at < n && b[at] == 0xFF)
                ++at;
            if (at >= n)
                return none;
            marker = b[at++];
        }
        const JpegMarker kind = kindOf(marker);
        if (kind == JpegMarker::End)
            return none;
        if (kind == JpegMarker::Other)
            return std::nullopt;
        if (n - at < 2)
            return none;
        const qsizetype length = be16(b + at);
        if (length < 2)
            return std::nullopt;
        if (n - at < length)
            return kind == JpegMarker::Scan ? std::nullopt : std::optional<QSize>(none);
        const uchar* segment = b + at + 2;
        const qsizetype body = length - 2;
        switch (kind) {
        case JpegMarker::Frame: {
            if (frame.isValid() || body < 6)
                return std::nullopt;
            const int height = be16(segment + 1);
            const int width = be16(segment + 3);
            components = segment[5];
            if (segment[0] != 8 || body != 6 + 3 * components || components < 1 ||
                components > kJpegMaxScanComponents || width < 1 || height < 1 || width > kJpegMaxDimension ||
                height > kJpegMaxDimension)
                return std::nullopt;
            for (int c = 0; c < components; ++c) {
                const uchar sampling = segment[6 + 3 * c + 1];
                if ((sampling >> 4) < 1 || (sampling >> 4) > 4 || (sampling & 15) < 1 || (sampling & 15) > 4)
                    return std::nullopt;
                ids[c] = segment[6 + 3 * c];
            }
            frame = QSize(width, height);
            break;
        }
        case JpegMarker::Tables:
            if ((marker == 0xDB && !quantisationTablesFit(segment, body)) ||
                (marker == 0xC4 && !huffmanTablesFit(segment, body)) || (marker == 0xDD && length != 4))
                return std::nullopt;
            break;
        case JpegMarker::Scan: {
            const int count = body >= 1 ? segment[0] : 0;
            if (!frame.isValid() || count < 1 || count > kJpegMaxScanComponents || body != 4 + 2 * count)
                return std::nullopt;
            bool used[kJpegMaxScanComponents] = {};
            for (int i = 0; i < count; ++i) {
                const uchar id = segment[1 + 2 * i];
                int found = -1;
                for (int c = 0; c < components && found < 0; ++c) {
                    if (ids[c] == id && !used[c])
                        found = c;
                }
                if (found < 0)
                    return std::nullopt;
                used[found] = true;
            }
            return frame;
        }
        default:
            break;
        }
        at += length;
    }
}

// The decoder reads the signature, the header chunk (13 bytes, checked by
// its CRC and its values) and every chunk up to the first image data, each
// whole with its CRC; when the bytes end first there is no picture.
std::optional<QSize> PictureSize::fromPng(QByteArrayView data)
{
    const auto* b = reinterpret_cast<const uchar*>(data.data());
    const qsizetype n = data.size();
    const QSize none;
    qsizetype at = 8;
    if (n - at < 8)
        return none;
    if (be32(b + at) != 13 || std::string_view(reinterpret_cast<const char*>(b + at + 4), 4) != "IHDR")
        return std::nullopt;
    if (n - at < 8 + 13 + 4)
        return none;
    const uchar* header = b + at + 8;
    const quint32 width = be32(header);
    const quint32 height = be32(header + 4);
    const int colour = header[9];
    if (!pngCrcMatches(b + at, 13) || !isValidPngHeader(width, height, header[8], colour, header + 10))
        return std::nullopt;
    at += 8 + 13 + 4;
    bool palette = false;
    for (;;) {
        if (n - at < 8)
            return none;
        const quint32 length = be32(b + at);
        const uchar* name = b + at + 4;
        if (length > 0x7FFFFFFFu || !isPngChunkName(name))
            return std::nullopt;
        const std::string_view chunk(reinterpret_cast<const char*>(name), 4);
        if (chunk == "IDAT") {
            if ((colour == 3 && !palette) || length > kPngMaxChunk)
                return std::nullopt;
            return QSize(static_cast<int>(width), static_cast<int>(height));
        }
        if (n - at < 12 + qsizetype(length))
            return none;
        if (chunk == "PLTE") {
            if (colour != 3 || palette || length == 0 || length > 768 || length % 3 != 0 ||
                !pngCrcMatches(b + at, length))
                return std::nullopt;
            palette = true;
        } else if (!isHarmlessAncillary(name) || length > kPngMaxAncillary) {
            return std::nullopt;
        }
        at += 12 + qsizetype(length);
    }
}
