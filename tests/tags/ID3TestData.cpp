#include "ID3TestData.h"

#include "Mp4TestFiles.h"
#include "MpegTestFiles.h"
#include "TestSupport.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>

QByteArray ID3TestData::bigEndian32(quint32 value)
{
    QByteArray b(4, '\0');
    for (int i = 0; i < 4; ++i)
        b[i] = static_cast<char>((value >> (24 - 8 * i)) & 0xff);
    return b;
}

QByteArray ID3TestData::frame(const char* id, const QByteArray& body, bool synchSafeSize, quint8 flags2)
{
    QByteArray f(id, 4);
    f += synchSafeSize ? MpegTestFiles::synchSafe(static_cast<quint32>(body.size()))
                       : bigEndian32(static_cast<quint32>(body.size()));
    f += '\0';
    f += static_cast<char>(flags2);
    return f + body;
}

QByteArray ID3TestData::textBody(const QString& text, int encoding)
{
    QByteArray body(1, static_cast<char>(encoding));
    if (encoding == 0) {
        body += text.toLatin1();
    } else {
        body += "\xff\xfe";
        for (const QChar c : text) {
            body += static_cast<char>(c.unicode() & 0xff);
            body += static_cast<char>(c.unicode() >> 8);
        }
    }
    return body;
}

QByteArray ID3TestData::frame22(const char* id, const QByteArray& body)
{
    QByteArray f(id, 3);
    const auto size = static_cast<quint32>(body.size());
    f += static_cast<char>((size >> 16) & 0xff);
    f += static_cast<char>((size >> 8) & 0xff);
    f += static_cast<char>(size & 0xff);
    return f + body;
}

QByteArray ID3TestData::tag(int major, const QList<QByteArray>& frames, int padding, quint8 flags)
{
    QByteArray body;
    for (const QByteArray& f : frames)
        body += f;
    body += QByteArray(padding, '\0');
    return MpegTestFiles::id3v2Header(major, static_cast<quint32>(body.size()), flags) + body;
}

QByteArray ID3TestData::audio(int frameCount)
{
    return MpegTestFiles::audio(MpegTestFiles::FrameSpec{}, frameCount);
}

QString ID3TestData::scratchPath(const QString& name)
{
    const QString folder = TestSupport::scratchFolder() + QStringLiteral("/id3");
    QDir().mkpath(folder);
    const QString path = folder + QLatin1Char('/') + name;
    QFile::remove(path);
    return path;
}

QString ID3TestData::writeMp3(const QString& name, const QByteArray& tag, const QByteArray& trailer,
                              int frameCount)
{
    const QString path = scratchPath(name);
    MpegTestFiles::writeFile(path, tag, audio(frameCount), trailer);
    return path;
}

QByteArray ID3TestData::png(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(QColor(200, 40, 90));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

QString ID3TestData::song(const QString& path, const Song& song)
{
    if (path.endsWith(QLatin1String(".m4a"))) {
        Mp4TestFiles::Options o;
        o.items = {Mp4TestFiles::textItem(QStringLiteral("\u00A9nam"), song.title)};
        if (!song.artist.isNull())
            o.items.append(Mp4TestFiles::textItem(QStringLiteral("\u00A9ART"), song.artist));
        o.freeInMeta = song.freeSpace;
        o.chunkCount = song.length;
        o.chunkBytes = song.chunkBytes;
        return TestSupport::writeFile(path, Mp4TestFiles::m4a(o)) ? path : QString();
    }
    QList<QByteArray> frames = {frame("TIT2", textBody(song.title))};
    if (!song.artist.isNull())
        frames.append(frame("TPE1", textBody(song.artist)));
    return TestSupport::writeFile(path, tag(3, frames) + audio(song.length)) ? path : QString();
}
