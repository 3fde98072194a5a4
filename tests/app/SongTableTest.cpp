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

#include "support/LocalizedStrings.h"

#include <gtest/gtest.h>

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
        mFolder = AppTestWindow::folder(
            QString::fromLatin1(::testing::UnitTest::GetInstance()->current_test_info()->name()));
        song("a",
             {{"title", "Headlights"},
              {"artist", "The Testers"},
              {"album", "Night Drive"},
              {"track", "1"},
              {"year", "1987"},
              {"genre", "Synthpop"}},
             kFullLyrics);
        song("b",
             {{"title", "Overpass"},
              {"artist", "The Testers"},
              {"album", "Night Drive"},
              {"track", "2"},
              {"year", "1987-05-01"}},
             kFewLyrics);
        song("c",
             {{"title", "Undertow"},
              {"artist", "Harbour Lights"},
              {"album", "Deep Water"},
              {"track", "1"},
              {"genre", "Ambient"}},
             QStringLiteral("Salt and silver, the tide comes in"));
        // Two songs the artist column cannot tell apart (same artist, album
        // and track): only their place says which comes first.
        song("d", {{"title", "Tide Tables"},
                   {"artist", "Harbour Lights"},
                   {"album", "Deep Water"},
                   {"track", "2"}});
        song(
            "e",
            {{"title", "Lighthouse"}, {"artist", "Harbour Lights"}, {"album", "Deep Water"}, {"track", "2"}});
    }

    void song(const char* name, std::initializer_list<std::pair<const char*, const char*>> values,
              const QString& lyrics = QString())
    {
        QVariantMap tag;
        for (const auto& [key, value] : values)
            tag.insert(QLatin1String(key), QString::fromUtf8(value));
        if (!lyrics.isEmpty())
            tag.insert(QStringLiteral("lyrics"), lyrics);
        ASSERT_FALSE(AppTestWindow::writeSong(mFolder, QLatin1String(name), tag).isEmpty());
    }

    QStringList titles() const { return mApp.column(SongColumn::Title); }

    void search(const QString& text, bool lyrics)
    {
        SearchField* field = mApp.window().searchField();
        for (QAction* item : field->findChildren<QAction*>()) {
            if (item->text() == LocalizedStrings::text(lyrics ? QStringLiteral("SearchLyrics")
                                                              : QStringLiteral("SearchTags")))
                item->trigger();
        }
        field->clear();
        QTest::keyClicks(field, text);
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
        {"Headlights", SongColumn::Lyrics, LocalizedStrings::text(QStringLiteral("ToolTipHasLyrics"))},
        {"Overpass", SongColumn::Lyrics, LocalizedStrings::text(QStringLiteral("AccessibleFewLyrics"))},
        {"Tide Tables", SongColumn::Lyrics, LocalizedStrings::text(QStringLiteral("ToolTipNoLyrics"))},
        {"Undertow", SongColumn::Active, LocalizedStrings::text(QStringLiteral("AccessibleStatusIdle"))},
        {"Undertow", SongColumn::Art, LocalizedStrings::text(QStringLiteral("AccessibleNoArtwork"))},
        {"Undertow", SongColumn::Compilation,
         LocalizedStrings::text(QStringLiteral("ToolTipIsNotCompilation"))},
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
    EXPECT_EQ(mApp.column(SongColumn::Index),
              (QStringList{QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3"), QStringLiteral("4"),
                           QStringLiteral("5")}));
}

TEST_F(SongTableTest, TwoMoreClicksOnTheSortedColumnGiveBackTheSameOrder)
{
    ASSERT_TRUE(mApp.load(mFolder));
    for (SongColumn column : {SongColumn::Artist, SongColumn::Title, SongColumn::Year, SongColumn::Lyrics,
                              SongColumn::Art, SongColumn::Duration}) {
        const std::string name = SongColumns::identifier(column).toStdString();
        mApp.clickHeader(column);
        const QStringList sorted = titles();
        mApp.clickHeader(column);
        QStringList reversed = sorted;
        std::reverse(reversed.begin(), reversed.end());
        EXPECT_EQ(titles(), reversed) << name;
        mApp.clickHeader(column);
        EXPECT_EQ(titles(), sorted) << name;
    }
}

TEST_F(SongTableTest, FirstClickSortsInTheColumnsOwnDirection)
{
    ASSERT_TRUE(mApp.load(mFolder));
    mApp.clickHeader(SongColumn::Artist);
    // Artist, album and track: ties keep the order they had.
    EXPECT_EQ(titles(), (QStringList{QStringLiteral("Undertow"), QStringLiteral("Tide Tables"),
                                     QStringLiteral("Lighthouse"), QStringLiteral("Headlights"),
                                     QStringLiteral("Overpass")}));
    mApp.clickHeader(SongColumn::Lyrics);
    // Lyrics sort the fullest first, songs without any last.
    EXPECT_EQ(titles().first(), QStringLiteral("Headlights"));
    QStringList last = titles().mid(3);
    last.sort();
    EXPECT_EQ(last, (QStringList{QStringLiteral("Lighthouse"), QStringLiteral("Tide Tables")}));
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
        {"",
         true,
         {QStringLiteral("Headlights"), QStringLiteral("Overpass"), QStringLiteral("Undertow"),
          QStringLiteral("Tide Tables"), QStringLiteral("Lighthouse")}},
    };
    for (const Row& row : rows) {
        search(QLatin1String(row.text), row.lyrics);
        QStringList shown = titles();
        QStringList expected = row.expected;
        shown.sort();
        expected.sort();
        EXPECT_EQ(shown, expected) << '"' << row.text << (row.lyrics ? "\" in lyrics" : "\" in tags");
        const QString counts = expected.size() == 5
                                   ? LocalizedStrings::format(QStringLiteral("SearchAll"), qint64(5))
                                   : LocalizedStrings::format(QStringLiteral("SearchSubset"),
                                                              qint64(expected.size()), qint64(5));
        EXPECT_EQ(mApp.countsText(), counts) << row.text;
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
