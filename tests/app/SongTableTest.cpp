// The song table as a user sees it: what its cells say, sorting by a click on
// a header (a second click reverses exactly), searching tags and lyrics, the
// selection kept through both, and the model's own consistency throughout.
#include "AppTestWindow.h"

#include "SearchField.h"
#include "SongTableModel.h"
#include "SongTableView.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QTest>

#include <initializer_list>
#include <utility>

namespace {

// Exactly 100 characters: full lyrics; the same less one: a few lines.
const QString kFullLyrics =
    QString(QStringLiteral("Neon rain is falling on the overpass tonight, ") +
            QStringLiteral("headlights sweep the empty lanes and carry us far away from here."))
        .left(100);
const QString kFewLyrics = kFullLyrics.left(99);

class SongTableTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(kFullLyrics.size(), 100);
        mFolder = AppTestWindow::folder();
        // The last two the artist column cannot tell apart (same artist,
        // album and track): only their place says which comes first.
        const struct
        {
            const char* name;
            const char* title;
            const char* artist;
            const char* album;
            const char* track;
            const char* year;
            const char* genre;
            QString lyrics;
        } songs[] = {
            {"a", "Headlights", "The Testers", "Night Drive", "1", "1987", "Synthpop", kFullLyrics},
            {"b", "Overpass", "The Testers", "Night Drive", "2", "1987-05-01", "", kFewLyrics},
            {"c", "Undertow", "Harbour Lights", "Deep Water", "1", "", "Ambient",
             QStringLiteral("Salt and silver, the tide comes in")},
            {"d", "Tide Tables", "Harbour Lights", "Deep Water", "2", "", "", QString()},
            {"e", "Lighthouse", "Harbour Lights", "Deep Water", "2", "", "", QString()},
        };
        for (const auto& song : songs) {
            QVariantMap tag;
            const std::pair<const char*, const char*> values[] = {
                {"title", song.title}, {"artist", song.artist}, {"album", song.album},
                {"track", song.track}, {"year", song.year},     {"genre", song.genre}};
            for (const auto& [key, value] : values) {
                if (*value)
                    tag.insert(QLatin1String(key), QString::fromUtf8(value));
            }
            if (!song.lyrics.isEmpty())
                tag.insert(QStringLiteral("lyrics"), song.lyrics);
            ASSERT_FALSE(AppTestWindow::writeSong(mFolder, QLatin1String(song.name), tag).isEmpty());
        }
    }

    QStringList titles() const { return mApp.column(SongColumn::Title); }

    void search(const QString& words, bool lyrics)
    {
        SearchField* field = mApp.window().searchField();
        for (QAction* item : field->findChildren<QAction*>()) {
            if (item->text() == text(lyrics ? "SearchLyrics" : "SearchTags"))
                item->trigger();
        }
        field->clear();
        QTest::keyClicks(field, words);
        field->searchNow();
    }

    QString mFolder;
    AppTestWindow mApp;
};

} // namespace

TEST_F(SongTableTest, ModelStaysConsistentThroughLoadingSortingSearchingAndUpdates)
{
    QStringList complaints;
    static QStringList* sink = nullptr;
    sink = &complaints;
    const QtMessageHandler previous =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext& context, const QString& message) {
            if (context.category && QLatin1String(context.category) == QLatin1String("qt.modeltest"))
                sink->append(message);
        });
    {
        QAbstractItemModelTester tester(mApp.window().model(),
                                        QAbstractItemModelTester::FailureReportingMode::Warning);
        ASSERT_TRUE(mApp.load(mFolder));
        mApp.window().table()->selectRow(2);
        mApp.clickHeader(SongColumn::Title);
        mApp.clickHeader(SongColumn::Title);
        mApp.clickHeader(SongColumn::Year);
        search(QStringLiteral("harbour"), false);
        search(QStringLiteral("harbour tide"), false);
        search(QString(), false);
        search(QStringLiteral("neon"), true);
        mApp.window().model()->refreshAll();
        search(QString(), false);
        ASSERT_TRUE(mApp.load(mFolder));
    }
    qInstallMessageHandler(previous);
    EXPECT_TRUE(complaints.isEmpty()) << complaints.join(QLatin1Char('\n')).toStdString();
}

TEST_F(SongTableTest, CellsSayWhatTheSongsHold)
{
    ASSERT_TRUE(mApp.load(mFolder));
    struct Row
    {
        const char* title;
        SongColumn column;
        QString expected;
    };
    const Row rows[] = {
        {"Headlights", SongColumn::Year, QStringLiteral("1987")},
        {"Overpass", SongColumn::Year, QStringLiteral("1987")}, // a full date shows its year
        {"Headlights", SongColumn::Lyrics, text("ToolTipHasLyrics")},
        {"Overpass", SongColumn::Lyrics, text("AccessibleFewLyrics")},
        {"Tide Tables", SongColumn::Lyrics, text("ToolTipNoLyrics")},
        {"Undertow", SongColumn::Active, text("AccessibleStatusIdle")},
        {"Undertow", SongColumn::Art, text("AccessibleNoArtwork")},
        {"Undertow", SongColumn::Compilation, text("ToolTipIsNotCompilation")},
        {"Undertow", SongColumn::Genre, QStringLiteral("Ambient")},
        {"Overpass", SongColumn::Track, QStringLiteral("2")},
    };
    for (const Row& row : rows) {
        const int index = mApp.rowOfTitle(QLatin1String(row.title));
        ASSERT_GE(index, 0) << row.title;
        EXPECT_EQ(mApp.cell(index, row.column), row.expected)
            << row.title << " / " << SongColumns::identifier(row.column).toStdString();
    }
    // Without a playlist, the index column numbers the rows.
    EXPECT_EQ(mApp.column(SongColumn::Index), QStringLiteral("1,2,3,4,5").split(u','));
}

