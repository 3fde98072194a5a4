#include "AlbumSourceTestKit.h"
#include "TestHttpServer.h"
#include "TestSupport.h"

#include "text/WendmarkTextExtensions.h"
#include "web/LeosLyricsInterface.h"
#include "web/LyredInterface.h"
#include "web/LyricsPageText.h"
#include "web/SeekALyricInterface.h"
#include "web/URLTemplate.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using Response = TestHttpServer::Response;

// Lyrics of our own, long enough to pass the clean-up.
const QByteArray kLyricsHTML = "Lanterns on the water, lanterns in the rain<br>\n"
                               "Every boat that leaves us will not come back again<br>\n"
                               "<br>\nHold the rope, &amp; hold the line<br>\n"
                               "Harbour lights are shining, harbour lights are mine<br>\n";

// A song list in the shape of the search pages the sources read: one row
// per song, artist cell then title cell with the link.
QByteArray songList(const QList<QByteArrayList>& rows)
{
    QByteArray page = "<html><body><p>Search results for your words, shown in the order found</p>"
                      "<table class=\"songs\">\n";
    for (const QByteArrayList& row : rows)
        page += "<tr><td>" + row.at(0) + "</td><td><a href=\"" + row.at(2) + "\">" + row.at(1) +
                "</a></td></tr>\n";
    return page + "</table></body></html>";
}

QByteArray lyricsPage(const QByteArray& lyrics, bool withEnd = true)
{
    return "<html><body><h1>Words</h1><div class=\"words\">" + lyrics + (withEnd ? "</div>" : "") +
           "<p>Other songs by this artist and the comments of visitors follow.</p></body></html>";
}

QVariantMap parse(const char* list, const char* listEnd, const char* entry, const char* text,
                  const char* textEnd)
{
    return {{QStringLiteral("listBegin"), QString::fromLatin1(list)},
            {QStringLiteral("listEnd"), QString::fromLatin1(listEnd)},
            {QStringLiteral("entryBegin"), QString::fromLatin1(entry)},
            {QStringLiteral("textBegin"), QString::fromLatin1(text)},
            {QStringLiteral("textEnd"), QString::fromLatin1(textEnd)}};
}

class LyricsSourcesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mServer.start());
        mRoot = AlbumSourceTestKit::root(mServer);
    }

    QVariantMap seekResources() const
    {
        return {
            {QStringLiteral("queryTitle"), QString(mRoot + QStringLiteral("/search?title=%@&artist=%2$@"))},
            {QStringLiteral("parseSongs"), parse("class=\"songs\"", "</table>", "<tr", "<td", "</td>")},
            {QStringLiteral("baseURL"), mRoot},
            {QStringLiteral("lyricsBegin"), QStringLiteral("<div class=\"words\">")},
            {QStringLiteral("lyricsEnd"), QStringLiteral("</div>")},
            {QStringLiteral("encoding"), 4}};
    }

    template <class Source>
    std::unique_ptr<Source> makeSource(const QVariantMap& resources, const QString& title)
    {
        return AlbumSourceTestKit::source<Source>(resources, QStringLiteral("The Lantern Choir"), title,
                                                  QStringLiteral("Harbour Lights"));
    }

    TestHttpServer mServer;
    QString mRoot;
};

} // namespace

TEST_F(LyricsSourcesTest, SeekALyricFollowsOnlyTheFirstMatchingRow)
{
    mServer.route(QStringLiteral("/search"),
                  Response::html(songList({{"Someone Else", "Harbour Lights", "/words/0"},
                                           {"Lantern Choir", "Harbour Lights", "/words/1"},
                                           {"The Lantern Choir", "Harbour Lights (Reprise)", "/words/2"}})));
    mServer.route(QStringLiteral("/words/1"), Response::html(lyricsPage(kLyricsHTML)));
    auto source = makeSource<SeekALyricInterface>(seekResources(), QStringLiteral("Harbour Lights"));
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*source));
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/words/0")), 0);
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/words/2")), 0);
    ASSERT_EQ(source->albums().size(), 1);
    const AlbumInfo& album = source->albums().constFirst();
    EXPECT_EQ(album.sourceInterfaceName(), QStringLiteral("SeekALyricInterface"));
    EXPECT_EQ(album.artist(), QStringLiteral("The Lantern Choir"));
    const QString lyrics = album.lyrics().value(QStringLiteral("harbourlights")).toString();
    EXPECT_TRUE(lyrics.startsWith(QStringLiteral("Lanterns on the water, lanterns in the rain\n")));
    EXPECT_TRUE(lyrics.contains(QStringLiteral("\n\nHold the rope, & hold the line\n")));
    const QString query = mServer.requests().value(0).pathAndQuery;
    EXPECT_EQ(query, QStringLiteral("/search?title=Harbour+Lights&artist=The+Lantern+Choir"));
}

