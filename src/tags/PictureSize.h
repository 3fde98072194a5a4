#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QSize>

#include <optional>

// The pixel size of an embedded picture without decoding it, exactly as
// QImageReader::size() answers it, but for the usual pictures from their
// header bytes alone: asking QImageReader loads every image format plugin of
// the system the first time and costs tens of microseconds per picture after
// that.
//
// JPEG (from its start and frame markers up to the first scan) and PNG (from
// its header chunk up to the first image data) are read here, together with
// the checks the decoders make before they tell a size: a picture they would
// refuse has no size here either. Anything else, and anything unusual in
// those two (arithmetic coding, precisions other than 8 bits, uncommon
// chunks, a marker out of place), is left to QImageReader.
class PictureSize
{
public:
    // The size, or an invalid size when the picture can't be read.
    static QSize of(const QByteArray& data);
    // What the header bytes settle: a size, an invalid size for a picture
    // the decoder refuses, or nothing when QImageReader has to tell.
    static std::optional<QSize> fromHeader(QByteArrayView data);
    // QImageReader's answer (tests compare the two).
    static QSize fromImageReader(const QByteArray& data);

private:
    static std::optional<QSize> fromJpeg(QByteArrayView data);
    static std::optional<QSize> fromPng(QByteArrayView data);
};
