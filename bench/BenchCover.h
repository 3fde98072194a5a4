#pragma once

// The cover picture of the generated benchmark corpora: a real JPEG of
// 600x600 pixels, about 100 KB, so that the readers meet what a tagged
// collection holds (pixel sizes included).

#include <QBuffer>
#include <QByteArray>
#include <QImage>
#include <QImageWriter>

namespace BenchCover {

// A noisy gradient compresses poorly enough that a modest size reaches
// `target` bytes; null when no JPEG writer is available.
inline QByteArray makeJpeg(int target = 100 * 1024)
{
    QImage image(600, 600, QImage::Format_RGB32);
    quint32 state = 12345;
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            state = state * 1664525u + 1013904223u;
            const int noise = int(state >> 27);
            line[x] = qRgb((x + noise) & 255, (y * 2 + noise) & 255, ((x ^ y) + noise) & 255);
        }
    }
    QByteArray best;
    for (int quality = 95; quality >= 5; quality -= 5) {
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        QImageWriter writer(&buffer, "jpeg");
        writer.setQuality(quality);
        if (!writer.write(image))
            return QByteArray();
        best = bytes;
        if (bytes.size() <= target)
            break;
    }
    return best;
}

} // namespace BenchCover
