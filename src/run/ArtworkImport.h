#pragma once

#include "tags/ID3Image.h"

#include <QImage>
#include <QString>

#include <optional>

// A picture a user gives as artwork (a file dropped from the file manager,
// or image data without a file: a paste, a drag from a web browser) made
// into an embedded picture, or the reason it can't be one, in words. A JPEG
// or PNG file is embedded byte for byte, after it was decoded once to be sure
// it is whole; other files and image data are encoded as JPEG of quality 90.
// Pictures too large to be artwork are refused before they are decoded.
class ArtworkImport
{
public:
    // The largest file taken, in bytes.
    static constexpr qint64 kMaxFileBytes = 32LL * 1024 * 1024;
    static constexpr int kJpegQuality = 90;

    struct Result
    {
        std::optional<ID3Image> picture;
        // Why there is none, for the user.
        QString error;
    };

    static Result fromFile(const QString& path);
    // `name` stands for the picture in a reason ("The pasted picture").
    static Result fromImage(const QImage& image, const QString& name);

    // The picture's width and height without decoding it; invalid when its
    // bytes are not a picture.
    static QSize pixelSize(const QByteArray& data);
    // A picture's size, format and bytes in words: "600 × 600 pixels, JPEG,
    // 48 KB".
    static QString description(const ID3Image& picture);
};
