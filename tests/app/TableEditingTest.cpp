// Editing in the song table from the keyboard: F2 starts, Enter writes the
// file at once and goes down, Escape cancels, an unchanged value writes
// nothing; a file that is read-only, gone or changed by another program since
// it was shown is left as it is and the user is told why.
#include "AppTestWindow.h"

#include "NoticeBar.h"
#include "SongTableView.h"
#include "SongTestFiles.h"
#include "TestSupport.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <unistd.h>

namespace {

QByteArray fingerprint(const QString& path)
{
    return TestSupport::readFile(path) +
           QByteArray::number(QFileInfo(path).lastModified().toMSecsSinceEpoch());
}

class TableEditingTest : public AppTest
{
protected:
    void SetUp() override
    {
        writeSongs({QStringLiteral("Alpha"), QStringLiteral("Bravo"), QStringLiteral("Charlie")},
                   {{QStringLiteral("artist"), QStringLiteral("Old Artist")},
                    {QStringLiteral("album"), QStringLiteral("Old Album")},
                    {QStringLiteral("year"), QStringLiteral("1999")}});
    }
};

} // namespace

TEST_F(TableEditingTest, EnterWritesTheFileAndGoesToTheRowBelow)
{
    ASSERT_TRUE(mApp.load(mFolder));
    mApp.editCell(QStringLiteral("Alpha"), SongColumn::Artist, QStringLiteral("New Artist"));
    EXPECT_EQ(AppTestWindow::inFile(mPaths.at(0), &AudioInfoTag::artist), QStringLiteral("New Artist"));
    EXPECT_EQ(AppTestWindow::inFile(mPaths.at(1), &AudioInfoTag::artist), QStringLiteral("Old Artist"));
    EXPECT_EQ(mApp.cell("Alpha", SongColumn::Artist), QStringLiteral("New Artist"));
    ASSERT_TRUE(AppTestWindow::waitFor([&] { return mApp.window().table()->currentIndex().row() == 1; }));

    // The year emptied is the year removed from the file.
    mApp.editCell(QStringLiteral("Bravo"), SongColumn::Year, QString());
    EXPECT_EQ(AppTestWindow::inFile(mPaths.at(1), &AudioInfoTag::year), QString());
    EXPECT_TRUE(mApp.noticeText().isEmpty()) << mApp.noticeText().toStdString();
}

TEST_F(TableEditingTest, TheSameValueOrEscapeWritesNothing)
{
    ASSERT_TRUE(mApp.load(mFolder));
    const QByteArray before = fingerprint(mPaths.at(0));
    mApp.editCell(QStringLiteral("Alpha"), SongColumn::Year, QStringLiteral("1999"));
    mApp.editCell(QStringLiteral("Alpha"), SongColumn::Artist, QStringLiteral("Old Artist"));
    mApp.editCell(QStringLiteral("Alpha"), SongColumn::Artist, QStringLiteral("Never Written"),
                  Qt::Key_Escape);
    EXPECT_EQ(fingerprint(mPaths.at(0)), before);
    EXPECT_EQ(mApp.cell("Alpha", SongColumn::Artist), QStringLiteral("Old Artist"));
}

TEST_F(TableEditingTest, AFileGoneChangedSinceOrReadOnlyIsLeftAloneWithAReason)
{
    // Another program rewrites Bravo and deletes Charlie while they are
    // shown; Alpha is read-only (the superuser may write it all the same).
    const bool root = ::geteuid() == 0;
    ASSERT_TRUE(QFile::setPermissions(mPaths.at(0), QFileDevice::ReadOwner | QFileDevice::ReadGroup));
    ASSERT_TRUE(mApp.load(mFolder));
    ASSERT_FALSE(
        SongTestFiles::writeMp3(mPaths.at(1), {{QStringLiteral("title"), QStringLiteral("Bravo")},
                                               {QStringLiteral("artist"), QStringLiteral("Their Artist")}})
            .isEmpty());
    ASSERT_TRUE(SongTestFiles::shiftModificationTime(mPaths.at(1), 30));
    ASSERT_TRUE(QFile::remove(mPaths.at(2)));

    const struct
    {
        const char* title;
        const char* notice;
        bool skip;
    } rows[] = {
        {"Alpha", "EditReadOnly", root},
        {"Bravo", "EditFileChanged", false},
        {"Charlie", "EditFileGone", false},
    };
    for (const auto& row : rows) {
        if (row.skip)
            continue;
        SCOPED_TRACE(row.title);
        const QString path = mFolder + QLatin1Char('/') + QLatin1String(row.title) + QStringLiteral(".mp3");
        const QByteArray before = fingerprint(path);
        mApp.window().noticeBar()->dismiss();
        mApp.editCell(QLatin1String(row.title), SongColumn::Artist, QStringLiteral("Mine"));
        EXPECT_EQ(mApp.noticeText(),
                  LocalizedStrings::format(QLatin1String(row.notice),
                                           QLatin1String(row.title) + QStringLiteral(".mp3")));
        EXPECT_EQ(fingerprint(path), before);
    }
    EXPECT_FALSE(QFileInfo::exists(mPaths.at(2)));
    // The changed file's own values are shown now, the read-only one's lock.
    EXPECT_EQ(mApp.cell("Bravo", SongColumn::Artist), QStringLiteral("Their Artist"));
    if (!root) {
        EXPECT_EQ(mApp.cell("Alpha", SongColumn::Active), text("ToolTipStatusLocked"));
    }
    QFile::setPermissions(mPaths.at(0), QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}
