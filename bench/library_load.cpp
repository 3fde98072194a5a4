// Loads a music-library export end to end (read the file, parse, library
// dictionary ready) the way the program does, and prints the time and the
// peak memory. Usage: bench_tool_library_load FILE manual|system
#include "library/iTunesInterface.h"
#include "support/BundleInfo.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSettings>
#include <QStandardPaths>

#include <cstdio>
#include <sys/resource.h>

namespace {

long peakKilobytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace

int main(int argc, char** argv)
{
    QStandardPaths::setTestModeEnabled(true);
    BundleInfo::applyToApplication();
    QCoreApplication app(argc, argv);
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s FILE manual|system\n", argv[0]);
        return 2;
    }
    const QString path = QString::fromLocal8Bit(argv[1]);
    const bool manual = qstrcmp(argv[2], "manual") == 0;
    // The loader reads with the platform parser first unless its crash guard
    // says that parser once failed; set the guard to choose the reader.
    QSettings().setValue(QStringLiteral("noSystemDeserialize"), manual);

    const long before = peakKilobytes();
    QElapsedTimer timer;
    timer.start();
    QString error;
    const QVariantMap library = iTunesInterface::getMusicLibraryDictionaryAtPath(path, &error);
    const double seconds = static_cast<double>(timer.nsecsElapsed()) / 1e9;
    const long after = peakKilobytes();
    QSettings().remove(QStringLiteral("noSystemDeserialize"));

    std::printf("reader=%s seconds=%.3f peakMB=%.1f growthMB=%.1f tracks=%lld playlists=%lld%s%s\n",
                manual ? "manual" : "system", seconds, static_cast<double>(after) / 1024.0,
                static_cast<double>(after - before) / 1024.0,
                static_cast<long long>(library.value(QStringLiteral("Tracks")).toMap().size()),
                static_cast<long long>(library.value(QStringLiteral("Playlists")).toList().size()),
                error.isEmpty() ? "" : " error=", qPrintable(error));
    return library.isEmpty() ? 1 : 0;
}