TEST_F(LyricsSourcesTest, SeekALyricRetriesWithoutParenthesesAfterAPageWithoutEnd)
{
    mServer.setHandler([](const TestHttpServer::Request& request) {
        if (request.pathAndQuery.startsWith(QStringLiteral("/search?title=Harbour+Lights+Live&")))
            return Response::html(songList({{"The Lantern Choir", "Harbour Lights (Live)", "/words/live"}}));
        if (request.pathAndQuery.startsWith(QStringLiteral("/search?title=Harbour+Lights&")))
            return Response::html(songList({{"The Lantern Choir", "Harbour Lights", "/words/studio"}}));
        if (request.path == QStringLiteral("/words/live"))
            return Response::html(lyricsPage(kLyricsHTML, false));
        if (request.path == QStringLiteral("/words/studio"))
            return Response::html(lyricsPage(kLyricsHTML));
        return Response::html("", 404);
    });
    auto source = makeSource<SeekALyricInterface>(seekResources(), QStringLiteral("Harbour Lights (Live)"));
    source->setAllowSubstringTrackMatches(true);
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*source));
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/words/live")), 1);
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/words/studio")), 1);
    ASSERT_EQ(source->albums().size(), 1);
    EXPECT_TRUE(source->albums().constFirst().lyrics().contains(
        WendmarkTextExtensions::simplified(QStringLiteral("Harbour Lights (Live)"))));
}

TEST_F(LyricsSourcesTest, LyredWalksTheAlbumsOneAtATime)
{
    const QVariantMap resources{
        {QStringLiteral("queryArtist"), QString(mRoot + QStringLiteral("/artist/%@"))},
        {QStringLiteral("parseAlbumList"), parse("<body", "</body>", "<h3", "<a href=", "</a>")},
        {QStringLiteral("parseSongList"), parse("<table", "</table>", "<tr", "<a href=", "</a>")},
        {QStringLiteral("lyricsBegin"), QStringLiteral("<div class=\"words\">")},
        {QStringLiteral("lyricsEnd"), QStringLiteral("</div>")}};
    mServer.route(QStringLiteral("/artist/The+Lantern+Choir"),
                  Response::html("<html><body><h3><a href=\"/album/1\">Night Ferry</a></h3>"
                                 "<h3><a href=\"/album/2\">Harbour Lights</a></h3>"
                                 "<h3><a href=\"/album/3\">Pale Engines</a></h3>"
                                 "<p>Albums of this artist as listed by our visitors.</p></body></html>"));
    const QByteArray album1 = "<html><table><tr><td><a href=\"/song/9\">Night Ferry</a></td></tr></table>"
                              "<p>Songs of this album, in the order of the disc.</p></html>";
    const QByteArray album2 = "<html><table><tr><td><a href=\"/song/8\">Copper Weather</a></td></tr>"
                              "<tr><td><a href=\"/song/7\">Harbour Song</a></td></tr></table>"
                              "<p>Songs of this album, in the order of the disc.</p></html>";
    mServer.route(QStringLiteral("/album/1"), Response::html(album1));
    mServer.route(QStringLiteral("/album/2"), Response::html(album2));
    mServer.route(QStringLiteral("/song/7"), Response::html(lyricsPage(kLyricsHTML)));

    // Without a known album the albums are read in page order.
    auto walking = makeSource<LyredInterface>(resources, QStringLiteral("Harbour Song"));
    walking->setAlbumTitle(QString());
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*walking));
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/album/1")), 1);
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/album/3")), 0) << "the search ends with the first lyrics";
    ASSERT_EQ(walking->albums().size(), 1);
    EXPECT_TRUE(walking->albums().constFirst().lyrics().contains(QStringLiteral("harboursong")));
    EXPECT_EQ(walking->resourcesPossiblyAvailable().toInt(), 256);

    // The album named like the song's is read first.
    const QList<QUrl> links = LyredInterface::albumLinksInPage(
        "<body><h3><a href=\"/album/1\">Night Ferry</a></h3><h3><a href=\"http://elsewhere.test/album/2\">"
        "Harbour Lights</a></h3></body>",
        QUrl(QStringLiteral("https://lyrics.test/artist/x")), resources, QStringLiteral("harbourlights"));
    ASSERT_EQ(links.size(), 2);
    EXPECT_EQ(links.at(0), QUrl(QStringLiteral("http://elsewhere.test/album/2")));
    EXPECT_EQ(links.at(1), QUrl(QStringLiteral("https://lyrics.test/album/1")));
}

