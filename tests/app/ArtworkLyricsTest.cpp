// The artwork view and the lyrics window beside the table, driven as a user
// drives them: a picture file dropped on the view lands in the song's file
// byte for byte (what is no picture is told and changes nothing), Delete
// removes the picture shown (of several songs all, after asking), typed
// lyrics are written once after the pause and for the song they were typed
// for (a file gone meanwhile and a megabyte pasted are told, not written),
// removing lyrics asks for several songs, and the words of a lyrics search
// are highlighted.
#include "AppTestWindow.h"
#include "LoadTestFiles.h"

#include "ArtworkPanel.h"
#include "LyricsPanel.h"
#include "NoticeBar.h"
#include "SearchField.h"
#include "SongCommands.h"
#include "SongTableView.h"
#include "TagCommandRunner.h"
#include "TestSupport.h"

#include <QClipboard>
#include <QFile>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

namespace {

QByteArray jpeg(const QColor& colour)
{
    return LoadTestFiles::picture("jpeg", colour);
}

QList<QByteArray> picturesIn(const QString& path)
{
    QList<QByteArray> pictures;
    std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagWithPath(path);
    for (const ID3Image& picture : tag ? tag->images() : QList<ID3Image>())
        pictures.append(picture.imageData());
    return pictures;
}

QString lyricsIn(const QString& path)
{
    return AppTestWindow::inFile(path, &AudioInfoTag::lyrics);
}

class ArtworkLyricsTest : public AppTest
{
protected:
    void SetUp() override
    {
        writeSongs({QStringLiteral("Alpha"), QStringLiteral("Bravo"), QStringLiteral("Charlie")},
                   {{QStringLiteral("artist"), QStringLiteral("Kite")},
                    {QStringLiteral("lyrics"), QStringLiteral("Old words")}});
    }

    void addPictures(int song, const QList<QByteArray>& pictures)
    {
        std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagWithPath(mPaths.at(song));
        ASSERT_TRUE(tag);
        for (const QByteArray& data : pictures)
            tag->addImage(ID3Image(data, QStringLiteral("image/jpeg")));
        QString error;
        ASSERT_TRUE(tag->modifySongFileAtPath(mPaths.at(song), &error)) << error.toStdString();
    }

    ArtworkPanel& artwork() const { return *mApp.window().artworkPanel(); }
    LyricsPanel& lyrics() const { return *mApp.window().lyricsPanel(); }

    // A file dragged from the file manager and let go over the view.
    void dropFile(const QString& name, const QByteArray& data)
    {
        const QString path = AppTestWindow::folder(QStringLiteral("dropped")) + QLatin1Char('/') + name;
        ASSERT_TRUE(TestSupport::writeFile(path, data));
        ASSERT_TRUE(AppTestWindow::drop(artwork().widget(), {QUrl::fromLocalFile(path)}));
    }

    QWidget* picture() const { return artwork().findChild<QWidget*>(QStringLiteral("ArtworkPicture")); }
};

} // namespace

TEST_F(ArtworkLyricsTest, ADroppedJpegFileLandsInTheFileWithTheSameBytes)
{
    ASSERT_TRUE(mApp.load(mFolder));
    mApp.selectTitles({QStringLiteral("Charlie")});
    EXPECT_EQ(artwork().descriptionText(), text("ArtworkNone"));

    const QByteArray cover = jpeg(QColor(200, 60, 40));
    dropFile(QStringLiteral("cover.jpg"), cover);
    EXPECT_EQ(picturesIn(mPaths.at(2)), QList<QByteArray>{cover});
    EXPECT_EQ(artwork().pictureCount(), 1);
    EXPECT_TRUE(artwork().descriptionText().startsWith(QStringLiteral("120 × 90 pixels, JP")))
        << artwork().descriptionText().toStdString();
    EXPECT_TRUE(mApp.noticeText().isEmpty()) << mApp.noticeText().toStdString();

    // What is no picture, or a damaged one, is told; the file stays as it is.
    const QByteArray before = TestSupport::readFile(mPaths.at(2));
    const struct
    {
        const char* name;
        QByteArray data;
        const char* reason;
    } bad[] = {{"notes.txt", QByteArray("no picture here\n").repeated(50), "ArtworkNotAPicture"},
               {"cut.jpg", jpeg(Qt::green).left(400), "ArtworkDamaged"}};
    for (const auto& row : bad) {
        mApp.window().noticeBar()->dismiss();
        dropFile(QLatin1String(row.name), row.data);
        EXPECT_TRUE(mApp.noticeText().startsWith(
            LocalizedStrings::format(QLatin1String(row.reason), QLatin1String(row.name), QString())))
            << row.name << ": " << mApp.noticeText().toStdString();
    }
    EXPECT_EQ(TestSupport::readFile(mPaths.at(2)), before);
}

