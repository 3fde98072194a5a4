#include "AlbumSourceTestKit.h"
#include "TestHttpServer.h"
#include "TestSupport.h"

#include "support/WMLog.h"
#include "web/DiscogsInterface.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>

#include <gtest/gtest.h>

namespace {

QByteArray releaseJSON(const QString& artist, const QString& title, const QStringList& tracks)
{
    QJsonArray list;
    for (const QString& track : tracks)
        list.append(QJsonObject{{QStringLiteral("position"), QStringLiteral("A1")},
                                {QStringLiteral("title"), track}});
    const QJsonObject release{
        {QStringLiteral("artists"), QJsonArray{QJsonObject{{QStringLiteral("name"), artist}}}},
        {QStringLiteral("title"), title},
        {QStringLiteral("tracklist"), list},
        {QStringLiteral("genres"), QJsonArray{QStringLiteral("Rock"), QStringLiteral("Pop")}},
        {QStringLiteral("year"), 1999},
        {QStringLiteral("images"),
         QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("primary")},
                                {QStringLiteral("width"), 600},
                                {QStringLiteral("resource_url"), QStringLiteral("/image/R-1.jpeg")}}}}};
    return QJsonDocument(release).toJson();
}

QString logText()
{
    return QString::fromUtf8(TestSupport::readFile(WMLogLocation()));
}

class DiscogsInterfaceTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mServer.start());
        mResources = AlbumSourceTestKit::shippedSection(QStringLiteral("DiscogsInterface"));
        ASSERT_FALSE(mResources.isEmpty());
        mResources.insert(QStringLiteral("trackQuery"),
                          QString(AlbumSourceTestKit::root(mServer) +
                                  QStringLiteral("/database/search?key=%@&secret=%@&q=%@&type=release")));
        mResources.insert(QStringLiteral("apiKey"), QStringLiteral("k3y"));
        mResources.insert(QStringLiteral("secretHash"), QStringLiteral("S3CRET"));
        mResources.insert(QStringLiteral("minIntervalSeconds"), 0);
        mResources.insert(QStringLiteral("simulConns"), 4);
        mServer.setHandler([](const TestHttpServer::Request& request) {
            if (request.path.startsWith(QStringLiteral("/releases/")))
                return TestHttpServer::Response::text(
                    releaseJSON(QStringLiteral("Quiet Engines"), QStringLiteral("Paper Lanterns"),
                                {QStringLiteral("Open Window"), QStringLiteral("Slow Tide")}),
                    "application/json");
            return TestHttpServer::Response::text("{\"message\": \"not here\"}", "application/json", 404);
        });
    }

    // A search answer of `count` matching releases.
    void serveResults(int count, const char* title = "Quiet Engines - Paper Lanterns")
    {
        QJsonArray results;
        for (int i = 0; i < count; ++i)
            results.append(
                QJsonObject{{QStringLiteral("title"), QString::fromUtf8(title)},
                            {QStringLiteral("type"), QStringLiteral("release")},
                            {QStringLiteral("resource_url"), QStringLiteral("/releases/%1").arg(i + 1)}});
        results.append(QJsonObject{{QStringLiteral("title"), QStringLiteral("Quiet Engines")},
                                   {QStringLiteral("type"), QStringLiteral("artist")},
                                   {QStringLiteral("resource_url"), QStringLiteral("/artists/7")}});
        mServer.route(QStringLiteral("/database/search"),
                      TestHttpServer::Response::text(
                          QJsonDocument(QJsonObject{{QStringLiteral("results"), results}}).toJson(),
                          "application/json"));
    }

    std::unique_ptr<DiscogsInterface> makeSource(const QString& artist = QStringLiteral("Quiet Engines"))
    {
        auto source = std::make_unique<DiscogsInterface>(mResources);
        source->setArtist(artist);
        source->setSongTitle(QStringLiteral("Slow Tide"));
        return source;
    }

    int releaseRequests() const
    {
        int count = 0;
        for (const auto& request : mServer.requests())
            count += request.path.startsWith(QStringLiteral("/releases/")) ? 1 : 0;
        return count;
    }

    TestHttpServer mServer;
    QVariantMap mResources;
};

} // namespace

