// The window's run, driven from its toolbar against a source on the local
// test server: every song goes through waiting, being looked up and ready,
// the log tells what was set, Edit > Undo takes the run back, Stop ends the
// run, closing during a run asks first. Also a folder dropped on the table,
// an unreadable library export, and the welcome sheet of the first start.
#include "AppTestWindow.h"

#include "SongTableModel.h"
#include "SongTableView.h"
#include "SourceMenu.h"
#include "TaskTestSource.h"
#include "TestHttpServer.h"
#include "TestSupport.h"
#include "WelcomeSheet.h"

#include "cli/SongSourceOptions.h"
#include "run/MainController.h"
#include "web/WMHTTPQueue.h"

#include <QCheckBox>
#include <QDir>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>

namespace {

class WindowRunTest : public AppTest
{
protected:
    void SetUp() override
    {
        WebDBInterface::registerInterfaceClass<TaskTestSource>();
        ASSERT_TRUE(mServer.start());
        TaskTestSource::setServerBase(mServer.url(QStringLiteral("/")));
        answer(0);
        writeSongs({QStringLiteral("Headlights"), QStringLiteral("Overpass"), QStringLiteral("Tail Lights")},
                   {{QStringLiteral("artist"), QStringLiteral("The Testers")},
                    {QStringLiteral("album"), QStringLiteral("Night Drive")}});
        mApp.window().controller().setResources(
            {{QStringLiteral("sourcelist"), QStringList{QStringLiteral("TaskTestSource")}},
             {QStringLiteral("res_TaskTestSource"), QVariantMap()}});
        // Only the year is looked up: the drawer's other boxes are cleared
        // as a user clears them.
        for (const char* asset : {"AlbumName", "SongTitle", "Artwork", "Genre", "Track", "Lyrics"}) {
            auto* box = AppTestWindow::named<QCheckBox>(
                &mApp.window(), LocalizedStrings::format(QStringLiteral("DrawerCheckName"), text(asset)));
            ASSERT_NE(box, nullptr) << asset;
            QTest::mouseClick(box, Qt::LeftButton);
        }
    }

    void TearDown() override { WMHTTPQueue::queue()->cancelAll(); }

    void answer(int delayMs)
    {
        TestHttpServer::Response response = TestHttpServer::Response::text(
            TaskTestSource::albumsJson({TaskTestSource::albumObject(
                QStringLiteral("Night Drive"), QStringLiteral("1987"),
                {QStringLiteral("Headlights"), QStringLiteral("Overpass"), QStringLiteral("Tail Lights")})}),
            "application/json");
        response.delayMs = delayMs;
        mServer.route(QStringLiteral("/albums"), response);
    }

    QStringList statuses() const { return mApp.column(SongColumn::Active); }

    QStringList yearsInFiles() const
    {
        QStringList years;
        for (const QString& path : mPaths)
            years.append(AppTestWindow::inFile(path, &AudioInfoTag::year));
        return years;
    }

    TestHttpServer mServer;
};

} // namespace

TEST_F(WindowRunTest, BeginTakesEverySongThroughItsStatusesToTheEnd)
{
    ASSERT_TRUE(mApp.load(mFolder));
    const QString waiting = text("ToolTipStatusPending");
    const QString lookingUp = text("ToolTipStatusScanning");
    const QString ready = text("AccessibleStatusIdle");
    EXPECT_EQ(statuses(), QStringList(3, ready));

    // What the status column says each time the table is drawn again.
    QList<QStringList> seen;
    QObject::connect(mApp.window().model(), &QAbstractItemModel::dataChanged,
                     [&] { seen.append(statuses()); });
    QSignalSpy ended(&mApp.window().controller(), &MainController::runEnded);
    mApp.choose("BeginAdd");
    EXPECT_EQ(mApp.action("BeginAdd")->text(), text("AddLabel"));
    ASSERT_TRUE(AppTestWindow::waitFor([&] { return ended.count() == 1; }));

    // The first song is being looked up by the time the table is drawn
    // again; the others wait their turn first.
    for (int row = 0; row < 3; ++row) {
        QStringList history;
        for (const QStringList& moment : seen) {
            if (history.isEmpty() || history.last() != moment.at(row))
                history.append(moment.at(row));
        }
        const QStringList expected =
            row == 0 ? QStringList{lookingUp, ready} : QStringList{waiting, lookingUp, ready};
        EXPECT_EQ(history, expected) << "row " << row;
    }
    EXPECT_EQ(statuses(), QStringList(3, ready));
    EXPECT_EQ(mApp.action("BeginAdd")->text(), text("BeginLabel"));
    const QString log = mApp.logText();
    for (const char* title : {"Headlights", "Overpass", "Tail Lights"})
        EXPECT_TRUE(log.contains(
            LocalizedStrings::format(QStringLiteral("LogSetInfo"), QLatin1String(title), text("Year"))))
            << log.toStdString();
    EXPECT_TRUE(log.contains(LocalizedStrings::format(
        QStringLiteral("LogFinished"), 3, LocalizedStrings::count(QStringLiteral("CountSongs"), 3))))
        << log.toStdString();
    EXPECT_EQ(yearsInFiles(), QStringList(3, QStringLiteral("1987")));
    EXPECT_EQ(mApp.column(SongColumn::Year), QStringList(3, QStringLiteral("1987")));
}

