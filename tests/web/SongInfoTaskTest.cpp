// The song lookup task end to end: a test source answering from the local
// server, real MP3 files, values applied to the tag and written back.
#include "web/SongInfoTask.h"

#include "MpegTestFiles.h"
#include "TaskTestSource.h"
#include "TestHttpServer.h"
#include "TestSupport.h"
#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"
#include "web/WebDBInterface.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

#include <gtest/gtest.h>

namespace {

class TaskOwner : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE void taskDone(SongInfoTask* task)
    {
        ++calls;
        last = task;
    }
    int calls = 0;
    SongInfoTask* last = nullptr;
};

class SongInfoTaskTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        WebDBInterface::registerInterfaceClass<TaskTestSource>();
        ASSERT_TRUE(mServer.start());
        TaskTestSource::setServerBase(mServer.url(QStringLiteral("/")));
        mFolder = TestSupport::scratchFolder() + QStringLiteral("/task-") +
                  QString::fromLatin1(::testing::UnitTest::GetInstance()->current_test_info()->name());
        QDir(mFolder).removeRecursively();
        QDir().mkpath(mFolder);
    }

    // An MP3 song with the given values (empty ones are left out).
    std::shared_ptr<SongFile> makeSong(const QString& name, const QVariantMap& values)
    {
        const QString path = mFolder + QLatin1Char('/') + name + QStringLiteral(".mp3");
        EXPECT_TRUE(MpegTestFiles::writeSimpleMp3(path, 40));
        auto tag = AudioInfoTag::tagWithPath(path);
        EXPECT_TRUE(tag);
        tag->setArtist(values.value(QStringLiteral("artist"), QStringLiteral("The Testers")).toString());
        tag->setTitle(values.value(QStringLiteral("title")).toString());
        if (values.contains(QStringLiteral("album")))
            tag->setAlbum(values.value(QStringLiteral("album")).toString());
        if (values.contains(QStringLiteral("year")))
            tag->setYear(values.value(QStringLiteral("year")).toString());
        if (values.contains(QStringLiteral("genre")))
            tag->setGenres(values.value(QStringLiteral("genre")).toString());
        if (values.contains(QStringLiteral("art")))
            tag->addImage(*ID3Image::imageWithData(values.value(QStringLiteral("art")).toByteArray(),
                                                   QStringLiteral("image/jpeg")));
        QString error;
        EXPECT_TRUE(tag->modifySongFileAtPath(path, &error)) << error.toStdString();
        return SongFile::songWithPath(path);
    }

    // Runs a task to its end; answers how often the owner was told.
    int run(SongInfoTask& task)
    {
        TaskOwner owner;
        task.gatherNotifyingObject(&owner, "taskDone");
        EXPECT_TRUE(TestHttpServer::waitFor([&] { return owner.calls > 0; }));
        // A second report would come on a later turn.
        QCoreApplication::processEvents();
        QCoreApplication::processEvents();
        EXPECT_EQ(owner.last, &task);
        return owner.calls;
    }

    QVariantMap resources(const QVariantMap& sourceResources = {})
    {
        return {{QStringLiteral("res_TaskTestSource"), sourceResources}};
    }

    TestHttpServer mServer;
    QString mFolder;
};

} // namespace

