// Arbitrary bytes as a library export handed to the song-source loader:
// the tracks' locations, keys and playlists come from the data. The paths
// point nowhere, so every song is refused; the loader must not crash, hang
// or grow without bound on any shape of the tree.
#include "library/ManualPlistParser.h"
#include "run/SongSourceLoader.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QStandardPaths>

#include <cstdint>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    QStandardPaths::setTestModeEnabled(true);
    static QCoreApplication app(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QVariantMap library = ManualPlistParser::parse(bytes).root.toMap();
    SongSourceLoader loader;
    loader.loadLibraryDictionary(library, QStringLiteral("/Volumes/Fuzz/Library.xml"));
    loader.gatherSongsFromPlaylist(library, QStringLiteral("1"), QStringLiteral("Music"));
    SongSourceLoader::pathFromLocation(QString::fromUtf8(bytes), QStringLiteral("/Volumes/Fuzz/"));
    return 0;
}