TEST_F(WindowRunTest, StopEndsTheRunAndLeavesTheSongsReady)
{
    answer(3000);
    ASSERT_TRUE(mApp.load(mFolder));
    MainController& controller = mApp.window().controller();
    QSignalSpy ended(&controller, &MainController::runEnded);
    QSignalSpy logged(&controller, &MainController::logLine);
    mApp.choose("BeginAdd");
    ASSERT_TRUE(AppTestWindow::waitFor([&] { return statuses().contains(text("ToolTipStatusScanning")); }));
    mApp.choose("Stop");
    ASSERT_TRUE(AppTestWindow::waitFor([&] { return ended.count() == 1; }));
    EXPECT_TRUE(ended.first().first().toBool());
    EXPECT_EQ(controller.songsProcessed(), 1u);
    EXPECT_EQ(statuses(), QStringList(3, text("AccessibleStatusIdle")));
    const QString cancelled = LocalizedStrings::format(
        QStringLiteral("LogCancelled"), 0, LocalizedStrings::count(QStringLiteral("CountSongs"), 1));
    EXPECT_TRUE(mApp.logText().contains(cancelled)) << mApp.logText().toStdString();
    ASSERT_FALSE(logged.isEmpty());
    EXPECT_EQ(logged.last().at(0).toString(), cancelled);
    EXPECT_EQ(logged.last().at(1).value<QColor>(), QColor(255, 128, 0));
    EXPECT_EQ(yearsInFiles(), QStringList(3, QString()));
    // A new run can begin at once.
    EXPECT_FALSE(mApp.action("Stop")->isEnabled());
    EXPECT_TRUE(
        AppTestWindow::waitFor([&] { return mApp.action("BeginAdd")->text() == text("BeginLabel"); }));
    EXPECT_TRUE(mApp.action("BeginAdd")->isEnabled());
}

TEST_F(WindowRunTest, EditUndoTakesTheRunBack)
{
    ASSERT_TRUE(mApp.load(mFolder));
    const QStringList yearsBefore = mApp.column(SongColumn::Year);
    QSignalSpy ended(&mApp.window().controller(), &MainController::runEnded);
    mApp.choose("BeginAdd");
    ASSERT_TRUE(AppTestWindow::waitFor([&] { return ended.count() == 1; }));
    ASSERT_EQ(yearsInFiles(), QStringList(3, QStringLiteral("1987")));

    const QString run = LocalizedStrings::format(QStringLiteral("HistoryNameOn"), text("HistoryKindRun"),
                                                 QFileInfo(mFolder).fileName());
    EXPECT_EQ(mApp.action("Undo")->text(), LocalizedStrings::format(QStringLiteral("MenuUndoNamed"), run));
    mApp.choose("Undo");
    EXPECT_EQ(yearsInFiles(), QStringList(3, QString()));
    EXPECT_EQ(mApp.column(SongColumn::Year), yearsBefore);
}

TEST_F(WindowRunTest, ClosingDuringARunAsksFirst)
{
    answer(3000);
    ASSERT_TRUE(mApp.load(mFolder));
    QSignalSpy quit(&mApp.window(), &MainWindow::quitRequested);
    mApp.choose("BeginAdd");
    ASSERT_TRUE(mApp.window().controller().isRunning());

    EXPECT_FALSE(mApp.window().close());
    ASSERT_NE(mApp.openQuestion(), nullptr);
    EXPECT_EQ(mApp.openQuestion()->text(), text("WindowCloseActivityMessage"));
    ASSERT_TRUE(mApp.answerQuestion("WindowCloseActivityCancel"));
    QCoreApplication::processEvents();
    EXPECT_TRUE(mApp.window().isVisible());
    EXPECT_TRUE(mApp.window().controller().isRunning());
    EXPECT_EQ(quit.count(), 0);

    EXPECT_FALSE(mApp.window().close());
    ASSERT_TRUE(mApp.answerQuestion("WindowCloseActivityQuit"));
    ASSERT_TRUE(AppTestWindow::waitFor([&] { return quit.count() == 1; }));
    EXPECT_FALSE(mApp.window().isVisible());
    // Nothing was half written: the files hold what they held.
    EXPECT_EQ(yearsInFiles(), QStringList(3, QString()));
}

