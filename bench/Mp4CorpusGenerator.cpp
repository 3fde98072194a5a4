// Writes a deterministic corpus of M4A files for the MP4 tag benchmarks, built
// with the project's own test-file factory: ftyp, moov (mvhd, one trak with
// stsd/mp4a/esds and a stco table), udta/meta/hdlr/ilst with the usual items,
// about 1 KB of lyrics and a 100 KB JPEG cover (made with QImage, as the MP3
// corpus's), a 2 KB free atom
// after the item list, and an mdat of a few MB in 4 KB chunks.
//
//   bench_tool_m4acorpus FOLDER [COUNT=300] [MEDIA_KB=3072]
#include "BenchCover.h"
#include "Mp4TestFiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 2) {
        std::fprintf(stderr, "usage: %s FOLDER [COUNT] [MEDIA_KB]\n", argv[0]);
        return 2;
    }
    const int count = args.size() > 2 ? args[2].toInt() : 300;
    const int mediaKB = args.size() > 3 ? args[3].toInt() : 3072;
    QDir().mkpath(args[1]);
    const QByteArray cover = BenchCover::makeJpeg();
    if (cover.isEmpty()) {
        std::fprintf(stderr, "no JPEG writer available\n");
        return 1;
    }
    const QString lyrics = QStringLiteral("A line of the song that goes on for a while\n").repeated(22);
    for (int i = 0; i < count; ++i) {
        using F = Mp4TestFiles;
        F::Options o;
        o.items = {F::textItem(QStringLiteral("\u00A9nam"),
                               QStringLiteral("Song title %1").arg(i, 4, 10, QLatin1Char('0'))),
                   F::textItem(QStringLiteral("\u00A9ART"), QStringLiteral("Artist %1").arg(i % 37)),
                   F::textItem(QStringLiteral("\u00A9alb"), QStringLiteral("Album %1").arg(i % 53)),
                   F::textItem(QStringLiteral("\u00A9day"), QStringLiteral("1999")),
                   F::textItem(QStringLiteral("\u00A9gen"), QStringLiteral("Rock")),
                   F::trackItem(static_cast<quint16>(i % 12 + 1), 12),
                   F::textItem(QStringLiteral("\u00A9lyr"), lyrics),
                   F::coverItem({cover})};
        o.freeInMeta = 2048;
        o.chunkBytes = 4096;
        o.chunkCount = qMax(1, mediaKB / 4);
        o.durationUnits = static_cast<quint32>(44100.0 * mediaKB * 1024 / 16000.0); // 128 kbit/s
        const QString path =
            QDir(args[1]).filePath(QStringLiteral("song%1.m4a").arg(i, 4, 10, QLatin1Char('0')));
        QFile file(path);
        const QByteArray bytes = F::m4a(o);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size()) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
            return 1;
        }
    }
    return 0;
}
