#include "AlbumSourceTestKit.h"
#include "TestHttpServer.h"
#include "TestSupport.h"

#include "support/WMLog.h"
#include "web/MusicBrainzInterface.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

#include <gtest/gtest.h>

namespace {

QString releaseID(int n)
{
    return QStringLiteral("aaaaaaaa-0000-0000-0000-%1").arg(n, 12, 10, QLatin1Char('0'));
}

QJsonArray credit(const QString& artist)
{
    return QJsonArray{QJsonObject{{QStringLiteral("name"), artist}}};
}

// A search entry for a release.
QJsonObject searchEntry(int n, const QString& artist, const QString& title, const QString& group)
{
    return QJsonObject{{QStringLiteral("id"), releaseID(n)},
                       {QStringLiteral("title"), title},
                       {QStringLiteral("status"), QStringLiteral("Official")},
                       {QStringLiteral("artist-credit"), credit(artist)},
                       {QStringLiteral("release-group"),
                        QJsonObject{{QStringLiteral("id"), group},
                                    {QStringLiteral("primary-type"), QStringLiteral("Album")}}}};
}

// A release lookup answer with recordings, artist credits and genres.
QByteArray lookupJSON(int n, const QString& artist, const QString& title, const QStringList& tracks,
                      bool front = true)
{
    QJsonArray trackList;
    for (int i = 0; i < tracks.size(); ++i)
        trackList.append(
            QJsonObject{{QStringLiteral("position"), i + 1},
                        {QStringLiteral("title"), tracks.at(i)},
                        {QStringLiteral("recording"), QJsonObject{{QStringLiteral("title"), tracks.at(i)}}}});
    const QJsonObject release{
        {QStringLiteral("id"), releaseID(n)},
        {QStringLiteral("title"), title},
        {QStringLiteral("date"), QStringLiteral("2003-04-05")},
        {QStringLiteral("artist-credit"), credit(artist)},
        {QStringLiteral("genres"),
         QJsonArray{QJsonObject{{QStringLiteral("name"), QStringLiteral("post-rock")},
                                {QStringLiteral("count"), 3}}}},
        {QStringLiteral("cover-art-archive"), QJsonObject{{QStringLiteral("front"), front}}},
        {QStringLiteral("media"),
         QJsonArray{QJsonObject{{QStringLiteral("position"), 1}, {QStringLiteral("tracks"), trackList}}}}};
    return QJsonDocument(release).toJson();
}

QString logText()
{
    return QString::fromUtf8(TestSupport::readFile(WMLogLocation()));
}

QString decodedQuery(const TestHttpServer::Request& request)
{
    return QUrlQuery(QUrl(request.pathAndQuery)).queryItemValue(QStringLiteral("query"), QUrl::FullyDecoded);
}

class MusicBrainzInterfaceTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mServer.start());
        const QString root = AlbumSourceTestKit::root(mServer);
        mResources = AlbumSourceTestKit::shippedSection(QStringLiteral("MusicBrainzInterface"));
        ASSERT_FALSE(mResources.isEmpty());
        mResources.insert(QStringLiteral("releaseSearchURL"),
                          QString(root + QStringLiteral("/ws/2/release")));
        mResources.insert(QStringLiteral("recordingSearchURL"),
                          QString(root + QStringLiteral("/ws/2/recording")));
        mResources.insert(QStringLiteral("releaseLookupURL"),
                          QString(root + QStringLiteral("/ws/2/release/%@?fmt=json")));
        mResources.insert(QStringLiteral("minIntervalSeconds"), 0);
        mServer.setHandler([this](const TestHttpServer::Request& request) {
            const QString prefix = QStringLiteral("/ws/2/release/");
            if (request.path.startsWith(prefix)) {
                const auto found = mLookups.constFind(request.path.mid(prefix.size()));
                if (found != mLookups.constEnd())
                    return TestHttpServer::Response::text(*found, "application/json");
            }
            return TestHttpServer::Response::text("{\"error\": \"Not Found\"}", "application/json", 404);
        });
    }

    void serveSearch(const QString& path, const QString& listKey, const QJsonArray& entries)
    {
        const QJsonObject answer{{QStringLiteral("count"), entries.size()}, {listKey, entries}};
        mServer.route(path,
                      TestHttpServer::Response::text(QJsonDocument(answer).toJson(), "application/json"));
    }

    std::unique_ptr<MusicBrainzInterface> makeSource(const QString& album = QStringLiteral("Paper Lanterns"))
    {
        auto source = std::make_unique<MusicBrainzInterface>(mResources);
        source->setArtist(QStringLiteral("Quiet Engines"));
        source->setSongTitle(QStringLiteral("Slow Tide"));
        source->setAlbumTitle(album);
        return source;
    }

    int lookups() const
    {
        int count = 0;
        for (const auto& request : mServer.requests())
            count += request.path.startsWith(QStringLiteral("/ws/2/release/")) ? 1 : 0;
        return count;
    }

    TestHttpServer mServer;
    QVariantMap mResources;
    QHash<QString, QByteArray> mLookups;
};

} // namespace

