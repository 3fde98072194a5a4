#include "web/ArtworkFitter.h"

#include <QBuffer>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>
#include <QPainter>

#include <cmath>

std::optional<ArtworkFitter::Result> ArtworkFitter::adjustedImage(const QByteArray& bytes, double minWidth,
                                                                  double maxWidth, bool allowNonSquare)
{
    if (bytes.isEmpty())
        return std::nullopt;
    QBuffer source;
    source.setData(bytes);
    source.open(QIODevice::ReadOnly);
    QImageReader reader(&source);
    const QSize announced = reader.size();
    if (announced.isValid() && qint64(announced.width()) * announced.height() > MaximumPixels)
        return std::nullopt;
    const QImage image = reader.read();
    if (image.isNull() || image.height() <= 0)
        return std::nullopt;

    const int width = image.width();
    const int height = image.height();
    if (width < minWidth)
        return std::nullopt;
    if (!allowNonSquare) {
        const double ratio = double(width) / double(height);
        if (ratio < 0.8 || ratio > 1.3)
            return std::nullopt;
    }
    if (width <= maxWidth && height <= maxWidth)
        return Result{bytes, false};

    // The longer side becomes the largest width, the other keeps the proportion.
    const int limit = std::max(1, int(maxWidth));
    QSize target;
    if (width >= height)
        target = QSize(limit, std::max(1, int(std::lround(double(height) * limit / width))));
    else
        target = QSize(std::max(1, int(std::lround(double(width) * limit / height))), limit);

    QImage canvas(target, QImage::Format_RGB32);
    canvas.fill(Qt::black);
    {
        QPainter painter(&canvas);
        painter.setRenderHint(QPainter::SmoothPixmapTransform, true);
        painter.drawImage(QRect(QPoint(0, 0), target), image);
    }

    // Quality 80 first; lower by 5 while the JPEG is still larger than the
    // download, down to about 20 (at most 13 encodings).
    int quality = 80;
    QByteArray jpeg = jpegOf(canvas, quality);
    while (!jpeg.isEmpty() && jpeg.size() > bytes.size() && quality > 20) {
        quality -= 5;
        jpeg = jpegOf(canvas, quality);
    }
    if (!jpeg.isEmpty() && jpeg.size() < bytes.size())
        return Result{jpeg, true};
    return Result{bytes, false};
}

QByteArray ArtworkFitter::jpegOf(const QImage& image, int quality, QString* error)
{
    QByteArray out;
    QBuffer buffer(&out);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(quality);
    if (!writer.write(image)) {
        if (error)
            *error = writer.errorString();
        return {};
    }
    return out;
}