TEST_F(SongInfoTaskTest, GathersAppliesAndWritesValuesAndFittedArtwork)
{
    mServer.route(
        QStringLiteral("/albums"),
        TestHttpServer::Response::text(
            TaskTestSource::albumsJson({TaskTestSource::albumObject(
                QStringLiteral("First Light"), QStringLiteral("1999"),
                {QStringLiteral("Opening"), QStringLiteral("Second Song"), QStringLiteral("Closer")},
                QStringLiteral("Rock"), QStringLiteral("/cover.jpg"))}),
            "application/json"));
    mServer.route(QStringLiteral("/cover.jpg"),
                  TestHttpServer::Response::text(TaskTestSource::jpeg(600, 600), "image/jpeg"));

    auto song = makeSong(QStringLiteral("a"), {{QStringLiteral("title"), QStringLiteral("Second Song")},
                                               {QStringLiteral("album"), QStringLiteral("First Light")}});
    ASSERT_TRUE(song);
    SongInfoTask task(song, {song}, {}, {QStringLiteral("TaskTestSource")}, resources());
    task.setMaximumImageSize(300);
    task.setMinimumAcceptableImageSize(100);
    task.setGatherFlags(AlbumAssets(AlbumAsset::Year) | AlbumAsset::Genre | AlbumAsset::Track |
                        AlbumAsset::Artwork);
    EXPECT_EQ(task.desiredAssetFlags(),
              AlbumAssets(AlbumAsset::Year) | AlbumAsset::Genre | AlbumAsset::Track | AlbumAsset::Artwork);
    EXPECT_EQ(run(task), 1);

    EXPECT_EQ(task.changedAssetFlags(),
              AlbumAssets(AlbumAsset::Year) | AlbumAsset::Genre | AlbumAsset::Track | AlbumAsset::Artwork);
    EXPECT_FALSE(task.desiredAssetFlags());
    EXPECT_TRUE(task.errorMessage().isEmpty());
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/cover.jpg")), 1);

    QString error;
    ASSERT_TRUE(song->writeToOriginalPath(&error, false)) << error.toStdString();
    auto reread = AudioInfoTag::tagWithPath(song->path());
    ASSERT_TRUE(reread);
    EXPECT_EQ(reread->year(), QStringLiteral("1999"));
    EXPECT_EQ(reread->genres(), QStringLiteral("Rock"));
    EXPECT_EQ(reread->track(), QStringLiteral("2/3"));
    ASSERT_EQ(reread->numberOfImages(), 1);
    const QImage cover = QImage::fromData(reread->images().first().imageData());
    EXPECT_EQ(cover.size(), QSize(300, 300));
    EXPECT_EQ(reread->images().first().mimeFormat(), QStringLiteral("image/jpeg"));
}

TEST_F(SongInfoTaskTest, ChoosesTheEarliestAlbumOrExplainsWhyNot)
{
    const QStringList tracks = {QStringLiteral("Intro"), QStringLiteral("Tune")};
    mServer.route(
        QStringLiteral("/albums"),
        TestHttpServer::Response::text(
            TaskTestSource::albumsJson(
                {TaskTestSource::albumObject(QStringLiteral("Tunes"), QStringLiteral("1994"), tracks),
                 TaskTestSource::albumObject(QStringLiteral("Best Tunes"), QStringLiteral("1992"), tracks),
                 TaskTestSource::albumObject(QStringLiteral("Tunes Live"), QStringLiteral("2001"), tracks)}),
            "application/json"));
    auto song = makeSong(QStringLiteral("b"), {{QStringLiteral("title"), QStringLiteral("Tune")}});
    SongInfoTask task(song, {song}, {}, {QStringLiteral("TaskTestSource")}, resources());
    task.setAlbumSelectionMethod(AlbumChooser::Method::EarliestYear);
    task.setGatherFlags(AlbumAssets(AlbumAsset::AlbumName) | AlbumAsset::Year);
    run(task);
    ASSERT_TRUE(task.chosenAlbum());
    EXPECT_EQ(task.chosenAlbum()->name(), QStringLiteral("Best Tunes"));
    EXPECT_EQ(song->infotag()->album(), QStringLiteral("Best Tunes"));
    EXPECT_EQ(song->infotag()->year(), QStringLiteral("1992"));

    mServer.route(QStringLiteral("/albums"),
                  TestHttpServer::Response::text(
                      TaskTestSource::albumsJson(
                          {TaskTestSource::albumObject(QStringLiteral("Tunes"), QStringLiteral("94"), tracks),
                           TaskTestSource::albumObject(QStringLiteral("Other Tunes"), QStringLiteral("later"),
                                                       tracks)}),
                      "application/json"));
    auto second = makeSong(QStringLiteral("c"), {{QStringLiteral("title"), QStringLiteral("Tune")}});
    SongInfoTask noYear(second, {second}, {}, {QStringLiteral("TaskTestSource")}, resources());
    noYear.setAlbumSelectionMethod(AlbumChooser::Method::EarliestYear);
    noYear.setGatherFlags(AlbumAssets(AlbumAsset::AlbumName) | AlbumAsset::Year);
    run(noYear);
    EXPECT_FALSE(noYear.chosenAlbum());
    EXPECT_FALSE(noYear.changedAssetFlags());
    EXPECT_TRUE(noYear.errorMessage().contains(QStringLiteral("'Other Tunes'")))
        << noYear.errorMessage().toStdString();
    EXPECT_TRUE(second->infotag()->album().isEmpty());
}