TEST_F(MusicBrainzInterfaceTest, SearchesReleasesThenLooksUpTheFittingOnes)
{
    const QString artist = QStringLiteral("Quiet Engines");
    const QString title = QStringLiteral("Paper Lanterns");
    serveSearch(QStringLiteral("/ws/2/release"), QStringLiteral("releases"),
                {searchEntry(1, artist, title, QStringLiteral("g1")),
                 searchEntry(2, artist, title, QStringLiteral("g1")),
                 searchEntry(3, QStringLiteral("Loud Engines Tribute Band"), title, QStringLiteral("g3")),
                 searchEntry(4, artist, QStringLiteral("Paper Lanterns (Deluxe)"), QStringLiteral("g4")),
                 searchEntry(5, artist, QStringLiteral("Other Record"), QStringLiteral("g5"))});
    const QStringList tracks{QStringLiteral("Open Window"), QStringLiteral("Slow Tide")};
    mLookups.insert(releaseID(1), lookupJSON(1, artist, title, tracks));
    mLookups.insert(releaseID(2), lookupJSON(2, artist, title, tracks));
    mLookups.insert(releaseID(4),
                    lookupJSON(4, artist, QStringLiteral("Paper Lanterns (Deluxe)"), tracks, false));
    mResources.insert(QStringLiteral("maximumMatches"), 2);

    auto source = makeSource();
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*source));

    const auto search = mServer.requests().value(0);
    EXPECT_EQ(search.path, QStringLiteral("/ws/2/release"));
    EXPECT_EQ(decodedQuery(search),
              QStringLiteral("release:\"Paper Lanterns\" AND artist:\"Quiet Engines\""));
    EXPECT_EQ(QUrlQuery(QUrl(search.pathAndQuery)).queryItemValue(QStringLiteral("fmt")),
              QStringLiteral("json"));
    EXPECT_EQ(lookups(), 2) << "maximumMatches bounds the lookups";
    EXPECT_EQ(mServer.requestCount(QStringLiteral("/ws/2/release/") + releaseID(2)), 0)
        << "a second release of one group waits behind other groups";

    ASSERT_EQ(source->albums().size(), 2);
    const AlbumInfo& album = source->albums().first();
    EXPECT_EQ(album.sourceInterfaceName(), QStringLiteral("MusicBrainzInterface"));
    EXPECT_EQ(album.artist(), artist);
    EXPECT_EQ(album.name(), title);
    EXPECT_EQ(album.year(), QStringLiteral("2003"));
    EXPECT_EQ(album.genre(), QStringLiteral("Post-rock"));
    EXPECT_EQ(album.trackNames(), tracks);
    EXPECT_EQ(album.numberOfTrackNamed(QStringLiteral("Slow Tide"), false), 2);
    EXPECT_EQ(album.artURLString(), QStringLiteral("https://coverartarchive.org/release/") + releaseID(1) +
                                        QStringLiteral("/front-500"));
    EXPECT_TRUE(source->albums().at(1).artURLString().isEmpty()) << "the archive has no front cover for it";
}

