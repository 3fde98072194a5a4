#include "AlbumSourceTestKit.h"
#include "TestSupport.h"
#include "WikipediaTestPages.h"

#include "text/WendmarkTextExtensions.h"
#include "web/WikipediaInterface.h"
#include "web/WikipediaPageReader.h"

#include <gtest/gtest.h>

namespace {

QVariantMap shipped()
{
    QVariantMap res = AlbumSourceTestKit::shippedSection(QStringLiteral("WikipediaInterface"));
    res.insert(QStringLiteral("linkRoot"), QStringLiteral("http://127.0.0.1:8080"));
    return res;
}

QString pageOf(const WikipediaTestPages::Article& article)
{
    return QString::fromUtf8(WikipediaTestPages::articlePage(article));
}

// "a|b|c" as the list of its parts.
QStringList parts(const char* joined)
{
    return QString::fromUtf8(joined).split(QLatin1Char('|'));
}

} // namespace

TEST(WikipediaPageReader, VisibleTextDropsTagsCitationsAndBlanks)
{
    EXPECT_EQ(
        WikipediaPageReader::visibleText(u"<td>\"<a href=\"x\">Song</a>\"&#160;<sup>&#91;2&#93;</sup></td>"),
        QStringLiteral("\"Song\""));
    EXPECT_EQ(WikipediaPageReader::visibleText(u"<ul><li>A</li><li>B &amp; C</li></ul><!-- <b>x</b> -->"),
              QStringLiteral("A\nB & C"));
    EXPECT_EQ(WikipediaPageReader::visibleText(u"a < b and <unfinished"), QStringLiteral("a < b and"));
    EXPECT_EQ(WikipediaPageReader::firstVisibleTextAfter(QStringLiteral("<th class=\"summary album\" x=\"1\">"
                                                                        "<i> </i><b>Name</b> rest</th>"),
                                                         QStringLiteral("summary album")),
              QStringLiteral("Name"));
    EXPECT_TRUE(
        WikipediaPageReader::firstVisibleTextAfter(QStringLiteral("<p>text</p>"), QStringLiteral("none"))
            .isNull());
}

TEST(WikipediaPageReader, ArticleEdgeCases)
{
    const WikipediaPageReader reader(shipped());
    WikipediaTestPages::Article a;
    a.released = QStringLiteral("2052");
    a.cover.clear();
    a.title = QStringLiteral("Paper Lanterns (Deluxe)");
    auto album = reader.albumFromHTML(pageOf(a));
    ASSERT_TRUE(album.has_value());
    EXPECT_TRUE(album->year().isEmpty());
    EXPECT_TRUE(album->artURLString().isEmpty()) << "no image may be taken from beyond the infobox";
    EXPECT_EQ(album->name(), QStringLiteral("Paper Lanterns"));

    a = {};
    a.artist = QString();
    EXPECT_FALSE(reader.albumFromHTML(pageOf(a)).has_value()) << "no artist, no album";
    EXPECT_FALSE(reader.albumFromHTML(QStringLiteral("<html><body><p>Just an article.</p></body></html>")));
    EXPECT_FALSE(reader.albumFromHTML(QString()).has_value());
}