TEST_F(ArtworkLyricsTest, DeleteRemovesTheShownPictureOfOneSongAndAllOfSeveralAfterAsking)
{
    const QByteArray red = jpeg(Qt::red);
    const QByteArray blue = jpeg(Qt::blue);
    addPictures(0, {red, blue});
    addPictures(1, {jpeg(Qt::yellow)});
    ASSERT_TRUE(mApp.load(mFolder));
    mApp.selectTitles({QStringLiteral("Alpha")});
    ASSERT_EQ(artwork().pictureCount(), 2);
    auto* next = AppTestWindow::named<QToolButton>(&artwork(), text("ArtworkNext"));
    ASSERT_NE(next, nullptr);
    next->click();
    QTest::keyClick(picture(), Qt::Key_Delete);
    EXPECT_EQ(picturesIn(mPaths.at(0)), QList<QByteArray>{red});
    EXPECT_EQ(artwork().pictureCount(), 1);

    // Several songs: asked first; Cancel changes nothing, OK removes all.
    mApp.selectTitles({QStringLiteral("Alpha"), QStringLiteral("Bravo")});
    QTest::keyClick(picture(), Qt::Key_Delete);
    ASSERT_TRUE(mApp.answerQuestion(false));
    EXPECT_EQ(picturesIn(mPaths.at(1)).size(), 1);
    QTest::keyClick(picture(), Qt::Key_Delete);
    ASSERT_TRUE(mApp.answerQuestion(true));
    EXPECT_TRUE(picturesIn(mPaths.at(0)).isEmpty());
    EXPECT_TRUE(picturesIn(mPaths.at(1)).isEmpty());
    EXPECT_EQ(lyricsIn(mPaths.at(0)), QStringLiteral("Old words"));

    // The removal from both songs is one operation: one Undo brings both back.
    mApp.choose("Undo");
    EXPECT_EQ(picturesIn(mPaths.at(0)), QList<QByteArray>{red});
    EXPECT_EQ(picturesIn(mPaths.at(1)).size(), 1);
}