TEST_F(WindowRunTest, ClosingWithNoRunQuitsAtOnce)
{
    ASSERT_TRUE(mApp.load(mFolder));
    QSignalSpy quit(&mApp.window(), &MainWindow::quitRequested);
    EXPECT_TRUE(mApp.window().close());
    EXPECT_EQ(quit.count(), 1);
    EXPECT_EQ(mApp.openQuestion(), nullptr);
}

TEST_F(WindowRunTest, AFolderDroppedOnTheTableBecomesTheSource)
{
    ASSERT_TRUE(mApp.load(mFolder));
    const QString other = AppTestWindow::folder(QStringLiteral("dropped"));
    AppTestWindow::writeSong(other, QStringLiteral("x"),
                             {{QStringLiteral("title"), QStringLiteral("Dropped Song")}});
    // A file and the folder: the folder is taken.
    QWidget* table = mApp.window().table()->viewport();
    ASSERT_TRUE(
        AppTestWindow::drop(table, {QUrl::fromLocalFile(mPaths.first()), QUrl::fromLocalFile(other)}));
    ASSERT_TRUE(AppTestWindow::waitFor([&] { return mApp.rowCount() == 1; }));
    EXPECT_EQ(mApp.cell(0, SongColumn::Title), QStringLiteral("Dropped Song"));
    EXPECT_EQ(mApp.window().sourceMenu()->text(), QStringLiteral("dropped"));
    EXPECT_EQ(QSettings().value(QStringLiteral("_directory")).toString(), other);

    // Files alone are no source.
    EXPECT_FALSE(AppTestWindow::drop(table, {QUrl::fromLocalFile(mPaths.first())}));
}

TEST_F(WindowRunTest, ALibraryExportThatCannotBeReadIsExplained)
{
    ASSERT_TRUE(mApp.load(mFolder));
    const QString library = mFolder + QStringLiteral("/Library.xml");
    ASSERT_TRUE(
        TestSupport::writeFile(library, QByteArray("<?xml version=\"1.0\"?>\n<plist><dict><key>Tracks")));
    mApp.window().openLibrary(library);
    ASSERT_TRUE(AppTestWindow::waitFor([&] { return !mApp.noticeText().isEmpty(); }));
    EXPECT_TRUE(mApp.noticeText().startsWith(
        LocalizedStrings::format(QStringLiteral("LibraryUnreadableNotice"), library, QString())
            .section(QLatin1Char(':'), 0, 0)))
        << mApp.noticeText().toStdString();
    EXPECT_TRUE(mApp.noticeText().contains(library)) << mApp.noticeText().toStdString();
    // The window goes on with what it showed, and starts with it next time.
    EXPECT_EQ(mApp.rowCount(), 3);
    EXPECT_EQ(QSettings().value(QStringLiteral("_source")).toInt(), int(SongSourceKind::Folder));
    EXPECT_TRUE(mApp.action("Rescan")->isEnabled());
}

TEST_F(WindowRunTest, TheFirstStartWelcomesAndOffersTheMusicFolder)
{
    QSettings().remove(QStringLiteral("_welcomed"));
    const QString music = QDir::homePath() + QStringLiteral("/Music");
    QDir(music).removeRecursively();
    QDir().mkpath(music);
    AppTestWindow::writeSong(music, QStringLiteral("m"),
                             {{QStringLiteral("title"), QStringLiteral("Home Song")}});

    mApp.window().openStartSource(SongSourceOptions());
    WelcomeSheet* sheet = mApp.window().findChild<WelcomeSheet*>();
    ASSERT_NE(sheet, nullptr);
    ASSERT_TRUE(AppTestWindow::waitFor([&] { return sheet->isVisible(); }));
    auto* useMusic = AppTestWindow::named<QPushButton>(sheet, text("WelcomeUseMusicFolder"));
    ASSERT_NE(useMusic, nullptr);
    QTest::mouseClick(useMusic, Qt::LeftButton);
    ASSERT_TRUE(AppTestWindow::waitFor([&] { return mApp.rowCount() == 1; }));
    EXPECT_EQ(mApp.cell(0, SongColumn::Title), QStringLiteral("Home Song"));
    EXPECT_TRUE(WelcomeSheet::wasShown());
}
