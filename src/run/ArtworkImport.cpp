#include "ArtworkImport.h"

#include "support/LocalizedStrings.h"
#include "web/ArtworkFitter.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QPainter>

namespace {

// The decoded size of a picture checked to be whole: no larger than this.
constexpr int kCheckSide = 512;
// A whole JPEG file ends with its end-of-image marker, at most followed by
// this much padding.
constexpr qsizetype kJpegTrailer = 4096;

QString tooLarge(const QString& name, const QSize& size)
{
    return LocalizedStrings::format(QStringLiteral("ArtworkTooLarge"), name, size.width(), size.height(),
                                    ArtworkFitter::MaximumPixels / 1000000);
}

bool isTooLarge(const QSize& size)
{
    return qint64(size.width()) * size.height() > ArtworkFitter::MaximumPixels;
}

bool jpegIsWhole(const QByteArray& data)
{
    const qsizetype end = data.lastIndexOf(QByteArrayLiteral("\xFF\xD9"));
    return end >= 2 && data.size() - end - 2 <= kJpegTrailer;
}

ArtworkImport::Result failure(const QString& error)
{
    return {std::nullopt, error};
}

} // namespace

QSize ArtworkImport::pixelSize(const QByteArray& data)
{
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    return QImageReader(&buffer).size();
}

ArtworkImport::Result ArtworkImport::fromFile(const QString& path)
{
    const QFileInfo info(path);
    const QString name = info.fileName();
    if (!info.isFile())
        return failure(LocalizedStrings::format(QStringLiteral("ArtworkNotAFile"), name));
    if (info.size() > kMaxFileBytes)
        return failure(LocalizedStrings::format(QStringLiteral("ArtworkFileTooLarge"), name,
                                                info.size() / (1024 * 1024), kMaxFileBytes / (1024 * 1024)));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return failure(
            LocalizedStrings::format(QStringLiteral("ArtworkUnreadable"), name, file.errorString()));
    const QByteArray data = file.read(kMaxFileBytes + 1);
    if (file.error() != QFileDevice::NoError || data.size() > kMaxFileBytes)
        return failure(
            LocalizedStrings::format(QStringLiteral("ArtworkUnreadable"), name, file.errorString()));

    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    const QByteArray format = reader.format();
    const QSize size = reader.size();
    if (format.isEmpty())
        return failure(LocalizedStrings::format(QStringLiteral("ArtworkNotAPicture"), name));
    if (!size.isValid())
        return failure(
            LocalizedStrings::format(QStringLiteral("ArtworkDamaged"), name, reader.errorString()));
    if (isTooLarge(size))
        return failure(tooLarge(name, size));
    const bool jpeg = format == "jpeg" || format == "jpg";
    const bool keptAsItIs = jpeg || format == "png";
    // Decoded once to be sure it is whole; a JPEG or PNG only at a small size.
    if (keptAsItIs)
        reader.setScaledSize(
            size.scaled(kCheckSide, kCheckSide, Qt::KeepAspectRatio).expandedTo(QSize(1, 1)));
    const QImage image = reader.read();
    if (image.isNull() || (jpeg && !jpegIsWhole(data)))
        return failure(LocalizedStrings::format(
            QStringLiteral("ArtworkDamaged"), name,
            image.isNull() ? reader.errorString()
                           : LocalizedStrings::text(QStringLiteral("ArtworkCutShort"))));
    if (!keptAsItIs)
        return fromImage(image, name);
    return {ID3Image(data, jpeg ? QStringLiteral("image/jpeg") : QStringLiteral("image/png")), QString()};
}

ArtworkImport::Result ArtworkImport::fromImage(const QImage& image, const QString& name)
{
    if (image.isNull())
        return failure(LocalizedStrings::format(QStringLiteral("ArtworkNotAPicture"), name));
    if (isTooLarge(image.size()))
        return failure(tooLarge(name, image.size()));
    // JPEG has no transparency: what is transparent becomes white.
    QImage flat(image.size(), QImage::Format_RGB32);
    flat.fill(Qt::white);
    {
        QPainter painter(&flat);
        painter.drawImage(0, 0, image);
    }
    QString error;
    const QByteArray data = ArtworkFitter::jpegOf(flat, kJpegQuality, &error);
    if (data.isEmpty())
        return failure(LocalizedStrings::format(QStringLiteral("ArtworkNotEncoded"), name, error));
    return {ID3Image(data, QStringLiteral("image/jpeg")), QString()};
}

QString ArtworkImport::description(const ID3Image& picture)
{
    const QSize size = pixelSize(picture.imageData());
    const qint64 bytes = picture.imageData().size();
    const QString amount =
        bytes < 1024 ? LocalizedStrings::count(QStringLiteral("CountBytes"), bytes)
                     : LocalizedStrings::format(QStringLiteral("ArtworkKilobytes"), (bytes + 512) / 1024);
    const QString format = picture.filenameSuffix().isEmpty()
                               ? LocalizedStrings::text(QStringLiteral("ArtworkUnknownFormat"))
                               : picture.filenameSuffix();
    if (!size.isValid())
        return LocalizedStrings::format(QStringLiteral("ArtworkDescriptionNoSize"), format, amount);
    return LocalizedStrings::format(QStringLiteral("ArtworkDescription"), size.width(), size.height(), format,
                                    amount);
}