TEST_F(ArtworkLyricsTest, TypedLyricsAreWrittenOnceAfterThePauseForTheSongTheyWereTypedFor)
{
    ASSERT_TRUE(mApp.load(mFolder));
    mApp.action("Lyrics")->setChecked(true);
    // A lyrics search: its words are highlighted.
    mApp.window().searchField()->setSearchesLyrics(true);
    mApp.window().searchField()->setText(QStringLiteral("words"));
    mApp.window().searchField()->searchNow();
    mApp.selectTitles({QStringLiteral("Alpha")});
    EXPECT_EQ(lyrics().heading(), QStringLiteral("Kite - Alpha"));
    EXPECT_EQ(lyrics().highlightedText(), QStringList{QStringLiteral("words")});

    auto* editor = lyrics().findChild<QPlainTextEdit*>();
    ASSERT_NE(editor, nullptr);
    editor->moveCursor(QTextCursor::End);
    QSignalSpy writes(&mApp.window().commands()->runner(), &TagCommandRunner::songsWritten);
    // Typing on, a key every tenth of a second, writes nothing ...
    for (const char key : QByteArray(" and more")) {
        QTest::keyClick(editor, key);
        QTest::qWait(100);
    }
    EXPECT_EQ(writes.count(), 0);
    EXPECT_EQ(lyricsIn(mPaths.at(0)), QStringLiteral("Old words"));
    // ... the pause writes once.
    ASSERT_TRUE(AppTestWindow::waitFor([&] { return writes.count() > 0; }));
    EXPECT_EQ(writes.count(), 1);
    EXPECT_EQ(lyricsIn(mPaths.at(0)), QStringLiteral("Old words and more"));

    // An edit still waiting goes to its own song when another is selected.
    QTest::keyClicks(editor, QStringLiteral("!"));
    mApp.selectTitles({QStringLiteral("Bravo")});
    EXPECT_EQ(lyricsIn(mPaths.at(0)), QStringLiteral("Old words and more!"));
    EXPECT_EQ(lyricsIn(mPaths.at(1)), QStringLiteral("Old words"));
    EXPECT_EQ(lyrics().shownText(), QStringLiteral("Old words"));

    // A song whose file went away while its lyrics were typed: told, nothing else changes.
    editor->moveCursor(QTextCursor::End);
    QTest::keyClicks(editor, QStringLiteral(" lost"));
    ASSERT_TRUE(QFile::remove(mPaths.at(1)));
    mApp.selectTitles({QStringLiteral("Charlie")});
    EXPECT_EQ(mApp.noticeText(),
              LocalizedStrings::format(QStringLiteral("EditFileGone"), QStringLiteral("Bravo.mp3")));
    EXPECT_EQ(lyricsIn(mPaths.at(2)), QStringLiteral("Old words"));

    // A megabyte pasted is no song's lyrics: told, not written.
    mApp.window().noticeBar()->dismiss();
    QApplication::clipboard()->setText(QString(1024 * 1024, QLatin1Char('x')));
    editor->selectAll();
    QTest::keyClick(editor, Qt::Key_V, Qt::ControlModifier);
    mApp.selectTitles({QStringLiteral("Alpha")});
    EXPECT_TRUE(mApp.noticeText().startsWith(
        LocalizedStrings::format(QStringLiteral("LyricsTooLong"), qint64(1024 * 1024), qint64(256 * 1024))));
    EXPECT_EQ(lyricsIn(mPaths.at(2)), QStringLiteral("Old words"));
}

TEST_F(ArtworkLyricsTest, LyricsAreRemovedFromOneSongAndFromSeveralAfterAsking)
{
    ASSERT_TRUE(mApp.load(mFolder));
    mApp.action("Lyrics")->setChecked(true);
    auto* remove = AppTestWindow::named<QPushButton>(&lyrics(), text("LyricsRemove"));
    ASSERT_NE(remove, nullptr);
    mApp.selectTitles({QStringLiteral("Alpha")});
    remove->click();
    EXPECT_TRUE(lyricsIn(mPaths.at(0)).isEmpty());
    EXPECT_TRUE(lyrics().shownText().isEmpty());

    mApp.selectTitles({QStringLiteral("Bravo"), QStringLiteral("Charlie")});
    EXPECT_EQ(lyrics().heading(),
              LocalizedStrings::format(QStringLiteral("LyricsMultipleSelected"), qint64(2)));
    ASSERT_TRUE(remove->isVisible());
    remove->click();
    EXPECT_EQ(lyricsIn(mPaths.at(1)), QStringLiteral("Old words"));
    ASSERT_TRUE(mApp.answerQuestion(true));
    EXPECT_TRUE(lyricsIn(mPaths.at(1)).isEmpty());
    EXPECT_TRUE(lyricsIn(mPaths.at(2)).isEmpty());
    EXPECT_EQ(mApp.cell("Charlie", SongColumn::Lyrics), text("ToolTipNoLyrics"));
}
