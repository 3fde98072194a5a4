// Speed and memory of the property-list readers on a music-library export:
// our own reader of the XML form, libplist with the conversion into our tree
// (the platform path of the program), and libplist's parse alone.
//
//   bench_plist [FILE]     (or QB_BENCH_PLIST=FILE; without either, a library
//                           of 50,000 tracks is generated into a temporary folder)
#include "library/ManualPlistParser.h"
#include "library/SystemPlistParser.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <plist/plist.h>

#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <limits>

namespace {

constexpr int kRuns = 3;

// Bytes the heap has handed out and not taken back.
double heapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

struct Measure
{
    const char* name;
    double bestSeconds = std::numeric_limits<double>::max();
    double treeBytes = 0;
    qsizetype tracks = -1;
};

// Runs `parse` kRuns times; it answers a holder of its tree, which is
// released after the memory has been read.
void measure(Measure* m, const std::function<std::function<void()>()>& parse,
             const std::function<qsizetype()>& tracksOfLast)
{
    for (int run = 0; run < kRuns; ++run) {
        const double before = heapInUse();
        QElapsedTimer timer;
        timer.start();
        std::function<void()> release = parse();
        const double seconds = static_cast<double>(timer.nsecsElapsed()) / 1e9;
        m->bestSeconds = std::min(m->bestSeconds, seconds);
        m->treeBytes = heapInUse() - before;
        if (run == 0)
            m->tracks = tracksOfLast();
        release();
    }
}

QString generatedLibrary(QTemporaryDir* dir)
{
    const QString path = dir->filePath(QStringLiteral("library.xml"));
    std::fprintf(stderr, "generating a library of 50000 tracks into %s\n", qPrintable(path));
    const int rc = QProcess::execute(QStringLiteral("/usr/bin/python3"),
                                     {QStringLiteral(QB_SOURCE_DIR "/bench/generate-itunes-library"), path});
    return rc == 0 ? path : QString();
}

qsizetype tracksIn(const QVariant& root)
{
    return root.toMap().value(QStringLiteral("Tracks")).toMap().size();
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    QString path = argc > 1 ? QString::fromLocal8Bit(argv[1]) : qEnvironmentVariable("QB_BENCH_PLIST");
    if (path.isEmpty() || !QFile::exists(path))
        path = generatedLibrary(&dir);
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "bench_plist: no library file\n");
        return 1;
    }
    const QByteArray data = file.readAll();
    const double megabytes = static_cast<double>(data.size()) / 1e6;

    Measure manual{"ours (manual reader)"};
    Measure system{"libplist + conversion"};
    Measure parseOnly{"libplist parse only"};

    QVariant tree;
    measure(
        &manual,
        [&] {
            tree = ManualPlistParser::parse(data).root;
            return std::function<void()>([&] { tree = QVariant(); });
        },
        [&] { return tracksIn(tree); });
    measure(
        &system,
        [&] {
            QString error;
            tree = SystemPlistParser::parse(data, &error);
            return std::function<void()>([&] { tree = QVariant(); });
        },
        [&] { return tracksIn(tree); });
    plist_t raw = nullptr;
    measure(
        &parseOnly,
        [&] {
            plist_from_xml(data.constData(), static_cast<uint32_t>(data.size()), &raw);
            return std::function<void()>([&] {
                plist_free(raw);
                raw = nullptr;
            });
        },
        [&] {
            plist_t tracks = raw ? plist_dict_get_item(raw, "Tracks") : nullptr;
            return tracks ? static_cast<qsizetype>(plist_dict_get_size(tracks)) : qsizetype(-1);
        });

    std::printf("file: %s (%.1f MB)\n", qPrintable(path), megabytes);
    std::printf("%-24s %10s %10s %14s %8s\n", "reader", "best s", "MB/s", "tree memory", "tracks");
    for (const Measure* m : {&manual, &system, &parseOnly}) {
        std::printf("%-24s %10.3f %10.1f %11.1f MB %8lld\n", m->name, m->bestSeconds,
                    megabytes / m->bestSeconds, m->treeBytes / 1e6, static_cast<long long>(m->tracks));
    }
    std::printf("ours vs libplist + conversion: %.2fx faster, %.2fx the memory\n",
                system.bestSeconds / manual.bestSeconds, manual.treeBytes / system.treeBytes);
    std::printf("MBPS manual=%.1f libplist_full=%.1f libplist_parse=%.1f\n", megabytes / manual.bestSeconds,
                megabytes / system.bestSeconds, megabytes / parseOnly.bestSeconds);
    return 0;
}
