#include "AlbumSourceTestKit.h"
#include "TestHttpServer.h"
#include "TestSupport.h"

#include "support/BundleInfo.h"
#include "web/TrackTypeInterface.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using Response = TestHttpServer::Response;

// An entry in the xmcd layout, as a disc server sends it over HTTP.
QByteArray entry(const QByteArray& title, const QByteArrayList& tracks)
{
    QByteArray text = "210 rock 00000001 CD database entry follows\r\n# xmcd\r\nDTITLE=" + title +
                      "\r\nDYEAR=2001\r\nDGENRE=Folk\r\n";
    for (qsizetype i = 0; i < tracks.size(); ++i)
        text += "TTITLE" + QByteArray::number(i) + "=" + tracks.at(i) + "\r\n";
    return text + ".\r\n";
}

class TrackTypeInterfaceTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mServer.start());
        const QString root = AlbumSourceTestKit::root(mServer);
        mResources = {
            {QStringLiteral("querySong"), QString(root + QStringLiteral("/cddb?cmd=song+%@&v=%@"))},
            {QStringLiteral("queryAlbum"), QString(root + QStringLiteral("/cddb?cmd=album+%@&v=%@"))},
            {QStringLiteral("discInfoURL"), QString(root + QStringLiteral("/read/%@/%@"))}};
    }

    std::unique_ptr<TrackTypeInterface> makeSource(const QString& artist, const QString& song)
    {
        return AlbumSourceTestKit::source<TrackTypeInterface>(mResources, artist, song);
    }

    TestHttpServer mServer;
    QVariantMap mResources;
};

} // namespace

TEST(TrackTypeDiscListTest, RealQueryAnswers)
{
    QB_SKIP_WITHOUT_FIXTURES();
    const auto inexact = TrackTypeInterface::discListFromData(
        AlbumSourceTestKit::readFixture(QStringLiteral("cddb/query_211_inexact_d50dd30f_ska_island.txt")));
    ASSERT_EQ(inexact.size(), 2);
    EXPECT_EQ(QStringList({inexact.at(1).category, inexact.at(1).artist, inexact.at(1).title}),
              QStringList({QStringLiteral("misc"), QStringLiteral("Various"), QStringLiteral("Ska Island")}));
    // An exact match is one line: not a list.
    EXPECT_TRUE(TrackTypeInterface::discListFromData(AlbumSourceTestKit::readFixture(QStringLiteral(
                                                         "cddb/query_200_exact_820e770a_joshua_redman.txt")))
                    .isEmpty());
}

TEST_F(TrackTypeInterfaceTest, FetchesEachFittingDiscOnce)
{
    mServer.route(QStringLiteral("/cddb"),
                  Response::text("211 Found inexact matches\r\n"
                                 "folk 00000001 Juniper Vale / Night Ferry\r\n"
                                 "misc 00000001 Juniper Vale / Night Ferry\r\n"
                                 "folk 00000001 Juniper Vale / Night Ferry\r\n"
                                 "rock 00000002 Static Orchard / Pale Engines\r\n.\r\n"));
    mServer.route(QStringLiteral("/read/folk/00000001"),
                  Response::text(entry("Juniper Vale / Night Ferry", {"Harbour Song", "Copper Weather"})));
    // A title line that begins with a blank is not read: no album name.
    mServer.route(QStringLiteral("/read/misc/00000001"),
                  Response::text(entry(" Juniper Vale / X", {"Harbour Song"})));
    auto source = makeSource(QStringLiteral("Juniper Vale"), QStringLiteral("Harbour Song!"));
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*source));
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/read/folk/00000001")), 1);
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/read/rock/00000002")), 0);
    const QString query = mServer.requests().value(0).pathAndQuery;
    EXPECT_EQ(query, QStringLiteral("/cddb?cmd=song+Harbour+Song&v=") + BundleInfo::shortVersion());

    EXPECT_EQ(mServer.requestCount(QStringLiteral("/read/misc/00000001")), 1);
    ASSERT_EQ(source->albums().size(), 1);
    const AlbumInfo& album = source->albums().constFirst();
    EXPECT_EQ(album.name(), QStringLiteral("Night Ferry"));
    EXPECT_EQ(album.year(), QStringLiteral("2001"));
    EXPECT_EQ(album.numberOfTrackNamed(QStringLiteral("Copper Weather"), false), 2);
    EXPECT_EQ(album.sourceInterfaceName(), QStringLiteral("TrackTypeInterface"));
    EXPECT_EQ(source->resourcesPossiblyAvailable().toInt(), 122);
}

TEST_F(TrackTypeInterfaceTest, AnswersThatAreNoListYieldNothing)
{
    mServer.route(QStringLiteral("/cddb"), Response::text("202 No match found\r\n"));
    auto source = makeSource(QStringLiteral("Juniper Vale"), QString());
    source->setAlbumTitle(QStringLiteral("Night Ferry"));
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*source));
    EXPECT_TRUE(source->albums().isEmpty());
    EXPECT_TRUE(
        mServer.requests().value(0).pathAndQuery.startsWith(QStringLiteral("/cddb?cmd=album+Night+Ferry&")));
}

TEST_F(TrackTypeInterfaceTest, RealEntriesThroughTheSource)
{
    QB_SKIP_WITHOUT_FIXTURES();
    const auto serve = [&](const char* path, const char* file) {
        mServer.serveFile(QLatin1String(path), AlbumSourceTestKit::fixture(QLatin1String(file)),
                          "text/plain");
    };
    mServer.route(QStringLiteral("/cddb"),
                  Response::text("211 Found inexact matches\n"
                                 "rock 8608460b Van Halen / Van Halen\n"
                                 "metal 770bf909 Nightwish / Angels Fall First\n.\n"));
    serve("/read/rock/8608460b", "cddb/xmcd_8608460b_van_halen.txt");
    serve("/read/metal/770bf909", "cddb/xmcd_770bf909_nightwish_angels_fall_first.txt");
    auto source = makeSource(QStringLiteral("Van Halen"), QStringLiteral("Runnin' With The Devil"));
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*source));
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/read/metal/770bf909")), 0);
    ASSERT_EQ(source->albums().size(), 1);
    const AlbumInfo& album = source->albums().constFirst();
    EXPECT_EQ(QStringList({album.artist(), album.name(), album.year(), album.genre()}),
              QStringList({QStringLiteral("Van Halen"), QStringLiteral("Van Halen"), QStringLiteral("1978"),
                           QStringLiteral("Rock")}));
    EXPECT_EQ(album.numberOfTrackNamed(QStringLiteral("Runnin' With The Devil"), false), 1);

    // A compilation takes every disc, whatever the artist.
    mServer.route(QStringLiteral("/cddb"), Response::text("211 Found inexact matches\n"
                                                          "reggae d50dd30f Various / Ska Island\n.\n"));
    serve("/read/reggae/d50dd30f", "cddb/xmcd_reggae_d50dd30f_various_ska_island.txt");
    auto various = makeSource(QStringLiteral("Prince Buster"), QStringLiteral("Ska Song"));
    various->setIsCompilation(true);
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*various));
    ASSERT_EQ(various->albums().size(), 1);
    EXPECT_EQ(various->albums().constFirst().name(), QStringLiteral("Ska Island"));
    EXPECT_EQ(various->albums().constFirst().numberOfTrackNamed(QStringLiteral("King of Kings"), false), 1);
}