// Many articles write their track listing as a plain table: a header row
// naming the columns, one row per track. The title column is found by its
// header, the number by the "#" or "No." column, else by the row order;
// tables of other sections are no track listing.
TEST(WikipediaPageReader, ReadsTrackListingsWrittenAsPlainTables)
{
    using WikipediaTestPages::plainTable;
    const WikipediaPageReader reader(shipped());
    const QStringList three = parts("Open Window|Paper Lanterns|Slow Tide");
    // Rows of `three` with the number in a cell of `numberCell` ("td" or
    // "th"), the quoted title and one more cell after it; none: no number.
    auto rows = [&](const QString& numberCell, const QString& numberSuffix, const QString& after) {
        QList<QStringList> result;
        for (int i = 0; i < three.size(); ++i) {
            QStringList cells;
            if (!numberCell.isEmpty())
                cells << QStringLiteral("<%1 style=\"text-align:center\">%2%3</%1>")
                             .arg(numberCell)
                             .arg(i + 1)
                             .arg(numberSuffix);
            cells << QStringLiteral("<td>\"<a href=\"/wiki/S%1\">%2</a>\"</td>").arg(i).arg(three.at(i))
                  << QStringLiteral("<td>") + after + QStringLiteral("</td>")
                  << QStringLiteral("<td>3:4%1</td>").arg(i);
            result.append(cells);
        }
        return result;
    };
    const QString total = QStringLiteral("<td colspan=\"3\" style=\"text-align:right\">Total length:</td>"
                                         "<td>11:23</td>");
    const QString withTotal =
        plainTable(parts("Title|Writer(s)|Time"),
                   rows(QString(), QString(), QStringLiteral("J. Doe")) + QList<QStringList>{{total}});
    const QString chart =
        QStringLiteral("<h2 id=\"Charts\">Charts</h2>") +
        plainTable(parts("#|Title|Time"), {parts("<td>1</td>|<td>\"Not a track\"</td>|<td>1:00</td>")});
    struct Row
    {
        const char* name;
        QString listing;
        QString laterSections;
        QStringList tracks;
    };
    const Row cases[] = {
        {"# Title Writer(s) Time",
         plainTable(parts("#|Title|Writer(s)|Time"),
                    rows(QStringLiteral("td"), QString(), QStringLiteral("J. Doe, R. Roe"))),
         {},
         three},
        {"No. in row headers, a length column",
         plainTable(parts("<abbr title=\"Number\">No.</abbr>|Title|Producer(s)|Length"),
                    rows(QStringLiteral("th"), QStringLiteral("."), QStringLiteral("A. Producer"))),
         {},
         three},
        {"no number column: the row order, without the total", withTotal, {}, three},
        {"two discs numbered on, bonus table left out",
         plainTable(parts("#|Title|Time"), {parts("<td>1</td>|<td>\"A\"</td>|<td>1:00</td>"),
                                            parts("<td>2</td>|<td>\"B\"</td>|<td>1:00</td>")}) +
             plainTable(parts("#|Title|Time"), {parts("<td>3</td>|<td>\"C\"</td>|<td>1:00</td>")}) +
             plainTable(parts("#|Title|Time"), {parts("<td>1</td>|<td>\"Bonus\"</td>|<td>1:00</td>")}),
         {},
         parts("A|B|C")},
        {"a table of another section", QStringLiteral("<p>Unknown.</p>\n"), chart, {}},
        {"a table without a number or length column",
         plainTable(parts("Title|Writer(s)"), {parts("<td>\"One\"</td>|<td>J. Doe</td>")}),
         {},
         {}},
    };
    for (const Row& row : cases) {
        WikipediaTestPages::Article article;
        article.listing = row.listing;
        article.laterSections = row.laterSections;
        const auto album = reader.albumFromHTML(pageOf(article));
        ASSERT_TRUE(album.has_value()) << row.name;
        EXPECT_EQ(album->trackNames().join(QStringLiteral(" | ")).toStdString(),
                  row.tracks.join(QStringLiteral(" | ")).toStdString())
            << row.name;
        EXPECT_EQ(album->name(), QStringLiteral("Paper Lanterns")) << row.name;
        EXPECT_EQ(album->year(), QStringLiteral("1999")) << row.name;
    }
}

TEST(WikipediaPageReader, ListsOfTracksAndListsOfLinks)
{
    const WikipediaPageReader reader(shipped());
    const QString lists = QStringLiteral(
        "<h2 id=\"Track_listing\">Track listing</h2><ol><li>\"One\"&#160;– 1:00</li><li>\"Two\"</li></ol>"
        "<ol><li value=\"3\">\"Three\"</li></ol><ol><li "
        "value=\"4\">\"Demo\"<ul><li>B-side</li></ul></li></ol>"
        "<h2 id=\"Notes\">Notes</h2><ol><li value=\"5\">\"Not a track\"</li></ol>");
    EXPECT_EQ(reader.trackNames(lists), parts("One|Two|Three"));
    const QString links =
        QStringLiteral("<h2 id=\"Track_listing\">x</h2><ol><li>/wiki/One</li><li>Two</li></ol>");
    EXPECT_TRUE(reader.trackNames(links).isEmpty());
    const QString noList = QStringLiteral("<h2 id=\"Track_listing\">x</h2><p>Unknown.</p><h2>References</h2>"
                                          "<ol><li>\"Cite\"</li></ol>");
    EXPECT_TRUE(reader.trackNames(noList).isEmpty()) << "lists of later sections are no track list";
}

