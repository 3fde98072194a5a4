#include "LoadTestFiles.h"
#include "TestSupport.h"

#include "run/RegenerateController.h"
#include "songs/SongFile.h"
#include "tags/AudioInfoTag.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

TEST(RegenerateController, RebuildsADamagedTagKeepingItsPictures)
{
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("regen"));
    const QString path = folder + QStringLiteral("/hurt.mp3");
    ASSERT_TRUE(LoadTestFiles::writeDamagedSong(path, QStringLiteral("Hurt")));
    std::unique_ptr<AudioInfoTag> before = AudioInfoTag::tagWithPath(path);
    ASSERT_TRUE(before);
    ASSERT_TRUE(before->encounteredProblemDecoding());
    const QList<ID3Image> pictures = before->images();
    ASSERT_EQ(pictures.size(), 2);

    std::shared_ptr<SongFile> song = SongFile::songWithPath(path);
    ASSERT_TRUE(song);
    RegenerateController controller;
    controller.addCorruptSong(song);
    controller.addCorruptSong(SongFile::songWithPath(path)); // same path: listed once
    ASSERT_EQ(controller.numberOfRows(), 1);
    EXPECT_TRUE(song->hasAlias());

    QSignalSpy changed(&controller, &RegenerateController::songChangedAtPath);
    QSignalSpy progress(&controller, &RegenerateController::progress);
    QSignalSpy hide(&controller, &RegenerateController::hideRequested);
    const QList<std::shared_ptr<SongFile>> done = controller.regenerateSelected({0});
    ASSERT_EQ(done.size(), 1);
    EXPECT_EQ(controller.numberOfRows(), 0);
    EXPECT_EQ(hide.count(), 1);
    ASSERT_EQ(changed.count(), 1);
    EXPECT_EQ(changed.first().at(0).toString(), path);
    EXPECT_TRUE(changed.first().at(1).toBool());
    ASSERT_FALSE(progress.isEmpty());
    EXPECT_EQ(progress.last().at(0).toLongLong(), 1);

    // Read back with the ordinary reader: clean, same title, both pictures.
    std::unique_ptr<AudioInfoTag> after = AudioInfoTag::tagWithPath(path);
    ASSERT_TRUE(after);
    EXPECT_FALSE(after->encounteredProblemDecoding());
    EXPECT_EQ(after->title(), QStringLiteral("Hurt"));
    const QList<ID3Image> kept = after->images();
    ASSERT_EQ(kept.size(), 2);
    EXPECT_EQ(kept.at(0).imageData(), pictures.at(0).imageData());
    EXPECT_EQ(kept.at(1).imageData(), pictures.at(1).imageData());
    EXPECT_NE(song->activityStatus(), SongActivityStatus::Problem);
    // The switches are back as they were.
    EXPECT_FALSE(AudioInfoTag::shouldDiscardMalformedInfo());
    EXPECT_FALSE(AudioInfoTag::shouldDiscardUnrecognizedInfo());
}

TEST(RegenerateController, FailuresStayListedAndCancelStops)
{
    const QString folder = LoadTestFiles::freshFolder(QStringLiteral("regenfail"));
    const QString kept = folder + QStringLiteral("/a.mp3");
    const QString gone = folder + QStringLiteral("/b.mp3");
    ASSERT_TRUE(LoadTestFiles::writeDamagedSong(kept, QStringLiteral("A")));
    ASSERT_TRUE(LoadTestFiles::writeDamagedSong(gone, QStringLiteral("B")));
    RegenerateController controller;
    controller.addCorruptSong(SongFile::songWithPath(gone));
    controller.addCorruptSong(SongFile::songWithPath(kept));
    ASSERT_TRUE(QFile::remove(gone));

    QSignalSpy hide(&controller, &RegenerateController::hideRequested);
    // Cancelled at the first song: nothing done, both stay.
    QObject::connect(&controller, &RegenerateController::progress, &controller,
                     [&controller](qint64 current, qint64) {
                         if (current == 1)
                             controller.cancel();
                     });
    EXPECT_TRUE(controller.regenerateSelected({0, 1}).isEmpty());
    EXPECT_EQ(controller.numberOfRows(), 2);
    QObject::disconnect(&controller, &RegenerateController::progress, &controller, nullptr);

    const QList<std::shared_ptr<SongFile>> done = controller.regenerateSelected({0, 1});
    ASSERT_EQ(done.size(), 1);
    EXPECT_EQ(done.first()->path(), kept);
    ASSERT_EQ(controller.numberOfRows(), 1);
    EXPECT_EQ(controller.songsArray().first()->path(), gone);
    EXPECT_EQ(hide.count(), 0);
}
