// The gathering run end to end: real MP3 and MPEG-4 files, a test source
// answering from the local server, the run's statuses, counters, log lines
// and writes, giving up on a task that ignores Stop (Stop itself is driven
// from the window's run tests), adding songs, and dry runs.
#include "run/MainController.h"

#include "LoadTestFiles.h"
#include "Mp4TestFiles.h"
#include "MpegTestFiles.h"
#include "TaskTestSource.h"
#include "TestHttpServer.h"
#include "TestSupport.h"
#include "songs/SongFile.h"
#include "songs/SongFileInfoCache.h"
#include "support/LocalizedStrings.h"
#include "support/WMLog.h"
#include "tags/AudioInfoTag.h"
#include "tags/ID3Image.h"
#include "web/WMHTTPQueue.h"

#include <QDir>
#include <QFile>
#include <QUrlQuery>

#include <gtest/gtest.h>

namespace {

struct LoggedLine
{
    QString text;
    QColor color;
};

// "Night Drive" by "The Testers", found for every song.
QByteArray nightDrive()
{
    return TaskTestSource::albumsJson({TaskTestSource::albumObject(
        QStringLiteral("Night Drive"), QStringLiteral("1987"),
        {QStringLiteral("Headlights"), QStringLiteral("Overpass")}, QStringLiteral("Synthpop"))});
}

// The log's last line of a run: `key` with the songs changed and looked at.
QString runEnd(const char* key, int changed, int songs)
{
    return LocalizedStrings::format(QLatin1String(key), changed,
                                    LocalizedStrings::count(QStringLiteral("CountSongs"), songs));
}

class MainControllerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        WebDBInterface::registerInterfaceClass<TaskTestSource>();
        ASSERT_TRUE(mServer.start());
        TaskTestSource::setServerBase(mServer.url(QStringLiteral("/")));
        mFolder = LoadTestFiles::freshFolder(
            QStringLiteral("run-") +
            QString::fromLatin1(::testing::UnitTest::GetInstance()->current_test_info()->name()));
        answerWith(nightDrive());
        QObject::connect(&mController, &MainController::logLine,
                         [this](const QString& text, const QColor& c) {
                             mLog.append({text, c});
                         });
        QObject::connect(
            &mController, &MainController::songChanges,
            [this](const std::shared_ptr<SongFile>&, const QStringList& lines) { mChanges.append(lines); });
        QObject::connect(&mController, &MainController::runEnded, [this](bool cancelled) {
            mEnded = true;
            mCancelled = cancelled;
        });
        WindowPrefs choices;
        choices.setCheckFlags(AlbumAssets(AlbumAsset::Year) | AlbumAsset::Genre);
        mController.setWindowPrefs(choices);
        useSource({});
    }

    // Requests a test left hanging (a task given up on) would otherwise
    // fail during the next test and mark the host as failing.
    void TearDown() override { WMHTTPQueue::queue()->cancelAll(); }

    void answerWith(const QByteArray& json, int delayMs = 0)
    {
        TestHttpServer::Response response = TestHttpServer::Response::text(json, "application/json");
        response.delayMs = delayMs;
        mServer.route(QStringLiteral("/albums"), response);
    }

    void useSource(const QVariantMap& sourceResources)
    {
        mController.setResources(
            {{QStringLiteral("sourcelist"), QStringList{QStringLiteral("TaskTestSource")}},
             {QStringLiteral("res_TaskTestSource"), sourceResources}});
    }

    // A song of "Night Drive" by "The Testers" (an MP3, or an MPEG-4 file)
    // with the given title and, when given, year.
    std::shared_ptr<SongFile> makeSong(const char* name, const char* title, const QString& year = {},
                                       bool mpeg4 = false)
    {
        const QString path = mFolder + QLatin1Char('/') + QLatin1String(name) +
                             (mpeg4 ? QStringLiteral(".m4a") : QStringLiteral(".mp3"));
        EXPECT_TRUE(mpeg4 ? TestSupport::writeFile(path, Mp4TestFiles::m4a({}))
                          : MpegTestFiles::writeSimpleMp3(path, 40));
        auto tag = AudioInfoTag::tagWithPath(path);
        EXPECT_TRUE(tag);
        if (!tag)
            return nullptr;
        tag->setArtist(QStringLiteral("The Testers"));
        tag->setAlbum(QStringLiteral("Night Drive"));
        tag->setTitle(QLatin1String(title));
        tag->setYear(year);
        QString error;
        EXPECT_TRUE(tag->modifySongFileAtPath(path, &error)) << error.toStdString();
        auto song = SongFile::songWithPath(path);
        EXPECT_TRUE(song);
        song->infotag();
        return song;
    }

    bool runToEnd()
    {
        return TestHttpServer::waitFor([this] { return mEnded; }, 20000);
    }

    std::string logText() const
    {
        QStringList texts;
        for (const LoggedLine& line : mLog)
            texts.append(line.text);
        return texts.join(QLatin1Char('\n')).toStdString();
    }

    TestHttpServer mServer;
    QString mFolder;
    MainController mController;
    QList<LoggedLine> mLog;
    QList<QStringList> mChanges; // each song's change lines, as reported
    bool mEnded = false;
    bool mCancelled = false;
};

} // namespace

