#include "LoadTestFiles.h"

#include "run/Delazifier.h"
#include "run/RegenerateController.h"
#include "songs/CachedInfoTag.h"
#include "songs/SongFile.h"
#include "songs/SongFileInfoCache.h"
#include "tags/AudioInfoTag.h"

#include <QEventLoop>
#include <QSignalSpy>
#include <QTimer>

#include <gtest/gtest.h>

namespace {

// Songs 0..count-1 whose files hold the title "File i" and whose lazy tags
// say "Lazy i".
QList<std::shared_ptr<SongFile>> lazySongs(const QString& name, int count)
{
    const QString folder = LoadTestFiles::freshFolder(name);
    QList<std::shared_ptr<SongFile>> songs;
    for (int i = 0; i < count; ++i) {
        const QString path = folder + QStringLiteral("/song%1.mp3").arg(i, 3, 10, QLatin1Char('0'));
        if (!LoadTestFiles::writeSong(path, QStringLiteral("File %1").arg(i)))
            return {};
        std::shared_ptr<SongFile> song = SongFile::songWithPath(path);
        song->createLazyInfoTagFromDictionary(
            LoadTestFiles::track(i + 1, path, QStringLiteral("Lazy %1").arg(i)), path);
        songs.append(song);
    }
    return songs;
}

QList<int> indexesOf(const QList<std::shared_ptr<SongFile>>& batch,
                     const QList<std::shared_ptr<SongFile>>& all)
{
    QList<int> indexes;
    for (const auto& song : batch)
        indexes.append(static_cast<int>(all.indexOf(song)));
    return indexes;
}

// Runs the event loop until the delazifier says it is done (a generous
// safety limit fails the test instead of hanging it).
bool runUntilFinished(Delazifier& delazifier)
{
    if (!delazifier.isActive())
        return true;
    QEventLoop loop;
    bool finished = false;
    QObject::connect(&delazifier, &Delazifier::finished, &loop, [&] {
        finished = true;
        loop.quit();
    });
    QTimer::singleShot(60000, &loop, &QEventLoop::quit);
    loop.exec();
    return finished;
}

} // namespace

TEST(Delazifier, BatchOrderFollowsTheView)
{
    const QList<std::shared_ptr<SongFile>> songs = lazySongs(QStringLiteral("order"), 14);
    ASSERT_EQ(songs.size(), 14);
    Delazifier delazifier;
    delazifier.setAllSongs(songs);
    // Without a view the list order is the order.
    EXPECT_EQ(indexesOf(delazifier.nextBatchSongs(), songs),
              QList<int>({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}));
    // Rows 5-7 in view: then 8-10 below, 4-2 above (upwards), then the rest.
    delazifier.setVisibleRange(5, 3);
    EXPECT_EQ(indexesOf(delazifier.nextBatchSongs(), songs),
              QList<int>({5, 6, 7, 8, 9, 10, 4, 3, 2, 0, 1, 11, 12, 13}));
    // The view near the top and a table order of its own.
    QList<std::shared_ptr<SongFile>> rows(songs.rbegin(), songs.rend());
    delazifier.setRows(rows);
    delazifier.setVisibleRange(1, 2);
    EXPECT_EQ(indexesOf(delazifier.nextBatchSongs(), rows),
              QList<int>({1, 2, 3, 4, 0, 5, 6, 7, 8, 9, 10, 11, 12, 13}));
}

