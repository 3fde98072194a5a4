#include "AlbumSourceTestKit.h"
#include "TestHttpServer.h"
#include "TestSupport.h"

#include "web/DiscogsInterface.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>

#include <gtest/gtest.h>

namespace {

using Kit = AlbumSourceTestKit;

const QByteArray kRelease = R"({"artists": [{"name": "Quiet Engines"}], "title": "Paper Lanterns",
  "tracklist": [{"position": "A1", "title": "Open Window"}, {"position": "A1", "title": "Slow Tide"}],
  "genres": ["Rock", "Pop"], "year": 1999,
  "images": [{"type": "primary", "width": 600, "resource_url": "/image/R-1.jpeg"}]})";

// Artist, name, year, first track and artwork address of an album.
QString summary(const std::optional<AlbumInfo>& album)
{
    if (!album)
        return QStringLiteral("no album");
    return QStringList({album->artist(), album->name(), album->year(), album->trackNames().value(0),
                        album->artURLString()})
        .join(QStringLiteral(" | "));
}

class DiscogsInterfaceTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mServer.start());
        mResources =
            Kit::shippedSection(QStringLiteral("DiscogsInterface"), mServer,
                                {{"trackQuery", "/database/search?key=%@&secret=%@&q=%@&type=release"}});
        ASSERT_FALSE(mResources.isEmpty());
        mResources.insert(QStringLiteral("apiKey"), QStringLiteral("k3y"));
        mResources.insert(QStringLiteral("secretHash"), QStringLiteral("S3CRET"));
        mResources.insert(QStringLiteral("simulConns"), 4);
        mServer.setHandler([](const TestHttpServer::Request& request) {
            if (request.path.startsWith(QStringLiteral("/releases/")))
                return Kit::json(kRelease);
            return Kit::json("{\"message\": \"not here\"}", 404);
        });
    }

    // A search answer of `count` matching releases.
    void serveResults(int count, const char* title = "Quiet Engines - Paper Lanterns")
    {
        QByteArray results;
        for (int i = 0; i < count; ++i)
            results += R"({"title": ")" + QByteArray(title) +
                       R"(", "type": "release", "resource_url": "/releases/)" + QByteArray::number(i + 1) +
                       "\"},";
        mServer.route(
            QStringLiteral("/database/search"),
            Kit::json(R"({"results": [)" + results +
                      R"({"title": "Quiet Engines", "type": "artist", "resource_url": "/artists/7"}]})"));
    }

    std::unique_ptr<DiscogsInterface> makeSource(const QString& artist = QStringLiteral("Quiet Engines"))
    {
        return Kit::source<DiscogsInterface>(mResources, artist, QStringLiteral("Slow Tide"));
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
    QB_SKIP_WITHOUT_FIXTURES();
    const DiscogsInterface source(Kit::shippedSection(QStringLiteral("DiscogsInterface")));
    auto read = [&](const char* file) {
        const QByteArray data = Kit::readFixture(QStringLiteral("discogs/") + QLatin1String(file));
        return source.createAlbumWithJSONDict(QJsonDocument::fromJson(data).object().toVariantMap());
    };
    EXPECT_EQ(summary(read("release_1_stockholm.json")),
              QStringLiteral("The Persuader | Stockholm | 1999 | Östermalm | "
                             "https://api.discogs.com/image/R-1-1193812031.jpeg"));
    const auto swayzak = read("release_146_swayzak_doobie_floyd.json");
    ASSERT_TRUE(swayzak) << "no primary image still gives an album";
    EXPECT_EQ(swayzak->trackNames(), QStringList({QStringLiteral("Doobie"), QStringLiteral("Floyd")}));
    EXPECT_TRUE(swayzak->artURLString().isEmpty());
    // An empty image address gives no artwork.
    EXPECT_EQ(summary(read("release_374278_pink_floyd_atom_heart_mother.json")),
              QStringLiteral("Pink Floyd | Atom Heart Mother | 1987 | Atom Heart Mother | "));

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
    ASSERT_TRUE(Kit::runOnce(*source));
    ASSERT_EQ(source->albums().size(), 2);
    const AlbumInfo& album = source->albums().first();
    EXPECT_EQ(album.sourceInterfaceName(), QStringLiteral("DiscogsInterface"));
    EXPECT_EQ(album.artURLString(), Kit::root(mServer) + QStringLiteral("/image/R-1.jpeg"));
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
    ASSERT_TRUE(Kit::runOnce(*unlimited));
    EXPECT_EQ(releaseRequests(), 100);
    EXPECT_EQ(unlimited->albums().size(), 50) << "no more albums than the source may gather";

    mServer.clearRequests();
    mResources.insert(QStringLiteral("maximumMatches"), 3);
    mResources.insert(
        QStringLiteral("trackQuery"),
        QString(mResources.value(QStringLiteral("trackQuery")).toString() + QStringLiteral("&again=1")));
    auto three = makeSource();
    ASSERT_TRUE(Kit::runOnce(*three));
    EXPECT_EQ(three->albums().size(), 3);
}

TEST_F(DiscogsInterfaceTest, BrokenAnswersGiveNoAlbumAndALogLine)
{
    serveResults(1);
    mServer.setHandler([](const TestHttpServer::Request&) {
        return TestHttpServer::Response::text("<html>Internal trouble, sorry</html>", "text/html");
    });
    auto source = makeSource();
    ASSERT_TRUE(Kit::runOnce(*source));
    EXPECT_TRUE(source->albums().isEmpty());
    EXPECT_TRUE(Kit::logText().contains(QStringLiteral("discog: release error")));

    mServer.route(QStringLiteral("/database/search"),
                  TestHttpServer::Response::text("{\"results\": [", "application/json"));
    mResources.insert(
        QStringLiteral("trackQuery"),
        QString(mResources.value(QStringLiteral("trackQuery")).toString() + QStringLiteral("&broken=1")));
    auto broken = makeSource();
    ASSERT_TRUE(Kit::runOnce(*broken));
    EXPECT_TRUE(Kit::logText().contains(QStringLiteral("discog: search results error")));
}

TEST_F(DiscogsInterfaceTest, WithoutKeyNothingIsAskedAndTheSettingsMayHoldIt)
{
    serveResults(1);
    mResources.insert(QStringLiteral("apiKey"), QString());
    mResources.insert(QStringLiteral("secretHash"), QString());
    auto source = makeSource();
    ASSERT_TRUE(Kit::runOnce(*source));
    auto again = makeSource();
    ASSERT_TRUE(Kit::runOnce(*again));
    EXPECT_TRUE(mServer.requests().isEmpty());
    EXPECT_EQ(Kit::logText().count(QStringLiteral("discog: no API key or secret; Discogs skipped")), 1);

    QSettings().setValue(QStringLiteral("discogsApiKey"), QStringLiteral("mine"));
    QSettings().setValue(QStringLiteral("discogsSecret"), QStringLiteral("Hush"));
    auto fromSettings = makeSource();
    EXPECT_EQ(fromSettings->apiKey(), QStringLiteral("mine"));
    ASSERT_TRUE(Kit::runOnce(*fromSettings));
    EXPECT_EQ(fromSettings->albums().size(), 1);
    QSettings().remove(QStringLiteral("discogsApiKey"));
    QSettings().remove(QStringLiteral("discogsSecret"));
}