TEST_F(MainControllerTest, RunsEverySongInTableOrderWritesAndReportsBack)
{
    const auto first = makeSong("a", "Headlights");
    const auto second = makeSong("b", "Overpass", {}, true);
    const auto complete = makeSong("c", "Overpass", QStringLiteral("1990"));
    ASSERT_TRUE(first && second && complete);
    // The complete song (of another album, so that it lends nothing) still
    // lacks a genre; give it one so that nothing is wanted and it is done
    // without a request.
    complete->infotag()->setAlbum(QStringLiteral("Day Trip"));
    complete->infotag()->setGenres(QStringLiteral("Rock"));
    QString error;
    ASSERT_TRUE(complete->writeToOriginalPath(&error, false));

    // Table order: the MP4 song first.
    mController.setAllSongs({first, second, complete});
    mController.setVisibleSongs({second, first, complete});
    QStringList started;
    QObject::connect(&mController, &MainController::statusTextChanged, [&](const QString& text) {
        if (!text.isEmpty())
            started.append(text);
    });

    ASSERT_TRUE(mController.beginGathering());
    EXPECT_EQ(mController.beginMode(), QStringLiteral("Add"));
    EXPECT_TRUE(mController.canStopGathering());
    EXPECT_EQ(second->activityStatus(), SongActivityStatus::Gathering);
    EXPECT_EQ(first->activityStatus(), SongActivityStatus::Queued);
    EXPECT_EQ(complete->activityStatus(), SongActivityStatus::Queued);
    ASSERT_TRUE(runToEnd());

    EXPECT_FALSE(mCancelled);
    EXPECT_FALSE(mController.isRunning());
    EXPECT_EQ(mController.beginMode(), QStringLiteral("Begin"));
    EXPECT_EQ(mController.songsProcessed(), 3u);
    EXPECT_EQ(mController.songsModified(), 2u);
    for (const auto& song : {first, second, complete})
        EXPECT_EQ(song->activityStatus(), SongActivityStatus::Idle) << song->path().toStdString();
    ASSERT_FALSE(started.isEmpty());
    EXPECT_TRUE(started.first().contains(QStringLiteral("The Testers - Overpass")))
        << started.first().toStdString();
    // One lookup: the second song borrowed from the first, its sibling, and
    // the complete song needed none.
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/albums")), 1);

    EXPECT_EQ(LoadTestFiles::yearOf(first->path()), QStringLiteral("1987"));
    EXPECT_EQ(LoadTestFiles::yearOf(second->path()), QStringLiteral("1987"));
    EXPECT_EQ(LoadTestFiles::yearOf(complete->path()), QStringLiteral("1990"));
    EXPECT_EQ(AudioInfoTag::tagWithPath(second->path())->genres(), QStringLiteral("Synthpop"));

    ASSERT_EQ(mLog.size(), 3) << logText();
    EXPECT_EQ(mLog.at(0).text,
              LocalizedStrings::format(
                  QStringLiteral("LogSetInfo"), QStringLiteral("Overpass"),
                  AlbumInfo::summaryOfAssets(AlbumAssets(AlbumAsset::Year) | AlbumAsset::Genre)));
    EXPECT_EQ(mLog.at(0).color, QColor(0, 0, 255));
    EXPECT_EQ(mLog.at(2).text, runEnd("LogFinished", 2, 3));
    EXPECT_EQ(mLog.at(2).color, QColor::fromRgbF(0.0f, 0.5f, 0.0f, 1.0f)); // dark green
    ASSERT_EQ(mChanges.size(), 2);
    // Each change names the source and album its value came from.
    EXPECT_TRUE(mChanges.first().contains(
        QStringLiteral("year: \"\" → \"1987\"  (from TaskTestSource: The Testers – Night Drive)")))
        << mChanges.first().join(QLatin1Char('|')).toStdString();
    // The songs keep the cache's summary of their values: renewed for the
    // written ones, made for the unchanged one read from its file.
    EXPECT_EQ(first->infotag()->year(), QStringLiteral("1987"));
    EXPECT_EQ(
        SongFileInfoCache::sharedCache().infoForSongFileAtPath(first->path()).value(QStringLiteral("yr")),
        QStringLiteral("1987"));
    EXPECT_FALSE(SongFileInfoCache::sharedCache().infoForSongFileAtPath(complete->path()).isEmpty());
}