// Real release answers, read with the shipped resources.
TEST(DiscogsRelease, RealReleases)
{
    const QString fixtures = TestSupport::fixturesFolder();
    if (fixtures.isEmpty())
        GTEST_SKIP() << "no shared fixtures";
    const DiscogsInterface source(AlbumSourceTestKit::shippedSection(QStringLiteral("DiscogsInterface")));
    auto read = [&](const char* file) {
        const QByteArray data =
            TestSupport::readFile(fixtures + QStringLiteral("/web/discogs/") + QLatin1String(file));
        return source.createAlbumWithJSONDict(QJsonDocument::fromJson(data).object().toVariantMap());
    };
    const auto stockholm = read("release_1_stockholm.json");
    ASSERT_TRUE(stockholm);
    EXPECT_EQ(stockholm->artist(), QStringLiteral("The Persuader"));
    EXPECT_EQ(stockholm->name(), QStringLiteral("Stockholm"));
    EXPECT_EQ(stockholm->year(), QStringLiteral("1999"));
    EXPECT_EQ(stockholm->trackNames().value(0), QStringLiteral("Östermalm"));
    EXPECT_EQ(stockholm->artURLString(), QStringLiteral("https://api.discogs.com/image/R-1-1193812031.jpeg"));

    const auto swayzak = read("release_146_swayzak_doobie_floyd.json");
    ASSERT_TRUE(swayzak) << "no primary image still gives an album";
    EXPECT_EQ(swayzak->trackNames(), QStringList({QStringLiteral("Doobie"), QStringLiteral("Floyd")}));
    EXPECT_TRUE(swayzak->artURLString().isEmpty());

    const auto atom = read("release_374278_pink_floyd_atom_heart_mother.json");
    ASSERT_TRUE(atom);
    EXPECT_EQ(atom->artist(), QStringLiteral("Pink Floyd"));
    EXPECT_EQ(atom->name(), QStringLiteral("Atom Heart Mother"));
    EXPECT_EQ(atom->year(), QStringLiteral("1987"));
    EXPECT_EQ(atom->trackNames().value(0), QStringLiteral("Atom Heart Mother"));
    EXPECT_TRUE(atom->artURLString().isEmpty()) << "an empty image address gives no artwork";

    const auto various = read("release_3446241_various_studio_33.json");
    ASSERT_TRUE(various);
    EXPECT_EQ(various->artist(), QStringLiteral("Various"));
    EXPECT_EQ(various->trackNames().size(), 100);
    EXPECT_EQ(various->genre(), QStringLiteral("Electronic/Hip Hop/Pop"));
    EXPECT_TRUE(various->artURLString().isEmpty());
}

TEST_F(DiscogsInterfaceTest, SearchesThenKeepsFittingReleases)
{
    serveResults(2);
    auto source = makeSource();
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*source));
    ASSERT_EQ(source->albums().size(), 2);
    const AlbumInfo& album = source->albums().first();
    EXPECT_EQ(album.sourceInterfaceName(), QStringLiteral("DiscogsInterface"));
    EXPECT_EQ(album.artURLString(), AlbumSourceTestKit::root(mServer) + QStringLiteral("/image/R-1.jpeg"));
    EXPECT_EQ(releaseRequests(), 2) << "the artist entry is not fetched";
    const QString query = mServer.requests().value(0).pathAndQuery;
    EXPECT_TRUE(query.contains(QStringLiteral("key=k3y&secret=s3cret&q=Quiet+Engines+Slow+Tide")))
        << query.toStdString();
}

TEST_F(DiscogsInterfaceTest, MaximumMatchesBoundsTheReleaseRequests)
{
    serveResults(120);
    mResources.insert(QStringLiteral("maximumMatches"), 0);
    auto unlimited = makeSource();
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*unlimited));
    EXPECT_EQ(releaseRequests(), 100);
    EXPECT_EQ(unlimited->albums().size(), 50) << "no more albums than the source may gather";

    mServer.clearRequests();
    mResources.insert(QStringLiteral("maximumMatches"), 3);
    mResources.insert(
        QStringLiteral("trackQuery"),
        QString(mResources.value(QStringLiteral("trackQuery")).toString() + QStringLiteral("&again=1")));
    auto three = makeSource();
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*three));
    EXPECT_EQ(three->albums().size(), 3);
}

TEST_F(DiscogsInterfaceTest, BrokenAnswersGiveNoAlbumAndALogLine)
{
    serveResults(1);
    mServer.setHandler([](const TestHttpServer::Request&) {
        return TestHttpServer::Response::text("<html>Internal trouble, sorry</html>", "text/html");
    });
    auto source = makeSource();
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*source));
    EXPECT_TRUE(source->albums().isEmpty());
    EXPECT_TRUE(logText().contains(QStringLiteral("discog: release error")));

    mServer.route(QStringLiteral("/database/search"),
                  TestHttpServer::Response::text("{\"results\": [", "application/json"));
    mResources.insert(
        QStringLiteral("trackQuery"),
        QString(mResources.value(QStringLiteral("trackQuery")).toString() + QStringLiteral("&broken=1")));
    auto broken = makeSource();
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*broken));
    EXPECT_TRUE(logText().contains(QStringLiteral("discog: search results error")));
}

TEST_F(DiscogsInterfaceTest, WithoutKeyNothingIsAskedAndTheSettingsMayHoldIt)
{
    serveResults(1);
    mResources.insert(QStringLiteral("apiKey"), QString());
    mResources.insert(QStringLiteral("secretHash"), QString());
    auto source = makeSource();
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*source));
    auto again = makeSource();
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*again));
    EXPECT_TRUE(mServer.requests().isEmpty());
    EXPECT_EQ(logText().count(QStringLiteral("discog: no API key or secret; Discogs skipped")), 1);

    QSettings().setValue(QStringLiteral("discogsApiKey"), QStringLiteral("mine"));
    QSettings().setValue(QStringLiteral("discogsSecret"), QStringLiteral("Hush"));
    auto fromSettings = makeSource();
    EXPECT_EQ(fromSettings->apiKey(), QStringLiteral("mine"));
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*fromSettings));
    EXPECT_EQ(fromSettings->albums().size(), 1);
    QSettings().remove(QStringLiteral("discogsApiKey"));
    QSettings().remove(QStringLiteral("discogsSecret"));
}
