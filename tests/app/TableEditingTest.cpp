// Editing in the song table from the keyboard: F2 starts, Enter writes the
// file at once and goes down, Escape cancels, an unchanged value writes
// nothing; a file that is read-only, gone or changed by another program since
// it was shown is left as it is and the user is told why.
#include "AppTestWindow.h"

#include "NoticeBar.h"
#include "SongTableModel.h"
#include "SongTableView.h"
#include "SongTestFiles.h"
#include "TestSupport.h"

#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

class TableEditingTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mFolder = AppTestWindow::folder(
            QString::fromLatin1(::testing::UnitTest::GetInstance()->current_test_info()->name()));
        for (const char* title : {"Alpha", "Bravo", "Charlie"}) {
            mPaths.append(AppTestWindow::writeSong(mFolder, QLatin1String(title),
                                                   {{QStringLiteral("title"), QLatin1String(title)},
                                                    {QStringLiteral("artist"), QStringLiteral("Old Artist")},
                                                    {QStringLiteral("album"), QStringLiteral("Old Album")},
                                                    {QStringLiteral("year"), QStringLiteral("1999")}}));
            ASSERT_FALSE(mPaths.last().isEmpty());
        }
    }

    bool load() { return mApp.load(mFolder); }

    void edit(const QString& title, SongColumn column, const QString& text, Qt::Key finish = Qt::Key_Return)
    {
        mApp.editCell(title, column, text, finish);
    }

    static QString artistInFile(const QString& path)
    {
        std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagWithPath(path);
        return tag ? tag->artist() : QStringLiteral("<unreadable>");
    }

    static QByteArray fingerprint(const QString& path)
    {
        const QFileInfo info(path);
        return TestSupport::readFile(path) + QByteArray::number(info.lastModified().toMSecsSinceEpoch());
    }

    QString mFolder;
    QStringList mPaths;
    AppTestWindow mApp;
};

} // namespace

TEST_F(TableEditingTest, EnterWritesTheFileAndGoesToTheRowBelow)
{
    ASSERT_TRUE(load());
    edit(QStringLiteral("Alpha"), SongColumn::Artist, QStringLiteral("New Artist"));
    EXPECT_EQ(artistInFile(mPaths.at(0)), QStringLiteral("New Artist"));
    EXPECT_EQ(artistInFile(mPaths.at(1)), QStringLiteral("Old Artist"));
    EXPECT_EQ(mApp.cell(mApp.rowOfTitle(QStringLiteral("Alpha")), SongColumn::Artist),
              QStringLiteral("New Artist"));
    ASSERT_TRUE(AppTestWindow::waitFor([&] { return mApp.window().table()->currentIndex().row() == 1; }));

    // The year emptied is the year removed from the file.
    edit(QStringLiteral("Bravo"), SongColumn::Year, QString());
    std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagWithPath(mPaths.at(1));
    ASSERT_TRUE(tag);
    EXPECT_TRUE(tag->year().isEmpty()) << tag->year().toStdString();
    EXPECT_TRUE(mApp.noticeText().isEmpty()) << mApp.noticeText().toStdString();
}

TEST_F(TableEditingTest, TheSameValueOrEscapeWritesNothing)
{
    ASSERT_TRUE(load());
    const QByteArray before = fingerprint(mPaths.at(0));
    edit(QStringLiteral("Alpha"), SongColumn::Year, QStringLiteral("1999"));
    edit(QStringLiteral("Alpha"), SongColumn::Artist, QStringLiteral("Old Artist"));
    edit(QStringLiteral("Alpha"), SongColumn::Artist, QStringLiteral("Never Written"), Qt::Key_Escape);
    EXPECT_EQ(fingerprint(mPaths.at(0)), before);
    EXPECT_EQ(mApp.cell(mApp.rowOfTitle(QStringLiteral("Alpha")), SongColumn::Artist),
              QStringLiteral("Old Artist"));
}

TEST_F(TableEditingTest, AFileGoneOrChangedSinceItWasShownIsLeftAloneWithAReason)
{
    ASSERT_TRUE(load());
    // Another program rewrites Bravo and deletes Charlie while they are shown.
    ASSERT_FALSE(
        SongTestFiles::writeMp3(mPaths.at(1), {{QStringLiteral("title"), QStringLiteral("Bravo")},
                                               {QStringLiteral("artist"), QStringLiteral("Their Artist")}})
            .isEmpty());
    ASSERT_TRUE(SongTestFiles::shiftModificationTime(mPaths.at(1), 30));
    const QByteArray theirs = fingerprint(mPaths.at(1));
    ASSERT_TRUE(QFile::remove(mPaths.at(2)));

    struct Row
    {
        const char* title;
        QString notice;
    };
    const Row rows[] = {
        {"Bravo", LocalizedStrings::format(QStringLiteral("EditFileChanged"), QStringLiteral("Bravo.mp3"))},
        {"Charlie", LocalizedStrings::format(QStringLiteral("EditFileGone"), QStringLiteral("Charlie.mp3"))},
    };
    for (const Row& row : rows) {
        mApp.window().noticeBar()->dismiss();
        edit(QLatin1String(row.title), SongColumn::Artist, QStringLiteral("Mine"));
        EXPECT_EQ(mApp.noticeText(), row.notice) << row.title;
    }
    EXPECT_EQ(fingerprint(mPaths.at(1)), theirs);
    EXPECT_FALSE(QFileInfo::exists(mPaths.at(2)));
    // The changed file's own values are shown now.
    EXPECT_EQ(mApp.cell(mApp.rowOfTitle(QStringLiteral("Bravo")), SongColumn::Artist),
              QStringLiteral("Their Artist"));
}

TEST_F(TableEditingTest, AReadOnlyFileIsLeftAloneWithAReason)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "the superuser may write read-only files";
    ASSERT_TRUE(QFile::setPermissions(mPaths.at(0), QFileDevice::ReadOwner | QFileDevice::ReadGroup));
    ASSERT_TRUE(load());
    const QByteArray before = fingerprint(mPaths.at(0));
    edit(QStringLiteral("Alpha"), SongColumn::Artist, QStringLiteral("Mine"));
    EXPECT_EQ(mApp.noticeText(),
              LocalizedStrings::format(QStringLiteral("EditReadOnly"), QStringLiteral("Alpha.mp3")));
    EXPECT_EQ(fingerprint(mPaths.at(0)), before);
    EXPECT_EQ(mApp.cell(0, SongColumn::Active),
              LocalizedStrings::text(QStringLiteral("ToolTipStatusLocked")));
}
