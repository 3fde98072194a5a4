// The pixel size read from a picture's header must be what QImageReader
// tells, for sound pictures and damaged ones alike; the usual pictures must
// not need QImageReader at all.
#include "tags/PictureSize.h"

#include <QBuffer>
#include <QImage>
#include <QImageWriter>
#include <QtEndian>

#include <gtest/gtest.h>

#include <functional>
#include <zlib.h>

namespace {

QImage gradient(int width, int height, QImage::Format format)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, qRgb(x * 7 & 255, y * 5 & 255, (x ^ y) & 255));
    return image.convertToFormat(format);
}

QByteArray encoded(const QImage& image, const char* format,
                   const std::function<void(QImageWriter&)>& set = {})
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    if (set)
        set(writer);
    writer.write(image);
    return bytes;
}

QByteArray jpeg(int width = 60, int height = 40, QImage::Format format = QImage::Format_RGB32,
                const std::function<void(QImageWriter&)>& set = {})
{
    return encoded(gradient(width, height, format), "jpeg", set);
}

QByteArray png(QImage::Format format = QImage::Format_RGB32,
               const std::function<void(QImageWriter&)>& set = {})
{
    return encoded(gradient(30, 20, format), "png", set);
}

// Offset of the first JPEG marker `code` (its 0xFF byte).
qsizetype markerAt(const QByteArray& bytes, uchar code)
{
    for (qsizetype i = 2; i + 1 < bytes.size(); ++i) {
        if (uchar(bytes[i]) == 0xFF && uchar(bytes[i + 1]) == code)
            return i;
    }
    return -1;
}

QByteArray withByte(QByteArray bytes, qsizetype at, char value)
{
    bytes[at] = value;
    return bytes;
}

// Offset of the first PNG chunk named `name` (its length field).
qsizetype chunkAt(const QByteArray& bytes, const char* name)
{
    return bytes.indexOf(name) - 4;
}

QByteArray pngChunk(const char* name, const QByteArray& body)
{
    QByteArray chunk(4, '\0');
    qToBigEndian<quint32>(quint32(body.size()), chunk.data());
    chunk += QByteArray(name, 4) + body;
    const uLong crc = crc32(crc32(0L, Z_NULL, 0), reinterpret_cast<const Bytef*>(chunk.constData() + 4),
                            uInt(body.size() + 4));
    QByteArray tail(4, '\0');
    qToBigEndian<quint32>(quint32(crc), tail.data());
    return chunk + tail;
}

// The PNG with its header's width replaced (the chunk's CRC made to match).
QByteArray pngWithWidth(quint32 width)
{
    QByteArray bytes = png();
    const qsizetype ihdr = chunkAt(bytes, "IHDR");
    QByteArray body = bytes.mid(ihdr + 8, 13);
    qToBigEndian<quint32>(width, body.data());
    return bytes.left(ihdr) + pngChunk("IHDR", body) + bytes.mid(ihdr + 25);
}

QByteArray insertedBefore(const QByteArray& bytes, qsizetype at, const QByteArray& inserted)
{
    return bytes.left(at) + inserted + bytes.mid(at);
}

struct Row
{
    const char* name;
    QByteArray bytes;
    bool fromHeader; // settled without QImageReader
};

} // namespace