TEST(Delazifier, BatchesHoldAtMostFiftySongs)
{
    const QList<std::shared_ptr<SongFile>> songs = lazySongs(QStringLiteral("fifty"), 53);
    ASSERT_EQ(songs.size(), 53);
    Delazifier delazifier;
    delazifier.setAllSongs(songs);
    delazifier.setBatchTimeLimit(1000.0); // never cut short
    EXPECT_EQ(delazifier.nextBatchSongs().size(), Delazifier::kBatchSize);
    QSignalSpy batches(&delazifier, &Delazifier::batchFinished);
    delazifier.startDelazification();
    ASSERT_TRUE(runUntilFinished(delazifier));
    ASSERT_EQ(batches.count(), 2);
    EXPECT_EQ(batches.at(0).at(0).toStringList().size(), 50);
    EXPECT_EQ(batches.at(1).at(0).toStringList().size(), 3);
    for (int i = 0; i < songs.size(); ++i) {
        AudioInfoTag* tag = songs.at(i)->infotag();
        ASSERT_NE(dynamic_cast<CachedInfoTag*>(tag), nullptr) << i;
        EXPECT_EQ(tag->title(), QStringLiteral("File %1").arg(i));
        EXPECT_FALSE(SongFileInfoCache::sharedCache().infoForSongFileAtPath(songs.at(i)->path()).isEmpty());
    }
}

TEST(Delazifier, TimeLimitEndsABatchAfterItsFirstSong)
{
    const QList<std::shared_ptr<SongFile>> songs = lazySongs(QStringLiteral("limit"), 9);
    ASSERT_EQ(songs.size(), 9);
    Delazifier delazifier;
    delazifier.setAllSongs(songs);
    delazifier.setVisibleRange(3, 2);
    delazifier.setBatchTimeLimit(0.0); // the first song of a batch is always done, then time is up
    QSignalSpy batches(&delazifier, &Delazifier::batchFinished);
    QSignalSpy redraws(&delazifier, &Delazifier::visibleRowsChanged);
    delazifier.startDelazification();
    // The rows in view are read at once.
    EXPECT_EQ(songs.at(3)->infotag()->title(), QStringLiteral("File 3"));
    EXPECT_EQ(songs.at(4)->infotag()->title(), QStringLiteral("File 4"));
    EXPECT_EQ(redraws.count(), 1);
    ASSERT_TRUE(runUntilFinished(delazifier));
    QStringList order;
    for (const QList<QVariant>& batch : batches) {
        EXPECT_EQ(batch.at(0).toStringList().size(), 1);
        order += batch.at(0).toStringList();
    }
    QStringList expected;
    for (int i : {5, 6, 2, 1, 0, 7, 8})
        expected.append(songs.at(i)->path());
    EXPECT_EQ(order, expected);
    for (const auto& song : songs)
        EXPECT_FALSE(Delazifier::needsDelazifying(*song));
}

TEST(Delazifier, DamagedTagsGoToTheRegenerateList)
{
    QList<std::shared_ptr<SongFile>> songs = lazySongs(QStringLiteral("damaged"), 3);
    ASSERT_EQ(songs.size(), 3);
    ASSERT_TRUE(LoadTestFiles::writeDamagedSong(songs.at(1)->path(), QStringLiteral("Hurt")));
    songs[1] = SongFile::songWithPath(songs.at(1)->path());
    songs[1]->createLazyInfoTagFromDictionary(
        LoadTestFiles::track(2, songs.at(1)->path(), QStringLiteral("Lazy")), songs.at(1)->path());
    RegenerateController regenerate;
    QSignalSpy reveals(&regenerate, &RegenerateController::revealRequested);
    Delazifier delazifier;
    delazifier.setAllSongs(songs);
    delazifier.setRegenerateController(&regenerate);
    delazifier.startDelazification();
    ASSERT_TRUE(runUntilFinished(delazifier));
    ASSERT_EQ(regenerate.numberOfRows(), 1);
    EXPECT_EQ(regenerate.songsArray().first(), songs.at(1));
    EXPECT_EQ(songs.at(1)->activityStatus(), SongActivityStatus::Problem);
    EXPECT_EQ(songs.at(1)->infotag()->title(), QStringLiteral("Hurt"));
    EXPECT_GE(reveals.count(), 1);
    EXPECT_EQ(songs.at(2)->infotag()->title(), QStringLiteral("File 2"));
}
