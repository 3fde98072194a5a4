// quillbeat-demo: writes a folder of demo songs for `make run` and the
// benchmarks.
#include "DemoLibraryWriter.h"

#include <QFile>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QStringList>

#include <cstdio>

namespace {

void print(std::FILE* stream, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
}

int usage()
{
    print(stderr, QStringLiteral(
                      "usage: quillbeat-demo OUTDIR [--albums N] [--songs-per-album M] [--bare-albums K]\n"
                      "                      [--seconds S] [--no-damaged] [--manifest FILE] [--cover FILE]\n"
                      "Writes a fresh folder of demo songs (OUTDIR must be missing or empty).\n"));
    return 2;
}

bool writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

} // namespace

int main(int argc, char** argv)
{
    // Covers are drawn with fonts, which need a GUI application but no screen.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Wendmark"));
    QCoreApplication::setApplicationName(QStringLiteral("quillbeat-demo"));

    const QStringList args = QCoreApplication::arguments().mid(1);
    DemoLibraryWriter::Options options;
    QString folder, manifestPath, coverPath;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& arg = args.at(i);
        const bool hasValue = i + 1 < args.size();
        auto number = [&](int low, int high, int* target) {
            bool ok = false;
            const int value = args.at(++i).toInt(&ok);
            if (!ok || value < low || value > high)
                return false;
            *target = value;
            return true;
        };
        bool ok = true;
        if (arg == QLatin1String("--albums") && hasValue)
            ok = number(1, 10000, &options.albums);
        else if (arg == QLatin1String("--songs-per-album") && hasValue)
            ok = number(1, 99, &options.songsPerAlbum);
        else if (arg == QLatin1String("--bare-albums") && hasValue)
            ok = number(0, 10000, &options.bareAlbums);
        else if (arg == QLatin1String("--seconds") && hasValue)
            ok = number(1, 3600, &options.seconds);
        else if (arg == QLatin1String("--no-damaged"))
            options.damagedSong = false;
        else if (arg == QLatin1String("--manifest") && hasValue)
            manifestPath = args.at(++i);
        else if (arg == QLatin1String("--cover") && hasValue)
            coverPath = args.at(++i);
        else if (!arg.startsWith(QLatin1Char('-')) && folder.isEmpty())
            folder = arg;
        else
            ok = false;
        if (!ok)
            return usage();
    }
    if (folder.isEmpty())
        return usage();

    DemoLibraryWriter writer(options);
    QString error;
    if (!writer.write(folder, &error)) {
        print(stderr, QStringLiteral("quillbeat-demo: %1\n").arg(error));
        return 1;
    }
    if (!manifestPath.isEmpty() && !writeBytes(manifestPath, QJsonDocument(writer.manifest()).toJson())) {
        print(stderr, QStringLiteral("quillbeat-demo: cannot write %1\n").arg(manifestPath));
        return 1;
    }
    if (!coverPath.isEmpty() &&
        !writeBytes(coverPath, DemoLibraryWriter::coverArt(QStringLiteral("Quillbeat"),
                                                           QStringLiteral("local cover"), 200))) {
        print(stderr, QStringLiteral("quillbeat-demo: cannot write %1\n").arg(coverPath));
        return 1;
    }
    print(stdout, writer.summary(folder));
    return 0;
}