TEST_F(LyricsSourcesTest, LeoReadsTheNextResultPageAndDropsAdvertising)
{
    const QVariantMap resources{
        {QStringLiteral("queryTitle"), QString(mRoot + QStringLiteral("/find?q=%@"))},
        {QStringLiteral("parseSearchResults"), parse("<ul class=\"hits\">", "</ul>", "<li", "<a", "</a>")},
        {QStringLiteral("songListSplit"), QStringLiteral(" - ")},
        {QStringLiteral("baseURL"), mRoot},
        {QStringLiteral("nextResultsPage"), parse("class=\"pages\"", "</div>", "<span", "<a", "</a>")},
        {QStringLiteral("keepLooking"), 1},
        {QStringLiteral("lyricHead"), QStringLiteral("<div class=\"lyric\"")},
        {QStringLiteral("lyricFoot"), QStringLiteral("</div><!-- lyric -->")},
        {QStringLiteral("adBegin"), QVariantList{QStringLiteral("<div class=\"ad\">")}},
        {QStringLiteral("adEnd"), QVariantList{QStringLiteral("</div>")}},
        {QStringLiteral("encoding"), 4}};
    const QByteArray page1 =
        "<html><ul class=\"hits\"><li><a href=\"/l/1\">Someone Else - Harbour Lights</a></li>"
        "</ul><div class=\"pages\"><span><a href=\"/find?q=Harbour+Lights&amp;p=2\">2</a>"
        "</span></div></html>";
    const QByteArray page2 =
        "<html><ul class=\"hits\"><li><a href=\"/l/2\">The Lantern Choir - Harbour Lights</a>"
        "</li></ul><div class=\"pages\"></div><p>That was all we found.</p></html>";
    mServer.route(QStringLiteral("/find?q=Harbour+Lights"), Response::html(page1));
    mServer.route(QStringLiteral("/find?q=Harbour+Lights&p=2"), Response::html(page2));
    mServer.route(QStringLiteral("/l/2"),
                  Response::html("<html><div class=\"lyric\" style=\"x\"><div class=\"ad\">BUY NOW</div>"
                                 "Don&#39;t " +
                                 kLyricsHTML + "</div><!-- lyric --></html>"));
    auto source = makeSource<LeosLyricsInterface>(resources, QStringLiteral("Harbour Lights"));
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*source));
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/l/1")), 0);
    ASSERT_EQ(source->albums().size(), 1);
    const QString lyrics =
        source->albums().constFirst().lyrics().value(QStringLiteral("harbourlights")).toString();
    EXPECT_TRUE(lyrics.startsWith(QStringLiteral("Don't Lanterns on the water"))) << lyrics.toStdString();
    EXPECT_FALSE(lyrics.contains(QStringLiteral("BUY"), Qt::CaseInsensitive));
}

