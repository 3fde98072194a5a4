#pragma once

#include <QByteArray>
#include <QString>

class QImage;

#include <optional>

// Fits downloaded artwork to the size rules of a lookup: refuses pictures
// that are too narrow (or, when asked, too far from square), passes small
// enough pictures through untouched and scales larger ones onto a black
// square-or-proportional canvas, re-encoded as JPEG with falling quality
// until the result is smaller than what was downloaded.
class ArtworkFitter
{
public:
    struct Result
    {
        QByteArray data;
        // True when `data` is a new JPEG, false when it is the input as it was.
        bool reencoded = false;
    };

    // None when the bytes are no picture, narrower than `minWidth`, or
    // (without `allowNonSquare`) of an aspect ratio outside 0.8 to 1.3.
    static std::optional<Result> adjustedImage(const QByteArray& bytes, double minWidth, double maxWidth,
                                               bool allowNonSquare);

    // The image as JPEG of `quality` (0 to 100); empty when it could not be
    // encoded, with the encoder's reason in `error` when given.
    static QByteArray jpegOf(const QImage& image, int quality, QString* error = nullptr);

    // Pictures with more pixels than this are refused before decoding: a
    // hostile answer must not make us allocate gigabytes.
    static constexpr qint64 MaximumPixels = 64LL * 1024 * 1024;
};