TEST_F(MainControllerTest, DryRunReportsChangesAndWritesNothing)
{
    const auto song = makeSong("a", "Headlights");
    ASSERT_TRUE(song);
    const QByteArray before = TestSupport::readFile(song->path());
    mController.setAllSongs({song});
    mController.setDryRun(true);

    ASSERT_TRUE(mController.beginGathering());
    ASSERT_TRUE(runToEnd());

    EXPECT_EQ(TestSupport::readFile(song->path()), before);
    EXPECT_EQ(mController.songsModified(), 1u);
    ASSERT_FALSE(mChanges.isEmpty());
    EXPECT_TRUE(mChanges.last().contains(
        QStringLiteral("genre: \"\" → \"Synthpop\"  (from TaskTestSource: The Testers – Night Drive)")))
        << mChanges.last().join(QLatin1Char('|')).toStdString();
    ASSERT_FALSE(mLog.isEmpty());
    EXPECT_TRUE(mLog.first().text.startsWith(
        LocalizedStrings::format(QStringLiteral("LogWouldSetInfo"), QStringLiteral("Headlights"), QString())))
        << mLog.first().text.toStdString();
    EXPECT_EQ(mLog.last().text, runEnd("LogFinishedDryRun", 1, 1));
    // The song shows its file's values again.
    EXPECT_TRUE(song->infotag()->year().isEmpty());
    EXPECT_EQ(song->activityStatus(), SongActivityStatus::Idle);
}

TEST_F(MainControllerTest, SongsAddedDuringARunJoinItAndTheCountersCarryOn)
{
    const auto first = makeSong("a", "Headlights");
    const auto second = makeSong("b", "Overpass");
    ASSERT_TRUE(first && second);
    mController.setAllSongs({first, second});
    answerWith(nightDrive(), 300);

    ASSERT_TRUE(mController.beginGathering({first}));
    EXPECT_EQ(second->activityStatus(), SongActivityStatus::Idle);
    const double maximum = mController.overallProgress()->maxValue();
    ASSERT_TRUE(mController.beginGathering({second}));
    EXPECT_EQ(second->activityStatus(), SongActivityStatus::Queued);
    EXPECT_EQ(mController.overallProgress()->maxValue(), maximum + 1.0);
    // Songs already in the run are not taken twice.
    EXPECT_FALSE(mController.canBeginGathering({first, second}));
    EXPECT_FALSE(mController.beginGathering({second}));
    EXPECT_EQ(mController.overallProgress()->maxValue(), maximum + 1.0);
    ASSERT_TRUE(runToEnd());

    EXPECT_EQ(mController.songsProcessed(), 2u);
    EXPECT_EQ(mController.songsModified(), 2u);
    EXPECT_EQ(LoadTestFiles::yearOf(second->path()), QStringLiteral("1987"));
    EXPECT_EQ(mLog.last().text, runEnd("LogFinished", 2, 2));
}

TEST_F(MainControllerTest, ATaskThatIgnoresCancelIsGivenUpOn)
{
    const auto song = makeSong("a", "Headlights");
    ASSERT_TRUE(song);
    mController.setAllSongs({song});
    TestHttpServer::Response hang;
    hang.neverAnswer = true;
    mServer.route(QStringLiteral("/albums"), hang);
    useSource({{QStringLiteral("ignoreCancel"), true}});
    mController.setCancelTaskTimeoutSeconds(0.5);
    const QString logPath = TestSupport::scratchFolder() + QStringLiteral("/give-up-log.txt");
    QFile::remove(logPath);
    WMLogSetLocation(logPath);

    ASSERT_TRUE(mController.beginGathering());
    ASSERT_TRUE(TestHttpServer::waitFor([&] { return mServer.requestCount(QStringLiteral("/albums")) > 0; }));
    mController.stopGathering();
    // Still waiting for the task right after Stop.
    EXPECT_TRUE(mController.isRunning());
    ASSERT_TRUE(runToEnd());

    EXPECT_TRUE(mCancelled);
    EXPECT_EQ(mController.currentInfoTask(), nullptr);
    EXPECT_EQ(mController.beginMode(), QStringLiteral("Begin"));
    EXPECT_EQ(mController.songProgress()->doubleValue(), 0.0);
    EXPECT_TRUE(QString::fromUtf8(TestSupport::readFile(logPath))
                    .contains(QStringLiteral("Gave up [mCurrentInfoTask cancel]!")));
    EXPECT_EQ(song->activityStatus(), SongActivityStatus::Idle);
    WMLogSetLocation(QString());
}