TEST(LyricsFixtureTest, ShippedSeekALyricMarkersCutRealPages)
{
    QB_SKIP_WITHOUT_FIXTURES();
    const QVariantMap resources = AlbumSourceTestKit::shippedSection(QStringLiteral("SeekALyricInterface"));
    const auto page = [](const char* name) {
        return AlbumSourceTestKit::readFixture(QStringLiteral("lyrics/") + QLatin1String(name));
    };
    const QList<QUrl> links = SeekALyricInterface::songLinksInPage(
        page("tekstowo_pl_search_juice_wrld_lucid_dreams.html"), resources, {QStringLiteral("juicewrld")},
        QStringLiteral("luciddreams"), false);
    ASSERT_EQ(links.size(), 2);
    EXPECT_EQ(links.at(0).toString(),
              QStringLiteral(
                  "https://www.tekstowo.pl/piosenka,juice_wrld,lucid_dreams__remix__ft__lil_uzi_vert.html"));
    EXPECT_TRUE(SeekALyricInterface::songLinksInPage(page("tekstowo_pl_search_no_results.html"), resources,
                                                     {QStringLiteral("juicewrld")},
                                                     QStringLiteral("luciddreams"), true)
                    .isEmpty());

    const QString lyrics =
        SeekALyricInterface::lyricsInPage(page("tekstowo_pl_song_24kgoldn_city_of_angels.html"), resources);
    EXPECT_TRUE(lyrics.startsWith(QStringLiteral("[Chorus]\nI sold my soul to the devil for designer\n")))
        << lyrics.left(200).toStdString();
    EXPECT_TRUE(lyrics.contains(QStringLiteral("The city of angels where I have my fun")));
    EXPECT_FALSE(lyrics.contains(QStringLiteral("Sprzeda"))) << "the translation below is not taken";
}

TEST(LyricsFixtureTest, ShippedLeoMarkersCutARealPage)
{
    QB_SKIP_WITHOUT_FIXTURES();
    const QString lyrics = LeosLyricsInterface::lyricsInPage(
        AlbumSourceTestKit::readFixture(QStringLiteral("lyrics/lyricsmania_com_beatles_lady_madonna.html")),
        AlbumSourceTestKit::shippedSection(QStringLiteral("LeosLyricsInterface")));
    EXPECT_TRUE(lyrics.startsWith(QStringLiteral("Lady Madonna, children at your feet.\n")))
        << lyrics.left(200).toStdString();
    EXPECT_TRUE(lyrics.endsWith(QStringLiteral("Wonder how you manage to make ends meet.")));
    EXPECT_FALSE(lyrics.contains(QStringLiteral("Video")));
}

TEST(LyricsPageTextTest, EncodingsMarkersAndTemplates)
{
    EXPECT_EQ(LyricsPageText::decodedText("caf\xe9 don\x92t", 12), QStringLiteral("caf\u00e9 don\u2019t"));
    EXPECT_EQ(LyricsPageText::decodedText("caf\xe9", 0), QStringLiteral("caf\u00e9"));
    EXPECT_EQ(LyricsPageText::decodedText("caf\xc3\xa9", 4), QStringLiteral("caf\u00e9"));
    EXPECT_FALSE(LyricsPageText::strictlyDecodedText("caf\xe9", 4).has_value());

    const QByteArray page = "<P>x</p><DIV CLASS=\"words\" id=\"a\">Line one<br>Line two</Div>";
    EXPECT_EQ(LyricsPageText::bytesBetweenMarkers(page, QStringLiteral("<div class=\"words\""),
                                                  QStringLiteral("</div>")),
              QByteArray("Line one<br>Line two"));
    EXPECT_FALSE(
        LyricsPageText::bytesBetweenMarkers(page, QStringLiteral("<pre>"), QStringLiteral("</div>")));
    EXPECT_EQ(
        LyricsPageText::plainTextFromHTML(QStringLiteral("<i>Hold</i> the <a href=\"x\">line</a><br>again")),
        QStringLiteral("Hold the line \nagain")); // a removed tag leaves a blank; lines are trimmed later
    EXPECT_EQ(LyricsPageText::removingRuns(QStringLiteral("a<ad>x</ad>b<AD>y</ad>c<ad>z"),
                                           {QStringLiteral("<ad>")}, {QStringLiteral("</ad>")}),
              QStringLiteral("abc<ad>z"));

    EXPECT_EQ(URLTemplate::filled(QStringLiteral("/s,%2$@,t,%1$@%%20%20.html"),
                                  {QStringLiteral("T"), QStringLiteral("A")}),
              QStringLiteral("/s,A,t,T%20%20.html"));
    EXPECT_EQ(
        URLTemplate::filled(QStringLiteral("/q?a=%@&b=%d&c=%@"), {QStringLiteral("1"), QStringLiteral("2")}),
        QStringLiteral("/q?a=1&b=2&c="));
    EXPECT_TRUE(URLTemplate::url(QStringLiteral("no scheme %@"), {QStringLiteral("x")}).isEmpty());
}
