// The song lookup task end to end: a test source answering from the local
// server, real MP3 files, values applied to the tag and written back.
#include "web/SongInfoTask.h"

#include "AlbumSourceTestKit.h"
#include "MpegTestFiles.h"
#include "TaskTestSource.h"
#include "TestHttpServer.h"
#include "TestSupport.h"
#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"

#include <QCoreApplication>
#include <QDir>
#include <QImage>

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

// The values of a test song; null ones are left out.
struct SongValues
{
    const char* title;
    const char* album = nullptr;
    const char* genre = nullptr;
    QByteArray art = {};
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

    // Answers the test source's album search with `albums` (JSON).
    void serveAlbums(const QByteArray& albums, int delayMs = 0)
    {
        TestHttpServer::Response response = AlbumSourceTestKit::json(albums);
        response.delayMs = delayMs;
        mServer.route(QStringLiteral("/albums"), response);
    }

    // An MP3 song by "The Testers" with the given values.
    std::shared_ptr<SongFile> makeSong(const QString& name, const SongValues& values)
    {
        const QString path = mFolder + QLatin1Char('/') + name + QStringLiteral(".mp3");
        EXPECT_TRUE(MpegTestFiles::writeSimpleMp3(path, 40));
        auto tag = AudioInfoTag::tagWithPath(path);
        EXPECT_TRUE(tag);
        tag->setArtist(QStringLiteral("The Testers"));
        tag->setTitle(QString::fromUtf8(values.title));
        if (values.album)
            tag->setAlbum(QString::fromUtf8(values.album));
        if (values.genre)
            tag->setGenres(QString::fromUtf8(values.genre));
        if (!values.art.isEmpty())
            tag->addImage(*ID3Image::imageWithData(values.art, QStringLiteral("image/jpeg")));
        QString error;
        EXPECT_TRUE(tag->modifySongFileAtPath(path, &error)) << error.toStdString();
        return SongFile::songWithPath(path);
    }

    // A task for the song alone, asking the test source.
    static std::unique_ptr<SongInfoTask> makeTask(const std::shared_ptr<SongFile>& song,
                                                  const QVariantMap& sourceResources = {})
    {
        return std::make_unique<SongInfoTask>(
            song, SongInfoTask::SongList{song}, SongInfoTask::SongList{},
            QStringList{QStringLiteral("TaskTestSource")},
            QVariantMap{{QStringLiteral("res_TaskTestSource"), sourceResources}});
    }

    // Runs a task to its end; answers how often the owner was told.
    int run(SongInfoTask& task, bool cancel = false)
    {
        TaskOwner owner;
        task.gatherNotifyingObject(&owner, "taskDone");
        if (cancel)
            task.cancel();
        EXPECT_TRUE(TestHttpServer::waitFor([&] { return owner.calls > 0; }));
        // A second report would come on a later turn.
        QCoreApplication::processEvents();
        QCoreApplication::processEvents();
        EXPECT_EQ(owner.last, &task);
        return owner.calls;
    }

    TestHttpServer mServer;
    QString mFolder;
};

} // namespace

TEST_F(SongInfoTaskTest, GathersAppliesAndWritesValuesAndFittedArtwork)
{
    serveAlbums(R"([{"artist": "The Testers", "name": "First Light", "year": "1999", "genre": "Rock",
                     "tracks": ["Opening", "Second Song", "Closer"], "art": "/cover.jpg"}])");
    mServer.route(QStringLiteral("/cover.jpg"),
                  TestHttpServer::Response::text(TaskTestSource::jpeg(600, 600), "image/jpeg"));

    auto song = makeSong(QStringLiteral("a"), {"Second Song", "First Light"});
    ASSERT_TRUE(song);
    auto task = makeTask(song);
    task->setMaximumImageSize(300);
    task->setMinimumAcceptableImageSize(100);
    const AlbumAssets wanted =
        AlbumAssets(AlbumAsset::Year) | AlbumAsset::Genre | AlbumAsset::Track | AlbumAsset::Artwork;
    task->setGatherFlags(wanted);
    EXPECT_EQ(task->desiredAssetFlags(), wanted);
    EXPECT_EQ(run(*task), 1);

    EXPECT_EQ(task->changedAssetFlags(), wanted);
    EXPECT_FALSE(task->desiredAssetFlags());
    EXPECT_TRUE(task->errorMessage().isEmpty());
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/cover.jpg")), 1);

    QString error;
    ASSERT_TRUE(song->writeToOriginalPath(&error, false)) << error.toStdString();
    auto reread = AudioInfoTag::tagWithPath(song->path());
    ASSERT_TRUE(reread);
    EXPECT_EQ(QStringList({reread->year(), reread->genres(), reread->track()}),
              QStringList({QStringLiteral("1999"), QStringLiteral("Rock"), QStringLiteral("2/3")}));
    ASSERT_EQ(reread->numberOfImages(), 1);
    EXPECT_EQ(QImage::fromData(reread->images().first().imageData()).size(), QSize(300, 300));
    EXPECT_EQ(reread->images().first().mimeFormat(), QStringLiteral("image/jpeg"));
}