TEST_F(SongInfoTaskTest, AnAlbumWithoutTheSongIsNotApplied)
{
    mServer.route(
        QStringLiteral("/albums"),
        TestHttpServer::Response::text(TaskTestSource::albumsJson({TaskTestSource::albumObject(
                                           QStringLiteral("Home"), QStringLiteral("2003"),
                                           {QStringLiteral("Elsewhere"), QStringLiteral("Nowhere")})}),
                                       "application/json"));
    auto song = makeSong(QStringLiteral("d"), {{QStringLiteral("title"), QStringLiteral("Somewhere")},
                                               {QStringLiteral("album"), QStringLiteral("Home")}});
    SongInfoTask task(song, {song}, {}, {QStringLiteral("TaskTestSource")}, resources());
    task.setGatherFlags(AlbumAssets(AlbumAsset::Year));
    run(task);
    EXPECT_FALSE(task.changedAssetFlags());
    EXPECT_EQ(task.errorMessage(),
              LocalizedStrings::format(QStringLiteral("ErrorNotOnAlbum"), QStringLiteral("Somewhere"),
                                       QStringLiteral("Home"), QStringLiteral("1:Elsewhere, 2:Nowhere")));
    EXPECT_TRUE(song->infotag()->year().isEmpty());
}

TEST_F(SongInfoTaskTest, DesiredFlagsSourcesSkippedAndSoundtrackTitles)
{
    auto song =
        makeSong(QStringLiteral("f"), {{QStringLiteral("title"), QStringLiteral("Theme")},
                                       {QStringLiteral("album"), QStringLiteral("Space Film")},
                                       {QStringLiteral("genre"), QStringLiteral("Original SOUNDTRACK")},
                                       {QStringLiteral("art"), TaskTestSource::jpeg(120, 120)}});
    SongInfoTask task(song, {song}, {}, {QStringLiteral("TaskTestSource")},
                      resources({{QStringLiteral("assets"), int(AlbumAsset::Lyrics)}}));
    EXPECT_EQ(task.albumTitle(), QStringLiteral("Space Film Soundtrack"));
    // Present values are wanted only when they may be overwritten; the
    // artist never is; a compilation's title is never replaced.
    task.setOverwriteFlags(AlbumAssets(AlbumAsset::Genre) | AlbumAsset::SongTitle);
    task.setGatherFlags(AllAlbumAssets);
    EXPECT_EQ(task.desiredAssetFlags(), AlbumAssets(AlbumAsset::Year) | AlbumAsset::Genre |
                                            AlbumAsset::SongTitle | AlbumAsset::Track | AlbumAsset::Tempo |
                                            AlbumAsset::Lyrics);
    song->infotag()->setIsPartOfCompilation(true);
    task.setGatherFlags(AlbumAssets(AlbumAsset::SongTitle) | AlbumAsset::Year);
    EXPECT_EQ(task.desiredAssetFlags(), AlbumAssets(AlbumAsset::Year));

    // The only source supplies lyrics, which are not wanted: no request.
    run(task);
    EXPECT_EQ(mServer.requests().size(), 0);
    EXPECT_FALSE(task.changedAssetFlags());

    auto titled = makeSong(QStringLiteral("g"), {{QStringLiteral("title"), QStringLiteral("X")},
                                                 {QStringLiteral("album"), QStringLiteral("Film Soundtrack")},
                                                 {QStringLiteral("genre"), QStringLiteral("soundtrack")}});
    SongInfoTask plain(titled, {titled}, {}, {}, {});
    EXPECT_EQ(plain.albumTitle(), QStringLiteral("Film Soundtrack"));
}

TEST_F(SongInfoTaskTest, CancelledTaskChoosesNothingAndReportsOnce)
{
    TestHttpServer::Response slow = TestHttpServer::Response::text(
        TaskTestSource::albumsJson({TaskTestSource::albumObject(
            QStringLiteral("Slow"), QStringLiteral("1990"), {QStringLiteral("Tune")})}),
        "application/json");
    slow.delayMs = 300;
    mServer.route(QStringLiteral("/albums"), slow);
    auto song = makeSong(QStringLiteral("h"), {{QStringLiteral("title"), QStringLiteral("Tune")},
                                               {QStringLiteral("album"), QStringLiteral("Slow")}});
    SongInfoTask task(song, {song}, {}, {QStringLiteral("TaskTestSource")}, resources());
    task.setGatherFlags(AlbumAssets(AlbumAsset::Year));
    TaskOwner owner;
    task.gatherNotifyingObject(&owner, "taskDone");
    task.cancel();
    ASSERT_TRUE(TestHttpServer::waitFor([&] { return owner.calls > 0; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(owner.calls, 1);
    EXPECT_TRUE(task.wasCancelled());
    EXPECT_FALSE(task.chosenAlbum());
    EXPECT_TRUE(song->infotag()->year().isEmpty());
}

#include "SongInfoTaskTest.moc"
