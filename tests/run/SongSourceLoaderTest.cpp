#include "LoadTestFiles.h"
#include "TestSupport.h"

#include "library/iTunesInterface.h"
#include "run/RegenerateController.h"
#include "run/SongSourceLoader.h"
#include "songs/CachedInfoTag.h"
#include "songs/SongFile.h"
#include "songs/SongFileInfoCache.h"
#include "tags/AudioInfoTag.h"

#include <QDateTime>
#include <QFile>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

QStringList pathsOf(const QList<std::shared_ptr<SongFile>>& songs)
{
    QStringList paths;
    for (const auto& song : songs)
        paths.append(song->path());
    return paths;
}

QStringList logged(const QSignalSpy& spy)
{
    QStringList lines;
    for (const QList<QVariant>& call : spy)
        lines.append(call.at(0).toString());
    return lines;
}

} // namespace

TEST(SongSourceLoaderRules, LocationsBecomePathsOnTheLibrarysVolume)
{
    const QString root =
        SongSourceLoader::volumeRootOfLibraryPath(QStringLiteral("/Volumes/Ext/iTunes/Lib.xml"));
    EXPECT_EQ(root, QStringLiteral("/Volumes/Ext/"));
    EXPECT_TRUE(SongSourceLoader::volumeRootOfLibraryPath(QStringLiteral("/Users/x/Lib.xml")).isEmpty());
    EXPECT_TRUE(SongSourceLoader::volumeRootOfLibraryPath(QStringLiteral("/Volumes/")).isEmpty());
    const struct
    {
        const char* location;
        QString root;
        QString path;
    } rows[] = {
        {"file://localhost/C:/Music/a.mp3", {}, QStringLiteral("C:/Music/a.mp3")},
        {"file://localhost/Users/x/Caf%C3%A9%20Song%25.mp3",
         {},
         QStringLiteral("/Users/x/Caf\u00e9 Song%.mp3")},
        {"file:///a/b.m4a", {}, QStringLiteral("/a/b.m4a")},
        {"http://host/a.mp3", {}, QString()},
        {"file:///C:/", {}, QStringLiteral("/C:/")}, // too short for a drive letter: kept
        {"file://localhost/Music/a.mp3", root, QStringLiteral("/Volumes/Ext/Music/a.mp3")},
        {"file://localhost/Volumes/Ext/a.mp3", root, QStringLiteral("/Volumes/Ext/a.mp3")},
    };
    for (const auto& row : rows)
        EXPECT_EQ(SongSourceLoader::pathFromLocation(QLatin1String(row.location), row.root), row.path)
            << row.location;
}

TEST(SongSourceLoaderFolder, BadFilesAreLoggedAndDamagedTagsCollected)
{
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("bad"));
    const QString good = folder + QStringLiteral("/good.mp3");
    const QString damaged = folder + QStringLiteral("/damaged.mp3");
    const QString tiny = folder + QStringLiteral("/tiny.mp3");
    const QString noise = folder + QStringLiteral("/noise.mp3");
    ASSERT_TRUE(LoadTestFiles::writeSong(good, QStringLiteral("Good")));
    ASSERT_TRUE(LoadTestFiles::writeDamagedSong(damaged, QStringLiteral("Hurt")));
    ASSERT_TRUE(TestSupport::writeFile(tiny, QByteArray(100, '\0')));
    // An ID3 header claiming more bytes than the file holds: no tag at all.
    ASSERT_TRUE(
        TestSupport::writeFile(noise, QByteArray("ID3\x03\0\0\x7f\x7f\x7f\x7f", 10) + QByteArray(600, 'n')));

    RegenerateController regenerate;
    QSignalSpy reveals(&regenerate, &RegenerateController::revealRequested);
    SongSourceLoader loader;
    loader.setRegenerateController(&regenerate);
    QSignalSpy lines(&loader, &SongSourceLoader::logLine);
    ASSERT_TRUE(loader.gatherSongsFromDirectory(folder));

    ASSERT_EQ(pathsOf(loader.allSongs()), QStringList({damaged, good}));
    EXPECT_EQ(loader.allSongs().at(0)->activityStatus(), SongActivityStatus::Problem);
    EXPECT_EQ(loader.allSongs().at(1)->activityStatus(), SongActivityStatus::Idle);
    ASSERT_EQ(regenerate.numberOfRows(), 1);
    EXPECT_EQ(regenerate.songsArray().first()->path(), damaged);
    EXPECT_EQ(reveals.count(), 1);
    // A damaged tag is not cached: it is read again next time.
    EXPECT_TRUE(SongFileInfoCache::sharedCache().infoForSongFileAtPath(damaged).isEmpty());

    const QStringList text = logged(lines);
    EXPECT_TRUE(text.contains(QStringLiteral("Could not open the song ") + tiny))
        << qPrintable(text.join(QLatin1Char('\n')));
    EXPECT_TRUE(text.contains(QStringLiteral("Could not read the tag of ") + noise))
        << qPrintable(text.join(QLatin1Char('\n')));
    EXPECT_EQ(lines.first().at(1).value<QColor>(), QColor(Qt::red));
}