TEST_F(MainControllerTest, AFileThatVanishesIsReportedAndTheRunGoesOn)
{
    const auto gone = makeSong("a", "Headlights");
    const auto kept = makeSong("b", "Overpass");
    const auto damaged = makeSong("c", "Damaged");
    ASSERT_TRUE(gone && kept && damaged);
    damaged->setActivityStatus(SongActivityStatus::Problem);
    mController.setAllSongs({gone, kept, damaged});
    // The first song's file goes away while it is looked up.
    useSource({{QStringLiteral("path"), QStringLiteral("/vanish")}});
    mServer.setHandler([&](const TestHttpServer::Request& request) {
        if (QUrlQuery(QUrl(request.pathAndQuery).query()).queryItemValue(QStringLiteral("title")) ==
            QStringLiteral("Headlights"))
            QFile::remove(gone->path());
        return TestHttpServer::Response::text(nightDrive(), "application/json");
    });

    ASSERT_TRUE(mController.beginGathering());
    ASSERT_TRUE(runToEnd());

    EXPECT_EQ(gone->activityStatus(), SongActivityStatus::Problem);
    EXPECT_EQ(kept->activityStatus(), SongActivityStatus::Idle);
    EXPECT_EQ(LoadTestFiles::yearOf(kept->path()), QStringLiteral("1987")) << logText();
    // Damaged songs are never queued.
    EXPECT_EQ(damaged->activityStatus(), SongActivityStatus::Problem);
    EXPECT_EQ(mController.songsProcessed(), 2u);
    bool reported = false;
    for (const LoggedLine& line : mLog)
        reported |= line.color == QColor(255, 0, 0) && line.text.contains(QStringLiteral("Headlights"));
    EXPECT_TRUE(reported) << logText();
    EXPECT_FALSE(QFile::exists(gone->path()));
}

TEST_F(MainControllerTest, NothingStartsWhenTitlesWouldBeReplacedWithoutConsent)
{
    const auto song = makeSong("a", "Headlights");
    ASSERT_TRUE(song);
    mController.setAllSongs({song});
    WindowPrefs choices;
    choices.setOverwriteFlags(AlbumAsset::SongTitle);
    mController.setWindowPrefs(choices);
    int asked = 0;
    mController.setConfirmOverwriteTitle([&] {
        ++asked;
        return false;
    });
    EXPECT_FALSE(mController.beginGathering());
    EXPECT_EQ(asked, 1);
    EXPECT_FALSE(mController.isRunning());
    EXPECT_EQ(song->activityStatus(), SongActivityStatus::Idle);

    // Songs that can't be worked on don't start a run either.
    song->setActivityStatus(SongActivityStatus::Locked);
    mController.setConfirmOverwriteTitle({});
    EXPECT_FALSE(mController.canBeginGathering());
    EXPECT_FALSE(mController.beginGathering());
    EXPECT_FALSE(mController.isRunning());
}

TEST_F(MainControllerTest, ACompilationSongWithNothingFoundWarnsUnlessTurnedOff)
{
    const auto song = makeSong("a", "Headlights");
    ASSERT_TRUE(song);
    song->infotag()->setIsPartOfCompilation(true);
    QString error;
    ASSERT_TRUE(song->writeToOriginalPath(&error, false));
    mController.setAllSongs({song});
    answerWith("[]");
    QStringList warnings;
    QObject::connect(&mController, &MainController::compilationWarning,
                     [&](const QString& text) { warnings.append(text); });

    for (bool dontShow : {false, true}) {
        mController.compWarningDontShow(dontShow);
        mEnded = false;
        ASSERT_TRUE(mController.beginGathering());
        ASSERT_TRUE(runToEnd());
    }
    ASSERT_EQ(warnings.size(), 1);
    EXPECT_EQ(warnings.first(),
              LocalizedStrings::format(QStringLiteral("CompilationWarning"), QStringLiteral("Headlights"),
                                       QStringLiteral("The Testers")));
    mController.compWarningDontShow(false);
}