TEST_F(SongInfoTaskTest, ChoosesTheEarliestAlbumOrExplainsWhyNot)
{
    serveAlbums(R"([{"artist": "The Testers", "name": "Tunes", "year": "1994", "tracks": ["Intro", "Tune"]},
      {"artist": "The Testers", "name": "Best Tunes", "year": "1992", "tracks": ["Intro", "Tune"]},
      {"artist": "The Testers", "name": "Tunes Live", "year": "2001", "tracks": ["Intro", "Tune"]}])");
    auto song = makeSong(QStringLiteral("b"), {"Tune"});
    auto task = makeTask(song);
    task->setAlbumSelectionMethod(AlbumChooser::Method::EarliestYear);
    task->setGatherFlags(AlbumAssets(AlbumAsset::AlbumName) | AlbumAsset::Year);
    run(*task);
    ASSERT_TRUE(task->chosenAlbum());
    EXPECT_EQ(task->chosenAlbum()->name(), QStringLiteral("Best Tunes"));
    EXPECT_EQ(song->infotag()->album(), QStringLiteral("Best Tunes"));
    EXPECT_EQ(song->infotag()->year(), QStringLiteral("1992"));

    serveAlbums(R"([{"artist": "The Testers", "name": "Tunes", "year": "94", "tracks": ["Intro", "Tune"]},
      {"artist": "The Testers", "name": "Other Tunes", "year": "later", "tracks": ["Intro", "Tune"]}])");
    auto second = makeSong(QStringLiteral("c"), {"Tune"});
    auto noYear = makeTask(second);
    noYear->setAlbumSelectionMethod(AlbumChooser::Method::EarliestYear);
    noYear->setGatherFlags(AlbumAssets(AlbumAsset::AlbumName) | AlbumAsset::Year);
    run(*noYear);
    EXPECT_FALSE(noYear->chosenAlbum());
    EXPECT_FALSE(noYear->changedAssetFlags());
    EXPECT_TRUE(noYear->errorMessage().contains(QStringLiteral("'Other Tunes'")))
        << noYear->errorMessage().toStdString();
    EXPECT_TRUE(second->infotag()->album().isEmpty());
}

TEST_F(SongInfoTaskTest, AnAlbumWithoutTheSongIsNotApplied)
{
    serveAlbums(
        R"([{"artist": "The Testers", "name": "Home", "year": "2003", "tracks": ["Elsewhere", "Nowhere"]}])");
    auto song = makeSong(QStringLiteral("d"), {"Somewhere", "Home"});
    auto task = makeTask(song);
    task->setGatherFlags(AlbumAssets(AlbumAsset::Year));
    run(*task);
    EXPECT_FALSE(task->changedAssetFlags());
    EXPECT_EQ(task->errorMessage(),
              LocalizedStrings::format(QStringLiteral("ErrorNotOnAlbum"), QStringLiteral("Somewhere"),
                                       QStringLiteral("Home"), QStringLiteral("1:Elsewhere, 2:Nowhere")));
    EXPECT_TRUE(song->infotag()->year().isEmpty());
}

TEST_F(SongInfoTaskTest, DesiredFlagsSourcesSkippedAndSoundtrackTitles)
{
    auto song = makeSong(QStringLiteral("f"),
                         {"Theme", "Space Film", "Original SOUNDTRACK", TaskTestSource::jpeg(120, 120)});
    auto task = makeTask(song, {{QStringLiteral("assets"), int(AlbumAsset::Lyrics)}});
    EXPECT_EQ(task->albumTitle(), QStringLiteral("Space Film Soundtrack"));
    // Present values are wanted only when they may be overwritten; the
    // artist never is; a compilation's title is never replaced.
    task->setOverwriteFlags(AlbumAssets(AlbumAsset::Genre) | AlbumAsset::SongTitle);
    task->setGatherFlags(AllAlbumAssets);
    EXPECT_EQ(task->desiredAssetFlags(), AlbumAssets(AlbumAsset::Year) | AlbumAsset::Genre |
                                             AlbumAsset::SongTitle | AlbumAsset::Track | AlbumAsset::Tempo |
                                             AlbumAsset::Lyrics);
    song->infotag()->setIsPartOfCompilation(true);
    task->setGatherFlags(AlbumAssets(AlbumAsset::SongTitle) | AlbumAsset::Year);
    EXPECT_EQ(task->desiredAssetFlags(), AlbumAssets(AlbumAsset::Year));

    // The only source supplies lyrics, which are not wanted: no request.
    run(*task);
    EXPECT_EQ(mServer.requests().size(), 0);
    EXPECT_FALSE(task->changedAssetFlags());

    auto titled = makeSong(QStringLiteral("g"), {"X", "Film Soundtrack", "soundtrack"});
    SongInfoTask plain(titled, {titled}, {}, {}, {});
    EXPECT_EQ(plain.albumTitle(), QStringLiteral("Film Soundtrack"));
}

TEST_F(SongInfoTaskTest, CancelledTaskChoosesNothingAndReportsOnce)
{
    serveAlbums(R"([{"artist": "The Testers", "name": "Slow", "year": "1990", "tracks": ["Tune"]}])", 300);
    auto song = makeSong(QStringLiteral("h"), {"Tune", "Slow"});
    auto task = makeTask(song);
    task->setGatherFlags(AlbumAssets(AlbumAsset::Year));
    EXPECT_EQ(run(*task, true), 1);
    EXPECT_TRUE(task->wasCancelled());
    EXPECT_FALSE(task->chosenAlbum());
    EXPECT_TRUE(song->infotag()->year().isEmpty());
}

#include "SongInfoTaskTest.moc"