TEST(SongSourceLoaderFolder, VanishedReadOnlyAndMissing)
{
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("vanish"));
    const QString kept = folder + QStringLiteral("/kept.mp3");
    const QString gone = folder + QStringLiteral("/gone.mp3");
    ASSERT_TRUE(LoadTestFiles::writeSong(kept, QStringLiteral("Kept")));
    ASSERT_TRUE(LoadTestFiles::writeSong(gone, QStringLiteral("Gone")));
    SongSourceLoader loader;
    ASSERT_TRUE(loader.gatherSongsFromDirectory(folder));
    ASSERT_EQ(loader.allSongs().size(), 2);

    ASSERT_TRUE(QFile::remove(gone));
    QFile::setPermissions(kept, QFileDevice::ReadOwner | QFileDevice::ReadGroup);
    loader.setWorkList(loader.allSongs());
    ASSERT_TRUE(loader.gatherSongsFromDirectory(folder));
    ASSERT_EQ(pathsOf(loader.allSongs()), QStringList({kept}));
    if (::geteuid() != 0) { // root may write anything
        EXPECT_EQ(SongFile::songWithPath(kept)->activityStatus(), SongActivityStatus::Locked);
    }
    QFile::setPermissions(kept, QFileDevice::ReadOwner | QFileDevice::WriteOwner);

    // A missing folder lists nothing.
    EXPECT_TRUE(loader.gatherSongsFromDirectory(folder + QStringLiteral("/none")));
    EXPECT_TRUE(loader.allSongs().isEmpty());
}

class SongSourceLoaderLibrary : public ::testing::Test
{
protected:
    void SetUp() override
    {
        iTunesInterface::resetCaches();
        folder = LoadTestFiles::freshFolder(QStringLiteral("library"));
        first = folder + QStringLiteral("/Caf\u00e9 & Bar/one song.mp3");
        second = folder + QStringLiteral("/two.mp3");
        ASSERT_TRUE(LoadTestFiles::writeSong(first, QStringLiteral("File One")));
        ASSERT_TRUE(LoadTestFiles::writeSong(second, QStringLiteral("File Two")));
        QList<QVariantMap> tracks = {LoadTestFiles::track(10, first, QStringLiteral("Library One")),
                                     LoadTestFiles::track(9, second, QStringLiteral("Library Two"))};
        QVariantMap video = LoadTestFiles::track(11, first, QStringLiteral("Video"));
        video.insert(QStringLiteral("Has Video"), true);
        QVariantMap gone =
            LoadTestFiles::track(12, folder + QStringLiteral("/gone.mp3"), QStringLiteral("Gone"));
        QVariantMap ogg = LoadTestFiles::track(13, folder + QStringLiteral("/x.ogg"), QStringLiteral("Ogg"));
        tracks << video << gone << ogg;
        QVariantMap playlist = LoadTestFiles::playlist(QStringLiteral("Road"), {10, 9});
        playlist.insert(QStringLiteral("Playlist Persistent ID"), QStringLiteral("ROAD"));
        xml = folder + QStringLiteral("/Library.xml");
        ASSERT_TRUE(TestSupport::writeFile(xml, LoadTestFiles::libraryXml(tracks, {playlist})));
    }

    QString folder, first, second, xml;
};

TEST_F(SongSourceLoaderLibrary, CachedEntriesInMemoryAreUsed)
{
    std::shared_ptr<SongFile> song = SongFile::songWithPath(second);
    ASSERT_TRUE(song && song->infotag());
    SongFileInfoCache::sharedCache().storeInfo(CachedInfoTag::infoDictForTag(*song->infotag(), second),
                                               second);
    SongSourceLoader loader;
    ASSERT_TRUE(loader.setiTunesLibrary(xml));
    ASSERT_EQ(loader.allSongs().size(), 2);
    EXPECT_NE(dynamic_cast<CachedInfoTag*>(loader.allSongs().at(0)->infotag()), nullptr);
    EXPECT_EQ(loader.allSongs().at(0)->infotag()->title(), QStringLiteral("File Two"));
    EXPECT_TRUE(SongFileInfoCache::sharedCache().allowDiskReads());
}

TEST_F(SongSourceLoaderLibrary, PlaylistSongsAreReadInPlaylistOrder)
{
    SongSourceLoader loader;
    ASSERT_TRUE(loader.gatherSongsFromPlaylistPID(QString(), QStringLiteral("Road"), xml));
    ASSERT_EQ(pathsOf(loader.allSongs()), QStringList({first, second}));
    EXPECT_EQ(loader.allSongs().at(0)->infotag()->title(), QStringLiteral("File One"));
    EXPECT_EQ(loader.allSongs().at(0)->playlistIndex(), 1);
    EXPECT_EQ(loader.allSongs().at(1)->playlistIndex(), 2);
    EXPECT_EQ(loader.allSongs().at(1)->iTunesDBID(), 9u);
    EXPECT_EQ(loader.allSongs().at(1)->hasiTunesArtwork(), 0);

    QSignalSpy missing(&loader, &SongSourceLoader::playlistNotFound);
    EXPECT_FALSE(loader.gatherSongsFromPlaylistPID(QStringLiteral("NOPE"), QStringLiteral("Nope"), xml));
    EXPECT_EQ(missing.count(), 1);
    EXPECT_TRUE(loader.allSongs().isEmpty());
}

TEST_F(SongSourceLoaderLibrary, UnreadableExportListsNothing)
{
    const QString broken = folder + QStringLiteral("/Broken.xml");
    ASSERT_TRUE(TestSupport::writeFile(broken, QByteArray("<plist><dict><key>Tra")));
    SongSourceLoader loader;
    QSignalSpy lines(&loader, &SongSourceLoader::logLine);
    EXPECT_FALSE(loader.setiTunesLibrary(broken));
    EXPECT_TRUE(loader.allSongs().isEmpty());
    EXPECT_FALSE(lines.isEmpty());
}
