// Our side of the tag comparisons: reads every MP3 and MPEG-4 file of a
// folder with the tag classes (tag, pictures and audio properties) or writes
// a title change, in write batches as `quillbeat-cli set` does over many
// files (the files of a batch are journalled and flushed together).
//
//   bench_tool_ours raw|read|write-same|write-grow FOLDER [--no-flush]
// Prints "<files> <seconds>" for the timed loop; "raw" reads the first 64 KiB
// and the last 128 bytes of each file, the ceiling for any tag reader.
// write-same toggles the case of "title" in the title (same length);
// write-grow adds 5000 characters. --no-flush keeps the journal but forces
// neither it nor the file to disk.
#include "tags/AACInfoTag.h"
#include "tags/MP3InfoTag.h"
#include "tags/SafeFileRewriter.h"
#include "tags/WriteBatch.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <cstdio>
#include <memory>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool rawRead(const QString& path, std::vector<char>& buffer)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat st;
    bool ok = ::fstat(fd, &st) == 0 && ::pread(fd, buffer.data(), 65536, 0) > 0 &&
              ::pread(fd, buffer.data() + 65536, 128, st.st_size - 128) == 128;
    ::close(fd);
    return ok;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 3 || args.size() > 4 || (args.size() == 4 && args[3] != QLatin1String("--no-flush"))) {
        std::fprintf(stderr, "usage: %s raw|read|write-same|write-grow FOLDER [--no-flush]\n", argv[0]);
        return 2;
    }
    SafeFileRewriter::setFlushToDisk(args.size() == 3);
    const QString mode = args[1];
    const QDir folder(args[2]);
    QStringList paths;
    for (const QString& name :
         folder.entryList({QStringLiteral("*.mp3"), QStringLiteral("*.m4a")}, QDir::Files, QDir::Name))
        paths.append(folder.filePath(name));

    std::vector<char> buffer(65536 + 128);
    int failures = 0;
    qint64 checksum = 0;
    const auto failed = [&failures](const QString& path, const QString& error) {
        if (failures++ == 0)
            std::fprintf(stderr, "%s: %s\n", qPrintable(path), qPrintable(error));
    };
    QElapsedTimer timer;
    timer.start();
    WriteBatch batch;
    const WriteBatch::Scope writing(batch);
    for (const QString& path : std::as_const(paths)) {
        if (mode == QLatin1String("raw")) {
            failures += rawRead(path, buffer) ? 0 : 1;
            continue;
        }
        // The type comes from the file name, as the peers are told it, so
        // that the reader is measured without the content sniffing.
        std::unique_ptr<AudioInfoTag> tag;
        if (path.endsWith(QLatin1String(".m4a")))
            tag = AACInfoTag::tagAtPath(path);
        else
            tag = MP3InfoTag::tagAtPath(path);
        if (!tag) {
            ++failures;
            continue;
        }
        if (mode == QLatin1String("read")) {
            tag->gatherFileMetadataFromPath(path);
            checksum += tag->title().size() + tag->numberOfImages() + tag->lyrics().size() + tag->bitrate();
            continue;
        }
        QString title = tag->title();
        if (mode == QLatin1String("write-same")) {
            // Toggles, so that every run changes the title.
            if (title.contains(QStringLiteral("title")))
                title.replace(QStringLiteral("title"), QStringLiteral("TITLE"));
            else
                title.replace(QStringLiteral("TITLE"), QStringLiteral("title"));
        } else {
            title += QString(5000, QLatin1Char('x'));
        }
        tag->setTitle(title);
        QString error;
        if (!tag->modifySongFileAtPath(path, &error)) {
            failed(path, error);
            continue;
        }
        WriteBatch::afterWrite(path, [&failed, path](bool written, const QString& error) {
            if (!written)
                failed(path, error);
        });
    }
    batch.commit();
    const double seconds = timer.nsecsElapsed() / 1e9;
    if (failures)
        std::fprintf(stderr, "%d of %lld files failed\n", failures, qint64(paths.size()));
    std::printf("%lld %.6f\n", qint64(paths.size()), seconds);
    return failures || (checksum < 0) ? 1 : 0;
}