TEST(WikipediaPageReader, FollowsAlbumLinksOfDisambiguationPagesOnTheSiteOnly)
{
    const WikipediaPageReader reader(shipped());
    const QByteArray page = WikipediaTestPages::linkPage(
        {parts("/wiki/Paper_Lanterns_(album)|Paper Lanterns (album)|Paper Lanterns"),
         parts("/wiki/Paper_Lanterns_(album)#Side|Paper Lanterns (album)|again"),
         parts("/wiki/Elsewhere_(album)|Elsewhere|an album"),
         parts("/wiki/Paper_Lanterns_(song)|Paper Lanterns (song)|Paper Lanterns"),
         parts("https://elsewhere.example/Paper_Lanterns_(album)|Paper Lanterns (album)|Paper Lanterns"),
         parts("//127.0.0.1:8080/wiki/Paper_Lanterns_(1999_album)|x|Paper Lanterns (1999 album)")},
        true);
    EXPECT_EQ(reader.linksToFollow(QString::fromUtf8(page), QStringLiteral("Paper Lanterns")),
              parts("http://127.0.0.1:8080/wiki/Paper_Lanterns_(album)|http://127.0.0.1:8080/wiki/"
                    "Elsewhere_(album)|http://127.0.0.1:8080/wiki/Paper_Lanterns_(1999_album)"));
    // On an ordinary page only links marked as album articles are followed.
    const QByteArray ordinary =
        WikipediaTestPages::linkPage({parts("/wiki/Paper_Lanterns_(album)|Paper Lanterns (album)|the album"),
                                      parts("/wiki/Album|Album|album")},
                                     false);
    EXPECT_EQ(reader.linksToFollow(QString::fromUtf8(ordinary), QStringLiteral("Paper Lanterns")),
              QStringList({QStringLiteral("http://127.0.0.1:8080/wiki/Paper_Lanterns_(album)")}));
}

// Real article pages of two layouts (2014 article bodies, a 2020 full page),
// read with the shipped markers.
TEST(WikipediaPageReader, RealArticles)
{
    QB_SKIP_WITHOUT_FIXTURES();
    const WikipediaInterface source(AlbumSourceTestKit::shippedSection(QStringLiteral("WikipediaInterface")));
    struct Expected
    {
        const char* file;
        const char* name;
        const char* artist;
        const char* year;
        int tracks;
        const char* firstTrack;
        const char* lastTrack;
        const char* cover;
    };
    const Expected pages[] = {
        {"album_5150_render.html", "5150", "Van Halen", "1986", 9, "Good Enough", "Inside",
         "http://upload.wikimedia.org/wikipedia/en/thumb/1/12/VanHalen_5150_fcover.jpg/"
         "220px-VanHalen_5150_fcover.jpg"},
        {"album_fables_of_the_reconstruction_render.html", "Fables of the Reconstruction", "R.E.M.", "1985",
         11, "Feeling Gravitys Pull", "Wendell Gee",
         "http://upload.wikimedia.org/wikipedia/en/thumb/d/dc/R.E.M._-_Fables_of_the_Reconstruction.jpg/"
         "220px-R.E.M._-_Fables_of_the_Reconstruction.jpg"},
        {"album_gratitude_earth_wind_fire_render.html", "Gratitude", "Earth, Wind & Fire", "2000", 16,
         "Introduction by MC Perry Jones", nullptr,
         "http://upload.wikimedia.org/wikipedia/en/d/d5/Earth%2C_Wind_%26_Fire_-_Gratitude.jpg"},
        {"album_jagged_little_pill_render.html", "Jagged Little Pill", "Alanis Morissette", "1995", 13,
         "All I Really Want", nullptr, nullptr},
        {"album_mer_de_noms_full_page.html", "Mer de Noms", "A Perfect Circle", "2000", 13, "The Hollow",
         nullptr,
         "http://upload.wikimedia.org/wikipedia/en/thumb/f/f8/A.perfect.circle.mer.de.noms.jpg/"
         "220px-A.perfect.circle.mer.de.noms.jpg"},
    };
    for (const Expected& e : pages) {
        SCOPED_TRACE(e.file);
        const QByteArray data =
            AlbumSourceTestKit::readFixture(QStringLiteral("wikipedia/") + QLatin1String(e.file));
        ASSERT_FALSE(data.isEmpty());
        const auto album = source.albumFromHTMLData(data);
        ASSERT_TRUE(album.has_value());
        EXPECT_EQ(album->name(), QString::fromUtf8(e.name));
        // Artist names are case-corrected by the album record ("R.E.M." -> "R.e.m.").
        EXPECT_TRUE(WendmarkTextExtensions::isSimpleEqualTo(album->artist(), QString::fromUtf8(e.artist)))
            << album->artist().toStdString();
        EXPECT_EQ(album->year(), QString::fromLatin1(e.year));
        EXPECT_EQ(album->trackNames().size(), e.tracks) << album->trackSummary().toStdString();
        EXPECT_EQ(album->trackNames().value(0), QString::fromUtf8(e.firstTrack));
        if (e.lastTrack) {
            EXPECT_EQ(album->trackNames().value(e.tracks - 1), QString::fromUtf8(e.lastTrack));
        }
        if (e.cover) {
            EXPECT_EQ(album->artURLString(), QString::fromUtf8(e.cover));
        } else {
            EXPECT_TRUE(album->artURLString().startsWith(QStringLiteral("http://upload.wikimedia.org/")));
        }
        EXPECT_FALSE(album->genre().isEmpty());
    }
}
