// The change history in the window: an edit in the table is taken back and
// done again from the Edit menu (read back from the files), a file another
// program changed since is left alone unless the user says otherwise, and
// the History window lists what the command line recorded and undoes it; a
// damaged history set aside at start is told.
#include "AppTestWindow.h"

#include "CommandCapture.h"
#include "HistoryWindow.h"
#include "NoticeBar.h"
#include "TestSupport.h"
#include "WindowHistory.h"

#include "cli/SetCommand.h"
#include "history/ChangeHistory.h"
#include "run/MainController.h"

#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

namespace {

// Another program writes a year into the file behind the window's back.
void writeYearElsewhere(const QString& path, const QString& year)
{
    const std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagFromFileAtPath(path, false);
    ASSERT_TRUE(tag);
    tag->setYear(year);
    QString error;
    ASSERT_TRUE(tag->modifySongFileAtPath(path, &error)) << error.toStdString();
}

QString yearInFile(const QString& path)
{
    return AppTestWindow::inFile(path, &AudioInfoTag::year);
}

class WindowHistoryTest : public AppTest
{
protected:
    void SetUp() override
    {
        writeSongs({QStringLiteral("Alpha"), QStringLiteral("Bravo")},
                   {{QStringLiteral("artist"), QStringLiteral("The Testers")},
                    {QStringLiteral("year"), QStringLiteral("1999")}});
    }
};

} // namespace

TEST_F(WindowHistoryTest, AnEditIsUndoneAndRedoneFromTheEditMenu)
{
    ASSERT_TRUE(mApp.load(mFolder));
    EXPECT_FALSE(mApp.action("Undo")->isEnabled());
    EXPECT_EQ(mApp.action("Undo")->text(), text("MenuUndo"));

    mApp.editCell(QStringLiteral("Alpha"), SongColumn::Year, QStringLiteral("2005"));
    ASSERT_EQ(yearInFile(mPaths.at(0)), QStringLiteral("2005"));
    const QString name =
        LocalizedStrings::format(QStringLiteral("HistoryNameEdit"), text("SongsTableTitle_year"));
    EXPECT_EQ(mApp.action("Undo")->text(), LocalizedStrings::format(QStringLiteral("MenuUndoNamed"), name));

    mApp.choose("Undo");
    EXPECT_EQ(yearInFile(mPaths.at(0)), QStringLiteral("1999"));
    EXPECT_EQ(mApp.cell("Alpha", SongColumn::Year), QStringLiteral("1999"));
    EXPECT_FALSE(mApp.action("Undo")->isEnabled());
    EXPECT_EQ(mApp.action("Redo")->text(), LocalizedStrings::format(QStringLiteral("MenuRedoNamed"), name));

    mApp.choose("Redo");
    EXPECT_EQ(yearInFile(mPaths.at(0)), QStringLiteral("2005"));
    EXPECT_EQ(mApp.cell("Alpha", SongColumn::Year), QStringLiteral("2005"));
    EXPECT_EQ(yearInFile(mPaths.at(1)), QStringLiteral("1999"));
    EXPECT_TRUE(mApp.noticeText().isEmpty()) << mApp.noticeText().toStdString();

    // Each step is an operation of the history, the edit's by hand.
    const QList<HistoryOperation> operations = ChangeHistory::shared().operations(3);
    ASSERT_EQ(operations.size(), 3);
    EXPECT_EQ(operations.at(0).kind, OperationKind::Redo);
    EXPECT_EQ(operations.at(1).kind, OperationKind::Undo);
    EXPECT_EQ(operations.at(2).kind, OperationKind::Edit);
    const QList<FileChangeRecord> edit = ChangeHistory::shared().filesOf(operations.at(2).id);
    ASSERT_EQ(edit.size(), 1);
    EXPECT_EQ(edit.first().attributes, QList<TagAttribute>{TagAttribute::Year});
    EXPECT_EQ(edit.first().originOf(TagAttribute::Year).kind, ChangeOrigin::Kind::User);
}

