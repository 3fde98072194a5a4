// Our side of the MP4 tag comparison: reads every file of a folder with
// AACInfoTag (items, pictures and file properties) or writes a title change.
//
//   bench_tool_ours_mp4 read|write-same|write-grow FOLDER
// Prints "<files> <seconds>" for the timed loop. write-same changes the title
// without changing its length (the free space is untouched and only the
// movie atom is rewritten); write-grow adds 5000 characters, more than the
// free space holds, so the media data move.
#include "tags/AACInfoTag.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>

#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 3) {
        std::fprintf(stderr, "usage: %s read|write-same|write-grow FOLDER\n", argv[0]);
        return 2;
    }
    const QString mode = args[1];
    const QDir folder(args[2]);
    QStringList paths;
    for (const QString& name : folder.entryList({QStringLiteral("*.m4a")}, QDir::Files, QDir::Name))
        paths.append(folder.filePath(name));

    int failures = 0;
    qint64 checksum = 0;
    QElapsedTimer timer;
    timer.start();
    for (const QString& path : std::as_const(paths)) {
        AACInfoTag tag;
        if (!tag.initWithPath(path)) {
            ++failures;
            continue;
        }
        if (mode == QLatin1String("read")) {
            tag.gatherFileMetadataFromPath(path);
            checksum += tag.title().size() + tag.numberOfImages() + tag.lyrics().size() + tag.bitrate();
            continue;
        }
        QString title = tag.title();
        if (mode == QLatin1String("write-same"))
            title.replace(QStringLiteral("title"), QStringLiteral("TITLE"));
        else
            title += QString(5000, QLatin1Char('x'));
        tag.setTitle(title);
        QString error;
        if (!tag.modifySongFileAtPath(path, &error)) {
            if (failures++ == 0)
                std::fprintf(stderr, "%s: %s\n", qPrintable(path), qPrintable(error));
        }
    }
    const double seconds = timer.nsecsElapsed() / 1e9;
    if (failures)
        std::fprintf(stderr, "%d of %lld files failed\n", failures, qint64(paths.size()));
    std::printf("%lld %.6f\n", qint64(paths.size()), seconds);
    return failures || (checksum < 0) ? 1 : 0;
}