TEST(PictureSize, HeaderSizeIsWhatTheImageReaderTells)
{
    const QByteArray plain = jpeg();
    const qsizetype sof = markerAt(plain, 0xC0);
    const qsizetype sos = markerAt(plain, 0xDA);
    const qsizetype dqt = markerAt(plain, 0xDB);
    ASSERT_GT(sof, 0);
    ASSERT_GT(sos, sof);
    ASSERT_GT(dqt, 0);
    // Exif with the orientation "turned right" (6).
    const QByteArray exif = QByteArray::fromHex("FFE10022") + QByteArray("Exif\0\0", 6) +
                            QByteArray::fromHex("4D4D002A00000008000101120003000000010006000000000000");
    const QByteArray rgb = png();
    const QByteArray indexed = png(QImage::Format_Indexed8);
    const qsizetype idat = chunkAt(rgb, "IDAT");
    const qsizetype plte = chunkAt(indexed, "PLTE");
    ASSERT_GT(idat, 0);
    ASSERT_GT(plte, 0);
    const quint32 plteLength = qFromBigEndian<quint32>(indexed.constData() + plte);
    QByteArray fakeJpeg = QByteArray::fromHex("FFD8FFE000104A46494600010100000100010000");
    for (int i = 0; fakeJpeg.size() < 5000; ++i)
        fakeJpeg += char((i * 31 + 5) & 0x7F);
    fakeJpeg += QByteArray::fromHex("FFD9");

    const Row rows[] = {
        {"JPEG baseline", jpeg(600, 400), true},
        {"JPEG grey", jpeg(31, 17, QImage::Format_Grayscale8), true},
        {"JPEG progressive",
         jpeg(64, 48, QImage::Format_RGB32, [](QImageWriter& w) { w.setProgressiveScanWrite(true); }), true},
        {"JPEG optimised tables",
         jpeg(64, 48, QImage::Format_RGB32, [](QImageWriter& w) { w.setOptimizedWrite(true); }), true},
        {"JPEG with a comment",
         jpeg(60, 40, QImage::Format_RGB32,
              [](QImageWriter& w) { w.setText(QStringLiteral("Description"), QStringLiteral("cover")); }),
         true},
        {"JPEG with Exif, turned", insertedBefore(plain, 2, exif), true},
        {"JPEG with bytes and fill between segments",
         insertedBefore(plain, sof, QByteArray::fromHex("0011FF00FFFF")), true},
        {"JPEG cut after the frame header", plain.left(sos), true},
        {"JPEG cut in the scan header", plain.left(sos + 6), false},
        {"JPEG cut in the scan data", plain.left(sos + 40), true},
        {"JPEG cut after its start", plain.left(2), true},
        {"JPEG ending before a scan", QByteArray::fromHex("FFD8FFD9"), true},
        {"JPEG-looking noise", fakeJpeg, true},
        {"JPEG arithmetic coded", withByte(plain, sof + 1, char(0xC9)), false},
        {"JPEG of 12-bit samples", withByte(plain, sof + 4, 12), false},
        {"JPEG of no width", withByte(withByte(plain, sof + 7, 0), sof + 8, 0), false},
        {"JPEG scan of an unknown component", withByte(plain, sos + 5, 9), false},
        {"JPEG quantisation table 5", withByte(plain, dqt + 4, 5), false},
        {"JPEG segment of length 1", withByte(withByte(plain, dqt + 2, 0), dqt + 3, 1), false},
        {"PNG", rgb, true},
        {"PNG with alpha", png(QImage::Format_ARGB32), true},
        {"PNG with a palette", indexed, true},
        {"PNG of 16-bit grey", png(QImage::Format_Grayscale16), true},
        {"PNG with text",
         png(QImage::Format_RGB32,
             [](QImageWriter& w) { w.setText(QStringLiteral("Title"), QStringLiteral("cover")); }),
         true},
        {"PNG with a chunk of its own", insertedBefore(rgb, idat, pngChunk("quIl", "beat")), false},
        {"PNG with a damaged header",
         withByte(rgb, chunkAt(rgb, "IHDR") + 24, char(rgb[chunkAt(rgb, "IHDR") + 24] ^ 0x55)), false},
        {"PNG cut before its image data", rgb.left(idat), true},
        {"PNG cut in its image data", rgb.left(idat + 20), true},
        {"PNG of a palette image without palette",
         indexed.left(plte) + indexed.mid(plte + 12 + qsizetype(plteLength)), false},
        {"PNG chunk named in digits", insertedBefore(rgb, idat, pngChunk("1234", "x")), false},
        {"PNG of no width", pngWithWidth(0), false},
        {"PNG signature only", rgb.left(8), true},
        {"BMP", encoded(gradient(20, 10, QImage::Format_RGB32), "bmp"), false},
        {"nothing", QByteArray(), false},
    };
    for (const Row& row : rows) {
        const QSize reader = PictureSize::fromImageReader(row.bytes);
        EXPECT_EQ(PictureSize::of(row.bytes), reader) << row.name;
        EXPECT_EQ(PictureSize::fromHeader(row.bytes).has_value(), row.fromHeader) << row.name;
    }
    EXPECT_EQ(PictureSize::of(jpeg(600, 400)), QSize(600, 400));
    EXPECT_EQ(PictureSize::of(png(QImage::Format_Indexed8)), QSize(30, 20));
}
