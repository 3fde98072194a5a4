// Pictures a user gives as artwork: JPEG and PNG files are embedded byte for
// byte, other files and image data without a file as JPEG; what is not a
// picture, is damaged or too large is refused with the reason in words.
#include "LoadTestFiles.h"
#include "TestSupport.h"

#include "run/ArtworkImport.h"
#include "support/LocalizedStrings.h"

#include <QImage>

#include <gtest/gtest.h>

namespace {

QByteArray encoded(const char* format, const QSize& size = QSize(120, 90))
{
    return LoadTestFiles::picture(format, QColor(40, 90, 200), size);
}

// The headers of a BMP picture of the given size, without its pixels.
QByteArray bmpHeaderOnly(qint32 width, qint32 height)
{
    QByteArray data(54, '\0');
    const auto put32 = [&data](int at, quint32 value) {
        for (int i = 0; i < 4; ++i)
            data[at + i] = char((value >> (8 * i)) & 0xff);
    };
    data[0] = 'B';
    data[1] = 'M';
    put32(2, 54 + 1024);
    put32(10, 54);
    put32(14, 40);
    put32(18, quint32(width));
    put32(22, quint32(height));
    data[26] = 1;  // planes
    data[28] = 24; // bits per pixel
    return data + QByteArray(1024, '\x40');
}

QString write(const QString& name, const QByteArray& data)
{
    const QString path =
        LoadTestFiles::freshFolder(QStringLiteral("artwork-") + name) + QLatin1Char('/') + name;
    return TestSupport::writeFile(path, data) ? path : QString();
}

} // namespace

TEST(ArtworkImport, JpegAndPngFilesAreKeptByteForByteOthersBecomeJpeg)
{
    struct Row
    {
        const char* name;
        QByteArray data;
        const char* mime;
        bool verbatim;
    };
    const Row rows[] = {
        {"cover.jpg", encoded("jpeg"), "image/jpeg", true},
        {"cover.png", encoded("png"), "image/png", true},
        {"cover.bmp", encoded("bmp"), "image/jpeg", false},
    };
    for (const Row& row : rows) {
        const ArtworkImport::Result result =
            ArtworkImport::fromFile(write(QLatin1String(row.name), row.data));
        ASSERT_TRUE(result.picture) << row.name << ": " << result.error.toStdString();
        EXPECT_EQ(result.picture->mimeFormat(), QLatin1String(row.mime)) << row.name;
        EXPECT_EQ(result.picture->imageData() == row.data, row.verbatim) << row.name;
        EXPECT_EQ(ArtworkImport::pixelSize(result.picture->imageData()), QSize(120, 90)) << row.name;
    }
    // Image data without a file (a paste) becomes a JPEG, transparency white.
    QImage pasted(40, 30, QImage::Format_ARGB32);
    pasted.fill(Qt::transparent);
    const ArtworkImport::Result result =
        ArtworkImport::fromImage(pasted, QStringLiteral("The pasted picture"));
    ASSERT_TRUE(result.picture);
    EXPECT_EQ(result.picture->mimeFormat(), QStringLiteral("image/jpeg"));
    const QImage back = QImage::fromData(result.picture->imageData());
    EXPECT_EQ(back.size(), QSize(40, 30));
    EXPECT_GT(qGray(back.pixel(20, 15)), 240);
    EXPECT_EQ(ArtworkImport::description(*result.picture).left(18), QStringLiteral("40 × 30 pixels, JP"));
}

TEST(ArtworkImport, WhatIsNoUsablePictureIsRefusedWithItsReason)
{
    const QByteArray jpeg = encoded("jpeg", QSize(400, 300));
    const QByteArray png = encoded("png", QSize(400, 300));
    struct Row
    {
        const char* name;
        QByteArray data;
        QString error;
    };
    const Row rows[] = {
        {"notes.txt", QByteArray("These are not the pictures you are looking for.\n").repeated(20),
         LocalizedStrings::format(QStringLiteral("ArtworkNotAPicture"), QStringLiteral("notes.txt"))},
        {"huge.bmp", bmpHeaderOnly(20000, 10000),
         LocalizedStrings::format(QStringLiteral("ArtworkTooLarge"), QStringLiteral("huge.bmp"), 20000, 10000,
                                  67)},
        {"cut.jpg", jpeg.left(jpeg.size() / 2), QString()},
        {"cut.png", png.left(png.size() / 2), QString()},
    };
    for (const Row& row : rows) {
        const ArtworkImport::Result result =
            ArtworkImport::fromFile(write(QLatin1String(row.name), row.data));
        EXPECT_FALSE(result.picture) << row.name;
        if (!row.error.isEmpty())
            EXPECT_EQ(result.error, row.error) << row.name;
        else
            EXPECT_TRUE(result.error.startsWith(LocalizedStrings::format(QStringLiteral("ArtworkDamaged"),
                                                                         QLatin1String(row.name), QString())))
                << row.name << ": " << result.error.toStdString();
    }
    EXPECT_FALSE(
        ArtworkImport::fromFile(LoadTestFiles::freshFolder(QStringLiteral("artwork-folder"))).picture);
}