TEST_F(MusicBrainzInterfaceTest, BadAnswersGiveNoAlbumAndALogLine)
{
    // Always too many requests: the queue gives up after its retries.
    mServer.route(QStringLiteral("/ws/2/release"),
                  TestHttpServer::Response::text("{}", "application/json", 429).header("Retry-After", "0"));
    auto limited = makeSource();
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*limited));
    EXPECT_TRUE(limited->albums().isEmpty());
    EXPECT_TRUE(logText().contains(QStringLiteral("musicbrainz: search results error")));

    // A search answer of another shape, a release without media, a release that is a list.
    serveSearch(QStringLiteral("/ws/2/release"), QStringLiteral("releases"),
                {searchEntry(1, QStringLiteral("Quiet Engines"), QStringLiteral("Paper Lanterns"),
                             QStringLiteral("g1")),
                 searchEntry(2, QStringLiteral("Quiet Engines"), QStringLiteral("Paper Lanterns"),
                             QStringLiteral("g2"))});
    QJsonObject noMedia =
        QJsonDocument::fromJson(lookupJSON(1, QStringLiteral("Quiet Engines"),
                                           QStringLiteral("Paper Lanterns"), {QStringLiteral("x")}))
            .object();
    noMedia.remove(QStringLiteral("media"));
    mLookups.insert(releaseID(1), QJsonDocument(noMedia).toJson());
    mLookups.insert(releaseID(2), "[{\"title\": \"Paper Lanterns\"}]");
    auto damaged = makeSource(QStringLiteral("Paper Lanterns Again"));
    damaged->setAllowSubstringTrackMatches(true);
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*damaged));
    EXPECT_EQ(lookups(), 2);
    EXPECT_TRUE(damaged->albums().isEmpty());
    EXPECT_TRUE(
        logText().contains(QStringLiteral("musicbrainz: no album in release, release without media")));
    EXPECT_TRUE(logText().contains(QStringLiteral("musicbrainz: release error answer is no JSON object")));

    mServer.route(QStringLiteral("/ws/2/release"),
                  TestHttpServer::Response::text("{\"releases\": {\"id\": 5}}", "application/json"));
    auto odd = makeSource(QStringLiteral("Paper Lanterns Odd"));
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*odd));
    EXPECT_TRUE(odd->albums().isEmpty());
}

// The real lookup answer served for a search of our own making, with the shipped resources.
TEST_F(MusicBrainzInterfaceTest, RealReleaseLookupThroughTheSource)
{
    const QString fixtures = TestSupport::fixturesFolder();
    if (fixtures.isEmpty())
        GTEST_SKIP() << "no shared fixtures";
    const QString id = QStringLiteral("b84ee12a-09ef-421b-82de-0441a926375b");
    QJsonObject entry = searchEntry(0, QStringLiteral("Pink Floyd"),
                                    QStringLiteral("The Dark Side of the Moon"), QStringLiteral("g"));
    entry.insert(QStringLiteral("id"), id);
    serveSearch(QStringLiteral("/ws/2/release"), QStringLiteral("releases"), {entry});
    mLookups.insert(
        id, TestSupport::readFile(
                fixtures + QStringLiteral("/web/musicbrainz/release_lookup_dark_side_of_the_moon.json")));
    auto source = std::make_unique<MusicBrainzInterface>(mResources);
    source->setArtist(QStringLiteral("Pink Floyd"));
    source->setSongTitle(QStringLiteral("Money"));
    source->setAlbumTitle(QStringLiteral("Dark Side of the Moon"));
    source->setMinimumAcceptableImageSize(800);
    ASSERT_TRUE(AlbumSourceTestKit::runOnce(*source));
    ASSERT_EQ(source->albums().size(), 1);
    const AlbumInfo& album = source->albums().first();
    EXPECT_EQ(album.year(), QStringLiteral("1973"));
    EXPECT_EQ(album.numberOfTrackNamed(QStringLiteral("Money"), false), 6);
    EXPECT_EQ(album.artURLString(),
              QStringLiteral("https://coverartarchive.org/release/") + id + QStringLiteral("/front-1200"));
}