// The first click sorts in the column's own direction, the second reverses
// exactly, the third gives the first order back.
TEST_F(SongTableTest, ClicksOnAHeaderSortAndReverseExactly)
{
    ASSERT_TRUE(mApp.load(mFolder));
    for (SongColumn column : {SongColumn::Artist, SongColumn::Title, SongColumn::Year, SongColumn::Lyrics,
                              SongColumn::Art, SongColumn::Duration}) {
        SCOPED_TRACE(SongColumns::identifier(column).toStdString());
        mApp.clickHeader(column);
        const QStringList sorted = titles();
        // Artist, album and track: ties keep the order they had.
        if (column == SongColumn::Artist) {
            EXPECT_EQ(sorted,
                      QStringLiteral("Undertow,Tide Tables,Lighthouse,Headlights,Overpass").split(u','));
        }
        // Lyrics sort the fullest first, songs without any last.
        if (column == SongColumn::Lyrics) {
            EXPECT_EQ(sorted.first(), QStringLiteral("Headlights"));
            QStringList last = sorted.mid(3);
            last.sort();
            EXPECT_EQ(last, (QStringList{QStringLiteral("Lighthouse"), QStringLiteral("Tide Tables")}));
        }
        mApp.clickHeader(column);
        QStringList reversed = sorted;
        std::reverse(reversed.begin(), reversed.end());
        EXPECT_EQ(titles(), reversed);
        mApp.clickHeader(column);
        EXPECT_EQ(titles(), sorted);
    }
}

TEST_F(SongTableTest, SearchesTagsOrLyricsForEveryWord)
{
    ASSERT_TRUE(mApp.load(mFolder));
    struct Row
    {
        const char* text;
        bool lyrics;
        QStringList expected;
    };
    const Row rows[] = {
        {"testers", false, {QStringLiteral("Headlights"), QStringLiteral("Overpass")}},
        {"harbour ambient", false, {QStringLiteral("Undertow")}},
        {"1987", false, {QStringLiteral("Headlights"), QStringLiteral("Overpass")}},
        {"neon", false, {}},
        {"NEON rain", true, {QStringLiteral("Headlights"), QStringLiteral("Overpass")}},
        {"tide", true, {QStringLiteral("Undertow")}},
        // Songs without lyrics are left out of any lyrics search.
        {"tables", true, {}},
        {"", true, QStringLiteral("Headlights,Overpass,Undertow,Tide Tables,Lighthouse").split(u',')},
    };
    for (const Row& row : rows) {
        search(QLatin1String(row.text), row.lyrics);
        QStringList shown = titles();
        QStringList expected = row.expected;
        shown.sort();
        expected.sort();
        SCOPED_TRACE(std::string("\"") + row.text + (row.lyrics ? "\" in lyrics" : "\" in tags"));
        EXPECT_EQ(shown, expected);
        const QString counts = expected.size() == 5
                                   ? LocalizedStrings::format(QStringLiteral("SearchAll"), qint64(5))
                                   : LocalizedStrings::format(QStringLiteral("SearchSubset"),
                                                              qint64(expected.size()), qint64(5));
        EXPECT_EQ(mApp.countsText(), counts);
    }
}

TEST_F(SongTableTest, SelectedSongsStaySelectedThroughSortingAndSearching)
{
    ASSERT_TRUE(mApp.load(mFolder));
    SongTableView* table = mApp.window().table();
    table->selectRow(mApp.rowOfTitle(QStringLiteral("Undertow")));
    const auto selectedTitles = [&] {
        QStringList titles;
        for (const QModelIndex& index : table->selectionModel()->selectedRows(int(SongColumn::Title)))
            titles.append(index.data().toString());
        return titles;
    };
    mApp.clickHeader(SongColumn::Title);
    EXPECT_EQ(selectedTitles(), QStringList{QStringLiteral("Undertow")});
    mApp.clickHeader(SongColumn::Title);
    EXPECT_EQ(selectedTitles(), QStringList{QStringLiteral("Undertow")});
    search(QStringLiteral("harbour"), false);
    EXPECT_EQ(selectedTitles(), QStringList{QStringLiteral("Undertow")});
    search(QStringLiteral("testers"), false);
    EXPECT_TRUE(selectedTitles().isEmpty());
}