TEST_F(WindowHistoryTest, AFileChangedSinceIsLeftAloneUnlessTheUserSaysOtherwise)
{
    ASSERT_TRUE(mApp.load(mFolder));
    mApp.editCell(QStringLiteral("Alpha"), SongColumn::Year, QStringLiteral("2005"));
    mApp.editCell(QStringLiteral("Bravo"), SongColumn::Year, QStringLiteral("2006"));
    writeYearElsewhere(mPaths.at(0), QStringLiteral("2020"));
    writeYearElsewhere(mPaths.at(1), QStringLiteral("2021"));

    // Bravo's edit is taken back first; then Alpha's.
    struct Step
    {
        const char* answer;
        QString path;
        const char* year;
        bool named; // by the notice of files left alone
    };
    const Step steps[] = {{"HistoryLeaveAlone", mPaths.at(1), "2021", true},
                          {"HistoryUndoAnyway", mPaths.at(0), "1999", false}};
    for (const Step& step : steps) {
        SCOPED_TRACE(step.answer);
        mApp.window().noticeBar()->dismiss();
        mApp.choose("Undo");
        QMessageBox* question = mApp.openQuestion();
        ASSERT_NE(question, nullptr);
        EXPECT_TRUE(question->text().contains(step.path)) << question->text().toStdString();
        ASSERT_TRUE(AppTestWindow::answerQuestion(question, text(step.answer)));
        EXPECT_EQ(yearInFile(step.path), QLatin1String(step.year));
        EXPECT_EQ(mApp.noticeText().contains(step.path), step.named) << mApp.noticeText().toStdString();
    }
    EXPECT_FALSE(mApp.action("Undo")->isEnabled());
}

TEST_F(WindowHistoryTest, TheHistoryWindowListsWhatTheCommandLineDidAndUndoesIt)
{
    const CommandCapture set = CommandCapture::run<SetCommand>(
        {mPaths.at(0), mPaths.at(1), QStringLiteral("--year"), QStringLiteral("2001")});
    ASSERT_EQ(set.status, 0) << set.err.toStdString();
    const qint64 setOperation = ChangeHistory::shared().lastOperationID();
    ASSERT_TRUE(mApp.load(mFolder));
    ASSERT_EQ(mApp.cell("Alpha", SongColumn::Year), QStringLiteral("2001"));

    mApp.choose("History");
    auto* window = mApp.window().findChild<HistoryWindow*>();
    ASSERT_NE(window, nullptr);
    ASSERT_TRUE(window->isVisible());
    auto* operations = window->findChild<QTreeWidget*>(QStringLiteral("HistoryOperations"));
    auto* changes = window->findChild<QTreeWidget*>(QStringLiteral("HistoryChanges"));
    // Newest first: the set, with its two files, each changed by hand.
    EXPECT_EQ(AppTestWindow::cell(operations, 0, 1), text("HistoryKindSet"));
    EXPECT_EQ(AppTestWindow::cell(operations, 0, 3),
              LocalizedStrings::count(QStringLiteral("CountFiles"), 2));
    QTest::mouseClick(operations->viewport(), Qt::LeftButton, Qt::NoModifier,
                      operations->visualItemRect(operations->topLevelItem(0)).center());
    EXPECT_EQ(AppTestWindow::cell(changes, 0, 0), mPaths.at(0));
    EXPECT_EQ(AppTestWindow::cell(changes, 1, 0), QStringLiteral("year: \"1999\" → \"2001\""));
    EXPECT_EQ(AppTestWindow::cell(changes, 1, 1), text("OriginUser"));

    // The undo says what it will write before it writes.
    QTest::mouseClick(window->findChild<QPushButton*>(QStringLiteral("HistoryUndo")), Qt::LeftButton);
    QMessageBox* question = mApp.openQuestion();
    ASSERT_NE(question, nullptr);
    EXPECT_TRUE(question->text().contains(mPaths.at(1))) << question->text().toStdString();
    EXPECT_EQ(yearInFile(mPaths.at(0)), QStringLiteral("2001"));
    ASSERT_TRUE(AppTestWindow::answerQuestion(question, text("HistoryConfirmUndo")));

    for (const QString& path : std::as_const(mPaths))
        EXPECT_EQ(yearInFile(path), QStringLiteral("1999")) << path.toStdString();
    EXPECT_EQ(mApp.cell("Alpha", SongColumn::Year), QStringLiteral("1999"));
    EXPECT_EQ(AppTestWindow::cell(operations, 0, 1),
              LocalizedStrings::format(QStringLiteral("HistoryKindUndo"), setOperation));
}

TEST(WindowHistory, ADamagedHistorySetAsideAtStartIsTold)
{
    const QString path =
        AppTestWindow::folder(QStringLiteral("damaged-history")) + QStringLiteral("/History.sqlite");
    ASSERT_TRUE(TestSupport::writeFile(path, QByteArray(8192, '\x5a')));
    ChangeHistory history(path);
    MainController controller;
    QWidget window;
    WindowHistory windowHistory(controller, &window, history);
    QStringList notices;
    QObject::connect(&windowHistory, &WindowHistory::notice,
                     [&](const QString& notice) { notices.append(notice); });
    windowHistory.tellStartNotices();
    ASSERT_EQ(notices.size(), 1);
    EXPECT_TRUE(notices.first().contains(history.setAsidePath())) << notices.first().toStdString();
    EXPECT_FALSE(history.setAsidePath().isEmpty());
}
